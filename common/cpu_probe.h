// SPDX-License-Identifier: MIT

#ifndef COMMON_CPU_PROBE_H
#define COMMON_CPU_PROBE_H

#include <cstdint>

#include "common/export.h"

/// True if the first word of /sys/devices/system/cpu/smt/active is "1". Any thread.
SCENARIO_NUMA_EXPORT bool IsSmtEnable();

/// The physical package id of a CPU; -1 when its file is missing, malformed or beyond the range of int. Any
/// thread.
SCENARIO_NUMA_EXPORT int GetCpuPhyPacketId(const unsigned& cpu);

/// The processor by the first implementer and part in /proc/cpuinfo: 0, 1 or 2 for the three recognised parts
/// of implementer 0x48 (0xd01, 0xd02, 0xd06), 4 for every other, for malformed text and without the file. Any
/// thread.
SCENARIO_NUMA_EXPORT uint8_t ProcfsGetCpuType();

#endif  // COMMON_CPU_PROBE_H
