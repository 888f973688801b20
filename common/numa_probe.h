// SPDX-License-Identifier: MIT

#ifndef COMMON_NUMA_PROBE_H
#define COMMON_NUMA_PROBE_H

#include "common/export.h"

/// Free memory of a node in kB; 0 when the node does not exist or its figure is missing or malformed. Any
/// thread.
SCENARIO_NUMA_EXPORT unsigned long GetNumaFreeMem(int node);

/// True if the kernel's automatic NUMA balancing is on ("1"); false as well when the switch is missing. Any
/// thread.
SCENARIO_NUMA_EXPORT bool ProcfsIsNbEnable();

/// Turns automatic NUMA balancing of the whole system on or off. Reports nothing: who must know reads it back
/// with ProcfsIsNbEnable. Main thread only, since it changes a setting of the system.
SCENARIO_NUMA_EXPORT void ProcfsChangeNbState(bool on);

#endif  // COMMON_NUMA_PROBE_H
