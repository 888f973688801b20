// SPDX-License-Identifier: MIT

#ifndef TOOLS_NUMA_SCORE_PERIOD_ACCUMULATOR_H
#define TOOLS_NUMA_SCORE_PERIOD_ACCUMULATOR_H

#include <cstddef>
#include <cstdint>

#include <deque>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "host/counter_source.h"
#include "tools/numa_score/period_row.h"
#include "tools/numa_score/quality.h"

namespace numa_score {

/// Adds up what the batches of a period say beside the counts that the plug-in sees: which counters ran, and
/// how the counts spread over the PMUs. Bounded: PMUs beyond MAX_PMUS share the row OTHER_PMUS.
class PeriodAccumulator {
public:
    static constexpr std::size_t MAX_PMUS = 4096;
    static constexpr std::string_view OTHER_PMUS = "(others)";

    PeriodAccumulator() = default;
    PeriodAccumulator(const PeriodAccumulator&) = delete;
    PeriodAccumulator& operator=(const PeriodAccumulator&) = delete;

    /// The texts of a batch are compared by address first; a source never puts another text at the address of
    /// one that it has given.
    void Add(const host::CounterBatch& batch);

    /// True when a counter said anything since the last Reset, if only that it did not count.
    bool Any() const { return evidence.samples > 0 || evidence.notCounted > 0 || evidence.missing > 0; }

    /// What the batches said; published counts and cutShort are left for the caller to fill in.
    const Evidence& Facts() const { return evidence; }

    /// Rows of the PMUs that gave one of the three events in this period, in the order in which the PMUs
    /// first appeared. Names are valid as long as this object.
    void FillPmus(std::vector<PmuRow>& rows) const;

    /// Starts a new period.
    void Reset();

private:
    enum class Event : std::uint8_t { OUTER, SCCL, OPS, NONE };

    struct Pmu {
        std::string name;
        Traffic traffic;
        double runningRatio = 1.0;
        bool seen = false;  // in this period
    };

    /// What stood at a place of the batch before; batches of one source look alike.
    struct Place {
        const char* eventName = nullptr;
        const char* pmuName = nullptr;
        std::size_t pmuLength = 0;
        Event event = Event::NONE;
        std::size_t pmu = 0;
    };

    static Event EventOf(const char* eventName);
    void LookUp(const host::CounterSample& sample, Place& place);
    std::size_t PmuIndex(std::string_view name);
    void Count(const host::CounterSample& sample, const Place& place);

    Evidence evidence;
    std::deque<Pmu> pmus;  // stays where it is: `indices` and rows refer to the names
    std::unordered_map<std::string_view, std::size_t> indices;
    std::vector<std::size_t> seenPmus;
    std::vector<Place> places;
};

/// 1 - (outer + sccl) / ops in single precision, 1 without operations, 0 below 0: the rule of the published
/// score.
float ScoreOf(const Traffic& traffic);

}  // namespace numa_score

#endif  // TOOLS_NUMA_SCORE_PERIOD_ACCUMULATOR_H
