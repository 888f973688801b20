// SPDX-License-Identifier: MIT

#ifndef TOOLS_NUMA_SCORE_CONFORMANCE_RULE_PROCESS_H
#define TOOLS_NUMA_SCORE_CONFORMANCE_RULE_PROCESS_H

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <optional>
#include <string>

#include "tools/numa_score/conformance/rules.h"
#include "tools/numa_score/conformance/verdict.h"

namespace conformance {

/// First argument of a process of this program that examines one rule; the id of the rule and the path of the
/// plug-in follow. No part of the command line that people use.
constexpr const char* RULE_PROCESS_ARGUMENT = "--examine-rule";

/// First argument of a process of this program that examines a part of a rule for such a process; the id of
/// the part and the path of the plug-in follow.
constexpr const char* PART_PROCESS_ARGUMENT = "--examine-part";

/// The descriptor that such processes find their notes on.
constexpr int NOTES_DESCRIPTOR = 3;

/// The time that the examination of one rule may take.
constexpr std::chrono::seconds RULE_LIMIT(10);

/// The time in which a rule does what it repeats for certainty's sake; the calls that it cannot do without
/// may take the rest.
constexpr std::chrono::seconds REPEAT_LIMIT(5);

/// How a process ended.
struct ProcessEnd {
    enum class Kind { EXITED, SIGNALLED, TIMED_OUT, INTERRUPTED, NOT_STARTED };
    Kind kind = Kind::NOT_STARTED;
    int number = 0;  ///< exit status, signal, or errno of the start
};

/// Examines one rule in a process of its own, which is a new one of this program. Whatever the plug-in does
/// there, it ends after RULE_LIMIT at the latest, or once `stopRequested` says so, and with it all processes
/// that the plug-in started, daemons too. The caller has no other thread that starts processes or waits for
/// them. SIGCHLD does what it does in a plain program from then on.
Verdict ExamineInProcess(const Rule& rule, const std::string& path,
                         const std::function<bool()>& stopRequested);

/// How a process ended of which waitpid() tells this.
ProcessEnd EndOf(int waitStatus);

/// Why there was no process to examine a rule in, or no part of one: it ended like this before it began, out
/// of descriptors for example.
std::string NotBegun(const ProcessEnd& end);

/// The verdict on a rule whose process `pid` ended like this and left these notes.
Verdict Judge(const ProcessEnd& end, const Notes& notes, pid_t pid);

/// What a process does that was started with the argument `what`, RULE_PROCESS_ARGUMENT or
/// PART_PROCESS_ARGUMENT: examines, notes the verdict or leaves the answer, ends. Returns its exit status
/// when it could not, and nothing, at once, when `what` is another argument.
std::optional<int> ExamineHere(const char* what, const char* id, const char* path);

}  // namespace conformance

#endif  // TOOLS_NUMA_SCORE_CONFORMANCE_RULE_PROCESS_H
