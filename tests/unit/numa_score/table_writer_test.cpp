// SPDX-License-Identifier: MIT

#include "tools/numa_score/table_writer.h"

#include <string>

#include <gtest/gtest.h>

#include "tests/unit/numa_score/captured_output.h"

namespace {

using namespace numa_score;

const std::string HEADER = "      TIME/s   SCORE  LOCALITY     OPS/MS   REMOTE  CROSS-DIE  FLAGS\n";
const std::string PERIOD = "       1.234  0.5000  #####.....     10.0   20.00%     30.00%\n";

PeriodRow Row()
{
    PeriodRow row;
    row.timeNs = 1234567890;
    row.score = 0.5F;
    row.traffic = {1000, 300, 200};
    row.intervalMs = 100;
    return row;
}

TEST(TableWriter, WritesTheHeaderOnce)
{
    CapturedOutput output;
    TableWriter writer(output.Get(), TableLayout({}));
    writer.Begin();
    EXPECT_EQ(output.Text(), HEADER);
    writer.Write(Row());
    EXPECT_EQ(output.Text(), HEADER + PERIOD);
    writer.Write(Row());
    writer.End();
    EXPECT_EQ(output.Text(), HEADER + PERIOD + PERIOD);
}

TEST(TableWriter, WritesPmusBeneathTheirPeriod)
{
    CapturedOutput output;
    TableWriter writer(output.Get(), TableLayout({}));
    PeriodRow row = Row();
    row.pmus.push_back({"b\n", {500, 0, 200}, 0.6F, 1.0});
    row.pmus.push_back({"a", {}, 1.0F, 1.0});
    writer.Write(row);
    EXPECT_EQ(output.Text(), PERIOD +
                                 "              0.6000  ######....      5.0   40.00%      0.00%  b\\n\n"
                                 "              1.0000                  0.0        -          -  a\n");
}

TEST(TableWriter, GivesWayWithNothingHeldBack)
{
    CapturedOutput output(cli::Output::Flush::WHEN_FULL);
    TableWriter writer(output.Get(), TableLayout({}));
    writer.Begin();
    writer.Write(Row());
    EXPECT_EQ(output.Text(), "");
    writer.Interrupt();
    EXPECT_EQ(output.Text(), HEADER + PERIOD);
}

}  // namespace
