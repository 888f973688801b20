// SPDX-License-Identifier: MIT

#include "tools/tnstat/history.h"

#include <gtest/gtest.h>

namespace {

using tnstat::History;
using tnstat::Reading;

Reading DumpAt(std::int64_t ns, float score, std::uint64_t operations)
{
    Reading reading;
    reading.stamp = {ns, 1};
    reading.record.uncore.numaScore = score;
    reading.record.uncore.rxOpsNum = operations;
    return reading;
}

TEST(TnstatHistory, KeepsEachDumpOnce)
{
    History history;
    history.Note(DumpAt(10, 0.5F, 1));
    history.Note(DumpAt(10, 0.5F, 1));
    history.Note(DumpAt(20, 1.0F, 0));
    ASSERT_EQ(history.Points().size(), 2U);
    EXPECT_EQ(history.Points()[0].timeNs, 10);
    EXPECT_EQ(history.Points()[0].score, 0.5F);
    EXPECT_TRUE(history.Points()[0].hadOperations);
    EXPECT_EQ(history.Points()[1].timeNs, 20);
    EXPECT_FALSE(history.Points()[1].hadOperations);
}

TEST(TnstatHistory, LeavesOutWhatIsNoRecord)
{
    History history;
    Reading bad = DumpAt(10, 0.5F, 1);
    bad.fault = "no";
    history.Note(bad);
    EXPECT_TRUE(history.Points().empty());
}

TEST(TnstatHistory, DropsTheOldest)
{
    History history;
    for (std::int64_t i = 1; i <= 700; ++i) {
        history.Note(DumpAt(i, 1.0F, 1));
    }
    ASSERT_EQ(history.Points().size(), History::MAX_POINTS);
    EXPECT_EQ(history.Points().front().timeNs, 101);
    EXPECT_EQ(history.Points().back().timeNs, 700);
}

}  // namespace
