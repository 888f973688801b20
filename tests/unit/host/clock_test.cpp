// SPDX-License-Identifier: MIT

#include "host/clock.h"

#include <csignal>
#include <cstring>
#include <ctime>

#include <sys/time.h>

#include <limits>

#include <gtest/gtest.h>

namespace {

constexpr std::int64_t MS = 1000000;

volatile std::sig_atomic_t alarms = 0;

void CountAlarm(int /*signal*/)
{
    alarms = alarms + 1;
}

TEST(MonotonicClock, ReadsTheMonotonicClock)
{
    host::MonotonicClock clock;
    timespec before{};
    timespec after{};
    clock_gettime(CLOCK_MONOTONIC, &before);
    const std::int64_t now = clock.NowNs();
    clock_gettime(CLOCK_MONOTONIC, &after);
    EXPECT_GE(now, before.tv_sec * 1000000000LL + before.tv_nsec);
    EXPECT_LE(now, after.tv_sec * 1000000000LL + after.tv_nsec);
}

TEST(MonotonicClock, SleepsUntilTheDeadlineAndNotLess)
{
    host::MonotonicClock clock;
    const std::int64_t deadline = clock.NowNs() + 2 * MS;
    clock.SleepUntilNs(deadline);
    EXPECT_GE(clock.NowNs(), deadline);
}

TEST(MonotonicClock, ReturnsAtOnceFromDeadlinesInThePast)
{
    host::MonotonicClock clock;
    const std::int64_t start = clock.NowNs();
    for (const std::int64_t deadline : {start, start - 1, std::int64_t{1}, std::int64_t{0}, std::int64_t{-1},
                                        std::numeric_limits<std::int64_t>::min()}) {
        clock.SleepUntilNs(deadline);
    }
    EXPECT_LT(clock.NowNs() - start, 1000 * MS);
}

/// Repeats the alarm, since the first one might come before the sleep has begun.
TEST(MonotonicClock, ASignalHandlerEndsTheSleepEarly)
{
    struct sigaction action {};
    struct sigaction old {};
    action.sa_handler = &CountAlarm;
    ASSERT_EQ(sigaction(SIGALRM, &action, &old), 0);
    const itimerval every{{0, 5000}, {0, 5000}};
    ASSERT_EQ(setitimer(ITIMER_REAL, &every, nullptr), 0);

    host::MonotonicClock clock;
    const std::int64_t deadline = clock.NowNs() + 60000 * MS;
    clock.SleepUntilNs(deadline);
    const std::int64_t woken = clock.NowNs();

    const itimerval never{};
    setitimer(ITIMER_REAL, &never, nullptr);
    sigaction(SIGALRM, &old, nullptr);
    EXPECT_LT(woken, deadline);
    EXPECT_GE(alarms, 1);
}

}  // namespace
