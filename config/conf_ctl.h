// SPDX-License-Identifier: MIT

#ifndef CONFIG_CONF_CTL_H
#define CONFIG_CONF_CTL_H

#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include <yaml-cpp/yaml.h>

#include "common/export.h"
#include "config/conf.h"
#include "config/option.h"
#include "config/option_info.h"
#include "config/tn_result.h"

/// Turns defaults, file and command line, each outweighing the one before, into a checked configuration.
/// Every operation answers with a TnResult, code 0 or 1; nothing is thrown but std::bad_alloc where not even
/// a message can be built.
///
/// One thread at a time, and one parse per process at a time: getopt keeps its state in globals. They are
/// left so that the caller's own parsing works afterwards: optind 0 (a fresh start), optarg null, opterr 1.
class SCENARIO_NUMA_EXPORT ConfCtl {
public:
    explicit ConfCtl(ConfigType type = ConfigType::TARNIX);
    ConfCtl(const ConfCtl&) = delete;
    ConfCtl& operator=(const ConfCtl&) = delete;

    /// The tool's configuration from TARNIX_YAML and the command line; `isKovari` tells whether it runs under
    /// the framework. A bad file makes only `warning` fail and leaves the defaults. A bad command line fails
    /// the call with the reason and the help text and leaves `conf` untouched. On success the three texts of
    /// `conf` are filled.
    TnResult Init(int argc, char** argv, bool isKovari, Conf& conf, TnResult& warning);

    /// The viewer's configuration; reads no file. `conf` is untouched on failure.
    TnResult InitTnstat(int argc, char** argv, TnStatConf& conf);

    /// Init under the framework with its parameter string: empty, or "cmd:" and options.
    TnResult ParseStringCmd(const std::string& cmd, Conf& conf, TnResult& warning);

    /// Fills the option map with the options of this way of running, each checked. Empties the tables first.
    TnResult InitOptMap(bool isKovari);

    /// Applies the options of a command line to `conf` and validates the result. What was applied before a
    /// failure stays applied. Neither the array nor its strings are changed. getopt's own diagnostics go to
    /// standard error.
    TnResult ParseCmdline(int argc, char** argv, bool isKovari, Conf& conf);
    TnResult ParseTnstatCmdline(int argc, char** argv, TnStatConf& conf);

    /// The framework's parameter as a command line whose first word is "kovari_enable"; `out` is untouched on
    /// failure.
    TnResult GetKovariCmd(const std::string& in, std::string& out);

    /// Splits at white space; quotes mean nothing. The word count and an owned array of that many strings and
    /// a null pointer, which FreeCommandLine releases.
    std::pair<int, char**> ConvertStringCmd(const std::string& cmd);

    /// Releases what ConvertStringCmd returned; null pointers are left out.
    void FreeCommandLine(int argc, char** argv);

    /// Empties the option map and releases the loaded file, so that Init can run again.
    void ResetConfCtl();

    /// Loads a file into the root node, which stays as it was on failure. Refuses what is no regular file or
    /// larger than 1 MiB.
    TnResult LoadConfig(const std::string& path);

    /// Loads the file, applies its keys to `conf` through the option map, with `reload` only those that may
    /// be reloaded, and validates the result. What was applied before a failure stays applied. The message of
    /// a success is the path and " parse success.".
    TnResult ParseYaml(const std::string& path, bool isKovari, bool reload, Conf& conf);

private:
    ConfigType type;
    YAML::Node root;
    OptionInfo optionInfo;
    std::unordered_map<int, Option> optMap;  // by what getopt returns
    std::vector<int> optOrder;               // the keys of optMap in the order of the registry
};

#endif  // CONFIG_CONF_CTL_H
