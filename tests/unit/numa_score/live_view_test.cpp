// SPDX-License-Identifier: MIT

#include "tools/numa_score/live_view.h"

#include <cstdint>
#include <string>

#include <gtest/gtest.h>

#include "tests/support/manual_clock.h"
#include "tests/unit/numa_score/captured_output.h"

namespace numa_score {
namespace {

constexpr const char* HEADER = "      TIME/s   SCORE  LOCALITY     OPS/MS   REMOTE  CROSS-DIE  FLAGS\x1b[K\n";

/// A period that ends `second` seconds after the start.
PeriodRow RowAt(std::int64_t second)
{
    PeriodRow row;
    row.timeNs = second * 1000000000;
    row.score = 0.97F;
    row.traffic = {1000, 20, 10};
    row.intervalMs = 100;
    return row;
}

/// The line of RowAt as it is drawn.
std::string Drawn(const std::string& second)
{
    return std::string(8 - second.size(), ' ') + second +
           ".000  0.9700  ##########     10.0    1.00%      2.00%\x1b[K\n";
}

std::string Up(const std::string& lines)
{
    return "\r\x1b[" + lines + "A";
}

cli::TerminalSize Size(int columns, int rows)
{
    cli::TerminalSize size;
    size.columns = columns;
    size.rows = rows;
    return size;
}

class LiveViewTest : public testing::Test {
protected:
    /// What was written since the last call.
    std::string Fresh()
    {
        const std::string all = captured.Text();
        std::string fresh = all.substr(seen);
        seen = all.size();
        return fresh;
    }

    void WriteAfterMs(std::int64_t milliseconds, std::int64_t second)
    {
        clock.AdvanceMs(milliseconds);
        view.Write(RowAt(second));
    }

    support::ManualClock clock;
    CapturedOutput captured;
    cli::TerminalSize size = Size(80, 24);
    LiveView view{captured.Get(), TableLayout({}), clock, [this] { return size; }};

private:
    std::size_t seen = 0;
};

TEST_F(LiveViewTest, DrawsAgainOverWhatIsThere)
{
    view.Begin();
    EXPECT_EQ(Fresh(), HEADER + std::string("\x1b[J"));
    WriteAfterMs(0, 1);
    EXPECT_EQ(Fresh(), Up("1") + HEADER + Drawn("1") + "\x1b[J");
    WriteAfterMs(50, 2);
    EXPECT_EQ(Fresh(), Up("2") + HEADER + Drawn("1") + Drawn("2") + "\x1b[J");
}

TEST_F(LiveViewTest, DrawsAtMostTwentyTimesASecond)
{
    view.Begin();
    WriteAfterMs(0, 1);
    Fresh();
    WriteAfterMs(49, 2);
    EXPECT_EQ(Fresh(), "");
    WriteAfterMs(1, 3);
    EXPECT_EQ(Fresh(), Up("2") + HEADER + Drawn("1") + Drawn("2") + Drawn("3") + "\x1b[J");
}

TEST_F(LiveViewTest, TheEndShowsWhatWasHeldBackAndNothingTwice)
{
    view.Begin();
    WriteAfterMs(0, 1);
    Fresh();
    view.End();
    EXPECT_EQ(Fresh(), "");
    WriteAfterMs(1, 2);
    EXPECT_EQ(Fresh(), "");
    view.End();
    EXPECT_EQ(Fresh(), Up("2") + HEADER + Drawn("1") + Drawn("2") + "\x1b[J");
}

TEST_F(LiveViewTest, ARemarkLeavesTheTableWhereItIs)
{
    view.Begin();
    WriteAfterMs(0, 1);
    WriteAfterMs(1, 2);
    Fresh();
    view.Interrupt();
    EXPECT_EQ(Fresh(), Up("2") + HEADER + Drawn("1") + Drawn("2") + "\x1b[J") << "what was held back";
    view.Interrupt();
    EXPECT_EQ(Fresh(), "");
    WriteAfterMs(50, 3);
    EXPECT_EQ(Fresh(), HEADER + Drawn("1") + Drawn("2") + Drawn("3") + "\x1b[J") << "beneath, not over it";
}

TEST_F(LiveViewTest, ShowsTheLastTwelvePeriods)
{
    view.Begin();
    for (std::int64_t second = 1; second <= 12; ++second) {
        WriteAfterMs(50, second);
    }
    EXPECT_NE(Fresh().rfind(HEADER + Drawn("1")), std::string::npos);
    WriteAfterMs(50, 13);
    std::string expected = Up("13") + HEADER;
    for (int second = 2; second <= 13; ++second) {
        expected += Drawn(std::to_string(second));
    }
    EXPECT_EQ(Fresh(), expected + "\x1b[J");
}

TEST_F(LiveViewTest, ShowsThePmusOfTheLastPeriodOnly)
{
    view.Begin();
    Fresh();
    PeriodRow row = RowAt(1);
    PmuRow pmu;
    pmu.name = "l3c0";
    pmu.traffic = {500, 5, 5};
    pmu.score = 0.98F;
    row.pmus = {pmu};
    view.Write(row);
    const std::string drawn = Fresh();
    const std::string line = TableLayout({}).PmuLine(pmu, row.intervalMs) + "\x1b[K\n";
    EXPECT_EQ(drawn, Up("1") + HEADER + Drawn("1") + line + "\x1b[J");
    WriteAfterMs(50, 2);
    EXPECT_EQ(Fresh(), Up("3") + HEADER + Drawn("1") + Drawn("2") + "\x1b[J");
}

TEST_F(LiveViewTest, FitsASmallTerminalHoweverItChanges)
{
    view.Begin();
    for (std::int64_t second = 1; second <= 5; ++second) {
        WriteAfterMs(50, second);
    }
    Fresh();
    size = Size(14, 4);  // one of the rows is for the cursor
    WriteAfterMs(50, 6);
    // Up no further than the screen goes.
    EXPECT_EQ(Fresh(), Up("3") + "      TIME/s \x1b[K\n       5.000 \x1b[K\n       6.000 \x1b[K\n\x1b[J");
    size = Size(0, 0);  // a terminal that does not know
    WriteAfterMs(50, 7);
    EXPECT_EQ(Fresh(), Up("2") + " \x1b[K\n \x1b[K\n\x1b[J");
}

}  // namespace
}  // namespace numa_score
