// SPDX-License-Identifier: MIT

#ifndef TOOLS_NUMA_SCORE_CONFORMANCE_THIS_PROGRAM_H
#define TOOLS_NUMA_SCORE_CONFORMANCE_THIS_PROGRAM_H

#include <spawn.h>
#include <sys/types.h>

#include <string>
#include <vector>

namespace conformance {

/// Starts this program anew with these arguments behind its name. A copy made by fork() would not do:
/// libraries start threads before main() is reached, and the copy has the locks that these hold, but not the
/// threads. `attributes` may be null. 0 and the process in `pid`, or the errno of the failure.
int StartThisProgram(std::vector<std::string> arguments, const posix_spawn_file_actions_t& actions,
                     const posix_spawnattr_t* attributes, pid_t& pid);

}  // namespace conformance

#endif  // TOOLS_NUMA_SCORE_CONFORMANCE_THIS_PROGRAM_H
