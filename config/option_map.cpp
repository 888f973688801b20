// SPDX-License-Identifier: MIT

#include "config/option_map.h"

#include <string>
#include <unordered_set>

namespace {

TnResult Faulty(const Option& opt, const std::string& fault)
{
    return {1, opt.name + fault};
}

TnResult CheckParseFunction(const Option& opt, ConfigType type)
{
    if (type == ConfigType::TNSTAT) {
        return opt.tnstatParseFunc ? TnResult() : Faulty(opt, "parse tnstat func null");
    }
    return opt.parseFunc ? TnResult() : Faulty(opt, "parse func null");
}

}  // namespace

TnResult BuildOptionMap(const std::vector<Option>& options, OptAttr mode, ConfigType type, OptionMap& map)
{
    std::unordered_set<std::string> names;
    std::unordered_set<std::string> longNames;
    for (const Option& opt : options) {
        if (!opt.IsAttr(mode)) {
            continue;
        }
        if (names.count(opt.name) != 0) {
            return Faulty(opt, "opt name repeat");
        }
        if (map.count(opt.shortOpt) != 0) {
            return Faulty(opt, "short opt repeat");
        }
        if (opt.IsAttr(OptAttr::LONG_OPT) && opt.longOpt.empty()) {
            return Faulty(opt, "long opt empty");
        }
        if (opt.IsAttr(OptAttr::LONG_OPT) && longNames.count(opt.longOpt) != 0) {
            return Faulty(opt, "long opt repeat");
        }
        if (const TnResult valid = opt.AttrValid(); valid.code != 0) {
            return Faulty(opt, " " + valid.message);
        }
        if (opt.IsAttr(OptAttr::CMD) && opt.help.empty()) {
            return Faulty(opt, "help info empty");
        }
        if (TnResult result = CheckParseFunction(opt, type); result.code != 0) {
            return result;
        }
        names.insert(opt.name);
        longNames.insert(opt.longOpt);
        map.emplace(opt.shortOpt, opt);
    }
    return {};
}
