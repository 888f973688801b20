// SPDX-License-Identifier: MIT

#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <locale>
#include <random>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "common/metrics.h"
#include "tests/unit/common/metrics_record.h"

namespace {

using testing::HasSubstr;
using testing::Not;

const char REPORT_HEAD[] =
    "Show tarnix metrics\n"
    "  tarnix loop count: 1234605616436508552\n";

const char REPORT_MIDDLE[] =
    "  page size(kb): 4\n"
    "Uncore metrics\n"
    "  interval(ms): 100\n"
    "  rx ops num  (ops/ms): 50000\n"
    "  rx outer num(ops/ms): 1234\n"
    "  rx sccl num (ops/ms): 65\n"
    "  numa score: 0.975\n"
    "Task metrics\n"
    "  threads num: 12\n"
    "  threads bind success num: 13\n"
    "  threads bind fail num: 14\n"
    "  migrate cost time(us): 11\n"
    "Mem metrics\n"
    "  migrated memory(kb): 23\n"
    "  nonmigrated memory(kb): 22\n"
    "  migrate failed process num: 24\n"
    "  migrate failed memory(kb): 25\n"
    "  migrate cost time(us): 21\n"
    "  numa migrate memory(src->dst, kB): \n";

std::string ReportOf(int nodes, const std::string& tables)
{
    return REPORT_HEAD + ("  numa num: " + std::to_string(nodes) + "\n") + REPORT_MIDDLE + tables;
}

/// The tables for any number of nodes, put together in another way than the code does.
std::string Tables(int nodes)
{
    char cell[32];
    std::string text = "  src\\dst ";
    const auto add = [&](const char* format, auto value) {
        snprintf(cell, sizeof cell, format, value);
        text += cell;
    };
    for (int n = 0; n < nodes; ++n) {
        add("%10d ", n);
    }
    text += "\n";
    for (int i = 0; i < nodes; ++i) {
        add("        %d ", i);
        for (int j = 0; j < nodes; ++j) {
            add("%10d ", 1000 * i + j);
        }
        text += "\n";
    }
    text += "NUMA ID:                    ";
    for (int n = 0; n < nodes; ++n) {
        add("%10d", n);
    }
    text += "\nFree memory(MB):            ";
    for (int n = 0; n < nodes; ++n) {
        add("%10g", (1000000 + n) / 1024.0);
    }
    text += "\nGive up migrate memory(kB): ";
    for (int n = 0; n < nodes; ++n) {
        add("%10d", 2000 + n);
    }
    return text + "\n";
}

TEST(MetricsReport, WithoutNodesToTheByte)
{
    SystemMetrics record = Numbered();
    record.numaNum = 0;
    EXPECT_EQ(GetSystemMetricsReport(record), ReportOf(0,
                                                       "  src\\dst \n"
                                                       "NUMA ID:                    \n"
                                                       "Free memory(MB):            \n"
                                                       "Give up migrate memory(kB): \n"));
}

TEST(MetricsReport, WithTwoNodesToTheByte)
{
    SystemMetrics record = Numbered();
    record.numaNum = 2;
    EXPECT_EQ(GetSystemMetricsReport(record), ReportOf(2,
                                                       "  src\\dst          0          1 \n"
                                                       "        0          0          1 \n"
                                                       "        1       1000       1001 \n"
                                                       "NUMA ID:                             0         1\n"
                                                       "Free memory(MB):               976.562   976.563\n"
                                                       "Give up migrate memory(kB):       2000      2001\n"));
}

TEST(MetricsReport, WithAnyNumberOfNodesToTheByte)
{
    SystemMetrics record = Numbered();
    for (const int nodes : {1, 2, 4, 10, 11, 16}) {
        record.numaNum = nodes;
        EXPECT_EQ(GetSystemMetricsReport(record), ReportOf(nodes, Tables(nodes)));
    }
}

TEST(MetricsReport, WalksAtMost16NodesAndShowsTheNumberAsStored)
{
    SystemMetrics record = Numbered();
    for (const int nodes : {17, 1000000, std::numeric_limits<int>::max()}) {
        record.numaNum = nodes;
        EXPECT_EQ(GetSystemMetricsReport(record), ReportOf(nodes, Tables(16)));
    }
    for (const int nodes : {-1, std::numeric_limits<int>::min()}) {
        record.numaNum = nodes;
        EXPECT_EQ(GetSystemMetricsReport(record), ReportOf(nodes, Tables(0)));
    }
}

TEST(MetricsReport, AnIntervalOfZeroLeavesTheRatesOut)
{
    SystemMetrics record = Numbered();
    record.uncore.interval = 0;
    const std::string report = GetSystemMetricsReport(record);
    EXPECT_THAT(report, HasSubstr("Uncore metrics\n  interval(ms): 0\n  numa score: 0.975\nTask metrics\n"));
    EXPECT_THAT(report, Not(HasSubstr("rx ops")));
}

TEST(MetricsReport, ScoresInDefaultNotation)
{
    const struct {
        float score;
        const char* text;
    } cases[] = {{0.0F, "0"},        {1.0F, "1"},          {0.5F, "0.5"}, {0.123456789F, "0.123457"},
                 {1e-7F, "1e-07"},   {3.4e38F, "3.4e+38"}, {NAN, "nan"},  {INFINITY, "inf"},
                 {-INFINITY, "-inf"}};
    SystemMetrics record;
    for (const auto& c : cases) {
        record.uncore.numaScore = c.score;
        EXPECT_THAT(GetSystemMetricsReport(record), HasSubstr(std::string("  numa score: ") + c.text + "\n"));
    }
}

class Comma : public std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
};

TEST(MetricsReport, IgnoresTheLocale)
{
    SystemMetrics record = Numbered();
    record.uncore.numaScore = 1234.5F;
    const std::string expected = GetSystemMetricsReport(record);
    EXPECT_THAT(expected, HasSubstr("1234.5"));
    const std::locale before = std::locale::global(std::locale(std::locale::classic(), new Comma));
    EXPECT_EQ(GetSystemMetricsReport(record), expected);
    std::locale::global(before);
}

TEST(MetricsReport, IsSafeForAnyBytes)
{
    std::mt19937_64 random(20);
    for (int round = 0; round < 20000; ++round) {
        unsigned char bytes[sizeof(SystemMetrics)];
        for (std::size_t i = 0; i < sizeof bytes; i += 8) {
            const std::uint64_t word = random();
            std::memcpy(bytes + i, &word, 8);
        }
        SystemMetrics record;
        std::memcpy(&record, bytes, sizeof record);
        const std::string report = GetSystemMetricsReport(record);
        ASSERT_EQ(report.rfind("Show tarnix metrics\n", 0), 0U);
        ASSERT_THAT(report, HasSubstr("\n  numa num: " + std::to_string(record.numaNum) + "\n"));
        ASSERT_LT(report.size(), 8192U);
    }
}

}  // namespace
