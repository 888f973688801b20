// SPDX-License-Identifier: MIT

#include "config/validation.h"

#include <algorithm>
#include <utility>

#include "config/validation_limits.h"

namespace {

TnResult Invalid(const std::string& message)
{
    return {1, message};
}

TnResult Exclusive(const std::string& one, const std::string& other)
{
    return Invalid(one + " and " + other + " can not be set at the same time");
}

/// The start of every message about one process entry.
std::string ConfigOf(const std::string& process)
{
    return process + "'s config: ";
}

/// The first failure of `check(name, entry)` in the order of process names, so that the same configuration
/// always reports the same entry first. Looks at every name, in the map's own order, which needs no memory.
template <typename Check>
TnResult FirstFailure(const Conf& conf, Check check)
{
    TnResult first;
    const std::string* failed = nullptr;
    for (const auto& [name, entries] : conf.process) {
        if (failed != nullptr && *failed < name) {
            continue;
        }
        for (const ProcConf& entry : entries) {
            if (TnResult result = check(name, entry); result.code != 0) {
                first = std::move(result);
                failed = &name;
                break;
            }
        }
    }
    return first;
}

bool IsInGroup(const Conf& conf, const std::string& name)
{
    return std::any_of(
        conf.group.begin(), conf.group.end(),
        [&name](const std::unordered_set<std::string>& names) { return names.count(name) != 0; });
}

bool IsOneSocket(ProcAlg algorithm)
{
    return algorithm == ProcAlg::MIGRATE_THREADS_TO_ONE_SOCKET_AUTO ||
           algorithm == ProcAlg::MIGRATE_THREADS_TO_ONE_SOCKET_FIXED;
}

TnResult CheckOneSocket(const Conf& conf, const std::string& name, const ProcConf& entry)
{
    if (!IsOneSocket(entry.algorithm) && !(conf.bindSocket && entry.confId == 0)) {
        return {};
    }
    const std::string algorithm = ConfigOf(name) + "alg=MigrateThreadsToOneSocket";
    if (conf.loadWay == LoadWay::CENTRALIZED) {
        return Exclusive(algorithm, "load-way=centralized");
    }
    if (conf.smt == SmtAlg::PHY_FIRST) {
        return Exclusive(algorithm, "smt-alg=phy-first");
    }
    if (conf.memBalance) {
        return Exclusive(algorithm, "mem-balance=true");
    }
    if (IsInGroup(conf, name)) {
        return Exclusive(algorithm, "group");
    }
    return {};
}

}  // namespace

TnResult CheckRangeUint(const std::string& name, std::uint32_t value, std::uint32_t min, std::uint32_t max)
{
    if (value >= min && value <= max) {
        return {};
    }
    return Invalid(name + " value out of range, min: " + std::to_string(min) +
                   ", max: " + std::to_string(max) + ", current value: " + std::to_string(value));
}

TnResult CheckNumaRatio(bool preciseLoad, const std::vector<std::uint32_t>& ratios)
{
    if (!preciseLoad) {
        return {};
    }
    for (const std::uint32_t ratio : ratios) {
        if (ratio > MAX_NUMA_RATIO) {
            return Invalid("numa ratio is out of range, max: " + std::to_string(MAX_NUMA_RATIO) +
                           ", but value is " + std::to_string(ratio));
        }
    }
    return {};
}

TnResult CheckNumaScore(std::uint32_t min, std::uint32_t max)
{
    if (min > max) {
        return Invalid("min numa score is greater than max numa score");
    }
    if (min > MAX_NUMA_SCORE || max > MAX_NUMA_SCORE) {
        return Invalid("numa score is out of range, max: " + std::to_string(MAX_NUMA_SCORE) +
                       ", current value: min: " + std::to_string(min) + ", max: " + std::to_string(max));
    }
    return {};
}

TnResult CheckMemBalance(const Conf& conf)
{
    if (!conf.memBalance) {
        return {};
    }
    const std::string balance = "mem-balance=true";
    if (conf.loadWay == LoadWay::CENTRALIZED) {
        return Exclusive(balance, "load-way=centralized");
    }
    if (conf.memNumaAggregation) {
        return Exclusive(balance, "mem-numa-aggregation=true");
    }
    if (conf.preciseLoad) {
        return Exclusive(balance, "precise-load=true");
    }
    if (conf.bindSocket) {
        return Exclusive(balance, "bind-socket=true");
    }
    return FirstFailure(conf, [&balance](const std::string& name, const ProcConf& entry) {
        return entry.netAffinity.empty() ? TnResult() : Exclusive(ConfigOf(name) + balance, "net-affinity");
    });
}

TnResult CheckLogFile(const Conf& conf)
{
    return conf.logFile.empty() ? Invalid("log-file is empty") : TnResult();
}

TnResult CheckClusterSchedule(const Conf& conf)
{
    if (conf.clusterSchedule && conf.policy != Policy::CGROUP) {
        return Invalid("cluster-schedule=true only support policy=cgroup");
    }
    return {};
}

TnResult CheckKovariInterval(std::uint32_t interval)
{
    if (interval % KOVARI_INTERVAL_STEP != 0) {
        return Invalid("error: sampling-interval is not a multiple of " +
                       std::to_string(KOVARI_INTERVAL_STEP) + "\n");
    }
    return {};
}

TnResult CheckBindSocket(const Conf& conf)
{
    if (conf.bindSocket) {
        const std::string bind = "bind-socket=true";
        if (conf.loadWay == LoadWay::CENTRALIZED) {
            return Exclusive(bind, "load-way=centralized");
        }
        if (conf.smt == SmtAlg::PHY_FIRST) {
            return Exclusive(bind, "smt-alg=phy-first");
        }
        if (conf.memBalance) {
            return Exclusive(bind, "mem-balance=true");
        }
    }
    return FirstFailure(conf, [&conf](const std::string& name, const ProcConf& entry) {
        return CheckOneSocket(conf, name, entry);
    });
}

TnResult CheckProcConfValid(const Conf& conf)
{
    return FirstFailure(conf, [](const std::string& name, const ProcConf& entry) -> TnResult {
        if (!entry.migrateAllMemory) {
            return {};
        }
        if (entry.algorithm != ProcAlg::MIGRATE_THREADS_TO_ONE_NODE) {
            return Invalid(ConfigOf(name) +
                           "migrate-all-memory=true only support alg MigrateThreadsToOneNode");
        }
        if (entry.defaultMigMemNode != -1) {
            return Exclusive(ConfigOf(name) + "migrate-all-memory=true", "default-migrate-mem-node");
        }
        return {};
    });
}

TnResult Conf::IsValid(bool underKovari) const
{
    TnResult results[] = {
        CheckRangeUint("sampling-interval", samplingInterval, MIN_SAMPLING_INTERVAL, MAX_SAMPLING_INTERVAL),
        CheckRangeUint("sampling-times", samplingTimes, MIN_SAMPLING_TIMES, MAX_SAMPLING_TIMES),
        CheckRangeUint("pageReserve", pageReserve, MIN_PAGE_RESERVE, MAX_PAGE_RESERVE),
        CheckRangeUint("watchdogTimeout", watchdogTimeout, MIN_WATCHDOG_TIMEOUT, MAX_WATCHDOG_TIMEOUT),
        CheckNumaRatio(preciseLoad, numaRatio),
        CheckNumaScore(minNumaScore, maxNumaScore),
        CheckMemBalance(*this),
        CheckLogFile(*this),
        CheckClusterSchedule(*this),
        underKovari ? CheckKovariInterval(samplingInterval)
                    : CheckRangeUint("spePeriod", spePeriod, MIN_SPE_PERIOD, MAX_SPE_PERIOD),
        CheckBindSocket(*this),
        CheckProcConfValid(*this),
    };
    for (TnResult& result : results) {
        if (result.code != 0) {
            result.message += "\n";
            return std::move(result);
        }
    }
    return {};
}
