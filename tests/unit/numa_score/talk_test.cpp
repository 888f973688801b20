// SPDX-License-Identifier: MIT

#include "tools/numa_score/talk.h"

#include <algorithm>
#include <string>

#include <gtest/gtest.h>

#include "tests/unit/numa_score/captured_output.h"
#include "tools/numa_score/messages.h"

namespace numa_score {
namespace {

TEST(Talk, PrintsTwoHundredRemarksAndCountsTheRest)
{
    CapturedOutput captured;
    Talk talk(captured.Get(), false);
    for (int i = 0; i < 200; ++i) {
        EXPECT_TRUE(talk.RemarkShows()) << i;
        talk.Remark("remark");
    }
    EXPECT_FALSE(talk.RemarkShows());
    talk.Remark("unseen");
    talk.Remark("unseen");
    talk.Error("an error is always seen");
    talk.End();
    const std::string text = captured.Text();
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 202);
    EXPECT_EQ(text.find("unseen"), std::string::npos);
    EXPECT_NE(text.find("an error is always seen\n"), std::string::npos);
    EXPECT_NE(text.find(RemarksLeftOut(2) + "\n"), std::string::npos);
}

TEST(Talk, QuietDropsRemarksAndTheirCount)
{
    CapturedOutput captured;
    Talk talk(captured.Get(), true);
    EXPECT_FALSE(talk.RemarkShows());
    for (int i = 0; i < 201; ++i) {
        talk.Remark("remark");
    }
    talk.Print("a summary\n");
    talk.End();
    EXPECT_EQ(captured.Text(), "");
    talk.Error("an error");
    EXPECT_EQ(captured.Text(), "numa-score: an error\n");
}

}  // namespace
}  // namespace numa_score
