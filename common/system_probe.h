// SPDX-License-Identifier: MIT

#ifndef COMMON_SYSTEM_PROBE_H
#define COMMON_SYSTEM_PROBE_H

#include <string>

#include "common/export.h"

/// Makes room for `n` open files: nothing when the soft limit is at least `n` already, otherwise both limits
/// of the process become `n`, the hard one even if it was higher. Lowering the hard limit is for good without
/// CAP_SYS_RESOURCE: call it once, with the largest number needed. False when a limit cannot be read or set.
SCENARIO_NUMA_EXPORT bool SetResourceLimit(unsigned n);

/// Page size in kB, found once; 4 when unknown or smaller. Any thread.
SCENARIO_NUMA_EXPORT int GetPageSizeKb();

/// kB to MB. Any thread.
SCENARIO_NUMA_EXPORT float Kb2Mb(float kb);

/// "major.minor" of the running kernel as /proc/version tells it; empty when it cannot be told. Any thread.
SCENARIO_NUMA_EXPORT std::string GetKernelVersion();

#endif  // COMMON_SYSTEM_PROBE_H
