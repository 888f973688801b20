// SPDX-License-Identifier: MIT

#ifndef TOOLS_NUMA_SCORE_CONFORMANCE_FRESH_PROCESS_H
#define TOOLS_NUMA_SCORE_CONFORMANCE_FRESH_PROCESS_H

#include <functional>
#include <string>

namespace conformance {

/// The descriptor that a process which examines a part of a rule leaves its answer on.
constexpr int ANSWER_DESCRIPTOR = 4;

struct FreshResult {
    std::string text;   ///< what the part says, its first 64 KiB
    std::string fault;  ///< why it says nothing, what it raised for example; mostly empty
};

/// Examines a part of a rule in a new process of this program, for what a host does once in the life of a
/// process: what it loads is not loaded here. To be called in the process that examines the rule; both write
/// to the same notes, NOTES_DESCRIPTOR. When the new process dies of a signal, this one does too; when it
/// ends early, this one ends with that status. When it ends before it has begun, that is a fault: no plug-in
/// was in it.
FreshResult InFreshProcess(const std::string& part, const std::string& path);

/// What such a process does in the end: leaves the text of the function on ANSWER_DESCRIPTOR, or that of the
/// exception that it raised, and ends with status 0.
[[noreturn]] void AnswerAndEnd(const std::function<std::string()>& function);

}  // namespace conformance

#endif  // TOOLS_NUMA_SCORE_CONFORMANCE_FRESH_PROCESS_H
