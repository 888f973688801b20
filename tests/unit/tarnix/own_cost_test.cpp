// SPDX-License-Identifier: MIT

#include "tools/tarnix/own_cost.h"

#include <time.h>

#include <atomic>
#include <thread>

#include <gtest/gtest.h>

namespace {

constexpr std::int64_t NS_PER_S = 1000000000;

/// Uses the processor for that long.
void Burn(clockid_t clock, std::int64_t ns)
{
    timespec now{};
    clock_gettime(clock, &now);
    const std::int64_t end = now.tv_sec * NS_PER_S + now.tv_nsec + ns;
    do {
        clock_gettime(clock, &now);
    } while (now.tv_sec * NS_PER_S + now.tv_nsec < end);
}

TEST(TarnixOwnCost, TellsTheLoopFromTheWhole)
{
    tarnix::OwnCost cost(1000);
    Burn(CLOCK_THREAD_CPUTIME_ID, 60000000);
    std::thread([] { Burn(CLOCK_THREAD_CPUTIME_ID, 90000000); }).join();
    const tarnix::messages::Cost first = cost.Take(5001000);
    EXPECT_EQ(first.spanNs, 5000000);
    EXPECT_GE(first.loopCpuNs, 40000000);
    EXPECT_GE(first.cpuNs, first.loopCpuNs + 60000000);
    EXPECT_GE(first.wakeups, 0);
    EXPECT_GT(first.residentKb, 1000);
    const tarnix::messages::Cost second = cost.Take(5001000);
    EXPECT_EQ(second.spanNs, 0);
    EXPECT_LT(second.cpuNs, 60000000);
}

TEST(TarnixOwnCost, CountsWaits)
{
    tarnix::OwnCost cost(0);
    for (int i = 0; i < 20; ++i) {
        const timespec pause{0, 2000000};
        nanosleep(&pause, nullptr);
    }
    EXPECT_GE(cost.Take(1).wakeups, 15);
}

TEST(TarnixOwnCost, KeepsTheLongestPassOfASpan)
{
    tarnix::OwnCost cost(0);
    for (const std::int64_t ns : {5, 9, 7}) {
        cost.NotePass(ns);
    }
    EXPECT_EQ(cost.Take(10).longestNs, 9);
    cost.NotePass(3);
    EXPECT_EQ(cost.Take(20).longestNs, 3);
    EXPECT_EQ(cost.Take(30).longestNs, 0);
}

}  // namespace
