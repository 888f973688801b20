// SPDX-License-Identifier: MIT

#ifndef TOOLS_NUMA_SCORE_OPTIONS_H
#define TOOLS_NUMA_SCORE_OPTIONS_H

#include <cstdint>

#include <optional>
#include <string>
#include <vector>

#include "host/live_source.h"
#include "tools/cli/terminal.h"

namespace numa_score {

enum class Command { LIVE, REPLAY, DEMO, DOCTOR, LIST, CHECK };

/// Name of a command as it is typed.
const char* CommandName(Command command);

enum class Format { TABLE, CSV, JSON };

/// What the command line asks for.
struct Options {
    Command command = Command::DEMO;
    Format format = Format::TABLE;
    std::optional<std::uint64_t> count;      ///< periods
    std::optional<std::int64_t> durationNs;  ///< of time, recorded time in replay and demo
    std::int32_t intervalMs = 0;             ///< 0: the plug-in's own period
    bool quiet = false;
    cli::ColorChoice color = cli::ColorChoice::AUTO;
    std::string plugin;  ///< file or directory; empty: search
    std::string out;     ///< file; empty: standard output
    bool perPmu = false;
    double threshold = 0.955;

    std::vector<host::EventMapping> mappings;  ///< live
    std::string sysfsRoot = "/sys";            ///< live, doctor, list
    std::string procfsRoot = "/proc";          ///< live, doctor

    std::string recording;        ///< replay
    std::string separator;        ///< replay; empty: found by itself
    std::string compare;          ///< replay; second recording
    std::optional<double> speed;  ///< replay and demo; absent: as fast as possible

    std::uint64_t seed = 1;  ///< demo
    bool repeat = false;     ///< demo

    std::string checked;             ///< check; library
    std::vector<std::string> rules;  ///< check; ids, empty for all
};

/// What becomes of a command line.
struct CommandLine {
    std::optional<Options> options;  ///< absent: the program ends at once
    int status = 0;                  ///< its exit status then
    std::string out;                 ///< for standard output then: help, version
    std::string error;               ///< one line for standard error then
    std::string hint;                ///< another line: where to read on
};

/// Takes a command line apart; `argv` as main gets it. Prints nothing.
CommandLine ParseCommandLine(int argc, const char* const* argv);

}  // namespace numa_score

#endif  // TOOLS_NUMA_SCORE_OPTIONS_H
