// SPDX-License-Identifier: MIT
//
// Any bytes as a configuration file: parsed, and every key of the option map read from it, as ParseYaml does.

#include <cstddef>
#include <cstdint>

#include <string>
#include <vector>

#include <yaml-cpp/yaml.h>

#include "config/conf.h"
#include "config/config_file.h"
#include "config/option_info.h"
#include "config/option_map.h"
#include "tests/fuzz/input.h"
#include "tests/fuzz/require.h"

namespace {

using fuzz::Require;

struct Mode {
    bool underKovari;
    std::vector<Option> options;  // those that take part, in the order of the registry
};

Mode ModeOf(bool underKovari)
{
    OptionMap map;
    const std::vector<Option> all = OptionInfo(ConfigType::TARNIX).GetAllOptions();
    const OptAttr attr = underKovari ? OptAttr::KOVARI : OptAttr::ALONE;
    Require(BuildOptionMap(all, attr, ConfigType::TARNIX, map).code == 0, "the registry is sound");
    Mode mode{underKovari, {}};
    for (const Option& opt : all) {
        if (map.count(opt.shortOpt) != 0 && opt.IsAttr(OptAttr::YAML)) {
            mode.options.push_back(opt);
        }
    }
    return mode;
}

void CheckResult(const TnResult& result, const char* what)
{
    Require(result.code == 0 || result.code == 1, what);
    Require(result.code == 0 || !result.message.empty(), what);
}

void CheckProcesses(const Conf& conf)
{
    for (const auto& [name, entries] : conf.process) {
        Require(!name.empty(), "an entry has a name");
        for (std::size_t i = 0; i < entries.size(); ++i) {
            Require(entries[i].confId == i + 1, "entries of a name are counted");
            Require(entries[i].needTune == 1, "entries are tuned");
            Require(entries[i].defaultMigMemNode >= -1, "a node is a node");
        }
    }
}

/// Entries that came out of the map are the only thing that a failing reader may leave behind it.
void Apply(const Mode& mode, const YAML::Node& root)
{
    static const OptionInfo info(ConfigType::TARNIX);
    Conf conf = g_defaultConf;
    for (const Option& opt : mode.options) {
        const std::string before =
            opt.longOpt == "process" || opt.longOpt == "numa-ratio" ? std::string() : info.GetConfInfo(conf);
        const TnResult result = opt.parseFunc({ParseStage::YAML, root, {}}, conf);
        CheckResult(result, "a reader answers 0, or 1 with a reason");
        if (result.code != 0) {
            Require(before.empty() || before == info.GetConfInfo(conf), "a failing reader changes nothing");
            Require(result.message.find(opt.longOpt) != std::string::npos || opt.longOpt == "process",
                    "a reason names its key");
        }
    }
    CheckProcesses(conf);
    CheckResult(conf.IsValid(mode.underKovari), "validation answers 0, or 1 with a reason");
    CheckResult(conf.IntervalVarInit(), "deriving answers 0, or 1 with a reason");
    const std::string report = info.GetConfInfo(conf);
    Require(report.find("\nprocess: [") != std::string::npos && report.back() == '\n', "the report is whole");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const Mode alone = ModeOf(false);
    static const Mode underKovari = ModeOf(true);
    YAML::Node root("kept");
    const TnResult loaded = config_file::Parse(std::string(fuzz::TextOf(data, size)), root);
    CheckResult(loaded, "loading answers 0, or 1 with a reason");
    if (loaded.code != 0) {
        Require(loaded.message.rfind("YAML loading error: ", 0) == 0, "a loading error says so");
        Require(root.IsScalar() && root.Scalar() == "kept", "a failing load leaves the document");
        return 0;
    }
    const std::size_t keys = root.size();
    Apply(alone, root);
    Apply(underKovari, root);
    Require(root.size() == keys, "reading adds nothing to the document");
    return 0;
}
