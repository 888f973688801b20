// SPDX-License-Identifier: MIT

#include "config/options.h"

#include "config/conf.h"
#include "config/conf_enums.h"
#include "config/option_builders.h"
#include "config/structured_readers.h"
#include "config/validation_limits.h"

namespace {

using option_builders::Attrs;
using option_builders::Bool;
using option_builders::Described;
using option_builders::Enum;
using option_builders::Patterns;
using option_builders::Uint;
using option_builders::WITHOUT_LETTER;

constexpr OptAttr CMD = OptAttr::CMD;
constexpr OptAttr SHORT = OptAttr::SHORT_OPT;
constexpr OptAttr LONG = OptAttr::LONG_OPT;
constexpr OptAttr ARG = OptAttr::REQUIRED_ARG;
constexpr OptAttr IN_FILE = OptAttr::YAML;
constexpr OptAttr RELOAD = OptAttr::RELOAD;
constexpr OptAttr ALONE = OptAttr::ALONE;
constexpr OptAttr KOVARI = OptAttr::KOVARI;

std::string Text(std::uint32_t value)
{
    return std::to_string(value);
}

std::string Range(std::uint32_t min, std::uint32_t max)
{
    return "[" + Text(min) + ", " + Text(max) + "]";
}

/// An option that stands only in the file and is described as it stands there.
Option FileUint(const char* name, const char* key, const std::string& yamlHelp, const Attrs& attrs,
                std::uint32_t Conf::*field)
{
    Option opt = Uint({name, WITHOUT_LETTER, key, "<n>"}, attrs, {}, field);
    opt.yamlHelp = yamlHelp;
    return opt;
}

Option Structured(const char* name, const char* key, const std::string& yamlHelp,
                  TnResult (*parse)(const ParseInput&, Conf&))
{
    Option opt = Described({name, WITHOUT_LETTER, key, ""}, {IN_FILE, ALONE, KOVARI}, {}, {});
    opt.yamlHelp = yamlHelp;
    opt.parseFunc = parse;
    return opt;
}

}  // namespace

Option GetPolicyOpt()
{
    return Enum({"PolicyOpt", 'p', "policy", ""}, {IN_FILE, ALONE, CMD, LONG, SHORT, ARG},
                "algorithm policy. Support two policies(base, cgroup), default is " +
                    g_policyMap.at(g_defaultConf.policy) + ".\n",
                "<base|cgroup> # ", g_policyMap, &Conf::policy);
}

Option GetSamplingIntervalOpt()
{
    return Uint(
        {"IntervalOpt", 'i', "sampling-interval", "<n>"}, {CMD, SHORT, LONG, ARG, IN_FILE, ALONE, KOVARI},
        "every sampling interval n msec, range is " + Range(MIN_SAMPLING_INTERVAL, MAX_SAMPLING_INTERVAL) +
            ", default is " + Text(g_defaultConf.samplingInterval) + "\n",
        &Conf::samplingInterval);
}

Option GetSamplingTimesOpt()
{
    return Uint(
        {"SamplingTimesOpt", 't', "sampling-times", "<n>"}, {CMD, SHORT, LONG, ARG, IN_FILE, ALONE, KOVARI},
        "every optimizing have n times sampling, range is " + Range(MIN_SAMPLING_TIMES, MAX_SAMPLING_TIMES) +
            " default is " + Text(g_defaultConf.samplingTimes) + "\n",
        &Conf::samplingTimes);
}

Option GetSpePeriodOpt()
{
    return Uint({"SpePeriodOpt", 's', "spe-period", "<n>"}, {CMD, SHORT, LONG, ARG, IN_FILE, ALONE},
                "spe period for sampling, range is " + Range(MIN_SPE_PERIOD, MAX_SPE_PERIOD) +
                    ", default is " + Text(g_defaultConf.spePeriod) + "\n",
                &Conf::spePeriod);
}

Option GetLogLevelOpt()
{
    return Enum({"LogLevelOpt", 'l', "log-level", "<level>"}, {CMD, SHORT, LONG, ARG, IN_FILE, RELOAD, ALONE},
                "log level, level can be [trace, debug, info, warn, error, fatal], default is " +
                    g_logLevelMap.at(g_defaultConf.logLevel) + "\n",
                "<level> # ", g_logLevelMap, &Conf::logLevel);
}

Option GetWatchdogTimeoutOpt()
{
    return FileUint("WatchdogTimeoutOpt", "watchdog-timeout",
                    "<n> watchdog timeout(seconds), range is " +
                        Range(MIN_WATCHDOG_TIMEOUT, MAX_WATCHDOG_TIMEOUT) + " default is " +
                        Text(g_defaultConf.watchdogTimeout) + "\n",
                    {IN_FILE, ALONE}, &Conf::watchdogTimeout);
}

Option GetLogFileOpt()
{
    Option opt = Described({"LogFileOpt", WITHOUT_LETTER, "log-file", "<file>"}, {CMD, LONG, ARG, ALONE},
                           "log file, suggest use /var/log/tarnix/tarnix.log or stdout, default is " +
                               g_defaultConf.logFile + "\n",
                           "<file> # ");
    opt.parseFunc = [key = opt.longOpt](const ParseInput& input, Conf& conf) {
        return CommonGetString(input, key, conf.logFile);
    };
    return opt;
}

Option GetSnapshotIntervalOpt()
{
    return Uint({"SnapshotIntervalOpt", WITHOUT_LETTER, "snapshot-interval", "<n>"},
                {CMD, LONG, ARG, IN_FILE, ALONE, KOVARI},
                "every n tune period will record a snapshot, range is " +
                    Range(MIN_SNAPSHOT_INTERVAL, MAX_SNAPSHOT_INTERVAL) + ", default is " +
                    Text(g_defaultConf.snapshotInterval) + ", 0 means disable\n",
                &Conf::snapshotInterval);
}

Option GetMetricsOpt()
{
    return Bool({"MetricsOpt", WITHOUT_LETTER, "metrics", "<true|false>"},
                {CMD, LONG, IN_FILE, ALONE, KOVARI},
                "enable metrics and you can use tnstat to export metrics, default is " +
                    g_boolMap.at(g_defaultConf.metrics) + "\n",
                &Conf::metrics);
}

Option GetTuneModeOpt()
{
    return Enum({"TuneModeOpt", 'm', "tune-mode", "<mode>"}, {CMD, SHORT, LONG, ARG, IN_FILE, ALONE, KOVARI},
                "tune mode, mode can be [b, t, p], default is " + g_tuneModeMap.at(g_defaultConf.tuneMode) +
                    "\n"
                    "b: migrate page and thread\n"
                    "t: migrate thread only\n"
                    "p: migrate page only\n",
                "<mode> # ", g_tuneModeMap, &Conf::tuneMode);
}

Option GetLoadWayOpt()
{
    return Enum({"LoadAlgOpt", 'w', "load-way", "<alg>"}, {CMD, SHORT, LONG, ARG, IN_FILE, ALONE, KOVARI},
                "load way, can be [b, c], default is " + g_loadWayMap.at(g_defaultConf.loadWay) +
                    "\n"
                    "b: balance the load of threads on all numa nodes\n"
                    "c: centralize processes to fewer numas based on load \n",
                "<alg> # ", g_loadWayMap, &Conf::loadWay);
}

Option GetBindSocketOpt()
{
    return Bool(
        {"SocketOpt", WITHOUT_LETTER, "bind-socket", ""}, {IN_FILE, ALONE, KOVARI},
        "bind-socket mode, can be [true, false], default is " + g_boolMap.at(g_defaultConf.bindSocket) + "\n",
        &Conf::bindSocket);
}

Option GetSmtOpt()
{
    return Enum({"SmtAlgOpt", WITHOUT_LETTER, "smt", "<alg>"}, {CMD, LONG, ARG, IN_FILE, ALONE, KOVARI},
                "smt mode, can be [off, phy-first], default is " + g_smtAlgMap.at(g_defaultConf.smt) +
                    "\n"
                    "off: disable smt\n"
                    "phy-first: migrate threads to physical cores first, may limit load\n",
                "<alg> # ", g_smtAlgMap, &Conf::smt);
}

Option GetIrqOpt()
{
    return Enum({"IrqTuneOpt", WITHOUT_LETTER, "irq", "<mode>"}, {CMD, LONG, ARG, IN_FILE, ALONE},
                "irq mode, can be [o, s], default is " + g_irqAlgMap.at(g_defaultConf.irq) +
                    "\n"
                    "o: disable irq tune\n"
                    "s: soft irq tune for network\n",
                "<mode> # ", g_irqAlgMap, &Conf::irq);
}

Option GetHelpOpt()
{
    return Enum({"ShowHelpOpt", 'h', "help", "<type>"}, {CMD, SHORT, LONG, ARG, ALONE, KOVARI},
                "show help info, type can be [cmd, yaml], default is cmd\n", {}, g_helpTypeMap, &Conf::help);
}

Option GetClusterScheduleOpt()
{
    return Bool({"ClusterScheduleOpt", WITHOUT_LETTER, "cluster-schedule", ""}, {IN_FILE, ALONE, CMD, LONG},
                "enable cluster schedule, default is " + g_boolMap.at(g_defaultConf.clusterSchedule) +
                    ". Only support policy=cgroup\n",
                &Conf::clusterSchedule);
}

Option GetVersionOpt()
{
    Option opt = Described({"ShowVersionOpt", 'v', "version", ""}, {CMD, SHORT, LONG, ALONE, KOVARI},
                           "show version info\n", {});
    opt.parseFunc = [](const ParseInput&, Conf& conf) {
        conf.version = true;
        return TnResult();
    };
    return opt;
}

Option GetWhitelistOpt()
{
    return Patterns(
        {"WhitelistOpt", 'W', "whitelist", "<process name list>"},
        {CMD, SHORT, LONG, ARG, IN_FILE, ALONE, KOVARI},
        "only migrate process in the list, regexp list split by comma, if not set, migrate all process.\n",
        &Conf::whitelist);
}

Option GetBlacklistOpt()
{
    return Patterns(
        {"BlacklistOpt", 'b', "blacklist", "<process name list>"},
        {CMD, SHORT, LONG, ARG, IN_FILE, ALONE, KOVARI},
        "do not migrate process in the list, regexp list split by comma, priority higher than whitelist.\n",
        &Conf::blacklist);
}

Option GetGroupOpt()
{
    return Structured("GroupOpt", "group",
                      "# process affinity group\n"
                      "- [process1, process2, ...]\n",
                      ParseCfgGroup);
}

Option GetMinNumaScoreOpt()
{
    return FileUint("MinNumaScoreOpt", "min-numa-score",
                    "<n> # min numa score, range is [0 ," + Text(MAX_NUMA_SCORE) + "], default is " +
                        Text(g_defaultConf.minNumaScore) + "\n",
                    {IN_FILE, ALONE, KOVARI}, &Conf::minNumaScore);
}

Option GetMaxNumaScoreOpt()
{
    return FileUint("MaxNumaScoreOpt", "max-numa-score",
                    "<n> # max numa score, range is " + Range(0, MAX_NUMA_SCORE) + ", default is " +
                        Text(g_defaultConf.maxNumaScore) + "\n",
                    {IN_FILE, ALONE, KOVARI}, &Conf::maxNumaScore);
}

Option GetMinRxOpsPerMsOpt()
{
    return FileUint("MinRxOpsPerMsOpt", "min-rx-ops-per-ms",
                    "<n> # min rx ops per ms, default is " + Text(g_defaultConf.minRxOpsPerMs) + "\n",
                    {IN_FILE, ALONE, KOVARI}, &Conf::minRxOpsPerMs);
}

Option GetNumaRatioOpt()
{
    return Structured("NumaRatioOpt", "numa-ratio", "[] # process initial load distribution for each node\n",
                      ParseCfgNumaRatio);
}

Option GetPageReserveOpt()
{
    return Uint({"PageReserveOpt", WITHOUT_LETTER, "page-reserve", "<n>"}, {IN_FILE, ALONE, KOVARI},
                "page reserve, range is " + Range(MIN_PAGE_RESERVE, MAX_PAGE_RESERVE) + ", default is " +
                    Text(g_defaultConf.pageReserve) + "\n",
                &Conf::pageReserve);
}

Option GetPreciseLoadOpt()
{
    return Bool({"PreciseLoadOpt", WITHOUT_LETTER, "precise-load", ""}, {CMD, LONG, IN_FILE, ALONE, KOVARI},
                "load control precisely\n", &Conf::preciseLoad);
}

Option GetMemNumaAggregationOpt()
{
    return Bool({"MemMigAggregationOpt", WITHOUT_LETTER, "mem-numa-aggregation", ""},
                {CMD, LONG, IN_FILE, ALONE, KOVARI}, "process memory aggregate by numa\n",
                &Conf::memNumaAggregation);
}

Option GetMemBalanceOpt()
{
    return Bool({"MemBalanceOpt", WITHOUT_LETTER, "mem-balance", ""}, {CMD, LONG, IN_FILE, ALONE, KOVARI},
                "process memory average by numa\n", &Conf::memBalance);
}

Option GetReloadOpt()
{
    Option opt = Bool({"ReloadOpt", WITHOUT_LETTER, "reload", ""}, {CMD, LONG, ALONE},
                      "reload yaml config, only support log-level\n", &Conf::reload);
    opt.yamlHelp.clear();
    return opt;
}

Option GetProcessOpt()
{
    return Structured(
        "ProcOpt", "process",
        "# process config\n"
        "- name: process1 # process name, /proc/pid/comm\n"
        "  params-regex: \"\" # process params regex, /proc/pid/cmdline\n"
        "  algorithm: \"\" # process algorithm, support [MigrateThreadsToOneNode, BalanceProcNum, "
        "MigrateThreadsToOneSocketAuto, MigrateThreadsToOneSocketFixed]\n"
        "  migrate-all-memory: \"\" # migrate all memory, support [true, false]\n"
        "  default-mig-mem-node: \"\" # default migrate memory node, support [0, numa_node_num - 1]\n"
        "  net-affinity: \"\" # process net affinity, set net interface name \n",
        ParseCfgProcess);
}
