// SPDX-License-Identifier: MIT

#include "common/snapshot.h"

#include <limits>
#include <vector>

#include <gtest/gtest.h>

TEST(Snapshot, StartsSwitchedOff)
{
    const Snapshot gate;
    EXPECT_FALSE(gate.enabled);
    EXPECT_EQ(gate.interval, 6000000U);
    EXPECT_EQ(gate.elapsed, 0U);
    EXPECT_FALSE(gate.forced);
    EXPECT_FALSE(gate.ShouldSnap());
}

TEST(Snapshot, InitStartsAPeriod)
{
    Snapshot gate;
    gate.elapsed = 7;
    gate.forced = true;
    EXPECT_TRUE(gate.Init(true, 10));
    EXPECT_TRUE(gate.enabled);
    EXPECT_EQ(gate.interval, 10U);
    EXPECT_EQ(gate.elapsed, 0U);
    EXPECT_FALSE(gate.forced);
    gate.elapsed = 7;
    gate.forced = true;
    EXPECT_TRUE(gate.Init(false, 0));
    EXPECT_FALSE(gate.enabled);
    EXPECT_EQ(gate.interval, 0U);
    EXPECT_EQ(gate.elapsed, 0U);
    EXPECT_FALSE(gate.forced);
}

TEST(Snapshot, OpensWheneverThePeriodWraps)
{
    Snapshot gate;
    gate.Init(true, 3);
    EXPECT_TRUE(gate.ShouldSnap());  // no time reported yet
    std::vector<unsigned> elapsed;
    for (int i = 0; i < 6; ++i) {
        gate.UpdateInterval(1);
        elapsed.push_back(gate.elapsed);
        EXPECT_EQ(gate.ShouldSnap(), gate.elapsed == 0) << i;
    }
    EXPECT_EQ(elapsed, (std::vector<unsigned>{1, 2, 0, 1, 2, 0}));
}

TEST(Snapshot, ATableOfUpdates)
{
    struct Case {
        std::uint32_t interval;
        std::uint32_t elapsed;
        int delta;
        std::uint32_t expected;
    };
    constexpr std::uint32_t TOP = std::numeric_limits<std::uint32_t>::max();
    const Case cases[] = {
        {10, 0, 9, 9},         {10, 0, 10, 0},       {10, 0, 11, 0},       {10, 9, 1, 0},
        {10, 5, -1, 4},        {10, 0, -1, 0},  // wraps to 2^32 - 1, which is above any interval
        {TOP, 0, -2, TOP - 1}, {TOP, TOP - 1, 1, 0}, {TOP, TOP - 1, 3, 1},
    };
    for (const Case& one : cases) {
        Snapshot gate;
        gate.Init(true, one.interval);
        gate.elapsed = one.elapsed;
        gate.UpdateInterval(one.delta);
        EXPECT_EQ(gate.elapsed, one.expected) << one.interval << " " << one.elapsed << " " << one.delta;
    }
}

TEST(Snapshot, ForcedOpensTheMiddleOfAPeriodButNotASwitchedOffGate)
{
    Snapshot gate;
    gate.Init(true, 3);
    gate.UpdateInterval(1);
    EXPECT_FALSE(gate.ShouldSnap());
    gate.forced = true;
    EXPECT_TRUE(gate.ShouldSnap());
    gate.enabled = false;
    EXPECT_FALSE(gate.ShouldSnap());
}

TEST(Snapshot, ASwitchedOffGateIgnoresTime)
{
    Snapshot gate;
    gate.Init(false, 3);
    gate.UpdateInterval(1);
    EXPECT_EQ(gate.elapsed, 0U);
    gate.elapsed = 2;
    gate.UpdateInterval(5);
    EXPECT_EQ(gate.elapsed, 2U);
}
