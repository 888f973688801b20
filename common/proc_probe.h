// SPDX-License-Identifier: MIT

#ifndef COMMON_PROC_PROBE_H
#define COMMON_PROC_PROBE_H

#include <cstdint>
#include <string>
#include <vector>

#include "common/export.h"

/// What /proc/<pid>/status says about a process.
struct ProcStatus {
    std::string name;   ///< as the kernel writes it there: line breaks and backslashes escaped
    uint32_t ppid = 0;  ///< parent process id
};

// The names and arguments of processes are anybody's bytes: whoever puts them into a message escapes them
// first.

/// The first line of /proc/<pid>/comm, raw; "_unknown" when it cannot be read. A name that begins with a line
/// break gives "". Any thread.
SCENARIO_NUMA_EXPORT std::string ProcfsGetComm(int pid);

/// Sets `status` from /proc/<pid>/status. A "Name:" or "PPid:" that is absent or malformed leaves its field
/// as it was. False when the file cannot be read. Any thread.
SCENARIO_NUMA_EXPORT bool GetProcStatus(unsigned long pid, ProcStatus& status);

/// The arguments of a process joined with one blank each, without the final NUL; empty when there are none or
/// they cannot be read. At most the first 8 MiB, more than any program can be started with. Any thread; may
/// wait for the process's memory lock, so never call it while holding a lock that others need.
SCENARIO_NUMA_EXPORT std::string GetCmdline(int pid);

/// Pages of a process per NUMA node: `perNode` gets `nodes` entries, each the sum of the N<node>=<pages>
/// entries of all mappings in /proc/<pid>/numa_maps; other nodes are ignored and sums stop at UINT_MAX. A
/// mapping of huge pages counts huge pages. False, with zeros, when the file cannot be read; false and empty
/// when `nodes` is 0 or less. Any thread, under the rule of GetCmdline.
SCENARIO_NUMA_EXPORT bool ProcessGetMemDistribution(int pid, std::vector<unsigned>& perNode, int nodes);

#endif  // COMMON_PROC_PROBE_H
