// SPDX-License-Identifier: MIT

#include "tools/numa_score/compare.h"

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace numa_score {
namespace {

using testing::HasSubstr;

NamedSummary First()
{
    NamedSummary first;
    first.name = "a";
    first.summary.periods = 10;
    first.summary.measured = 8;
    first.summary.durationNs = 1500000000;
    first.summary.minimum = 0.5;
    first.summary.percentile5 = 0.625;
    first.summary.median = 0.75;
    first.summary.belowShare = 0.25;
    first.summary.idleShare = 0.125;
    first.summary.remoteShare = 0.125;
    first.summary.crossDieShare = 0.0625;
    first.summary.opsPerMs = 1000.0;
    return first;
}

/// Nothing was measured.
NamedSummary Second()
{
    NamedSummary second;
    second.name = "b";
    second.summary.periods = 4;
    second.summary.durationNs = 2250000000;
    second.summary.idleShare = 1.0;
    second.summary.remoteShare = 0.0625;
    second.summary.crossDieShare = 0.0625;
    second.summary.opsPerMs = 123500.0;
    return second;
}

TEST(Compare, Table)
{
    EXPECT_EQ(CompareText(First(), Second(), Format::TABLE),
              "                                 a             b    difference\n"
              "periods                         10             4            -6\n"
              "measured periods                 8             0            -8\n"
              "duration                   1.500 s       2.250 s      +0.750 s\n"
              "minimum score               0.5000             -             -\n"
              "5th percentile              0.6250             -             -\n"
              "median                      0.7500             -             -\n"
              "time below threshold        25.00%             -             -\n"
              "idle time                   12.50%       100.00%       +87.50%\n"
              "remote                      12.50%         6.25%        -6.25%\n"
              "cross-die                    6.25%         6.25%         0.00%\n"
              "operations per ms           1000.0        123.5k       +122.5k\n");
}

TEST(Compare, ADropInTheRateIsScaledLikeARise)
{
    EXPECT_THAT(CompareText(Second(), First(), Format::TABLE),
                HasSubstr("operations per ms           123.5k        1000.0       -122.5k\n"));
}

TEST(Compare, Csv)
{
    EXPECT_EQ(CompareText(First(), Second(), Format::CSV),
              "measure,first,second,difference\n"
              "recording,a,b,\n"
              "periods,10,4,-6\n"
              "measured_periods,8,0,-8\n"
              "duration_seconds,1.500000,2.250000,0.750000\n"
              "score_minimum,0.500000,,\n"
              "score_percentile5,0.625000,,\n"
              "score_median,0.750000,,\n"
              "below_threshold_share,0.250000,,\n"
              "idle_share,0.125000,1.000000,0.875000\n"
              "remote_share,0.125000,0.062500,-0.062500\n"
              "cross_die_share,0.062500,0.062500,0.000000\n"
              "ops_per_ms,1000.000000,123500.000000,122500.000000\n");
}

TEST(Compare, Json)
{
    EXPECT_EQ(
        CompareText(First(), Second(), Format::JSON),
        R"({"first":{"recording":"a","periods":10,"measured_periods":8,"duration_seconds":1.5,)"
        R"("score_minimum":0.5,"score_percentile5":0.625,"score_median":0.75,"below_threshold_share":0.25,)"
        R"("idle_share":0.125,"remote_share":0.125,"cross_die_share":0.0625,"ops_per_ms":1000.0},)"
        R"("second":{"recording":"b","periods":4,"measured_periods":0,"duration_seconds":2.25,)"
        R"("score_minimum":null,"score_percentile5":null,"score_median":null,"below_threshold_share":null,)"
        R"("idle_share":1.0,"remote_share":0.0625,"cross_die_share":0.0625,"ops_per_ms":123500.0},)"
        R"("difference":{"periods":-6,"measured_periods":-8,"duration_seconds":0.75,)"
        R"("score_minimum":null,"score_percentile5":null,"score_median":null,"below_threshold_share":null,)"
        R"("idle_share":0.875,"remote_share":-0.0625,"cross_die_share":0.0,"ops_per_ms":122500.0}})"
        "\n");
}

TEST(Compare, NamesFromOutside)
{
    NamedSummary first = First();
    NamedSummary second = Second();
    first.name = "x,\"y\"\n";
    second.name = "\xff\x1b";
    EXPECT_THAT(CompareText(first, second, Format::CSV),
                HasSubstr("\nrecording,\"x,\"\"y\"\"\\n\",\\xff\\x1b,\n"));
    EXPECT_THAT(CompareText(first, second, Format::JSON), HasSubstr(R"("recording":"x,\"y\"\n")"));
    EXPECT_THAT(CompareText(first, second, Format::JSON), HasSubstr("\"recording\":\"\xef\xbf\xbd\\u001b\""));
    EXPECT_THAT(CompareText(first, second, Format::TABLE),
                HasSubstr("     x,\"y\"\\n      \\xff\\x1b    difference\n"));
    first.name = std::string(1000, 'n');
    const std::string table = CompareText(first, second, Format::TABLE);
    EXPECT_LT(table.substr(0, table.find('\n')).size(), 110U);
}

TEST(Compare, LongPathsAreToldApartByTheirEnds)
{
    NamedSummary first = First();
    NamedSummary second = Second();
    first.name = "/measurements/of/the/second/week/of/november/server7/before.csv";
    second.name = "/measurements/of/the/second/week/of/november/server7/after.csv";
    EXPECT_THAT(
        CompareText(first, second, Format::TABLE),
        HasSubstr(
            "...cond/week/of/november/server7/before.csv  ...econd/week/of/november/server7/after.csv  "));
    // A character of two bytes is not cut.
    first.name = "\xc3\xa4" + std::string(39, 'n');
    EXPECT_THAT(CompareText(first, second, Format::TABLE), HasSubstr(" ..." + std::string(39, 'n') + "  "));
}

}  // namespace
}  // namespace numa_score
