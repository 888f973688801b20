// SPDX-License-Identifier: MIT

#ifndef HOST_PMU_COUNTERS_H
#define HOST_PMU_COUNTERS_H

#include <cstdint>

#include <limits>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "host/counter_plan.h"
#include "host/counter_source.h"
#include "host/live_source.h"
#include "host/perf_events.h"

namespace host {

/// Remarks that wait to be taken: the first ones in full, then their number.
class RemarkList {
public:
    void Add(std::string remark);

    /// All of them, oldest first, and a line about those that were left out. Empty afterwards.
    std::vector<std::string> Take();

private:
    std::vector<std::string> remarks;
    std::uint64_t dropped = 0;
};

/// The counters of one PMU on all its CPUs: reads them, sums them up, opens them again when they are lost,
/// follows the CPUs that the PMU is read from. What it refers to must outlive it.
class PmuCounters {
public:
    PmuCounters(PlannedPmu planned, const LiveOptions& liveOptions, PerfApi& perfApi, RemarkList& remarkList);
    PmuCounters(const PmuCounters&) = delete;
    PmuCounters& operator=(const PmuCounters&) = delete;

    /// Opens the counters and takes their first reading. Failures are remarked; see IsOpen, LastError.
    void Open();

    /// Takes `now` as the time of the last look at the PMU's CPUs.
    void SetStart(std::int64_t now) { refreshedNs = now; }

    /// Adds to `batch` one sample for each event, counted since the last reading, and what did not count.
    void Read(CounterBatch& batch);

    /// Where counters were lost or the time has come: looks at the PMU's CPUs again and opens what is
    /// missing.
    void Repair(std::int64_t now);

    /// True when counters are open on one CPU at least.
    bool IsOpen() const;

    std::size_t CounterCount() const { return readers.size() * plan.events.size(); }
    const PlannedPmu& Plan() const { return plan; }

    /// The failure that came last; empty when there was none.
    const std::string& LastError() const { return lastError; }

private:
    static constexpr std::int64_t NEVER = std::numeric_limits<std::int64_t>::min() / 2;

    /// Counters on one CPU.
    struct Reader {
        std::uint32_t cpu = 0;
        std::unique_ptr<CounterSet> counters;  // null while they are lost
        std::vector<CounterReading> previous;
        std::int64_t triedNs = NEVER;  // last attempt to open them since they were lost
        bool complained = false;       // the loss was remarked
    };

    /// One event over the interval, all CPUs.
    struct Sum {
        std::uint64_t count = 0;
        std::uint64_t enabledNs = 0;
        std::uint64_t runningNs = 0;
        bool counted = false;
    };

    std::string OpenReader(Reader& reader);
    void ReadReader(Reader& reader, CounterBatch& batch);
    bool SteppedBack(const Reader& reader) const;
    void AppendSamples(CounterBatch& batch) const;
    void RefreshFacts();
    void PlaceReaders();
    void Reopen(Reader& reader, std::int64_t now);

    PlannedPmu plan;
    const LiveOptions& options;
    PerfApi& api;
    RemarkList& remarks;
    std::vector<Reader> readers;
    std::vector<Sum> sums;  // side by side with plan.events
    std::vector<CounterReading> readings;
    std::int64_t refreshedNs = 0;
    bool suspicious = false;   // something failed or stood still: look at the CPUs again
    std::string factsProblem;  // the last one, so that it is remarked once
    std::string lastError;
};

}  // namespace host

#endif  // HOST_PMU_COUNTERS_H
