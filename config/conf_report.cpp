// SPDX-License-Identifier: MIT
//
// The configuration report: a line per setting, then the structured settings as YAML flow collections, each
// in a stable order.

#include <algorithm>
#include <set>
#include <utility>

#include "common/escape_control.h"
#include "config/option_info.h"

namespace {

constexpr const char* UNQUOTED = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-./*+";

/// Adds a text that cannot be mistaken for another or for the punctuation around it: in double quotes with
/// backslash escapes unless it holds nothing but UNQUOTED characters.
void AddQuoted(std::string& out, const std::string& text)
{
    if (!text.empty() && text.find_first_not_of(UNQUOTED) == std::string::npos) {
        out += text;
        return;
    }
    out += '"';
    for (const char c : runtime::EscapeControl(text)) {
        if (c == '"') {
            out += '\\';
        }
        out += c;
    }
    out += '"';
}

std::string Line(const std::string& key, const std::string& value)
{
    return key + ": " + value + "\n";
}

/// Adds "[a, b]" of what `add(out, item)` adds for each item.
template <typename Items, typename Add>
void AddList(std::string& out, const Items& items, Add add)
{
    out += '[';
    const char* separator = "";
    for (const auto& item : items) {
        out += separator;
        add(out, item);
        separator = ", ";
    }
    out += ']';
}

void AddSorted(std::string& out, const std::unordered_set<std::string>& texts)
{
    AddList(out, std::set<std::string>(texts.begin(), texts.end()), AddQuoted);
}

void AddEntry(std::string& out, const std::string& name, const ProcConf& entry)
{
    out += "{name: ";
    AddQuoted(out, name);
    out += ", conf-id: " + std::to_string(entry.confId) + ", params-regex: ";
    AddQuoted(out, entry.paramsRegex);
    out += ", algorithm: ";
    out += g_procAlgMap.at(entry.algorithm);
    out += ", migrate-all-memory: ";
    out += g_boolMap.at(entry.migrateAllMemory);
    out += ", default-mig-mem-node: ";
    out += std::to_string(entry.defaultMigMemNode);
    out += ", net-affinity: ";
    AddQuoted(out, entry.netAffinity);
    out += '}';
}

/// An entry with the name that it stands under, in the order of names and of the file.
using Named = std::pair<const std::string*, const ProcConf*>;

std::vector<Named> SortedEntries(const Conf& conf)
{
    std::vector<Named> sorted;
    for (const auto& [name, entries] : conf.process) {
        for (const ProcConf& entry : entries) {
            sorted.emplace_back(&name, &entry);
        }
    }
    std::stable_sort(sorted.begin(), sorted.end(),
                     [](const Named& one, const Named& other) { return *one.first < *other.first; });
    return sorted;
}

void AddStructured(std::string& out, const Conf& conf)
{
    out += "group: ";
    AddList(out, conf.group, AddSorted);
    out += "\nnuma-ratio: ";
    AddList(out, conf.numaRatio,
            [](std::string& text, std::uint32_t ratio) { text += std::to_string(ratio); });
    out += "\nwhitelist: ";
    AddSorted(out, conf.whitelist);
    out += "\nblacklist: ";
    AddSorted(out, conf.blacklist);
    out += "\nprocess: ";
    AddList(out, SortedEntries(conf),
            [](std::string& text, const Named& named) { AddEntry(text, *named.first, *named.second); });
    out += '\n';
}

}  // namespace

std::string OptionInfo::GetConfInfo(const Conf& conf) const
{
    std::string text =
        Line("sampling-interval", std::to_string(conf.samplingInterval)) +
        Line("watchdog-timeout", std::to_string(conf.watchdogTimeout)) +
        Line("sampling-times", std::to_string(conf.samplingTimes)) +
        Line("spe-period", std::to_string(conf.spePeriod)) +
        Line("min-numa-score", std::to_string(conf.minNumaScore)) +
        Line("max-numa-score", std::to_string(conf.maxNumaScore)) +
        Line("min-rx-ops-per-ms", std::to_string(conf.minRxOpsPerMs)) +
        Line("log-level", g_logLevelMap.at(conf.logLevel)) + Line("log-file", conf.logFile) +
        Line("snapshot-interval", std::to_string(conf.snapshotInterval)) +
        Line("metrics", g_boolMap.at(conf.metrics)) + Line("help-type", g_helpTypeMap.at(conf.help)) +
        Line("tune-mode", g_tuneModeMap.at(conf.tuneMode)) + Line("load-way", g_loadWayMap.at(conf.loadWay)) +
        Line("smt", g_smtAlgMap.at(conf.smt)) + Line("page-reserve", std::to_string(conf.pageReserve)) +
        Line("irq", g_irqAlgMap.at(conf.irq)) + Line("precise-load", g_boolMap.at(conf.preciseLoad)) +
        Line("mem-numa-aggregation", g_boolMap.at(conf.memNumaAggregation)) +
        Line("mem-balance", g_boolMap.at(conf.memBalance)) +
        Line("bind-socket", g_boolMap.at(conf.bindSocket)) + Line("policy", g_policyMap.at(conf.policy)) +
        Line("cluster-schedule", g_boolMap.at(conf.clusterSchedule));
    AddStructured(text, conf);
    return text;
}

std::string OptionInfo::GetTnstatConfInfo(const TnStatConf& conf) const
{
    std::string text = Line("export-type", g_tnstatExportTypeMap.at(conf.exportType));
    if (conf.exportType == ExportType::NODE_EXPORTER) {
        text += Line("ip", conf.ip) + Line("port", std::to_string(conf.port));
    }
    return text;
}
