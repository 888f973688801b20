// SPDX-License-Identifier: MIT

#include "tools/numa_score/table_layout.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

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

PeriodRow IdleRow()
{
    PeriodRow row = Row();
    row.score = 1.0F;
    row.traffic = {0, 0, 0};
    row.measured = false;
    row.flags.Set(Quality::IDLE);
    return row;
}

TableLayout Colored()
{
    TableStyle style;
    style.color = true;
    return TableLayout(style);
}

TEST(TableLayout, NamesTheColumns)
{
    TableStyle style;
    EXPECT_EQ(TableLayout(style).Header(),
              "      TIME/s   SCORE  LOCALITY     OPS/MS   REMOTE  CROSS-DIE  FLAGS");
    style.timeKind = TimeKind::UTC;
    style.color = true;
    EXPECT_EQ(TableLayout(style).Header(),
              "         UTC   SCORE  LOCALITY     OPS/MS   REMOTE  CROSS-DIE  FLAGS");
}

TEST(TableLayout, WritesAPeriod)
{
    EXPECT_EQ(TableLayout({}).PeriodLine(Row()),
              "       1.234  0.9700  ##########     10.0    1.00%      2.00%");
    PeriodRow utc = Row();
    utc.timeKind = TimeKind::UTC;
    utc.timeNs = 1769832902123999999;
    utc.score = 0.5F;
    EXPECT_EQ(TableLayout({}).PeriodLine(utc),
              "04:15:02.123  0.5000  #####.....     10.0    1.00%      2.00%");
}

TEST(TableLayout, DrawsNoLocalityWithoutOperations)
{
    EXPECT_EQ(TableLayout({}).PeriodLine(IdleRow()),
              "       1.234  1.0000                  0.0        -          -  idle");
    PeriodRow stale = Row();
    stale.score = 1.0F;
    stale.traffic = {0, 0, 0};
    stale.intervalMs = 0;
    stale.measured = false;
    EXPECT_EQ(TableLayout({}).PeriodLine(stale),
              "       1.234  1.0000                    -        -          -");
}

TEST(TableLayout, WritesFlagsWithTheRunningShare)
{
    PeriodRow row = Row();
    row.score = 0.0F;
    row.traffic = {1000, 900, 900};
    row.runningRatio = 0.333;
    for (const Quality flag : {Quality::CLAMPED, Quality::PARTIAL, Quality::MULTIPLEXED}) {
        row.flags.Set(flag);
    }
    EXPECT_EQ(
        TableLayout({}).PeriodLine(row),
        "       1.234  0.0000  ..........     10.0   90.00%     90.00%  multiplexed(0.33),partial,clamped");
}

TEST(TableLayout, KeepsHugeFiguresWhole)
{
    PeriodRow row = Row();
    row.timeNs = INT64_MAX;
    row.score = 0.0F;
    row.traffic = {UINT64_MAX, UINT64_MAX, UINT64_MAX};
    row.intervalMs = 1;
    EXPECT_EQ(TableLayout({}).PeriodLine(row),
              "9223372036.854  0.0000  ..........   18.45E  100.00%    100.00%");
}

TEST(TableLayout, ColorsScoresByTheThreshold)
{
    EXPECT_EQ(Colored().PeriodLine(Row()),
              "       1.234\x1b[32m  0.9700  ##########\x1b[0m     10.0    1.00%      2.00%");
    PeriodRow row = Row();
    row.score = 0.955F;
    EXPECT_NE(Colored().PeriodLine(row).find("\x1b[32m  0.9550"), std::string::npos);
    row.score = 0.954F;
    row.flags.Set(Quality::PARTIAL);
    EXPECT_EQ(Colored().PeriodLine(row),
              "       1.234\x1b[31m  0.9540  ##########\x1b[0m     10.0    1.00%      2.00%"
              "  \x1b[33mpartial\x1b[0m");
    EXPECT_EQ(Colored().PeriodLine(IdleRow()),
              "       1.234\x1b[2m  1.0000            \x1b[0m      0.0        -          -"
              "  \x1b[33midle\x1b[0m");
}

TEST(TableLayout, WritesAPmuWithItsNameEscaped)
{
    struct Case {
        std::string_view name;
        std::string shown;
    };
    const std::vector<Case> cases = {
        {"pmu0"sv, "pmu0"},
        {"a,\"b\""sv, "a,\"b\""},
        {"\x1b[31mred\n"sv, "\\x1b[31mred\\n"},
        {"\xff"sv, "\\xff"},
    };
    for (const Case& item : cases) {
        EXPECT_EQ(TableLayout({}).PmuLine({item.name, {1000, 20, 10}, 0.25F, 1.0}, 100),
                  "              0.2500  ###.......     10.0    1.00%      2.00%  " + item.shown);
    }
    EXPECT_EQ(TableLayout({}).PmuLine({"idle one", {}, 1.0F, 1.0}, 0),
              "              1.0000                    -        -          -  idle one");
    const std::string longName(100, 'x');
    EXPECT_EQ(
        TableLayout({}).PmuLine({longName, {}, 1.0F, 1.0}, 0),
        "              1.0000                    -        -          -  " + longName.substr(0, 64) + "...");
}

TEST(Bar, IsFullAtOneAndEmptyAtZero)
{
    struct Case {
        float score;
        std::size_t cells;
        bool utf8;
        std::string bar;
    };
    const std::vector<Case> cases = {
        {0.0F, 4, false, "...."},
        {0.12F, 4, false, "...."},
        {0.13F, 4, false, "#..."},
        {0.5F, 4, false, "##.."},
        {1.0F, 4, false, "####"},
        {-1.0F, 4, false, "...."},
        {2.0F, 4, false, "####"},
        {0.5F, 0, false, ""},
        {0.0F, 4, true, "    "},
        {0.03125F, 4, true, "\u258f   "},
        {0.5F, 4, true, "\u2588\u2588  "},
        {0.5F, 1, true, "\u258c"},
        {0.96875F, 4, true, "\u2588\u2588\u2588\u2589"},
        {0.99F, 4, true, "\u2588\u2588\u2588\u2588"},
        {1.0F, 4, true, "\u2588\u2588\u2588\u2588"},
        {7.0F, 2, true, "\u2588\u2588"},
        {0.5F, 0, true, ""},
    };
    for (const Case& item : cases) {
        EXPECT_EQ(Bar(item.score, item.cells, item.utf8), item.bar) << item.score;
    }
}

TEST(TableLayout, DrawsBlocksInUtf8)
{
    TableStyle style;
    style.utf8 = true;
    PeriodRow row = Row();
    row.score = 0.25F;
    EXPECT_EQ(TableLayout(style).PeriodLine(row),
              "       1.234  0.2500  \u2588\u2588\u258c            10.0    1.00%      2.00%");
}

TEST(ClipLine, CountsCharactersAndKeepsColors)
{
    struct Case {
        std::string_view line;
        std::size_t columns;
        std::string clipped;
    };
    const std::vector<Case> cases = {
        {"abc"sv, 3, "abc"},
        {"abc"sv, 2, "ab"},
        {"abc"sv, 0, ""},
        {""sv, 5, ""},
        {"\u2588\u2589x"sv, 2, "\u2588\u2589"},
        {"\x1b[31mabc\x1b[0m"sv, 2, "\x1b[31mab\x1b[0m"},
        {"\x1b[31mabc\x1b[0m"sv, 0, "\x1b[31m\x1b[0m"},
        {"ab\x1b[3"sv, 1, "a\x1b[3"},
        {"\x80\x80"sv, 1, "\x80\x80"},
    };
    for (const Case& item : cases) {
        EXPECT_EQ(ClipLine(item.line, item.columns), item.clipped);
    }
}

}  // namespace
