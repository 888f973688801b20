// SPDX-License-Identifier: MIT

#ifndef CONFIG_OPTION_H
#define CONFIG_OPTION_H

#include <cstdint>

#include <functional>
#include <string>
#include <vector>

#include "common/export.h"
#include "config/conf.h"
#include "config/parse_input.h"
#include "config/tn_result.h"

/// Attributes of an option; the values are bit numbers of Option::attrs.
enum class OptAttr : std::int32_t {
    CMD = 0,           ///< may be given on the command line
    SHORT_OPT = 1,     ///< has a letter
    LONG_OPT = 2,      ///< has a long name
    REQUIRED_ARG = 3,  ///< takes an argument on the command line
    OPTIONAL_ARG = 4,  ///< may take an argument on the command line
    YAML = 5,          ///< may stand in the file
    RELOAD = 6,        ///< is read again when the file is reloaded
    ALONE = 7,         ///< applies when the tool runs alone
    KOVARI = 8,        ///< applies when the tool runs under the framework
    TNSTAT = 9,        ///< applies to the viewer
};

/// One option: how it is written, what help says about it, and what stores its value. A value object.
class SCENARIO_NUMA_EXPORT Option {
public:
    /// `optionName` is for messages, `optionShort` a letter or 1000 and above, `optionLong` also the key in
    /// the file.
    Option(const std::string& optionName, int optionShort, const std::string& optionLong,
           const std::string& argument);

    /// The attributes become exactly those of `list`.
    void SetAttr(const std::vector<OptAttr>& list);
    bool IsAttr(OptAttr attr) const;

    /// Whether the attributes agree with each other; the first broken rule is the message.
    TnResult AttrValid() const;

    /// "attr:" and the letters c, y, r that apply; empty for an option of the viewer.
    std::string GetAttrStr() const;

    /// The option's block of the command-line help.
    std::string FormatHelpInfo() const;

    /// The option's block of the file help; empty without yamlHelp.
    std::string FormatYamlInfo() const;

    std::string name;
    std::int32_t shortOpt = 0;
    std::string longOpt;
    std::string placeholder;
    std::string help;      ///< lines end in "\n"
    std::string yamlHelp;  ///< lines end in "\n"
    std::uint64_t attrs = 0;
    std::function<TnResult(const ParseInput&, Conf&)> parseFunc;  ///< empty for options of the viewer
    std::function<TnResult(const ParseInput&, TnStatConf&)>
        tnstatParseFunc;  ///< empty for options of the tool
};

/// Cuts at each line break; a trailing one yields no empty last line.
SCENARIO_NUMA_EXPORT std::vector<std::string> SplitByNewline(const std::string& text);

#endif  // CONFIG_OPTION_H
