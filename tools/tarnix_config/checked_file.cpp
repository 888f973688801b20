// SPDX-License-Identifier: MIT

#include "tools/tarnix_config/checked_file.h"

#include <algorithm>
#include <exception>
#include <filesystem>
#include <limits>
#include <tuple>

#include <yaml-cpp/yaml.h>

#include "config/conf_ctl.h"
#include "config/config_file.h"
#include "config/option_info.h"
#include "config/structured_readers.h"
#include "config/validation.h"
#include "config/validation_limits.h"
#include "tools/tarnix_config/fault_texts.h"
#include "tools/tarnix_config/key_faults.h"

namespace tarnix_config {
namespace {

const char* const PROCESS = "process";
constexpr std::uintmax_t MAX_FILE_BYTES = 1U << 20U;  // larger ones the library refuses

void AddFailure(const TnResult& result, const YAML::Node& place, std::vector<Fault>& faults)
{
    if (result.code != 0) {
        faults.push_back(FaultAt(place, fault_texts::FromLibrary(result.message)));
    }
}

void AddFailure(const TnResult& result, std::vector<Fault>& faults)
{
    if (result.code != 0) {
        faults.push_back({0, 0, fault_texts::FromLibrary(result.message)});
    }
}

/// The list of entries one by one, since the library stops at the first that fails.
void ReadProcesses(const YAML::Node& list, CheckedFile& file)
{
    for (const auto& item : list) {
        YAML::Node document;
        document[PROCESS].push_back(static_cast<const YAML::Node&>(item));
        AddFailure(ParseYamlProcess({ParseStage::YAML, document, {}}, file.conf), item, file.faults);
    }
}

/// What stands for a value in messages about it: a null has no place of its own, so its key does.
YAML::Node PlaceOf(const YAML::Node& root, const std::string& key)
{
    for (const auto& entry : root) {
        if (entry.first.IsScalar() && entry.first.Scalar() == key) {
            return entry.second.IsNull() ? entry.first : entry.second;
        }
    }
    return root;
}

bool IsListOfReadableSize(const YAML::Node& node)
{
    constexpr std::size_t LIMIT = 65536;  // beyond it the library refuses the list as a whole
    return node.IsSequence() && node.size() <= LIMIT;
}

void ReadValues(const YAML::Node& root, const std::vector<Option>& options, OptAttr mode, CheckedFile& file)
{
    for (const Option& opt : options) {
        const YAML::Node value = root[opt.longOpt];
        if (!value.IsDefined() || !opt.IsAttr(OptAttr::YAML) || !opt.IsAttr(mode)) {
            continue;
        }
        if (opt.longOpt == PROCESS && IsListOfReadableSize(value)) {
            ReadProcesses(value, file);
        } else {
            AddFailure(opt.parseFunc({ParseStage::YAML, root, {}}, file.conf), PlaceOf(root, opt.longOpt),
                       file.faults);
        }
    }
}

void SortByPlace(std::vector<Fault>& faults)
{
    const auto place = [](const Fault& fault) {
        const int line = fault.line == 0 ? std::numeric_limits<int>::max() : fault.line;
        return std::make_tuple(line, fault.column);
    };
    std::stable_sort(faults.begin(), faults.end(),
                     [&place](const Fault& one, const Fault& other) { return place(one) < place(other); });
}

/// A failure that comes of several settings together: at the last of their keys that the file has.
void AddFailure(const TnResult& result, const YAML::Node& root, const std::vector<std::string>& keys,
                std::vector<Fault>& faults)
{
    std::vector<Fault> places;
    for (const std::string& key : keys) {
        if (root[key].IsDefined()) {
            AddFailure(result, PlaceOf(root, key), places);
        }
    }
    if (places.empty()) {
        AddFailure(result, faults);
        return;
    }
    SortByPlace(places);
    faults.push_back(places.back());
}

/// What Conf::IsValid checks, to the end.
void Validate(const YAML::Node& root, bool underKovari, CheckedFile& file)
{
    const Conf& conf = file.conf;
    const struct {
        TnResult result;
        std::vector<std::string> keys;
    } checks[] = {
        {CheckRangeUint("sampling-interval", conf.samplingInterval, MIN_SAMPLING_INTERVAL,
                        MAX_SAMPLING_INTERVAL),
         {"sampling-interval"}},
        {CheckRangeUint("sampling-times", conf.samplingTimes, MIN_SAMPLING_TIMES, MAX_SAMPLING_TIMES),
         {"sampling-times"}},
        {CheckRangeUint("pageReserve", conf.pageReserve, MIN_PAGE_RESERVE, MAX_PAGE_RESERVE),
         {"page-reserve"}},
        {CheckRangeUint("watchdogTimeout", conf.watchdogTimeout, MIN_WATCHDOG_TIMEOUT, MAX_WATCHDOG_TIMEOUT),
         {"watchdog-timeout"}},
        {CheckNumaRatio(conf.preciseLoad, conf.numaRatio), {"precise-load", "numa-ratio"}},
        {CheckNumaScore(conf.minNumaScore, conf.maxNumaScore), {"min-numa-score", "max-numa-score"}},
        {CheckMemBalance(conf), {"mem-balance"}},
        {CheckLogFile(conf), {}},
        {CheckClusterSchedule(conf), {"cluster-schedule", "policy"}},
        {underKovari ? CheckKovariInterval(conf.samplingInterval)
                     : CheckRangeUint("spePeriod", conf.spePeriod, MIN_SPE_PERIOD, MAX_SPE_PERIOD),
         {underKovari ? "sampling-interval" : "spe-period"}},
        {CheckBindSocket(conf), {"bind-socket", PROCESS}},
        {CheckProcConfValid(conf), {PROCESS}},
    };
    for (const auto& check : checks) {
        if (check.result.code != 0) {
            AddFailure(check.result, root, check.keys, file.faults);
        }
    }
}

void AddLoadingFault(const std::string& path, const TnResult& loaded, std::vector<Fault>& faults)
{
    if (loaded.code == 0) {
        return;
    }
    if (std::filesystem::is_regular_file(path) && std::filesystem::file_size(path) <= MAX_FILE_BYTES) {
        try {
            YAML::LoadFile(path);
        } catch (const YAML::ParserException& error) {
            faults.push_back(
                {error.mark.line + 1, error.mark.column + 1, fault_texts::FromLibrary(error.msg)});
            return;
        } catch (const YAML::Exception&) {  // said by the library
        }
    }
    AddFailure(loaded, faults);
}

void CheckDocument(const YAML::Node& root, bool underKovari, CheckedFile& file)
{
    if (root.IsNull()) {
        return;  // an empty file is a file of defaults
    }
    if (!root.IsMap()) {
        file.faults.push_back(FaultAt(root, fault_texts::NotAMapping()));
        return;
    }
    const std::vector<Option> options = OptionInfo(ConfigType::TARNIX).GetAllOptions();
    ReadValues(root, options, underKovari ? OptAttr::KOVARI : OptAttr::ALONE, file);
    for (const std::vector<Fault>& found : {KeyFaults(root, options), PatternFaults(root)}) {
        file.faults.insert(file.faults.end(), found.begin(), found.end());
    }
    if (const TnResult nodes = file.conf.IntervalVarInit(); nodes.code != 0) {
        AddFailure(nodes, root, {PROCESS}, file.faults);
    }
    Validate(root, underKovari, file);
    SortByPlace(file.faults);
}

}  // namespace

CheckedFile CheckFile(const std::string& path, bool underKovari)
{
    CheckedFile file;
    file.conf = g_defaultConf;
    try {
        // What the library refuses to load, and why, is its to say; where the fault lies is in the exception.
        const TnResult loaded = ConfCtl().LoadConfig(path);
        AddLoadingFault(path, loaded, file.faults);
        YAML::Node root;
        if (loaded.code == 0) {
            if (const TnResult again = config_file::Load(path, root); again.code != 0) {
                AddFailure(again, file.faults);
            } else {
                CheckDocument(root, underKovari, file);
            }
        }
    } catch (const std::exception& error) {
        AddFailure({1, error.what()}, file.faults);
    }
    return file;
}

}  // namespace tarnix_config
