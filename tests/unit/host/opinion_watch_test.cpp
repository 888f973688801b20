// SPDX-License-Identifier: MIT

#include "host/opinion_watch.h"

#include <cstdint>

#include <filesystem>
#include <optional>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/kernel_tree.h"

namespace {

using host::Opinion;
using host::OpinionWatch;
using Change = host::OpinionWatch::Change;
using support::KernelTree;
using testing::IsEmpty;
using testing::SizeIs;

constexpr std::int64_t SECOND = 1000000000;

/// Two nodes; a PMU that gives a million operations in each second, none of them remote.
class OpinionWatchTest : public testing::Test {
protected:
    OpinionWatchTest() { watch.Start(0); }

    /// Lets a second pass in which so many pages were allocated on the node of the CPU and on another.
    bool Second(std::uint64_t local, std::uint64_t other, std::uint64_t outer = 0)
    {
        tree.Allocate(0, local, 0);
        tree.Allocate(1, 0, other);
        tree.Write();
        watch.AddTraffic(1000000, 0, outer);
        nowNs += SECOND;
        return watch.ReadInTime(nowNs);
    }

    /// Seconds until the change is told; -1 when it is not in a minute.
    int SecondsUntil(Change change, std::uint64_t local, std::uint64_t other)
    {
        for (int second = 1; second <= 60; ++second) {
            Second(local, other);
            const std::optional<Change> told = watch.TakeChange();
            if (told) {
                EXPECT_EQ(*told, change);
                return second;
            }
        }
        return -1;
    }

    KernelTree tree{2};
    OpinionWatch watch{tree.Sysfs(), tree.Procfs()};
    std::int64_t nowNs = 0;
};

TEST_F(OpinionWatchTest, ReadsTheKernelOnceASecond)
{
    int readings = 0;
    for (int period = 1; period <= 30; ++period) {
        readings += watch.ReadInTime(period * SECOND / 10) ? 1 : 0;
    }
    EXPECT_EQ(readings, 3);
    EXPECT_EQ(watch.LastReading().timeNs, 3 * SECOND);
    EXPECT_EQ(watch.LastStep().spanNs, SECOND);
    EXPECT_FALSE(watch.ReadInTime(4 * SECOND - OpinionWatch::EARLY_NS - 1));
    EXPECT_TRUE(watch.ReadInTime(9 * SECOND));
    EXPECT_EQ(watch.LastStep().spanNs, 6 * SECOND);
}

TEST_F(OpinionWatchTest, ACallerThatComesOnceASecondMayBeEarlyNowAndThen)
{
    int readings = 0;
    for (int second = 1; second <= 20; ++second) {
        const std::int64_t jitter = second % 3 * 5000000 - 5000000;
        readings += watch.ReadInTime(second * SECOND + jitter) ? 1 : 0;
    }
    EXPECT_EQ(readings, 20);
}

TEST_F(OpinionWatchTest, BeforeTheFirstSecondThereIsNothingToSay)
{
    EXPECT_EQ(watch.Whole().spanNs, 0);
    EXPECT_EQ(watch.Whole().undecided, "less than 3 s were observed");
    EXPECT_EQ(watch.Window().opinion, Opinion::UNDECIDED);
    EXPECT_FALSE(watch.Disagrees());
    EXPECT_FALSE(watch.TakeChange());
}

TEST_F(OpinionWatchTest, TheWindowSlidesAndTheWholeGrows)
{
    for (int second = 1; second <= 25; ++second) {
        Second(100, 10);
        EXPECT_EQ(watch.Window().spanNs, std::min(second, 10) * SECOND);
        EXPECT_EQ(watch.LastStep().shares.allocations, 110U);
        EXPECT_EQ(watch.Whole().spanNs, second * SECOND);
    }
    EXPECT_EQ(watch.Window().shares.allocations, 1100U);
    EXPECT_DOUBLE_EQ(watch.Window().pmu.ops, 1e7);
    EXPECT_EQ(watch.Whole().shares.allocations, 2750U);
    EXPECT_DOUBLE_EQ(watch.Whole().pmu.ops, 2.5e7);
    watch.ReadNow(nowNs + SECOND / 2);
    EXPECT_EQ(watch.Whole().spanNs, 25 * SECOND + SECOND / 2);
    EXPECT_EQ(watch.LastStep().spanNs, SECOND / 2);
}

TEST_F(OpinionWatchTest, PeriodsLongerThanTheWindowAreJudgedOneByOne)
{
    for (int i = 1; i <= 3; ++i) {
        tree.Allocate(1, 0, 20000);
        tree.Write();
        watch.AddTraffic(1000000, 0, 0);
        ASSERT_TRUE(watch.ReadInTime(i * 60 * SECOND));
        EXPECT_EQ(watch.Window().spanNs, 60 * SECOND);
        EXPECT_EQ(watch.Window().shares.allocations, 20000U);
    }
}

TEST_F(OpinionWatchTest, ADisagreementIsToldWhenItBeginsAndWhenItEnds)
{
    // 4000 pages a second: enough to judge after the third.
    EXPECT_EQ(SecondsUntil(Change::BEGAN, 10, 4000), 3);
    EXPECT_TRUE(watch.Disagrees());
    EXPECT_EQ(watch.Window().opinion, Opinion::PMU_LOCAL_KERNEL_REMOTE);
    for (int second = 0; second < 30; ++second) {
        Second(10, 4000);
        EXPECT_FALSE(watch.TakeChange()) << "once is enough";
    }
    // Local pages come to half of the window after 5 s; 10 s later it is over.
    EXPECT_EQ(SecondsUntil(Change::ENDED, 4000, 10), 5 + 10);
    EXPECT_FALSE(watch.Disagrees());
    EXPECT_EQ(watch.Window().opinion, Opinion::NO_DISAGREEMENT);
    EXPECT_EQ(SecondsUntil(Change::BEGAN, 10, 4000), 5);
}

TEST_F(OpinionWatchTest, ADisagreementThatFlickersIsToldOnce)
{
    ASSERT_EQ(SecondsUntil(Change::BEGAN, 10, 4000), 3);
    for (int second = 0; second < 100; ++second) {
        // The window leans to one side and to the other.
        const bool remote = second / 3 % 2 == 0;
        Second(remote ? 10 : 4100, remote ? 4000 : 10);
        EXPECT_FALSE(watch.TakeChange()) << second;
    }
}

TEST_F(OpinionWatchTest, LittleTrafficIsNeverJudged)
{
    for (int second = 0; second < 30; ++second) {
        Second(0, 900);
        EXPECT_EQ(watch.Window().opinion, Opinion::UNDECIDED);
    }
    EXPECT_FALSE(watch.TakeChange());
    EXPECT_EQ(watch.Window().undecided,
              "too little happened: 9000 of 10000 pages allocated, 0 of 1000 hint faults");
    EXPECT_EQ(watch.Whole().opinion, Opinion::PMU_LOCAL_KERNEL_REMOTE) << "27000 pages by now";
}

TEST_F(OpinionWatchTest, TheOtherDirection)
{
    for (int second = 1; second <= 5; ++second) {
        tree.Fault(500, 1);
        Second(4000, 10, 900000);
    }
    EXPECT_EQ(watch.Window().opinion, Opinion::PMU_REMOTE_KERNEL_LOCAL);
    EXPECT_EQ(watch.TakeChange(), Change::BEGAN);
}

TEST_F(OpinionWatchTest, CountersThatVanishEndTheJudgement)
{
    ASSERT_EQ(SecondsUntil(Change::BEGAN, 10, 4000), 3);
    watch.TakeRemarks();
    std::filesystem::remove_all(tree.Sysfs());
    std::filesystem::remove(tree.Procfs() + "/vmstat");
    for (int second = 0; second < 10; ++second) {
        watch.AddTraffic(1000000, 0, 0);
        nowNs += SECOND;
        ASSERT_TRUE(watch.ReadInTime(nowNs));
        EXPECT_EQ(watch.Window().opinion, Opinion::UNDECIDED);
    }
    EXPECT_EQ(watch.TakeChange(), Change::ENDED);
    EXPECT_THAT(watch.TakeRemarks(), SizeIs(2));
    EXPECT_THAT(watch.TakeRemarks(), IsEmpty());
    EXPECT_EQ(watch.Whole().shares.allocations, 3U * 4010) << "what had been counted stays";
}

}  // namespace
