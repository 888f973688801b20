// SPDX-License-Identifier: MIT

#ifndef TOOLS_TARNIX_UNCORE_FEED_H
#define TOOLS_TARNIX_UNCORE_FEED_H

#include <cstdint>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "common/logger_ctl.h"
#include "common/metrics.h"
#include "host/live_source.h"
#include "scenario/framework.h"

namespace tarnix {

/// Something to be told in the log.
struct Remark {
    LogLevel level = LogLevel::INFO;
    std::string text;
};

/// Brings the counts of a source to the score engine and takes the figures of a tune period from it. A source
/// that has a time line of its own (a recording, the demonstration) is followed at its own pace.
///
/// The engine is one object per process: one feed at a time. One thread; times are those of one monotonic
/// clock.
class UncoreFeed {
public:
    enum class State {
        COUNTING,
        NO_SOURCE,  ///< none could be opened, or it failed
        ENDED,      ///< the source has given all it has
        FAILED,     ///< the source failed, and there is no way to open it again
    };

    using Opener = std::function<host::SourceResult()>;

    static constexpr std::int64_t RETRY_NS = 60'000'000'000;

    /// Opens the source at the first Sample. When that fails, and when the source fails later, this is told
    /// of once and tried again every minute.
    explicit UncoreFeed(Opener open);

    /// Reads a source that is open already, once.
    explicit UncoreFeed(std::unique_ptr<host::CounterSource> opened);

    /// Adds what was counted since the last call, or what the source's time line has up to now.
    State Sample(std::int64_t nowNs);

    /// The figures since the last call; starts a new period.
    UncoreMetrics ClosePeriod();

    State GetState() const { return state; }

    /// What came up since the last call.
    std::vector<Remark> TakeRemarks();

private:
    void TryToOpen(std::int64_t nowNs);
    void Announce(std::int64_t nowNs);
    void ReadUntil(std::int64_t nowNs);
    bool ReadBatch(std::int64_t nowNs);
    void NoteFailure(std::int64_t nowNs);
    void FeedBatch();

    Opener opener;
    std::unique_ptr<host::CounterSource> source;
    host::CounterBatch batch;
    bool batchPending = false;  ///< read, but not yet due
    std::vector<PmuData> records;
    std::vector<Remark> remarks;
    State state = State::NO_SOURCE;
    bool failureTold = false;
    bool announced = false;
    std::int64_t startNs = 0;
    std::int64_t retryNs = 0;
};

}  // namespace tarnix

#endif  // TOOLS_TARNIX_UNCORE_FEED_H
