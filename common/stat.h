// SPDX-License-Identifier: MIT

#ifndef COMMON_STAT_H
#define COMMON_STAT_H

#include <cstdint>
#include <set>
#include <unordered_map>
#include <vector>

#include "common/export.h"

/// Utilisation of every CPU and of the whole machine, per category of time, from successive samples of
/// /proc/stat.
///
/// Init once, Run once per period, then ask for rates. The first Run after Init yields the averages since
/// boot. Lines of the file belong to CPUs by position: with a CPU offline, later lines move up by one and the
/// pass ends at the last CPU with an error in the log.
///
/// Failures are logged at ERROR and never thrown; entries that were not read keep their counters and get the
/// rate 0.
///
/// Thread rule: one thread at a time. No descriptor stays open between calls.
class SCENARIO_NUMA_EXPORT Stat {
public:
    /// Categories in the column order of the file.
    enum class Type : int32_t {
        USER = 0,
        NICE = 1,
        SYSTEM = 2,
        IDLE = 3,
        IO_WAIT = 4,
        IRQ = 5,
        SOFT_IRQ = 6,
        STEAL = 7,
        GUEST = 8,
        GUEST_NICE = 9,
    };

    /// Clock ticks of one entry.
    using Counters = std::unordered_map<Type, uint64_t>;
    /// Percentages of one entry, each 0 to 100.
    using Rates = std::unordered_map<Type, float>;

    /// Number of configured CPUs; 0 before Init.
    int32_t cpuNum = 0;
    /// The ten categories; empty before Init.
    std::set<Type> types;
    /// Entries 0 to cpuNum - 1 are the CPUs, entry cpuNum is the whole machine. Current after every Run.
    std::vector<Rates> rates;
    /// The latest sample, indexed likewise; always what the kernel wrote, even where it stepped back.
    std::vector<Counters> counters;

    /// Sizes and empties everything. Returns true. Where memory runs out it throws std::bad_alloc and changes
    /// nothing.
    bool Init();

    /// Takes a sample and computes `rates` against the one in `counters`.
    void Run();

    /// Takes a sample into `counters`.
    void UpdateProcStat();

    /// Takes a sample and computes `rates` against `previous`, where a missing entry or category counts as 0.
    /// A counter below its previous value counts as unchanged.
    void UpdateCpuUtilRate(std::vector<Counters> previous);

    /// Sum of all counters of an entry, modulo 2^64.
    static uint64_t SumTime(const Counters& entry);

    /// Rate of one CPU; 0 before the first Run and for a CPU that does not exist.
    float GetCpuUtilRate(int cpu, Type type) const;

    /// Rate of the whole machine.
    float GetAllCpuUtilRate(Type type) const;
};

#endif  // COMMON_STAT_H
