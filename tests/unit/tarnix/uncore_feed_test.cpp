// SPDX-License-Identifier: MIT

#include "tools/tarnix/uncore_feed.h"

#include <utility>

#include <gtest/gtest.h>

#include "tests/support/scripted_source.h"

namespace {

using host::CounterBatch;
using host::CounterSample;
using host::CounterSource;
using support::ScriptedSource;
using tarnix::Remark;
using tarnix::UncoreFeed;
using State = UncoreFeed::State;

constexpr std::int64_t MS = 1000000;

CounterBatch Batch(std::int64_t timeMs, std::uint64_t outer, std::uint64_t sccl, std::uint64_t operations)
{
    CounterBatch batch;
    batch.timeNs = timeMs * MS;
    batch.intervalMs = 100;
    const std::pair<const char*, std::uint64_t> counts[] = {
        {"hub/rx_outer/", outer}, {"hub/rx_sccl/", sccl}, {"hub/rx_ops_num/", operations}};
    for (const auto& [name, count] : counts) {
        CounterSample sample;
        sample.eventName = name;
        sample.count = count;
        batch.samples.push_back(sample);
    }
    return batch;
}

/// Live: one batch a read, which counts up to that moment.
class LiveScript : public ScriptedSource {
public:
    using ScriptedSource::ScriptedSource;
    bool IsLive() const override { return true; }
};

std::vector<std::string> Texts(const std::vector<Remark>& remarks)
{
    std::vector<std::string> texts;
    for (const Remark& remark : remarks) {
        texts.push_back(std::to_string(static_cast<int>(remark.level)) + " " + remark.text);
    }
    return texts;
}

TEST(TarnixUncoreFeed, AddsUpAPeriodAndStartsTheNext)
{
    UncoreFeed feed(std::make_unique<LiveScript>(
        std::vector<CounterBatch>{Batch(0, 10, 20, 1000), Batch(100, 30, 40, 1000), Batch(200, 0, 0, 7)}));
    EXPECT_EQ(feed.Sample(0), State::COUNTING);
    EXPECT_EQ(feed.Sample(100 * MS), State::COUNTING);
    const UncoreMetrics first = feed.ClosePeriod();
    EXPECT_EQ(first.interval, 200U);
    EXPECT_EQ(first.rxOuterNum, 40U);
    EXPECT_EQ(first.rxScclNum, 60U);
    EXPECT_EQ(first.rxOpsNum, 2000U);
    EXPECT_FLOAT_EQ(first.numaScore, 0.95F);
    EXPECT_EQ(feed.Sample(200 * MS), State::COUNTING);
    const UncoreMetrics second = feed.ClosePeriod();
    EXPECT_EQ(second.interval, 100U);
    EXPECT_EQ(second.rxOpsNum, 7U);
    EXPECT_FLOAT_EQ(second.numaScore, 1.0F);
    EXPECT_EQ(Texts(feed.TakeRemarks()), std::vector<std::string>{"2 counting: a script"});
    EXPECT_TRUE(feed.TakeRemarks().empty());
}

TEST(TarnixUncoreFeed, ASourceWithATimeLineIsFollowedAtItsPace)
{
    UncoreFeed feed(std::make_unique<ScriptedSource>(
        std::vector<CounterBatch>{Batch(100, 1, 0, 10), Batch(200, 1, 0, 10), Batch(1000, 1, 0, 10)}));
    EXPECT_EQ(feed.Sample(5000 * MS), State::COUNTING);
    EXPECT_EQ(feed.ClosePeriod().rxOpsNum, 0U);
    EXPECT_EQ(feed.Sample(5099 * MS), State::COUNTING);
    EXPECT_EQ(feed.ClosePeriod().rxOpsNum, 0U);
    EXPECT_EQ(feed.Sample(5250 * MS), State::COUNTING);
    EXPECT_EQ(feed.ClosePeriod().rxOpsNum, 20U);
    EXPECT_EQ(feed.Sample(6000 * MS), State::ENDED);
    EXPECT_EQ(feed.ClosePeriod().rxOpsNum, 10U);
    EXPECT_EQ(feed.Sample(7000 * MS), State::ENDED);
    EXPECT_EQ(Texts(feed.TakeRemarks()),
              (std::vector<std::string>{"2 counting: a script", "2 the recording is at its end"}));
}

TEST(TarnixUncoreFeed, ASourceThatHasNothingYetIsAskedWithTheNextSample)
{
    auto script = std::make_unique<ScriptedSource>(
        std::vector<CounterBatch>{Batch(100, 1, 0, 10), Batch(200, 1, 0, 10)});
    script->waits = true;
    UncoreFeed feed(std::move(script));
    std::int64_t nowMs = 0;
    for (const std::uint64_t operations : {0U, 10U, 10U}) {
        EXPECT_EQ(feed.Sample(nowMs * MS), State::COUNTING);
        EXPECT_EQ(feed.ClosePeriod().rxOpsNum, operations) << nowMs;
        nowMs += 100;
    }
    EXPECT_EQ(feed.Sample(nowMs * MS), State::ENDED);
}

TEST(TarnixUncoreFeed, PartsOfAnIntervalAreTakenTogether)
{
    CounterBatch part = Batch(0, 1, 0, 10);
    part.endsPeriod = false;
    part.intervalMs = 0;
    UncoreFeed feed(std::make_unique<LiveScript>(std::vector<CounterBatch>{part, part, Batch(0, 1, 0, 10)}));
    feed.Sample(0);
    const UncoreMetrics metrics = feed.ClosePeriod();
    EXPECT_EQ(metrics.rxOpsNum, 30U);
    EXPECT_EQ(metrics.interval, 100U);
}

TEST(TarnixUncoreFeed, NoSourceIsToldOfOnceAndTriedAgainEveryMinute)
{
    int tries = 0;
    UncoreFeed feed([&tries] {
        ++tries;
        host::SourceResult result;
        if (tries < 3) {
            result.error = "no PMU (" + std::to_string(tries) + ")";
        } else {
            result.source = std::make_unique<LiveScript>(std::vector<CounterBatch>{Batch(0, 0, 0, 5)},
                                                         CounterSource::Status::FAILED);
        }
        return result;
    });
    EXPECT_EQ(feed.Sample(0), State::NO_SOURCE);
    EXPECT_EQ(feed.Sample(100 * MS), State::NO_SOURCE);
    EXPECT_EQ(feed.Sample(59999 * MS), State::NO_SOURCE);
    EXPECT_EQ(tries, 1);
    EXPECT_EQ(feed.Sample(60000 * MS), State::NO_SOURCE);
    EXPECT_EQ(tries, 2);
    EXPECT_EQ(feed.Sample(120000 * MS), State::COUNTING);
    EXPECT_EQ(feed.ClosePeriod().rxOpsNum, 5U);
    EXPECT_EQ(Texts(feed.TakeRemarks()),
              (std::vector<std::string>{
                  "3 no score, everything else goes on: no PMU (1) (tried again every minute)",
                  "2 counting: a script"}));
    EXPECT_EQ(feed.Sample(120100 * MS), State::NO_SOURCE);
    EXPECT_EQ(feed.Sample(120200 * MS), State::NO_SOURCE);
    EXPECT_EQ(tries, 3);
    EXPECT_EQ(Texts(feed.TakeRemarks()),
              (std::vector<std::string>{"3 the counts have ended, everything else goes on: the script failed "
                                        "(tried again every minute)"}));
    EXPECT_EQ(feed.Sample(180100 * MS), State::COUNTING);
    EXPECT_EQ(tries, 4);
}

TEST(TarnixUncoreFeed, ARecordingThatFailsIsTheEnd)
{
    UncoreFeed feed(
        std::make_unique<ScriptedSource>(std::vector<CounterBatch>{}, CounterSource::Status::FAILED));
    EXPECT_EQ(feed.Sample(0), State::FAILED);
    EXPECT_EQ(feed.Sample(UncoreFeed::RETRY_NS * 2), State::FAILED);
    EXPECT_EQ(Texts(feed.TakeRemarks()),
              (std::vector<std::string>{"2 counting: a script", "4 the script failed"}));
}

}  // namespace
