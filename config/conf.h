// SPDX-License-Identifier: MIT

#ifndef CONFIG_CONF_H
#define CONFIG_CONF_H

#include <cstdint>

#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "common/export.h"
#include "config/conf_enums.h"
#include "config/tn_result.h"

/// Settings for one process, an entry of the key "process".
struct ProcConf {
    std::uint32_t confId = 0;       ///< position among the entries of the same name, from 1; 0: from no entry
    std::uint32_t needTune = 1;     ///< 1: tuned, 0: excluded by blacklist or whitelist
    std::string paramsRegex;        ///< pattern that the whole command line must match
    std::string netAffinity;        ///< network interface whose NUMA node the process follows; empty: none
    bool migrateAllMemory = false;  ///< migrate all of the process's memory
    std::int32_t netAffinityNode = -1;  ///< node of netAffinity, filled by Conf::IntervalVarInit; -1: unknown
    std::int32_t defaultMigMemNode = -1;  ///< node to migrate memory to; -1: none given
    ProcAlg algorithm = ProcAlg::BASE;
};

/// The whole configuration of the tool. Filled on one thread at start or reload, only read afterwards;
/// carries no lock. A plain record apart from the three operations.
struct SCENARIO_NUMA_EXPORT Conf {
    /// Derives the run-time values of a parsed configuration: the NUMA node of each process entry's network
    /// interface. Code 1 with "net affinity node not found, net_name: " and the name at the first unknown
    /// one.
    TnResult IntervalVarInit();

    /// Settings for the process with the short name `name` and the command line `cmdline`: the first entry of
    /// that name whose pattern matches the whole command line, the defaults where there is none, the defaults
    /// with needTune 0 when the lists exclude the name. Compiles each pattern anew; one that does not compile
    /// matches nothing.
    ProcConf GetProcConf(const std::string& name, const std::string& cmdline) const;

    /// Whether the combination of settings may run; `underKovari` tells whether the tool runs under the
    /// framework. Reports the first failing check, its message followed by a line break. Changes nothing.
    TnResult IsValid(bool underKovari) const;

    std::string confInfo;     ///< configuration report, filled by the controller
    std::string helpInfo;     ///< help text of the kind asked for, filled by the controller
    std::string versionInfo;  ///< version text, filled by the controller
    std::uint32_t minNumaScore = 955;
    std::uint32_t maxNumaScore = 975;
    std::uint32_t minRxOpsPerMs = 10000;
    std::uint32_t samplingInterval = 100;  ///< milliseconds
    std::uint32_t watchdogTimeout = 10;    ///< seconds
    std::uint32_t samplingTimes = 10;      ///< sampling intervals per tune period
    std::uint32_t spePeriod = 2048;
    std::uint32_t pageReserve = 100000;
    std::uint32_t snapshotInterval = 60;  ///< tune periods; 0: no snapshots
    bool reload = false;
    bool version = false;
    bool preciseLoad = false;
    bool memNumaAggregation = false;
    bool memBalance = false;
    bool bindSocket = false;
    bool metrics = true;
    bool clusterSchedule = false;
    std::string logFile = "stdout";
    HelpType help = HelpType::OFF;
    SysLogLevel logLevel = SysLogLevel::INFO;
    TuneMode tuneMode = TuneMode::BOTH;
    LoadWay loadWay = LoadWay::BALANCED;
    SmtAlg smt = SmtAlg::PHY_FIRST;
    IrqAlg irq = IrqAlg::OFF;
    Policy policy = Policy::BASE;
    std::vector<std::uint32_t> numaRatio;
    std::vector<std::unordered_set<std::string>> group;  ///< process names that stay together
    std::unordered_set<std::string> blacklist;           ///< patterns of process names
    std::unordered_set<std::string> whitelist;           ///< patterns of process names; empty: all
    std::unordered_map<std::string, std::vector<ProcConf>> process;
};

/// Whether a process of this name is tuned at all: not when the whole name matches a pattern of `blacklist`,
/// else when `whitelist` is empty or one of its patterns matches. Patterns that do not compile match nothing.
SCENARIO_NUMA_EXPORT bool IsNeedTune(const std::string& name,
                                     const std::unordered_set<std::string>& whitelist,
                                     const std::unordered_set<std::string>& blacklist);

/// Settings of the viewer.
struct SCENARIO_NUMA_EXPORT TnStatConf {
    /// Always valid; address and port are checked when they are parsed.
    TnResult IsValid() const;

    std::string confInfo;
    std::string helpInfo;
    std::string versionInfo;
    bool help = false;
    bool repeat = false;
    ExportType exportType = ExportType::REPORT;
    std::string ip = "0.0.0.0";
    std::uint32_t port = 9101;
};

/// The built-in defaults; a fresh configuration starts as a copy.
extern SCENARIO_NUMA_EXPORT const Conf g_defaultConf;
extern SCENARIO_NUMA_EXPORT const ProcConf g_defaultProcConf;

#endif  // CONFIG_CONF_H
