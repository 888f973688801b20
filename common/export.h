// SPDX-License-Identifier: MIT

#ifndef COMMON_EXPORT_H
#define COMMON_EXPORT_H

/// Marks what libscenario_numa.so exports, as scenario/export.h does; the rooms include nothing of each
/// other.
#define SCENARIO_NUMA_EXPORT __attribute__((visibility("default")))

#endif  // COMMON_EXPORT_H
