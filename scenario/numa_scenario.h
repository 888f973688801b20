// SPDX-License-Identifier: MIT

#ifndef SCENARIO_NUMA_SCENARIO_H
#define SCENARIO_NUMA_SCENARIO_H

#include <cstddef>
#include <cstdint>

#include <map>
#include <string>

#include "scenario/export.h"
#include "scenario/framework.h"

/// The record published on "scenario_numa"/"system_score", 40 bytes; one per period.
struct ScenarioNumaScore {
    float numaScore = 0.0F;        ///< share of operations that stayed inside their NUMA domain, 0 to 1
    std::uint64_t rxOpsNum = 0;    ///< operations received in the period
    std::uint64_t rxScclNum = 0;   ///< of these, from another die of the same socket
    std::uint64_t rxOuterNum = 0;  ///< of these, from another socket
    std::uint64_t interval = 0;    ///< sum of the batches' intervals, in milliseconds
};

static_assert(sizeof(ScenarioNumaScore) == 40, "ScenarioNumaScore");
static_assert(offsetof(ScenarioNumaScore, numaScore) == 0 && offsetof(ScenarioNumaScore, rxOpsNum) == 8 &&
                  offsetof(ScenarioNumaScore, rxScclNum) == 16 &&
                  offsetof(ScenarioNumaScore, rxOuterNum) == 24 &&
                  offsetof(ScenarioNumaScore, interval) == 32,
              "ScenarioNumaScore");

/// Accumulates uncore event counts over one publishing period and turns them into the score
///
///     1 - (rx_outer + rx_sccl) / rx_ops_num
///
/// in single precision: 1.0 without operations, 0.0 when the quotient exceeds 1.
///
/// One object per process, shared by every instance that the library hands out. Takes no lock: the caller
/// runs UpdateScoreParam, GetNumaScore and ResetScoreParam from one thread at a time. Only the first
/// construction is synchronised.
class SCENARIO_NUMA_EXPORT NumaScenario {
public:
    /// The events that count, in the order in which a name is tested for them.
    enum UncoreEvent : std::int32_t {
        RX_OUTER = 0,    ///< names that contain "rx_outer"
        RX_SCCL = 1,     ///< names that contain "rx_sccl"
        RX_OPS_NUM = 2,  ///< names that contain "rx_ops_num"
    };

    NumaScenario(const NumaScenario&) = delete;
    NumaScenario& operator=(const NumaScenario&) = delete;

    /// The object of this process; built on the first call, destroyed when the library is unloaded.
    static NumaScenario& GetInstance();

    /// Adds one batch of `len` samples. A sample counts for the first event, in the order of UncoreEvent,
    /// whose text its name contains (case-sensitive); other names and null names are skipped. Counts wrap
    /// modulo 2^64. `interval` (milliseconds, may be negative) is added whatever `len` and `data` are; below
    /// 1 sample, or with `data` null, nothing else happens. Allocates only when an event is seen for the
    /// first time; std::bad_alloc then leaves the period as it was.
    void UpdateScoreParam(int len, const PmuData* data, int interval);

    /// UpdateScoreParam for callers that hold a topic key: only "pmu_uncore_collector::uncore::" is taken,
    /// any other key is ignored.
    void UpdatePmu(const std::string& topicKey, int len, const PmuData* data, int interval);

    /// Fills every field of `out` from the current period. Afterwards all three events have an entry in
    /// `counts`; nothing else changes.
    void GetNumaScore(ScenarioNumaScore& out);

    /// Starts a new period: every count and the interval become 0, entries stay.
    void ResetScoreParam();

    std::map<UncoreEvent, unsigned long> counts;  ///< events of this period; entries appear on first use
    std::uint64_t interval = 0;                   ///< milliseconds that the batches of this period cover

private:
    NumaScenario() = default;
    ~NumaScenario() = default;
};

#endif  // SCENARIO_NUMA_SCENARIO_H
