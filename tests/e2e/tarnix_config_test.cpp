// SPDX-License-Identifier: MIT
//
// tarnix-config as its users run it: exit status, standard output, standard error.

#include <fcntl.h>
#include <unistd.h>

#include <fstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/program_run.h"
#include "tests/support/scratch_directory.h"

namespace {

using support::Program;
using support::ProgramResult;
using testing::HasSubstr;
using testing::StartsWith;

class TarnixConfigTest : public testing::Test {
protected:
    void SetUp() override
    {
        std::ofstream(good) << "log-level: debug\nblacklist: [b, a]\n";
        std::ofstream(bad) << "log-level: verbose\nsmtt: off\n";
    }
    static ProgramResult Run(std::vector<std::string> arguments)
    {
        arguments.insert(arguments.begin(), TARNIX_CONFIG);
        return support::RunProgram(arguments);
    }

    support::ScratchDirectory scratch;
    std::string good = scratch / "good.yaml";
    std::string bad = scratch / "bad.yaml";
};

TEST_F(TarnixConfigTest, ChecksAFile)
{
    const ProgramResult fine = Run({"check", good});
    EXPECT_EQ(fine.status, 0);
    EXPECT_EQ(fine.out + fine.err, "");
    const ProgramResult faulty = Run({"check", bad});
    EXPECT_EQ(faulty.status, 1);
    EXPECT_EQ(faulty.out,
              bad +
                  ":1:12: log-level should be in [trace, debug, info, warn, error, fatal], now is verbose\n" +
                  bad + ":2:1: unknown key 'smtt' is not read, did you mean 'smt'?\n");
    EXPECT_EQ(faulty.err, "");
}

TEST_F(TarnixConfigTest, ShowsWhatAFileComesTo)
{
    const ProgramResult show = Run({"show", good});
    EXPECT_EQ(show.status, 0);
    EXPECT_THAT(show.out, HasSubstr("\nlog-level: debug\n"));
    EXPECT_THAT(show.out, StartsWith("sampling-interval: 100\n"));
    const ProgramResult diff = Run({"diff", good});
    EXPECT_EQ(diff.status, 0);
    EXPECT_EQ(diff.out, "log-level: info -> debug\nblacklist: [] -> [a, b]\n");
    const ProgramResult hash = Run({"hash", good});
    EXPECT_EQ(hash.status, 0);
    std::ofstream(good) << "# the same, written otherwise\nblacklist:\n- a\n- b\nlog-level: 'debug'\n";
    EXPECT_EQ(Run({"hash", good}).out, hash.out);
    std::ofstream(good) << "log-level: warn\n";
    EXPECT_NE(Run({"hash", good}).out, hash.out);
}

TEST_F(TarnixConfigTest, ShowsNothingOfAFaultyFile)
{
    for (const char* const command : {"show", "diff", "hash"}) {
        const ProgramResult result = Run({command, bad});
        EXPECT_EQ(result.status, 1) << command;
        EXPECT_EQ(result.out, "") << command;
        EXPECT_THAT(result.err, StartsWith(bad + ":1:12: log-level should be in ")) << command;
    }
    EXPECT_EQ(Run({"check", scratch / "absent"}).status, 1);
}

TEST_F(TarnixConfigTest, RefusesWrongArguments)
{
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{}, {"frob"}, {"check", "--frob"}, {"check", good, bad}}) {
        const ProgramResult result = Run(arguments);
        EXPECT_EQ(result.status, 2);
        EXPECT_EQ(result.out, "");
        EXPECT_THAT(result.err, StartsWith("tarnix-config: "));
    }
    EXPECT_EQ(Run({"--help"}).status, 0);
    EXPECT_EQ(Run({"--version"}).out, "tarnix-config " PROGRAM_VERSION "\n");
}

TEST_F(TarnixConfigTest, OutputThatCannotBeWrittenIsAFailure)
{
    const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
    ASSERT_GE(full, 0);
    const support::ProgramResult told = Program({TARNIX_CONFIG, "show", good}, "/dev/null", full).Wait();
    EXPECT_EQ(told.status, 3);
    EXPECT_EQ(told.err, "tarnix-config: cannot write to standard output: No space left on device\n");
    close(full);
}

}  // namespace
