// SPDX-License-Identifier: MIT

#include "tools/numa_score/messages.h"

#include <cerrno>

#include <cmath>
#include <string>

#include <gtest/gtest.h>

namespace numa_score {
namespace {

// The texts about usage are pinned where command lines are parsed.

TEST(Messages, AboutOutput)
{
    EXPECT_EQ(
        CannotOpenOutput("/a/b", ENOENT),
        "\"/a/b\": cannot be opened for writing: No such file or directory (errno 2); give --out a file "
        "that may be written");
    EXPECT_EQ(CannotWrite("", ENOSPC),
              "standard output: cannot be written: No space left on device (errno 28); make room or write "
              "elsewhere");
    EXPECT_EQ(CannotWrite("f", EDQUOT),
              "\"f\": cannot be written: Disk quota exceeded (errno 122); make room or write elsewhere");
    EXPECT_EQ(
        CannotWrite("f", ETIMEDOUT),
        "\"f\": cannot be written: Connection timed out (errno 110); its reader took nothing for a second");
    EXPECT_EQ(CannotWrite("f", EIO), "\"f\": cannot be written: Input/output error (errno 5)");
    EXPECT_EQ(OutputIsInput("f"), "--out \"f\" is the recording that is read: choose another file");
}

TEST(Messages, AboutThePlugin)
{
    EXPECT_EQ(
        NoPluginFound({"/a/l.so", "/b/l.so"}),
        "no plug-in library found; looked for \"/a/l.so\", \"/b/l.so\"; install it there, or name it with "
        "--plugin PATH or NUMA_SCORE_PLUGIN");
    EXPECT_EQ(NoScorePublisher("/a"),
              "\"/a\": no instance publishes the topic \"system_score\"; give --plugin a library that does");
    EXPECT_EQ(
        NoScorePublisher(""),
        "the plug-in: no instance publishes the topic \"system_score\"; give --plugin a library that does");
    EXPECT_EQ(PluginNotUsable("i"),
              "instance \"i\" cannot be driven, so there is no score; the remarks say why");
    EXPECT_EQ(PluginSilent("i", 10), "instance \"i\" gave no score in 10 calls of Run, expected one in each");
    EXPECT_EQ(BadScore("i", 1.5F), "instance \"i\" published the score 1.5, expected 0 to 1; it is left out");
    EXPECT_EQ(BadScore("i", std::nanf("")),
              "instance \"i\" published the score nan, expected 0 to 1; it is left out");
}

TEST(Messages, Others)
{
    EXPECT_EQ(BadCommandLine("odd\nreason"), "bad command line: odd\\nreason");
    EXPECT_EQ(ComparisonInterrupted(),
              "interrupted before both recordings were read: there is no comparison");
    EXPECT_EQ(NoOperationsRecorded("f"),
              "f: operations were counted in no interval, so that no score means anything; record with: perf "
              "stat -a -I 100 -x, -o FILE -e PMU/rx_outer/ -e PMU/rx_sccl/ -e PMU/rx_ops_num/");
    EXPECT_EQ(NoOperationsRecorded("-").substr(0, 16), "standard input: ");
    EXPECT_EQ(NoOperationsRecorded("a\n").substr(0, 5), "a\\n: ");
    EXPECT_EQ(KernelDisagrees("one side, other side"),
              "the score is doubtful: one side, other side; see that the events, or --map, count what their "
              "names say");
    EXPECT_EQ(KernelDisagreesNoMore(), "the kernel does not disagree with the score any more");
    EXPECT_EQ(RemarksLeftOut(1), "1 further remark was left out");
    EXPECT_EQ(RemarksLeftOut(2), "2 further remarks were left out");
}

TEST(Messages, TextFromOutsideIsEscapedAndBounded)
{
    const std::string odd = "a\n\x1b[31m\xff";
    const std::string escaped = "\"a\\n\\x1b[31m\\xff\"";
    for (const std::string& text :
         {BadOptionValue("--o", odd, "x"), UnexpectedArgument(odd), OutputIsInput(odd),
          CannotOpenOutput(odd, 2), CannotWrite(odd, 5), NoPluginFound({odd}), NoScorePublisher(odd),
          PluginNotUsable(odd), PluginSilent(odd, 10), BadScore(odd, 2.0F)}) {
        EXPECT_NE(text.find(escaped), std::string::npos) << text;
        EXPECT_EQ(text.find('\n'), std::string::npos) << text;
    }
    EXPECT_LT(UnexpectedArgument(std::string(100000, 'x')).size(), 400U);
    EXPECT_LT(BadCommandLine(std::string(100000, 'x')).size(), 400U);
}

}  // namespace
}  // namespace numa_score
