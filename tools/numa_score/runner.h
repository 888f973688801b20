// SPDX-License-Identifier: MIT

#ifndef TOOLS_NUMA_SCORE_RUNNER_H
#define TOOLS_NUMA_SCORE_RUNNER_H

#include <cstdint>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/clock.h"
#include "host/counter_source.h"
#include "host/opinion_watch.h"
#include "scenario/framework.h"
#include "tools/numa_score/period_row.h"
#include "tools/numa_score/score_session.h"

namespace numa_score {

struct RunSettings {
    std::int32_t periodMs = 0;               ///< how often a score is asked for; 0: the plug-in's own period
    std::optional<double> speed = 1.0;       ///< pace of recorded time; absent: as fast as possible
    std::optional<std::uint64_t> count;      ///< end after so many periods
    std::optional<std::int64_t> durationNs;  ///< end with the period that reaches it
    bool perPmu = false;                     ///< fill the rows' PMUs
};

/// Why a run ended.
enum class RunEnd {
    SOURCE_ENDED,
    LIMIT_REACHED,  ///< count or duration
    INTERRUPTED,
    OBSERVER_STOPPED,
    SOURCE_FAILED,  ///< `error` says why
    PLUGIN_FAILED,  ///< `error` says why
};

struct RunOutcome {
    RunEnd end = RunEnd::SOURCE_ENDED;
    std::string error;
    PluginCost cost;
};

/// Takes what a run gives.
class RunObserver {
public:
    RunObserver() = default;
    RunObserver(const RunObserver&) = delete;
    RunObserver& operator=(const RunObserver&) = delete;
    virtual ~RunObserver() = default;

    /// A period is over. False ends the run.
    virtual bool TakeRow(const PeriodRow& row) = 0;

    /// One line for people.
    virtual void TakeRemark(const std::string& line) = 0;

    /// A batch was read or a while has passed; for a progress line.
    virtual void Tick() = 0;
};

/// The seams of a run.
struct RunEnvironment {
    host::Clock& clock;                      ///< paces the run
    std::function<std::int64_t()> utcNowNs;  ///< time stamps of live periods, nanoseconds since 1970
    std::function<bool()> stopRequested;  ///< looked at between batches and at least every 100 ms of waiting
    host::OpinionWatch* opinions = nullptr;  ///< the kernel's counts beside live ones; null: none
};

/// Runs a source through the plug-in, one row per published score, on the calling thread.
///
/// Live: collector and plug-in are run on the clock, every period. Otherwise the source's own time line
/// rules: a batch is handed on when its time has come at the given speed, and the score is asked for when at
/// least nine tenths of a period have been recorded since it was last asked for and the batch ends an
/// interval; so recorded intervals longer than a period give one score each. What is left at the end gives a
/// last score. The rows do not depend on the speed.
class Runner {
public:
    Runner(RunEnvironment environment, RunObserver& runObserver, RunSettings runSettings);

    /// The instances' libraries must outlive the call.
    RunOutcome Run(std::unique_ptr<host::CounterSource> source,
                   const std::vector<std::shared_ptr<kovari::Interface>>& instances);

    /// A publisher that gives no score in so many calls in a row ends the run.
    static constexpr std::uint64_t SILENT_REQUESTS = 10;

private:
    std::optional<RunEnd> LiveStep(ScoreSession& session);
    std::optional<RunEnd> ReplayStep(ScoreSession& session);
    std::optional<RunEnd> EndOfSource(ScoreSession& session);
    std::optional<RunEnd> ClosePeriod(ScoreSession& session, bool cutShort);
    std::optional<RunEnd> TakeScores(ScoreSession& session, bool cutShort);
    void FillRow(ScoreSession& session, const ScenarioNumaScore& score, bool cutShort);
    void AskKernel(const ScenarioNumaScore& score);
    void PassOpinions();
    bool LimitReached(ScoreSession& session);
    bool WaitUntil(std::int64_t deadlineNs);
    std::int64_t DeadlineNs(std::int64_t timeNs) const;
    void PassRemarks(host::CounterSource& source);

    RunEnvironment env;
    RunObserver& observer;
    RunSettings settings;
    std::int64_t startNs = 0;   // on the clock
    std::int64_t askedNs = 0;   // on the source's time line: when the score was asked for last
    std::int64_t scoredNs = 0;  // on the source's time line: end of the last row
    std::uint64_t rows = 0;
    std::uint64_t answered = 0;  // requests for a score up to the last that was answered
    std::string error;
    PeriodRow row;  // kept for its memory
};

}  // namespace numa_score

#endif  // TOOLS_NUMA_SCORE_RUNNER_H
