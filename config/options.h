// SPDX-License-Identifier: MIT

#ifndef CONFIG_OPTIONS_H
#define CONFIG_OPTIONS_H

#include "common/export.h"
#include "config/option.h"

// One builder per option, in the order of the registry. Each describes its option completely: letter, long
// name and key, help, attributes, and the function that reads its value. Where help names a default it is
// taken from g_defaultConf. A builder of an option without a letter gives it the number 1000; the registry
// makes it unique.

SCENARIO_NUMA_EXPORT Option GetPolicyOpt();
SCENARIO_NUMA_EXPORT Option GetSamplingIntervalOpt();
SCENARIO_NUMA_EXPORT Option GetSamplingTimesOpt();
SCENARIO_NUMA_EXPORT Option GetSpePeriodOpt();
SCENARIO_NUMA_EXPORT Option GetLogLevelOpt();
SCENARIO_NUMA_EXPORT Option GetWatchdogTimeoutOpt();
SCENARIO_NUMA_EXPORT Option GetLogFileOpt();
SCENARIO_NUMA_EXPORT Option GetSnapshotIntervalOpt();
SCENARIO_NUMA_EXPORT Option GetMetricsOpt();
SCENARIO_NUMA_EXPORT Option GetTuneModeOpt();
SCENARIO_NUMA_EXPORT Option GetLoadWayOpt();
SCENARIO_NUMA_EXPORT Option GetBindSocketOpt();
SCENARIO_NUMA_EXPORT Option GetSmtOpt();
SCENARIO_NUMA_EXPORT Option GetIrqOpt();
SCENARIO_NUMA_EXPORT Option GetHelpOpt();
SCENARIO_NUMA_EXPORT Option GetClusterScheduleOpt();
SCENARIO_NUMA_EXPORT Option GetVersionOpt();
SCENARIO_NUMA_EXPORT Option GetWhitelistOpt();
SCENARIO_NUMA_EXPORT Option GetBlacklistOpt();
SCENARIO_NUMA_EXPORT Option GetGroupOpt();
SCENARIO_NUMA_EXPORT Option GetMinNumaScoreOpt();
SCENARIO_NUMA_EXPORT Option GetMaxNumaScoreOpt();
SCENARIO_NUMA_EXPORT Option GetMinRxOpsPerMsOpt();
SCENARIO_NUMA_EXPORT Option GetNumaRatioOpt();
SCENARIO_NUMA_EXPORT Option GetPageReserveOpt();
SCENARIO_NUMA_EXPORT Option GetPreciseLoadOpt();
SCENARIO_NUMA_EXPORT Option GetMemNumaAggregationOpt();
SCENARIO_NUMA_EXPORT Option GetMemBalanceOpt();
SCENARIO_NUMA_EXPORT Option GetReloadOpt();
SCENARIO_NUMA_EXPORT Option GetProcessOpt();

SCENARIO_NUMA_EXPORT Option GetTnstatExportOpt();
SCENARIO_NUMA_EXPORT Option GetTnstatHelpOpt();
SCENARIO_NUMA_EXPORT Option GetTnstatRepeatOpt();
SCENARIO_NUMA_EXPORT Option GetTnstatIpOpt();
SCENARIO_NUMA_EXPORT Option GetTnstatPortOpt();

#endif  // CONFIG_OPTIONS_H
