// SPDX-License-Identifier: MIT

#include "config/option_builders.h"

namespace option_builders {

Option Described(const Names& names, const Attrs& attrs, const std::string& help, const std::string& inFile)
{
    Option opt(names.name, names.letter, names.longOpt, names.placeholder);
    opt.help = help;
    opt.yamlHelp = inFile.empty() ? std::string() : inFile + help;
    opt.SetAttr(attrs);
    return opt;
}

Option Uint(const Names& names, const Attrs& attrs, const std::string& help, std::uint32_t Conf::*field)
{
    Option opt = Described(names, attrs, help, "<n> # ");
    opt.parseFunc = [key = opt.longOpt, field](const ParseInput& input, Conf& conf) {
        return CommonParseUint(input, key, conf.*field);
    };
    return opt;
}

Option Bool(const Names& names, const Attrs& attrs, const std::string& help, bool Conf::*field)
{
    Option opt = Described(names, attrs, help, "<true|false> # ");
    opt.parseFunc = [key = opt.longOpt, field](const ParseInput& input, Conf& conf) {
        return CommonParseBool(input, key, conf.*field);
    };
    return opt;
}

Option Patterns(const Names& names, const Attrs& attrs, const std::string& help,
                std::unordered_set<std::string> Conf::*field)
{
    Option opt = Described(names, attrs, help, "[] # ");
    opt.parseFunc = [key = opt.longOpt, field](const ParseInput& input, Conf& conf) {
        return CommonParseRegexesSet(input, key, conf.*field);
    };
    return opt;
}

}  // namespace option_builders
