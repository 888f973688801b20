// SPDX-License-Identifier: MIT

#include "tools/numa_score/option_table.h"

#include <charconv>
#include <cmath>
#include <string_view>
#include <system_error>

#include "host/replay_source.h"
#include "tools/numa_score/conformance/rules.h"

namespace numa_score {
namespace {

constexpr std::uint64_t MAX_COUNT = 1000000000000;
constexpr double MAX_DURATION = 1e9;
constexpr std::int32_t MAX_INTERVAL = 3600000;
constexpr double MIN_SPEED = 1e-6;
constexpr double MAX_SPEED = 1e9;
constexpr double NS_PER_SECOND = 1e9;

/// Reads a number that is the whole of the text and lies within the bounds. No number lies within any.
template <class T>
bool ReadNumber(const std::string& text, T lowest, T highest, T& value)
{
    T read{};
    const char* const end = text.data() + text.size();
    const std::from_chars_result result = std::from_chars(text.data(), end, read);
    if (text.empty() || result.ec != std::errc() || result.ptr != end ||
        !(read >= lowest && read <= highest)) {
        return false;
    }
    value = read;
    return true;
}

std::string SetFormat(Options& options, const std::string& value)
{
    if (value == "table") {
        options.format = Format::TABLE;
    } else if (value == "csv") {
        options.format = Format::CSV;
    } else if (value == "json") {
        options.format = Format::JSON;
    } else {
        return "table, csv or json";
    }
    return {};
}

std::string SetCount(Options& options, const std::string& value)
{
    std::uint64_t count = 0;
    if (!ReadNumber<std::uint64_t>(value, 1, MAX_COUNT, count)) {
        return "a whole number of periods from 1 to 1000000000000";
    }
    options.count = count;
    return {};
}

std::string SetDuration(Options& options, const std::string& value)
{
    double seconds = 0;
    if (!ReadNumber(value, 1e-9, MAX_DURATION, seconds)) {
        return "seconds above 0, up to 1000000000, for example 2.5";
    }
    options.durationNs = std::llround(seconds * NS_PER_SECOND);
    return {};
}

std::string SetInterval(Options& options, const std::string& value)
{
    return ReadNumber(value, 1, MAX_INTERVAL, options.intervalMs) ? ""
                                                                  : "whole milliseconds from 1 to 3600000";
}

std::string SetQuiet(Options& options, const std::string& /*value*/)
{
    options.quiet = true;
    return {};
}

std::string SetColor(Options& options, const std::string& value)
{
    if (value == "auto") {
        options.color = cli::ColorChoice::AUTO;
    } else if (value == "always") {
        options.color = cli::ColorChoice::ALWAYS;
    } else if (value == "never") {
        options.color = cli::ColorChoice::NEVER;
    } else {
        return "auto, always or never";
    }
    return {};
}

std::string SetPath(std::string& path, const std::string& value, const char* expected)
{
    path = value;
    return value.empty() || value.find('\0') != std::string::npos ? expected : "";
}

std::string SetPlugin(Options& options, const std::string& value)
{
    return SetPath(options.plugin, value, "the path of a library or of a directory");
}

std::string SetOut(Options& options, const std::string& value)
{
    std::string error = SetPath(options.out, value, "the path of a file, or - for standard output");
    if (options.out == "-") {
        options.out.clear();
    }
    return error;
}

std::string SetPerPmu(Options& options, const std::string& /*value*/)
{
    options.perPmu = true;
    return {};
}

std::string SetThreshold(Options& options, const std::string& value)
{
    return ReadNumber(value, 0.0, 1.0, options.threshold) ? "" : "a score from 0 to 1, for example 0.955";
}

std::string SetMapping(Options& options, const std::string& value)
{
    constexpr const char* EXPECTED = "rx_outer=, rx_sccl= or rx_ops_num= and PMU/event/, each event once";
    const std::size_t equals = value.find('=');
    if (equals == std::string::npos || equals + 1 == value.size()) {
        return EXPECTED;
    }
    const std::string event = value.substr(0, equals);
    if (event != "rx_outer" && event != "rx_sccl" && event != "rx_ops_num") {
        return EXPECTED;
    }
    for (const host::EventMapping& mapping : options.mappings) {
        if (mapping.eventName == event) {
            return EXPECTED;
        }
    }
    options.mappings.push_back({event, value.substr(equals + 1)});
    return {};
}

std::string SetSysfsRoot(Options& options, const std::string& value)
{
    return SetPath(options.sysfsRoot, value, "the path of a directory");
}

std::string SetProcfsRoot(Options& options, const std::string& value)
{
    return SetPath(options.procfsRoot, value, "the path of a directory");
}

std::string SetSpeed(Options& options, const std::string& value)
{
    double speed = 0;
    if (value == "max") {
        options.speed.reset();
        return {};
    }
    if (!ReadNumber(value, MIN_SPEED, MAX_SPEED, speed)) {
        return "max, or how many times as fast as recorded, from 0.000001 to 1000000000";
    }
    options.speed = speed;
    return {};
}

std::string SetSeparator(Options& options, const std::string& value)
{
    options.separator = value;
    return host::IsSeparatorText(value)
               ? ""
               : "the 1 to 8 characters after -x of perf stat, none of them a letter, "
                 "a digit, a dot or a line break; \\t is a tab";
}

std::string SetCompare(Options& options, const std::string& value)
{
    return SetPath(options.compare, value, "the path of a recording, or - for standard input");
}

std::string SetSeed(Options& options, const std::string& value)
{
    return ReadNumber<std::uint64_t>(value, 0, UINT64_MAX, options.seed)
               ? ""
               : "a whole number from 0 to 18446744073709551615";
}

std::string SetRule(Options& options, const std::string& value)
{
    options.rules.push_back(value);
    return conformance::FindRule(value) == nullptr ? "the name of a rule, as check shows them" : "";
}

std::string SetRepeat(Options& options, const std::string& /*value*/)
{
    options.repeat = true;
    return {};
}

constexpr unsigned LIVE = CommandBit(Command::LIVE);
constexpr unsigned REPLAY = CommandBit(Command::REPLAY);
constexpr unsigned DEMO = CommandBit(Command::DEMO);
constexpr unsigned DOCTOR = CommandBit(Command::DOCTOR);
constexpr unsigned LIST = CommandBit(Command::LIST);
constexpr unsigned CHECK = CommandBit(Command::CHECK);
constexpr unsigned RUNS = LIVE | REPLAY | DEMO;

}  // namespace

const std::vector<OptionRow>& OptionTable()
{
    static const std::vector<OptionRow> table = {
        {"--format", "table|csv|json", "how periods or verdicts are written (table); check has no csv",
         RUNS | CHECK, false, SetFormat},
        {"--count", "N", "end after N periods", RUNS, false, SetCount},
        {"--duration", "SECONDS", "end with the period that reaches this time", RUNS, false, SetDuration},
        {"--interval", "MS", "length of a period (the plug-in's own, 100 ms)", RUNS, false, SetInterval},
        {"--per-pmu", nullptr, "beneath each period a line per PMU", RUNS, false, SetPerPmu},
        {"--threshold", "SCORE", "the summary counts time below it (0.955)", RUNS, false, SetThreshold},
        {"--out", "FILE", "write periods or verdicts to FILE instead of standard output", RUNS | CHECK, false,
         SetOut},
        {"--quiet", nullptr, "no remarks, no progress; with csv and json no summary", RUNS, false, SetQuiet},
        {"--color", "auto|always|never", "colours in the table (auto: on a terminal)", RUNS, false, SetColor},
        {"--plugin", "PATH", "library, or directory of libraries, that is loaded", RUNS | DOCTOR | LIST,
         false, SetPlugin},
        {"--map", "EVENT=PMU/EVENT/", "count rx_outer, rx_sccl or rx_ops_num with another PMU's event",
         LIVE | DOCTOR, true, SetMapping},
        {"--sysfs-root", "DIR", "where PMUs are looked for (/sys)", LIVE | DOCTOR | LIST, false,
         SetSysfsRoot},
        {"--procfs-root", "DIR", "where the kernel's own counts are looked for (/proc)", LIVE | DOCTOR, false,
         SetProcfsRoot},
        {"--speed", "X|max", "pace of recorded time: 1 is as it was, max does not wait", REPLAY | DEMO, false,
         SetSpeed},
        {"--separator", "SEP", "what separates the fields (found by itself)", REPLAY, false, SetSeparator},
        {"--compare", "FILE2", "set a second recording beside the first", REPLAY, false, SetCompare},
        {"--seed", "N", "another seed tells the same story with other numbers (1)", DEMO, false, SetSeed},
        {"--repeat", nullptr, "tell the story again and again", DEMO, false, SetRepeat},
        {"--rule", "RULE", "examine this rule and what it needs; may be repeated (all)", CHECK, true,
         SetRule},
    };
    return table;
}

}  // namespace numa_score
