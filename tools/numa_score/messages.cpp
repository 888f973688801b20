// SPDX-License-Identifier: MIT

#include "tools/numa_score/messages.h"

#include <cerrno>

#include <system_error>

#include "host/escape.h"
#include "tools/numa_score/text_format.h"

namespace numa_score {
namespace {

std::string Quoted(std::string_view text)
{
    return "\"" + host::EscapeText(text) + "\"";
}

std::string ErrorText(int errorNumber)
{
    return std::generic_category().message(errorNumber) + " (errno " + std::to_string(errorNumber) + ")";
}

}  // namespace

std::string BadOptionValue(std::string_view option, std::string_view value, std::string_view expected)
{
    return std::string(option) + " " + Quoted(value) + ": expected " + std::string(expected);
}

std::string BadMapping(std::string_view event, std::string_view target, std::string_view reason)
{
    return "--map " + Quoted(std::string(event) + "=" + std::string(target)) + ": " + std::string(reason);
}

std::string OptionTwice(std::string_view option)
{
    return std::string(option) + " is given twice: once is enough";
}

std::string OptionWithoutMeaning(std::string_view option, std::string_view command)
{
    return std::string(option) + " has no meaning for \"" + std::string(command) + "\": leave it out";
}

std::string OptionsExclude(std::string_view first, std::string_view second)
{
    return std::string(first) + " and " + std::string(second) + " exclude each other: leave one out";
}

std::string OptionNeedsValue(std::string_view option)
{
    return std::string(option) + " needs a value";
}

std::string OptionTakesNoValue(std::string_view option)
{
    return std::string(option) + " takes no value: leave out the = and what follows it";
}

std::string UnexpectedArgument(std::string_view argument)
{
    return "unexpected argument " + Quoted(argument);
}

std::string NoCommand()
{
    return "no command, expected one of live, replay, demo, doctor, list, check";
}

std::string NoRecordingGiven()
{
    return "replay needs a recording: a file made with \"perf stat -I 100 -x\\; -o FILE -e ...\", or - for "
           "standard input";
}

std::string NoPluginGiven()
{
    return "check needs a plug-in: the path of its library";
}

std::string BadCommandLine(std::string_view reason)
{
    return "bad command line: " + host::EscapeText(reason);
}

std::string OutputIsInput(std::string_view path)
{
    return "--out " + Quoted(path) + " is the recording that is read: choose another file";
}

std::string BothFromStandardInput()
{
    return "both recordings are standard input: give a file for one of them";
}

std::string UsageHint(std::string_view command)
{
    return "\"numa-score " + std::string(command) + (command.empty() ? "" : " ") +
           "--help\" shows what there is";
}

std::string CannotOpenOutput(std::string_view path, int errorNumber)
{
    return Quoted(path) + ": cannot be opened for writing: " + ErrorText(errorNumber) +
           "; give --out a file that may be written";
}

std::string CannotWrite(std::string_view path, int errorNumber)
{
    const std::string remedy = errorNumber == ENOSPC || errorNumber == EDQUOT
                                   ? "; make room or write elsewhere"
                               : errorNumber == ETIMEDOUT ? "; its reader took nothing for a second"
                                                          : "";
    return (path.empty() ? "standard output" : Quoted(path)) +
           ": cannot be written: " + ErrorText(errorNumber) + remedy;
}

std::string NothingToCheck(std::string_view path, int errorNumber)
{
    return Quoted(path) + ": cannot be read: " + ErrorText(errorNumber) +
           "; give the path of a plug-in library";
}

std::string NoPluginFound(const std::vector<std::string>& places)
{
    std::string text = "no plug-in library found; looked for";
    for (std::size_t i = 0; i < places.size(); ++i) {
        text += (i == 0 ? " " : ", ") + Quoted(places[i]);
    }
    return text + "; install it there, or name it with --plugin PATH or NUMA_SCORE_PLUGIN";
}

std::string NoScorePublisher(std::string_view path)
{
    return (path.empty() ? "the plug-in" : Quoted(path)) +
           ": no instance publishes the topic \"system_score\"; give --plugin a library that does";
}

std::string PluginNotUsable(std::string_view instance)
{
    return "instance " + Quoted(instance) + " cannot be driven, so there is no score; the remarks say why";
}

std::string PluginSilent(std::string_view instance, std::uint64_t requests)
{
    return "instance " + Quoted(instance) + " gave no score in " + std::to_string(requests) +
           " calls of Run, expected one in each";
}

std::string BadScore(std::string_view instance, float score)
{
    std::string text = "instance " + Quoted(instance) + " published the score ";
    AppendShortest(text, score);
    return text + ", expected 0 to 1; it is left out";
}

std::string KernelDisagrees(std::string_view sides)
{
    return "the score is doubtful: " + std::string(sides) +
           "; see that the events, or --map, count what their names say";
}

std::string KernelDisagreesNoMore()
{
    return "the kernel does not disagree with the score any more";
}

std::string NoOperationsRecorded(std::string_view recording)
{
    return (recording == "-" ? "standard input" : host::EscapeText(recording)) +
           ": operations were counted in no interval, so that no score means anything; record with: perf "
           "stat "
           "-a -I 100 -x, -o FILE -e PMU/rx_outer/ -e PMU/rx_sccl/ -e PMU/rx_ops_num/";
}

std::string ComparisonInterrupted()
{
    return "interrupted before both recordings were read: there is no comparison";
}

std::string RemarksLeftOut(std::uint64_t count)
{
    return std::to_string(count) + (count == 1 ? " further remark was" : " further remarks were") +
           " left out";
}

}  // namespace numa_score
