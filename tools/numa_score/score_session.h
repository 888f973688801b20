// SPDX-License-Identifier: MIT

#ifndef TOOLS_NUMA_SCORE_SCORE_SESSION_H
#define TOOLS_NUMA_SCORE_SCORE_SESSION_H

#include <cstdint>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "host/clock.h"
#include "host/counter_source.h"
#include "host/message_pump.h"
#include "host/uncore_collector.h"
#include "scenario/framework.h"
#include "scenario/numa_scenario.h"
#include "tools/numa_score/period_accumulator.h"

namespace numa_score {

/// The plug-in's own cost, as the host measured it.
struct PluginCost {
    host::Call longestCall = host::Call::RUN;
    std::int64_t longestNs = 0;
    std::int64_t totalNs = 0;
    std::uint64_t calls = 0;
    std::uint64_t missedPeriods = 0;
};

/// A source, its collector and the plug-in's instances on one message pump, wired up: what the collector
/// publishes reaches the plug-in, what the plug-in scores is kept until it is taken. Goes before the plug-in
/// libraries that its instances came from.
class ScoreSession {
public:
    using Remark = std::function<void(const std::string& line)>;

    /// `clock` must outlive this object. `remark` takes what is to be said of the run.
    ScoreSession(host::Clock& clock, Remark remark);

    /// Wires everything up. `periodMs` is how often the score is asked for; 0 leaves it to the plug-in.
    /// Empty, or one line that says what does not work.
    std::string Connect(std::unique_ptr<host::CounterSource> source,
                        const std::vector<std::shared_ptr<kovari::Interface>>& instances,
                        std::int32_t periodMs);

    host::UncoreCollector& Collector() { return *collector; }
    std::int32_t PeriodMs() const { return publisher->period; }
    const std::string& PublisherName() const { return publisher->name; }

    std::int64_t NextDueNs() const { return pump.NextDueNs(); }
    void RunDue() { pump.RunDue(); }
    void RunCollector() { pump.RunInstance(*collector); }

    /// Runs every instance of the plug-in once.
    void RunPlugin();

    /// What the batches published since the last Reset said.
    PeriodAccumulator& Accumulated() { return accumulator; }

    /// Scores published since the last call, by value, oldest first. A score that is no number from 0 to 1 is
    /// left out with a remark.
    std::vector<ScenarioNumaScore>& Scores() { return scores; }

    /// How often the publisher was asked for a score.
    std::uint64_t Requests() const { return pump.Stats(*publisher, host::Call::RUN).calls; }

    PluginCost Cost() const;
    void Shutdown() { pump.Shutdown(); }

private:
    void TakeScore(const DataList& dataList);

    Remark remark;
    PeriodAccumulator accumulator;
    std::vector<ScenarioNumaScore> scores;
    std::uint64_t badScores = 0;
    std::shared_ptr<host::UncoreCollector> collector;
    std::shared_ptr<kovari::Interface> publisher;
    std::vector<std::shared_ptr<kovari::Interface>> plugins;
    host::MessagePump pump;  // last, so that it goes first
};

}  // namespace numa_score

#endif  // TOOLS_NUMA_SCORE_SCORE_SESSION_H
