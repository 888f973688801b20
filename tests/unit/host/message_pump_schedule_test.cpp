// SPDX-License-Identifier: MIT
//
// When the pump runs instances, and what it says about slow ones; the clock is moved by hand.

#include <cstdint>

#include <limits>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/message_pump.h"
#include "tests/support/fake_instance.h"
#include "tests/support/manual_clock.h"

namespace {

using host::Call;
using host::MessagePump;
using support::FakeInstance;
using support::NS_PER_MS;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::int64_t START_MS = 5000;

class MessagePumpSchedule : public testing::Test {
protected:
    MessagePumpSchedule() { clock.AdvanceMs(START_MS); }

    /// An instance that notes when it runs, relative to the start, and takes `lastsMs` for it.
    std::shared_ptr<FakeInstance> Added(const std::string& name, std::int32_t periodMs)
    {
        auto instance = std::make_shared<FakeInstance>(name, nullptr);
        instance->period = periodMs;
        instance->onRun = [this, name] {
            runs.push_back(name + " " + std::to_string(clock.NowMs() - START_MS));
            clock.AdvanceMs(lastsMs);
        };
        EXPECT_TRUE(pump.Add(instance));
        return instance;
    }

    /// What a host's loop does.
    void Loop(std::int64_t untilMs)
    {
        while (pump.NextDueNs() <= (START_MS + untilMs) * NS_PER_MS) {
            clock.SleepUntilNs(pump.NextDueNs());
            pump.RunDue();
        }
    }

    std::int64_t NextDueMs() const { return pump.NextDueNs() / NS_PER_MS - START_MS; }

    std::int64_t lastsMs = 0;
    std::vector<std::string> runs;
    std::vector<std::string> remarks;
    support::ManualClock clock;
    MessagePump pump{clock, [this](const std::string& line) { remarks.push_back(line); }};
};

TEST_F(MessagePumpSchedule, RunsEveryPeriodInTheOrderOfAdd)
{
    Added("b", 100);
    Added("a", 50);
    EXPECT_EQ(NextDueMs(), 50);
    pump.RunDue();
    EXPECT_THAT(runs, IsEmpty());
    Loop(200);
    EXPECT_THAT(runs, ElementsAre("a 50", "b 100", "a 100", "a 150", "b 200", "a 200"));
}

TEST_F(MessagePumpSchedule, LateWakeUpsDoNotDrift)
{
    const auto instance = Added("a", 100);
    const std::vector<std::int64_t> lateMs = {0, 7, 99, 3, 50};
    for (std::size_t i = 0; i < lateMs.size(); ++i) {
        clock.SleepUntilNs(pump.NextDueNs());
        clock.AdvanceMs(lateMs[i]);
        pump.RunDue();
        EXPECT_EQ(NextDueMs(), 200 + 100 * static_cast<std::int64_t>(i));
    }
    EXPECT_THAT(runs, ElementsAre("a 100", "a 207", "a 399", "a 403", "a 550"));
    EXPECT_EQ(pump.MissedPeriods(*instance), 0U);
}

TEST_F(MessagePumpSchedule, RunsOfSomeLengthDoNotDrift)
{
    const auto instance = Added("a", 100);
    lastsMs = 30;
    Loop(500);
    EXPECT_THAT(runs, ElementsAre("a 100", "a 200", "a 300", "a 400", "a 500"));
    EXPECT_EQ(pump.MissedPeriods(*instance), 0U);
    EXPECT_THAT(remarks, IsEmpty());
}

TEST_F(MessagePumpSchedule, PeriodsThatPassedAreCountedAndNotMadeUpFor)
{
    const auto instance = Added("a", 100);
    clock.AdvanceMs(100);
    pump.RunDue();
    clock.AdvanceMs(250);  // 350: due at 200, the period of 300 has passed too
    pump.RunDue();
    pump.RunDue();
    EXPECT_THAT(runs, ElementsAre("a 100", "a 350"));
    EXPECT_EQ(pump.MissedPeriods(*instance), 1U);
    EXPECT_EQ(NextDueMs(), 400);
    clock.AdvanceMs(50);  // exactly due
    pump.RunDue();
    EXPECT_EQ(pump.MissedPeriods(*instance), 1U);
    clock.AdvanceMs(1000000);
    pump.RunDue();
    EXPECT_EQ(runs.size(), 4U);
    EXPECT_EQ(pump.MissedPeriods(*instance), 1U + 9999U);
}

TEST_F(MessagePumpSchedule, ARunLongerThanThePeriodMissesPeriods)
{
    const auto instance = Added("a", 100);
    lastsMs = 250;
    Loop(899);
    EXPECT_THAT(runs, ElementsAre("a 100", "a 350", "a 600", "a 850"));
    // Served at 100, 200, 400 and 700; passed over: 300, 500, 600, 800.
    EXPECT_EQ(pump.MissedPeriods(*instance), 4U);
}

TEST_F(MessagePumpSchedule, WithoutAPeriodNothingIsDue)
{
    Added("never", 0);
    Added("nonsense", -5);
    EXPECT_EQ(pump.NextDueNs(), std::numeric_limits<std::int64_t>::max());
    clock.AdvanceMs(1000);
    pump.RunDue();
    EXPECT_THAT(runs, IsEmpty());
}

TEST_F(MessagePumpSchedule, NothingIsDueWithoutInstancesOrAfterTheEnd)
{
    EXPECT_EQ(pump.NextDueNs(), std::numeric_limits<std::int64_t>::max());
    Added("a", 100);
    pump.Shutdown();
    EXPECT_EQ(pump.NextDueNs(), std::numeric_limits<std::int64_t>::max());
}

TEST_F(MessagePumpSchedule, RunDueDeliversEvenWhenNothingIsDue)
{
    const kovari::Topic topic{"a", "t", ""};
    const auto instance = std::make_shared<FakeInstance>("a", nullptr);
    instance->supportTopics.push_back(topic);
    ASSERT_TRUE(pump.Add(instance));
    int heard = 0;
    ASSERT_TRUE(pump.Listen(topic, [&](const DataList&) { ++heard; }));
    instance->Publish(topic, 1);
    pump.RunDue();
    EXPECT_EQ(heard, 1);
}

TEST_F(MessagePumpSchedule, WhatOneInstancePublishesReachesTheNextBeforeItRuns)
{
    const kovari::Topic topic{"a", "t", ""};
    const auto publisher = std::make_shared<FakeInstance>("a", nullptr);
    publisher->supportTopics.push_back(topic);
    publisher->period = 100;
    publisher->onRun = [&] { publisher->Publish(topic, 1); };
    ASSERT_TRUE(pump.Add(publisher));
    const auto subscriber = Added("b", 100);
    subscriber->Subscribe(topic);
    subscriber->onUpdateData = [this] { runs.emplace_back("b updated"); };
    Loop(100);
    EXPECT_THAT(runs, ElementsAre("b updated", "b 100"));
}

TEST_F(MessagePumpSchedule, MeasuresEveryCall)
{
    const auto instance = Added("a", 100);
    lastsMs = 30;
    Loop(200);
    lastsMs = 50;
    Loop(300);
    const host::CallStats run = pump.Stats(*instance, Call::RUN);
    EXPECT_EQ(run.calls, 3U);
    EXPECT_EQ(run.totalNs, 110 * NS_PER_MS);
    EXPECT_EQ(run.longestNs, 50 * NS_PER_MS);
    EXPECT_EQ(run.failures, 0U);
    EXPECT_EQ(pump.Stats(*instance, Call::ENABLE).calls, 1U);
    EXPECT_EQ(pump.Stats(*instance, Call::UPDATE_DATA).calls, 0U);
    const FakeInstance stranger("x", nullptr);
    EXPECT_EQ(pump.Stats(stranger, Call::RUN).calls, 0U);
    EXPECT_EQ(pump.MissedPeriods(stranger), 0U);
}

TEST_F(MessagePumpSchedule, NamesASlowCallOnceASecond)
{
    const auto instance = Added("scenario_x", 100);
    lastsMs = 100;
    pump.RunInstance(*instance);
    EXPECT_THAT(remarks, IsEmpty());
    lastsMs = 153;
    for (int i = 0; i < 7; ++i) {
        pump.RunInstance(*instance);
    }
    // The 2nd to the 7th end 153 to 918 ms after the first.
    EXPECT_THAT(remarks, ElementsAre("scenario_x: Run took 153 ms, period 100 ms"));
    pump.RunInstance(*instance);
    EXPECT_THAT(
        remarks,
        ElementsAre("scenario_x: Run took 153 ms, period 100 ms",
                    "scenario_x: Run took 153 ms, period 100 ms; 6 more slow calls since the last remark"));
}

TEST_F(MessagePumpSchedule, EachInstanceHasRemarksOfItsOwn)
{
    const auto one = Added("one", 100);
    const auto two = Added("two", 50);
    lastsMs = 120;
    pump.RunInstance(*one);
    pump.RunInstance(*two);
    EXPECT_THAT(remarks,
                ElementsAre("one: Run took 120 ms, period 100 ms", "two: Run took 120 ms, period 50 ms"));
}

TEST_F(MessagePumpSchedule, TheLimitCanBeSet)
{
    const auto instance = Added("a", 100);
    pump.SetSlowCallNs(2 * NS_PER_MS);
    lastsMs = 3;
    pump.RunInstance(*instance);
    clock.AdvanceMs(1000);
    pump.SetSlowCallNs(0);
    lastsMs = 90;
    pump.RunInstance(*instance);
    EXPECT_THAT(remarks, ElementsAre("a: Run took 3000 us, limit 2000 us"));
}

TEST_F(MessagePumpSchedule, WithoutAPeriodTheLimitIsATenthOfASecond)
{
    const auto instance = Added("a", 0);
    lastsMs = 100;
    pump.RunInstance(*instance);
    lastsMs = 101;
    pump.RunInstance(*instance);
    EXPECT_THAT(remarks, ElementsAre("a: Run took 101 ms, limit 100 ms"));
}

TEST_F(MessagePumpSchedule, ASlowCallThatThrowsIsBothReported)
{
    const auto instance = Added("a", 100);
    instance->onRun = [this] {
        clock.AdvanceMs(200);
        throw 1;
    };
    pump.RunInstance(*instance);
    EXPECT_THAT(remarks, ElementsAre("a: Run raised an exception of unknown type",
                                     "a: Run took 200 ms, period 100 ms"));
}

}  // namespace
