// SPDX-License-Identifier: MIT

#ifndef CONFIG_VALIDATION_H
#define CONFIG_VALIDATION_H

#include <cstdint>

#include <string>
#include <vector>

#include "common/export.h"
#include "config/conf.h"
#include "config/tn_result.h"

// The checks that Conf::IsValid runs, in its order. Each answers code 0 with an empty message, or 1 with what
// is wrong. None changes the configuration.

/// `value` between `min` and `max`, both included; `name` begins the message.
SCENARIO_NUMA_EXPORT TnResult CheckRangeUint(const std::string& name, std::uint32_t value, std::uint32_t min,
                                             std::uint32_t max);

/// With precise load every ratio is at most 100.
SCENARIO_NUMA_EXPORT TnResult CheckNumaRatio(bool preciseLoad, const std::vector<std::uint32_t>& ratios);

/// Scores in order and at most 1000.
SCENARIO_NUMA_EXPORT TnResult CheckNumaScore(std::uint32_t min, std::uint32_t max);

/// What mem-balance excludes.
SCENARIO_NUMA_EXPORT TnResult CheckMemBalance(const Conf& conf);

/// The log file has a name.
SCENARIO_NUMA_EXPORT TnResult CheckLogFile(const Conf& conf);

/// cluster-schedule needs the policy cgroup.
SCENARIO_NUMA_EXPORT TnResult CheckClusterSchedule(const Conf& conf);

/// Under the framework the sampling interval is a multiple of 100 ms.
SCENARIO_NUMA_EXPORT TnResult CheckKovariInterval(std::uint32_t interval);

/// What bind-socket and the one-socket algorithms of process entries exclude.
SCENARIO_NUMA_EXPORT TnResult CheckBindSocket(const Conf& conf);

/// What migrate-all-memory of a process entry needs and excludes.
SCENARIO_NUMA_EXPORT TnResult CheckProcConfValid(const Conf& conf);

#endif  // CONFIG_VALIDATION_H
