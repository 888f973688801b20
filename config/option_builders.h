// SPDX-License-Identifier: MIT

#ifndef CONFIG_OPTION_BUILDERS_H
#define CONFIG_OPTION_BUILDERS_H

#include <cstdint>

#include <map>
#include <string>
#include <vector>

#include "config/conf.h"
#include "config/option.h"
#include "config/value_readers.h"

/// The shapes that options come in. Each sets what its shape fixes; help and attributes are the option's own.
namespace option_builders {

/// What an option without a letter is given; the registry makes the numbers unique.
constexpr int WITHOUT_LETTER = 1000;

using Attrs = std::vector<OptAttr>;

/// How an option is written.
struct Names {
    const char* name;
    int letter;
    const char* longOpt;
    const char* placeholder;
};

/// `inFile` stands before the help text where the option is described for the file: "<n> # " or the like.
Option Described(const Names& names, const Attrs& attrs, const std::string& help, const std::string& inFile);

Option Uint(const Names& names, const Attrs& attrs, const std::string& help, std::uint32_t Conf::*field);
Option Bool(const Names& names, const Attrs& attrs, const std::string& help, bool Conf::*field);
Option Patterns(const Names& names, const Attrs& attrs, const std::string& help,
                std::unordered_set<std::string> Conf::*field);

template <typename T>
Option Enum(const Names& names, const Attrs& attrs, const std::string& help, const std::string& inFile,
            const std::map<T, std::string>& map, T Conf::*field)
{
    Option opt = Described(names, attrs, help, inFile);
    opt.parseFunc = [key = opt.longOpt, &map, field](const ParseInput& input, Conf& conf) {
        return CommonParseEnum(input, key, map, conf.*field);
    };
    return opt;
}

}  // namespace option_builders

#endif  // CONFIG_OPTION_BUILDERS_H
