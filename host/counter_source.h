// SPDX-License-Identifier: MIT

#ifndef HOST_COUNTER_SOURCE_H
#define HOST_COUNTER_SOURCE_H

#include <cstdint>

#include <string>
#include <string_view>
#include <vector>

namespace host {

/// One event of one PMU over one interval.
struct CounterSample {
    const char* eventName = nullptr;  ///< as the plug-in sees it, NUL-terminated; the source keeps it alive
    std::string_view pmuName;         ///< PMU that counted, for the breakdown; the source keeps it alive
    std::uint64_t count = 0;          ///< events in the interval, scaled to the whole of it
    double runningRatio = 1.0;        ///< share of the interval in which the counter really counted, 0 to 1
};

/// What one read of a source yields. Reused from read to read, so that a steady source allocates nothing.
struct CounterBatch {
    std::vector<CounterSample> samples;
    std::int64_t timeNs = 0;       ///< end of the interval on the source's own time line, from its start
    std::int32_t intervalMs = 0;   ///< length of the interval, rounded to milliseconds
    std::uint32_t notCounted = 0;  ///< counters that did not count in the interval; they have no sample
    std::uint32_t missing =
        0;                   ///< counters that belong to the source but gave nothing (read failed, PMU gone)
    bool endsPeriod = true;  ///< false for a part of an interval too large for one batch; more follows

    void Clear()
    {
        samples.clear();
        timeNs = 0;
        intervalMs = 0;
        notCounted = 0;
        missing = 0;
        endsPeriod = true;
    }
};

/// Where uncore counts come from: live counters, a recording, the built-in demonstration. One thread at a
/// time.
class CounterSource {
public:
    enum class Status {
        BATCH,    ///< the batch was filled
        WAITING,  ///< there is nothing yet, the batch is empty; call again, unless the end was asked for
                  ///< meanwhile
        END,      ///< the source has given all it has; not an error
        FAILED,   ///< nothing can be read any more, see Error()
    };

    /// True when every further read would answer the same.
    static bool IsOver(Status status) { return status == Status::END || status == Status::FAILED; }

    CounterSource() = default;
    CounterSource(const CounterSource&) = delete;
    CounterSource& operator=(const CounterSource&) = delete;
    virtual ~CounterSource() = default;

    /// One line for people: what is being read.
    virtual std::string Describe() const = 0;

    /// True when a read counts up to this very moment (live counters); false when a read yields the next
    /// interval of something that has its own time line.
    virtual bool IsLive() const = 0;

    /// Fills `batch` anew. After END or FAILED every further call answers the same.
    virtual Status Read(CounterBatch& batch) = 0;

    /// Reason of FAILED; empty otherwise.
    virtual std::string Error() const = 0;

    /// Remarks that arose since the last call (a PMU that came or went, lines of a recording that were passed
    /// over), each one line without line break. Bounded: a source that has much to say counts instead.
    virtual std::vector<std::string> TakeRemarks() = 0;
};

}  // namespace host

#endif  // HOST_COUNTER_SOURCE_H
