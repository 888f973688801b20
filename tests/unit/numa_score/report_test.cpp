// SPDX-License-Identifier: MIT

#include "tools/numa_score/report.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/manual_clock.h"
#include "tests/unit/numa_score/captured_output.h"
#include "tools/numa_score/score_session.h"

namespace {

using numa_score::CostText;
using numa_score::PeriodRow;
using numa_score::PluginCost;
using numa_score::Progress;
using numa_score::Report;
using numa_score::SummaryCollector;
using numa_score::Talk;

/// A replay that has come half way.
class HalfWay : public host::ReplaySource {
public:
    std::string Describe() const override { return "a replay"; }
    bool IsLive() const override { return false; }
    Status Read(host::CounterBatch& batch) override
    {
        batch.Clear();
        return Status::END;
    }
    std::string Error() const override { return ""; }
    std::vector<std::string> TakeRemarks() override { return {}; }
    host::ReplayProgress Progress() const override
    {
        host::ReplayProgress progress;
        progress.bytes = 1;
        progress.totalBytes = 2;
        progress.lines = 3;
        return progress;
    }
};

/// Puts a word onto its output for each call.
class Words : public numa_score::RowWriter {
public:
    explicit Words(cli::Output& wordOutput) : out(wordOutput) {}
    void Begin() override { Say("begin "); }
    void Write(const PeriodRow& /*row*/) override { Say("row "); }
    void Interrupt() override { Say("interrupt "); }
    void End() override { Say("end "); }

private:
    void Say(const char* word) { out.Buffer() += word; }

    cli::Output& out;
};

class ReportTest : public testing::Test {
protected:
    support::ManualClock clock;
    CapturedOutput rows{cli::Output::Flush::WHEN_FULL};
    CapturedOutput err;
    Words writer{rows.Get()};
    Talk talk{err.Get(), false};
    Progress progress{err.Get(), clock};
    HalfWay replay;
    SummaryCollector scores{0.5};
};

TEST_F(ReportTest, TheProgressLineComesWhenItIsDueAndGoesForOthers)
{
    Report report({&writer, &rows.Get(), &talk, &progress, &replay, &scores}, clock);
    report.Tick();
    EXPECT_EQ(err.Text(), "") << "a second is not over";
    clock.AdvanceMs(1000);
    report.Tick();
    const std::string line = "\rnuma-score: 50 %, 3 lines, 0 s of recorded time\x1b[K";
    EXPECT_EQ(err.Text(), line);
    report.TakeRemark("a remark");
    const std::string remarked = line + "\r\x1b[Knuma-score: a remark\n";
    EXPECT_EQ(err.Text(), remarked);
    clock.AdvanceMs(500);
    report.Tick();
    EXPECT_EQ(err.Text(), remarked + line);
    report.End(true);
    EXPECT_EQ(err.Text(), remarked + line + "\r\x1b[K");
}

TEST_F(ReportTest, ARemarkThatDoesNotShowLeavesTheLineAlone)
{
    Talk silent(err.Get(), true);
    Report report({&writer, &rows.Get(), &silent, &progress, &replay, &scores}, clock);
    clock.AdvanceMs(1000);
    report.Tick();
    const std::string line = err.Text();
    report.TakeRemark("a remark");
    EXPECT_EQ(err.Text(), line);
    rows.Get().WriteOut();
    EXPECT_EQ(rows.Text(), "") << "nor is the writer interrupted";
}

TEST_F(ReportTest, OfASourceThatIsNoReplayNothingIsShown)
{
    Report report({&writer, &rows.Get(), &talk, &progress, nullptr, &scores}, clock);
    clock.AdvanceMs(5000);
    report.Tick();
    EXPECT_EQ(err.Text(), "");
}

TEST_F(ReportTest, RowsGetNoOlderThanATenthOfASecond)
{
    Report report({&writer, &rows.Get(), &talk, nullptr, &replay, &scores}, clock);
    EXPECT_TRUE(report.TakeRow({}));
    clock.AdvanceMs(99);
    report.Tick();
    EXPECT_EQ(rows.Text(), "");
    clock.AdvanceMs(1);
    report.Tick();
    EXPECT_EQ(rows.Text(), "begin row ");
    report.End(true);
    rows.Get().WriteOut();
    EXPECT_EQ(rows.Text(), "begin row end ");
}

TEST_F(ReportTest, WithoutAWriterTheScoresAreGatheredAllTheSame)
{
    Report report({nullptr, nullptr, nullptr, nullptr, nullptr, &scores}, clock);
    report.TakeRemark("nobody hears it");
    EXPECT_TRUE(report.TakeRow({}));
    clock.AdvanceMs(1000);
    report.Tick();
    report.End(true);
    EXPECT_EQ(scores.Finish().periods, 1U);
    EXPECT_EQ(err.Text() + rows.Text(), "");
}

TEST_F(ReportTest, ARunThatFailedBeforeItsFirstPeriodIsNotBegun)
{
    Report report({&writer, &rows.Get(), &talk, nullptr, nullptr, &scores}, clock);
    report.End(false);
    rows.Get().WriteOut();
    EXPECT_EQ(rows.Text(), "");
    report.End(true);
    rows.Get().WriteOut();
    EXPECT_EQ(rows.Text(), "begin end ") << "one without periods is";
}

struct CostCase {
    PluginCost cost;
    const char* text;
};

TEST(CostText, SaysWhatTheCallsCostAndWhichWasTheLongest)
{
    const CostCase cases[] = {
        {{host::Call::RUN, 0, 0, 0, 0}, "plug-in      0 calls, 0.0 us on average, longest 0.0 us (Run)\n"},
        {{host::Call::ENABLE, 1500, 1500, 1, 0},
         "plug-in      1 call, 1.5 us on average, longest 1.5 us (Enable)\n"},
        {{host::Call::UPDATE_DATA, 7000, 10000, 4, 1},
         "plug-in      4 calls, 2.5 us on average, longest 7.0 us (UpdateData), 1 period missed\n"},
        {{host::Call::RUN, 123456789, 200000000, 2, 12},
         "plug-in      2 calls, 100000.0 us on average, longest 123456.8 us (Run), 12 periods missed\n"},
    };
    for (const CostCase& one : cases) {
        EXPECT_EQ(CostText(one.cost), one.text);
    }
}

}  // namespace
