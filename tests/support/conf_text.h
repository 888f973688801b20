// SPDX-License-Identifier: MIT

#ifndef TESTS_SUPPORT_CONF_TEXT_H
#define TESTS_SUPPORT_CONF_TEXT_H

#include <map>
#include <set>
#include <sstream>
#include <string>
#include <unordered_set>

#include "config/conf.h"

namespace support {

inline std::string SetText(const std::unordered_set<std::string>& texts)
{
    std::ostringstream out;
    for (const std::string& text : std::set<std::string>(texts.begin(), texts.end())) {
        out << " <" << text << ">";
    }
    return out.str();
}

inline std::string ProcConfText(const ProcConf& entry)
{
    std::ostringstream out;
    out << entry.confId << " " << entry.needTune << " <" << entry.paramsRegex << "> <" << entry.netAffinity
        << "> " << entry.migrateAllMemory << " " << entry.netAffinityNode << " " << entry.defaultMigMemNode
        << " " << static_cast<int>(entry.algorithm);
    return out.str();
}

/// Every field of a configuration but its three texts, a line each: equal texts are equal configurations.
inline std::string SettingsText(const Conf& conf)
{
    std::ostringstream out;
    out << "minNumaScore " << conf.minNumaScore << "\nmaxNumaScore " << conf.maxNumaScore
        << "\nminRxOpsPerMs " << conf.minRxOpsPerMs << "\nsamplingInterval " << conf.samplingInterval
        << "\nwatchdogTimeout " << conf.watchdogTimeout << "\nsamplingTimes " << conf.samplingTimes
        << "\nspePeriod " << conf.spePeriod << "\npageReserve " << conf.pageReserve << "\nsnapshotInterval "
        << conf.snapshotInterval << "\nreload " << conf.reload << "\nversion " << conf.version
        << "\npreciseLoad " << conf.preciseLoad << "\nmemNumaAggregation " << conf.memNumaAggregation
        << "\nmemBalance " << conf.memBalance << "\nbindSocket " << conf.bindSocket << "\nmetrics "
        << conf.metrics << "\nclusterSchedule " << conf.clusterSchedule << "\nlogFile <" << conf.logFile
        << ">\nhelp " << static_cast<int>(conf.help) << "\nlogLevel " << static_cast<int>(conf.logLevel)
        << "\ntuneMode " << static_cast<int>(conf.tuneMode) << "\nloadWay " << static_cast<int>(conf.loadWay)
        << "\nsmt " << static_cast<int>(conf.smt) << "\nirq " << static_cast<int>(conf.irq) << "\npolicy "
        << static_cast<int>(conf.policy) << "\nnumaRatio";
    for (const std::uint32_t ratio : conf.numaRatio) {
        out << " " << ratio;
    }
    out << "\ngroup";
    for (const auto& set : conf.group) {
        out << " [" << SetText(set) << " ]";
    }
    out << "\nblacklist" << SetText(conf.blacklist) << "\nwhitelist" << SetText(conf.whitelist);
    std::map<std::string, const std::vector<ProcConf>*> sorted;
    for (const auto& [name, entries] : conf.process) {
        sorted.emplace(name, &entries);
    }
    for (const auto& [name, entries] : sorted) {
        for (const ProcConf& entry : *entries) {
            out << "\nprocess <" << name << "> " << ProcConfText(entry);
        }
    }
    return out.str();
}

/// Every field.
inline std::string ConfText(const Conf& conf)
{
    return "confInfo <" + conf.confInfo + ">\nhelpInfo <" + conf.helpInfo + ">\nversionInfo <" +
           conf.versionInfo + ">\n" + SettingsText(conf);
}

inline std::string TnStatConfText(const TnStatConf& conf)
{
    std::ostringstream out;
    out << "confInfo <" << conf.confInfo << ">\nhelpInfo <" << conf.helpInfo << ">\nversionInfo <"
        << conf.versionInfo << ">\nhelp " << conf.help << "\nrepeat " << conf.repeat << "\nexportType "
        << static_cast<int>(conf.exportType) << "\nip <" << conf.ip << ">\nport " << conf.port;
    return out.str();
}

}  // namespace support

#endif  // TESTS_SUPPORT_CONF_TEXT_H
