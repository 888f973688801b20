// SPDX-License-Identifier: MIT

#include "common/log_stamp.h"

#include <dlfcn.h>
#include <stdlib.h>
#include <time.h>

#include <limits>
#include <string>

#include <gtest/gtest.h>

namespace {

int g_formatted = 0;

void UseZone(const char* zone)
{
    setenv("TZ", zone, 1);
    tzset();
}

timespec At(time_t seconds, long milliseconds)
{
    timespec moment{};
    moment.tv_sec = seconds;
    moment.tv_nsec = milliseconds * 1000000;
    return moment;
}

std::string Stamp(const timespec& moment)
{
    runtime::LogStamp stamp;
    return std::string(stamp.Format(moment));
}

constexpr time_t MARCH_7 = 1741356129;  // 2025-03-07 14:02:09 UTC

}  // namespace

// Counts how often whole seconds are formatted.
extern "C" size_t strftime(char* text, size_t size, const char* format, const tm* moment)
{
    using Function = size_t (*)(char*, size_t, const char*, const tm*);
    static const auto REAL = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "strftime"));
    ++g_formatted;
    return REAL(text, size, format, moment);
}

TEST(LogStamp, ATableOfMoments)
{
    struct Case {
        time_t seconds;
        long milliseconds;
        const char* zone;
        const char* expected;
    };
    const Case cases[] = {
        {MARCH_7, 45, "UTC0", "03/07/25 14:02:09.045"},
        {MARCH_7, 0, "UTC0", "03/07/25 14:02:09.000"},
        {MARCH_7, 9, "UTC0", "03/07/25 14:02:09.009"},
        {MARCH_7, 99, "UTC0", "03/07/25 14:02:09.099"},
        {MARCH_7, 100, "UTC0", "03/07/25 14:02:09.100"},
        {MARCH_7, 999, "UTC0", "03/07/25 14:02:09.999"},
        {MARCH_7, 1, "XST-8", "03/07/25 22:02:09.001"},
        {MARCH_7, 1, "XST11", "03/07/25 03:02:09.001"},
        {0, 0, "UTC0", "01/01/70 00:00:00.000"},
        // the hour that a change to winter time repeats
        {1761436800 + 1799, 0, "CET-1CEST,M3.5.0,M10.5.0/3", "10/26/25 02:29:59.000"},
        {1761436800 + 5399, 0, "CET-1CEST,M3.5.0,M10.5.0/3", "10/26/25 02:29:59.000"},
    };
    for (const Case& one : cases) {
        UseZone(one.zone);
        EXPECT_EQ(Stamp(At(one.seconds, one.milliseconds)), one.expected) << one.zone;
    }
}

TEST(LogStamp, NanosecondsAreCutNotRounded)
{
    UseZone("UTC0");
    timespec moment = At(MARCH_7, 0);
    moment.tv_nsec = 45999999;
    EXPECT_EQ(Stamp(moment), "03/07/25 14:02:09.045");
    moment.tv_nsec = 999999999;
    EXPECT_EQ(Stamp(moment), "03/07/25 14:02:09.999");
}

TEST(LogStamp, AYearThatHasNoCalendarLeavesTheMilliseconds)
{
    UseZone("UTC0");
    EXPECT_EQ(Stamp(At(std::numeric_limits<time_t>::max(), 7)), ".007");
}

TEST(LogStamp, FormatsTheSecondsOncePerSecond)
{
    UseZone("UTC0");
    runtime::LogStamp stamp;
    g_formatted = 0;
    for (long i = 0; i < 1000; ++i) {
        stamp.Format(At(MARCH_7, i));
    }
    EXPECT_EQ(g_formatted, 1);
    EXPECT_EQ(stamp.Format(At(MARCH_7 + 1, 2)), "03/07/25 14:02:10.002");
    EXPECT_EQ(stamp.Format(At(MARCH_7, 3)), "03/07/25 14:02:09.003");  // the clock was set back
    EXPECT_EQ(g_formatted, 3);
}

TEST(LogStamp, AChangedZoneShowsWithinTheSecond)
{
    struct Case {
        const char* zone;
        const char* expected;
    };
    const Case cases[] = {
        {"UTC0", "03/07/25 14:02:09.045"},
        {"AAA-2", "03/07/25 16:02:09.045"},                // another offset
        {"BBB-2", "03/07/25 16:02:09.045"},                // only another name
        {"BBB-2BBB,0/0,365/23", "03/07/25 17:02:09.045"},  // only daylight saving
        {"BBB-2DDD,0/0,365/23", "03/07/25 17:02:09.045"},  // only the name of daylight saving
    };
    runtime::LogStamp stamp;
    for (const Case& one : cases) {
        UseZone(one.zone);
        g_formatted = 0;
        EXPECT_EQ(stamp.Format(At(MARCH_7, 45)), one.expected) << one.zone;
        EXPECT_EQ(g_formatted, 1) << one.zone;
    }
}
