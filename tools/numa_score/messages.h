// SPDX-License-Identifier: MIT

#ifndef TOOLS_NUMA_SCORE_MESSAGES_H
#define TOOLS_NUMA_SCORE_MESSAGES_H

#include <cstdint>

#include <string>
#include <string_view>
#include <vector>

namespace numa_score {

// What the program says about its own doings, each kind in one place. Every text is one line without line
// break; text from outside is escaped. The program's name is put before it where it is printed.

// Usage.
std::string BadOptionValue(std::string_view option, std::string_view value, std::string_view expected);
std::string BadMapping(std::string_view event, std::string_view target, std::string_view reason);
std::string OptionTwice(std::string_view option);
std::string OptionWithoutMeaning(std::string_view option, std::string_view command);
std::string OptionsExclude(std::string_view first, std::string_view second);
std::string OptionNeedsValue(std::string_view option);
std::string OptionTakesNoValue(std::string_view option);
std::string UnexpectedArgument(std::string_view argument);
std::string NoCommand();
std::string NoRecordingGiven();
std::string NoPluginGiven();
std::string BadCommandLine(std::string_view reason);
std::string OutputIsInput(std::string_view path);
std::string BothFromStandardInput();
std::string UsageHint(std::string_view command);

// Run time.
std::string CannotOpenOutput(std::string_view path, int errorNumber);
std::string CannotWrite(std::string_view path, int errorNumber);
std::string NothingToCheck(std::string_view path, int errorNumber);
std::string NoPluginFound(const std::vector<std::string>& places);
std::string NoScorePublisher(std::string_view path);
std::string PluginNotUsable(std::string_view instance);
std::string PluginSilent(std::string_view instance, std::uint64_t requests);
std::string BadScore(std::string_view instance, float score);
std::string KernelDisagrees(std::string_view sides);
std::string KernelDisagreesNoMore();
std::string NoOperationsRecorded(std::string_view recording);
std::string ComparisonInterrupted();
std::string RemarksLeftOut(std::uint64_t count);

}  // namespace numa_score

#endif  // TOOLS_NUMA_SCORE_MESSAGES_H
