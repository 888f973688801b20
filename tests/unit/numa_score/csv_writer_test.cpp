// SPDX-License-Identifier: MIT

#include "tools/numa_score/csv_writer.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "tests/unit/numa_score/captured_output.h"

namespace {

using namespace numa_score;
using namespace std::string_view_literals;

PeriodRow Row()
{
    PeriodRow row;
    row.timeNs = 1234567890;
    row.score = 0.97F;
    row.traffic = {1000, 20, 10};
    row.intervalMs = 100;
    return row;
}

std::string Written(const PeriodRow& row)
{
    CapturedOutput output;
    CsvWriter writer(output.Get());
    writer.Write(row);
    return output.Text();
}

/// The line of a PMU of that name.
std::string PmuLine(std::string_view name)
{
    PeriodRow row = Row();
    row.pmus.push_back({name, {}, 1.0F, 1.0});
    const std::string text = Written(row);
    return text.substr(Written(Row()).size());
}

TEST(CsvWriter, BeginsWithTheNamesOfTheColumns)
{
    CapturedOutput output;
    CsvWriter writer(output.Get());
    writer.Begin();
    writer.Interrupt();
    writer.End();
    EXPECT_EQ(output.Text(),
              "time,pmu,score,ops,sccl,outer,interval_ms,ops_per_ms,remote_share,cross_die_share,"
              "running_ratio,flags\n");
}

TEST(CsvWriter, WritesAPeriod)
{
    EXPECT_EQ(Written(Row()), "1.234567890,,0.97,1000,20,10,100,10.000,0.010000,0.020000,1.0000,\n");
}

TEST(CsvWriter, WritesUtc)
{
    PeriodRow row = Row();
    row.timeKind = TimeKind::UTC;
    row.timeNs = 1769832902123999999;
    row.pmus.push_back({"p", {4, 1, 2}, 0.25F, 0.5});
    EXPECT_EQ(Written(row),
              "2026-01-31T04:15:02.123Z,,0.97,1000,20,10,100,10.000,0.010000,0.020000,1.0000,\n"
              "2026-01-31T04:15:02.123Z,p,0.25,4,1,2,100,0.040,0.500000,0.250000,0.5000,\n");
}

TEST(CsvWriter, LeavesEmptyWhatCannotBeComputed)
{
    PeriodRow row = Row();
    row.score = 1.0F;
    row.traffic = {0, 0, 0};
    row.intervalMs = 0;
    row.flags.Set(Quality::IDLE);
    EXPECT_EQ(Written(row), "1.234567890,,1,0,0,0,0,,,,1.0000,idle\n");
    row.intervalMs = -5;
    EXPECT_EQ(Written(row), "1.234567890,,1,0,0,0,-5,,,,1.0000,idle\n");
    row.intervalMs = 5;
    EXPECT_EQ(Written(row), "1.234567890,,1,0,0,0,5,0.000,,,1.0000,idle\n");
}

TEST(CsvWriter, WritesExtremes)
{
    PeriodRow row = Row();
    row.timeNs = 0;
    row.score = 0.0F;
    row.traffic = {1, UINT64_MAX, UINT64_MAX};
    row.intervalMs = INT64_MAX;
    row.runningRatio = 0.25;
    row.flags.Set(Quality::CLAMPED);
    row.flags.Set(Quality::MULTIPLEXED);
    row.flags.Set(Quality::PARTIAL);
    EXPECT_EQ(Written(row),
              "0.000000000,,0,1,18446744073709551615,18446744073709551615,9223372036854775807,0.000,"
              "18446744073709551616.000000,18446744073709551616.000000,0.2500,multiplexed partial clamped\n");
}

TEST(CsvWriter, QuotesAndEscapesNamesOfPmus)
{
    struct Case {
        std::string_view name;
        std::string field;
    };
    const std::vector<Case> cases = {
        {"pmu0"sv, "pmu0"},
        {""sv, ""},
        {"a b"sv, "a b"},
        {"a,b"sv, "\"a,b\""},
        {"say \"x\""sv, "\"say \"\"x\"\"\""},
        {"\""sv, "\"\"\"\""},
        {"two\nlines\r"sv, "two\\nlines\\x0d"},
        {"\x1b[31m\0,"sv, "\"\\x1b[31m\\x00,\""},
        {"\xff\xc3\xa4"sv, "\\xff\xc3\xa4"},
    };
    for (const Case& item : cases) {
        EXPECT_EQ(PmuLine(item.name), "1.234567890," + item.field + ",1,0,0,0,100,0.000,,,1.0000,\n");
    }
}

TEST(CsvWriter, WritesEachPeriodWhenSomebodyWatches)
{
    CapturedOutput watched;
    CsvWriter toWatcher(watched.Get());
    toWatcher.Write(Row());
    toWatcher.Write(Row());
    EXPECT_EQ(watched.Text(), Written(Row()) + Written(Row()));

    CapturedOutput file(cli::Output::Flush::WHEN_FULL);
    CsvWriter toFile(file.Get());
    toFile.Begin();
    toFile.Write(Row());
    EXPECT_EQ(file.Text(), "");
    file.Get().WriteOut();
    EXPECT_EQ(file.Text(), std::string(CsvWriter::HEADER) + Written(Row()));
}

TEST(AppendCsvField, QuotesWhatNeedsIt)
{
    struct Case {
        std::string_view text;
        std::string field;
    };
    const std::vector<Case> cases = {
        {""sv, ""},         {"plain"sv, "plain"},   {" x "sv, " x "},           {"a,b"sv, "\"a,b\""},
        {"\n"sv, "\"\n\""}, {"a\rb"sv, "\"a\rb\""}, {"\"\""sv, "\"\"\"\"\"\""}, {"a;b'c"sv, "a;b'c"},
    };
    for (const Case& item : cases) {
        std::string out = "x,";
        AppendCsvField(out, item.text);
        EXPECT_EQ(out, "x," + item.field);
    }
}

}  // namespace
