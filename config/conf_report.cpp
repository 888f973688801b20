// SPDX-License-Identifier: MIT
//
// The configuration report: a line per setting, then the structured settings as YAML flow collections, each
// in a stable order.

#include <algorithm>
#include <map>
#include <set>

#include "common/escape_control.h"
#include "config/option_info.h"

namespace {

constexpr const char* UNQUOTED = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-./*+";

/// A text that cannot be mistaken for another or for the punctuation around it: in double quotes with
/// backslash escapes unless it holds nothing but UNQUOTED characters.
std::string Quoted(const std::string& text)
{
    if (!text.empty() && text.find_first_not_of(UNQUOTED) == std::string::npos) {
        return text;
    }
    std::string quoted = "\"";
    for (const char c : runtime::EscapeControl(text)) {
        quoted += c == '"' ? "\\\"" : std::string(1, c);
    }
    return quoted + "\"";
}

std::string Line(const std::string& key, const std::string& value)
{
    return key + ": " + value + "\n";
}

/// "[a, b]" of what `render` makes of each item.
template <typename Items, typename Render>
std::string Bracketed(const Items& items, Render render)
{
    std::string text;
    for (const auto& item : items) {
        text += (text.empty() ? "" : ", ") + render(item);
    }
    return "[" + text + "]";
}

std::string SortedList(const std::unordered_set<std::string>& texts)
{
    return Bracketed(std::set<std::string>(texts.begin(), texts.end()), Quoted);
}

std::string Entry(const std::string& name, const ProcConf& entry)
{
    return "{name: " + Quoted(name) + ", conf-id: " + std::to_string(entry.confId) +
           ", params-regex: " + Quoted(entry.paramsRegex) +
           ", algorithm: " + g_procAlgMap.at(entry.algorithm) +
           ", migrate-all-memory: " + g_boolMap.at(entry.migrateAllMemory) +
           ", default-mig-mem-node: " + std::to_string(entry.defaultMigMemNode) +
           ", net-affinity: " + Quoted(entry.netAffinity) + "}";
}

std::string Processes(const Conf& conf)
{
    std::map<std::string, const std::vector<ProcConf>*> sorted;
    for (const auto& [name, entries] : conf.process) {
        sorted.emplace(name, &entries);
    }
    std::vector<std::string> texts;
    for (const auto& [name, entries] : sorted) {
        for (const ProcConf& entry : *entries) {
            texts.push_back(Entry(name, entry));
        }
    }
    return Bracketed(texts, [](const std::string& text) { return text; });
}

}  // namespace

std::string OptionInfo::GetConfInfo(const Conf& conf) const
{
    return Line("sampling-interval", std::to_string(conf.samplingInterval)) +
           Line("watchdog-timeout", std::to_string(conf.watchdogTimeout)) +
           Line("sampling-times", std::to_string(conf.samplingTimes)) +
           Line("spe-period", std::to_string(conf.spePeriod)) +
           Line("min-numa-score", std::to_string(conf.minNumaScore)) +
           Line("max-numa-score", std::to_string(conf.maxNumaScore)) +
           Line("min-rx-ops-per-ms", std::to_string(conf.minRxOpsPerMs)) +
           Line("log-level", g_logLevelMap.at(conf.logLevel)) + Line("log-file", conf.logFile) +
           Line("snapshot-interval", std::to_string(conf.snapshotInterval)) +
           Line("metrics", g_boolMap.at(conf.metrics)) + Line("help-type", g_helpTypeMap.at(conf.help)) +
           Line("tune-mode", g_tuneModeMap.at(conf.tuneMode)) +
           Line("load-way", g_loadWayMap.at(conf.loadWay)) + Line("smt", g_smtAlgMap.at(conf.smt)) +
           Line("page-reserve", std::to_string(conf.pageReserve)) + Line("irq", g_irqAlgMap.at(conf.irq)) +
           Line("precise-load", g_boolMap.at(conf.preciseLoad)) +
           Line("mem-numa-aggregation", g_boolMap.at(conf.memNumaAggregation)) +
           Line("mem-balance", g_boolMap.at(conf.memBalance)) +
           Line("bind-socket", g_boolMap.at(conf.bindSocket)) + Line("policy", g_policyMap.at(conf.policy)) +
           Line("cluster-schedule", g_boolMap.at(conf.clusterSchedule)) +
           Line("group", Bracketed(conf.group, SortedList)) +
           Line("numa-ratio",
                Bracketed(conf.numaRatio, [](std::uint32_t ratio) { return std::to_string(ratio); })) +
           Line("whitelist", SortedList(conf.whitelist)) + Line("blacklist", SortedList(conf.blacklist)) +
           Line("process", Processes(conf));
}

std::string OptionInfo::GetTnstatConfInfo(const TnStatConf& conf) const
{
    std::string text = Line("export-type", g_tnstatExportTypeMap.at(conf.exportType));
    if (conf.exportType == ExportType::NODE_EXPORTER) {
        text += Line("ip", conf.ip) + Line("port", std::to_string(conf.port));
    }
    return text;
}
