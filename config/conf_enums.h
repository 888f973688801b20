// SPDX-License-Identifier: MIT

#ifndef CONFIG_CONF_ENUMS_H
#define CONFIG_CONF_ENUMS_H

#include <cstdint>

#include <map>
#include <string>

#include "common/export.h"

/// Threshold of the log.
enum class SCENARIO_NUMA_EXPORT SysLogLevel : std::int32_t {
    TRACE = 0,
    DEBUG = 1,
    INFO = 2,
    WARN = 3,
    ERROR = 4,
    FATAL = 5
};

/// What is migrated: pages and threads, threads only, pages only.
enum class SCENARIO_NUMA_EXPORT TuneMode : std::int32_t { BOTH = 0, THREAD = 1, PAGE = 2 };

/// How load is laid over the nodes.
enum class SCENARIO_NUMA_EXPORT LoadWay : std::int32_t { BALANCED = 0, CENTRALIZED = 1 };

/// Treatment of hardware threads.
enum class SCENARIO_NUMA_EXPORT SmtAlg : std::int32_t { OFF = 0, PHY_FIRST = 1 };

/// Interrupt tuning; there is no value 1.
enum class SCENARIO_NUMA_EXPORT IrqAlg : std::int32_t { OFF = 0, SOFT = 2 };

/// Tuning algorithm of one process.
enum class SCENARIO_NUMA_EXPORT ProcAlg : std::int32_t {
    BASE = 0,
    MIGRATE_THREADS_TO_ONE_NODE = 1,
    BALANCE_PROC_NUM = 2,
    MIGRATE_THREADS_TO_ONE_SOCKET_AUTO = 3,
    MIGRATE_THREADS_TO_ONE_SOCKET_FIXED = 4,
};

/// Form of the help text that was asked for.
enum class SCENARIO_NUMA_EXPORT HelpType : std::int32_t { OFF = 0, CMD = 1, YAML = 2 };

/// Algorithm policy.
enum class SCENARIO_NUMA_EXPORT Policy : std::int32_t { BASE = 0, CGROUP = 1 };

/// What the viewer puts out.
enum class SCENARIO_NUMA_EXPORT ExportType : std::int32_t { REPORT = 0, CSV = 1, NODE_EXPORTER = 2 };

// The configuration strings of each enumeration, matched exactly. Built when the library is loaded, never
// changed.
extern SCENARIO_NUMA_EXPORT const std::map<SysLogLevel, std::string> g_logLevelMap;
extern SCENARIO_NUMA_EXPORT const std::map<TuneMode, std::string> g_tuneModeMap;
extern SCENARIO_NUMA_EXPORT const std::map<LoadWay, std::string> g_loadWayMap;
extern SCENARIO_NUMA_EXPORT const std::map<SmtAlg, std::string> g_smtAlgMap;
extern SCENARIO_NUMA_EXPORT const std::map<IrqAlg, std::string> g_irqAlgMap;
extern SCENARIO_NUMA_EXPORT const std::map<bool, std::string> g_boolMap;
extern SCENARIO_NUMA_EXPORT const std::map<ProcAlg, std::string> g_procAlgMap;
extern SCENARIO_NUMA_EXPORT const std::map<HelpType, std::string> g_helpTypeMap;
extern SCENARIO_NUMA_EXPORT const std::map<Policy, std::string> g_policyMap;
extern SCENARIO_NUMA_EXPORT const std::map<ExportType, std::string> g_tnstatExportTypeMap;

/// Path of the configuration file.
extern SCENARIO_NUMA_EXPORT const std::string TARNIX_YAML;

/// Message of a successful result that means: the file does not have the key.
extern SCENARIO_NUMA_EXPORT const std::string YAML_WITHOUT_OPT;

#endif  // CONFIG_CONF_ENUMS_H
