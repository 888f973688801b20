// SPDX-License-Identifier: MIT

#ifndef CONFIG_STRUCTURED_READERS_H
#define CONFIG_STRUCTURED_READERS_H

#include "common/export.h"
#include "config/conf.h"
#include "config/parse_input.h"
#include "config/tn_result.h"

// The parse functions of the keys that hold more than a scalar or a list of patterns. They read the file
// only; on the command line they succeed without doing anything. An absent key is code 0 with a message that
// says so. Nothing is thrown but std::bad_alloc.

/// The key "process": entries are appended to `conf.process`, under their names and in the order of the file.
/// On a failure the entries before the failing one stay.
SCENARIO_NUMA_EXPORT TnResult ParseCfgProcess(const ParseInput& input, Conf& conf);

/// ParseCfgProcess without looking at the stage.
SCENARIO_NUMA_EXPORT TnResult ParseYamlProcess(const ParseInput& input, Conf& conf);

/// The key "numa-ratio": replaces `conf.numaRatio`. On a failure the figures before the failing one keep
/// their values and the rest are 0.
SCENARIO_NUMA_EXPORT TnResult ParseCfgNumaRatio(const ParseInput& input, Conf& conf);

/// The key "group": replaces `conf.group`, or leaves it on a failure.
SCENARIO_NUMA_EXPORT TnResult ParseCfgGroup(const ParseInput& input, Conf& conf);

#endif  // CONFIG_STRUCTURED_READERS_H
