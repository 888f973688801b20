// SPDX-License-Identifier: MIT

#include "tests/faults/operation.h"

#include <algorithm>

#include "tests/support/conf_text.h"

namespace faults {

std::string Text(const std::string& text)
{
    return text;
}

std::string Text(const TnResult& result)
{
    std::string line = std::to_string(result.code) + " " + result.message;
    std::replace(line.begin(), line.end(), '\n', '|');
    return line + "\n";
}

std::string Text(const std::vector<std::string>& texts)
{
    std::string text;
    for (const std::string& one : texts) {
        text += "<" + one + ">";
    }
    return text;
}

std::string Text(const Option& opt)
{
    return opt.name + "|" + std::to_string(opt.shortOpt) + "|" + opt.longOpt + "|" + opt.placeholder + "|" +
           opt.help + "|" + opt.yamlHelp + "|" + std::to_string(opt.attrs) + "|" +
           (opt.parseFunc || opt.tnstatParseFunc ? "parsed" : "not parsed");
}

std::string Text(const ProcConf& entry)
{
    return support::ProcConfText(entry);
}

bool FailedHalfWay(const std::string& state, const std::string& /*before*/)
{
    return state.compare(0, 2, "1 ") == 0 && state.find('\n') > 2;
}

bool FailedUnchanged(const std::string& state, const std::string& before)
{
    // `before` begins with the empty result of a call that was not made.
    return FailedHalfWay(state, before) &&
           state.substr(state.find('\n') + 1) == before.substr(before.find('\n') + 1);
}

bool AnyState(const std::string& /*state*/, const std::string& /*before*/)
{
    return true;
}

Operations AllOperations()
{
    Operations all;
    for (const auto room : {ScenarioOperations, LoggerOperations, ServiceOperations, WatchdogOperations,
                            ProbeOperations, ReaderOperations, OptionOperations, ControllerOperations}) {
        for (Operation& operation : room()) {
            all.push_back(std::move(operation));
        }
    }
    return all;
}

}  // namespace faults
