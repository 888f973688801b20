// SPDX-License-Identifier: MIT

#ifndef SCENARIO_EXPORT_H
#define SCENARIO_EXPORT_H

/// Marks what libscenario_numa.so exports; everything else stays hidden. The linker's version script
/// (scenario/exports.map) holds the same list and a test compares the two with the built library.
#define SCENARIO_NUMA_EXPORT __attribute__((visibility("default")))

#endif  // SCENARIO_EXPORT_H
