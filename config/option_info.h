// SPDX-License-Identifier: MIT

#ifndef CONFIG_OPTION_INFO_H
#define CONFIG_OPTION_INFO_H

#include <getopt.h>

#include <cstdint>

#include <map>
#include <string>
#include <vector>

#include "common/export.h"
#include "config/conf.h"
#include "config/option.h"

/// Which program's options are meant.
enum class ConfigType : std::int32_t { TARNIX = 0, TNSTAT = 1 };

/// The registry of one program's options, in the order of help and getopt. Not copyable: the long-option
/// records point into it and are valid as long as it lives.
class SCENARIO_NUMA_EXPORT OptionInfo {
public:
    explicit OptionInfo(ConfigType type);
    OptionInfo(const OptionInfo&) = delete;
    OptionInfo& operator=(const OptionInfo&) = delete;

    void InitTarnixOptions();
    void InitTnstatOptions();

    /// Gives every option without a letter a number from 1000 on and builds the short-option string.
    void InitShortOpt();

    /// Builds the long-option records, ended by an all-zero one.
    void InitLongOpts();

    /// The whole help text of the tool, of the viewer; empty for HelpType::OFF.
    std::string InitHelpInfo(bool underKovari, HelpType type) const;
    std::string InitTnstatHelpInfo() const;

    std::vector<Option> GetAllOptions() const;
    std::vector<option> GetLongOptArray() const;
    std::string GetShortOpt() const;

    /// The finished help text of that kind; empty for HelpType::OFF.
    std::string GetHelpInfo(bool underKovari, HelpType type) const;

    /// Every setting with its value, a line each. std::out_of_range for a value without a name, which no
    /// reader makes.
    std::string GetConfInfo(const Conf& conf) const;
    std::string GetTnstatConfInfo(const TnStatConf& conf) const;

private:
    std::vector<Option> options;
    std::vector<option> longOpts;
    std::string shortOpt;
    std::map<bool, std::string> cmdHelp;
    std::map<bool, std::string> yamlHelp;
};

/// "tarnix version: ", the version, a line break, "git info: " and the source revision.
SCENARIO_NUMA_EXPORT std::string GetVersionInfo();

#endif  // CONFIG_OPTION_INFO_H
