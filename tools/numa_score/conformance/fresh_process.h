// SPDX-License-Identifier: MIT

#ifndef TOOLS_NUMA_SCORE_CONFORMANCE_FRESH_PROCESS_H
#define TOOLS_NUMA_SCORE_CONFORMANCE_FRESH_PROCESS_H

#include <functional>
#include <string>

namespace conformance {

struct FreshResult {
    std::string text;   ///< what the function returned, its first 64 KiB
    std::string fault;  ///< why there is none, what the function raised for example; mostly empty
};

/// Calls `function` in a copy of this process, for what a host does once in the life of a process: what it
/// loads is not loaded here. This process has one thread and no plug-in in it. When the copy dies of a
/// signal, this process does too; when it ends early, this one ends with that status.
FreshResult InFreshProcess(const std::function<std::string()>& function);

}  // namespace conformance

#endif  // TOOLS_NUMA_SCORE_CONFORMANCE_FRESH_PROCESS_H
