// SPDX-License-Identifier: MIT

#include "tools/numa_score/score_session.h"

#include <utility>

#include "tools/numa_score/messages.h"
#include "tools/numa_score/plugin_set.h"

namespace numa_score {
namespace {

constexpr std::int32_t DEFAULT_PERIOD_MS = 100;
constexpr std::size_t REMARKED_BAD_SCORES = 3;

constexpr host::Call CALLS[] = {host::Call::OPEN_TOPIC, host::Call::CLOSE_TOPIC, host::Call::UPDATE_DATA,
                                host::Call::ENABLE,     host::Call::DISABLE,     host::Call::RUN};

}  // namespace

ScoreSession::ScoreSession(host::Clock& clock, Remark sessionRemark)
    : remark(std::move(sessionRemark)), pump(clock, remark)
{
}

std::string ScoreSession::Connect(std::unique_ptr<host::CounterSource> source,
                                  const std::vector<std::shared_ptr<kovari::Interface>>& instances,
                                  std::int32_t periodMs)
{
    const ScorePublisher found = FindScorePublisher(instances);
    if (!found.instance) {
        return NoScorePublisher("");
    }
    publisher = found.instance;
    if (periodMs > 0) {
        publisher->period = periodMs;
    } else if (publisher->period <= 0) {
        publisher->period = DEFAULT_PERIOD_MS;
    }
    // First the collector: at a moment when both are due, its counts reach the plug-in before the score is
    // asked for.
    collector = std::make_shared<host::UncoreCollector>(std::move(source), publisher->period);
    if (!pump.Add(collector)) {
        return PluginNotUsable(collector->name);
    }
    for (const std::shared_ptr<kovari::Interface>& instance : instances) {
        if (pump.Add(instance)) {
            plugins.push_back(instance);
        } else if (instance == publisher) {
            return PluginNotUsable(publisher->name);
        }
    }
    const bool listening =
        pump.Listen(found.topic, [this](const DataList& dataList) { TakeScore(dataList); }) &&
        pump.Listen(collector->supportTopics.front(),
                    [this](const DataList& /*dataList*/) { accumulator.Add(collector->Batch()); });
    if (!listening) {
        return PluginNotUsable(publisher->name);
    }
    pump.Deliver();
    return {};
}

void ScoreSession::RunPlugin()
{
    for (const std::shared_ptr<kovari::Interface>& instance : plugins) {
        pump.RunInstance(*instance);
    }
}

void ScoreSession::TakeScore(const DataList& dataList)
{
    if (dataList.len < 1 || dataList.data == nullptr || dataList.data[0] == nullptr) {
        return;
    }
    const auto& score = *static_cast<const ScenarioNumaScore*>(dataList.data[0]);
    if (score.numaScore >= 0.0F && score.numaScore <= 1.0F) {
        scores.push_back(score);
    } else if (++badScores <= REMARKED_BAD_SCORES) {
        remark(BadScore(publisher->name, score.numaScore));
    }
}

PluginCost ScoreSession::Cost() const
{
    PluginCost cost;
    for (const std::shared_ptr<kovari::Interface>& instance : plugins) {
        for (const host::Call call : CALLS) {
            const host::CallStats stats = pump.Stats(*instance, call);
            cost.calls += stats.calls;
            cost.totalNs += stats.totalNs;
            if (stats.longestNs > cost.longestNs) {
                cost.longestNs = stats.longestNs;
                cost.longestCall = call;
            }
        }
        cost.missedPeriods += pump.MissedPeriods(*instance);
    }
    return cost;
}

}  // namespace numa_score
