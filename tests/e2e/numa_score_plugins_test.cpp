// SPDX-License-Identifier: MIT
//
// numa-score and plug-ins that refuse, lack topics or are left out in part.

#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/own_directory.h"
#include "tests/support/program_run.h"

namespace {

using support::ProgramResult;
using testing::HasSubstr;
using testing::Not;

const std::string RECORDINGS = std::string(SOURCE_DIR) + "/tests/fixtures/recordings/";

ProgramResult RunScore(std::vector<std::string> arguments)
{
    arguments.insert(arguments.begin(), NUMA_SCORE);
    return support::RunProgram(arguments);
}

/// The plug-in that misbehaves as `fault` says.
ProgramResult RunWithMisfit(const char* fault, std::vector<std::string> arguments)
{
    setenv("MISFIT", fault, 1);
    arguments.insert(arguments.end(), {"--plugin", CONFORMANCE_DIR "/misfit.so"});
    ProgramResult result = RunScore(std::move(arguments));
    unsetenv("MISFIT");
    return result;
}

TEST(NumaScorePlugins, APluginThatRefusesGivesNoScore)
{
    const std::string good = RECORDINGS + "composed_uncore.csv";
    const std::vector<std::vector<std::string>> commands = {
        {"replay", good}, {"replay", good, "--compare", good}, {"demo", "--speed", "max"}};
    for (const std::vector<std::string>& command : commands) {
        const ProgramResult result = RunWithMisfit("refused score", command);
        EXPECT_EQ(result.status, 1);
        EXPECT_THAT(result.err, HasSubstr("no such hardware"));
        EXPECT_THAT(result.err, HasSubstr("numa-score: instance \"scenario_numa\" cannot be driven, so "
                                          "there is no score; the remarks say why\n"));
        EXPECT_THAT(result.err, Not(HasSubstr("summary")));
    }
}

TEST(NumaScorePlugins, WhatIsLeftOutOfAPluginIsRemarked)
{
    const support::OwnDirectory directory;
    ASSERT_EQ(symlink(PLUGIN_FILE, "a.so"), 0);
    ASSERT_EQ(symlink(SAMPLE_DIR "/sample_some_null.so", "b.so"), 0);
    const ProgramResult result =
        RunScore({"demo", "--speed", "max", "--count", "1", "--format", "csv", "--plugin", "."});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(std::count(result.out.begin(), result.out.end(), '\n'), 2);
    EXPECT_THAT(result.err, HasSubstr("b.so: "));
    EXPECT_THAT(result.err, Not(HasSubstr("a.so: ")));
}

TEST(NumaScorePlugins, AnInstanceWithoutTopics)
{
    const ProgramResult result = RunWithMisfit("no topic", {"list", "--sysfs-root", "/nonexistent"});
    EXPECT_THAT(result.out, HasSubstr("  instance sample 1.0, period 10 ms, topics none\n"));
    const ProgramResult one = RunWithMisfit("nothing", {"list", "--sysfs-root", "/nonexistent"});
    EXPECT_THAT(one.out, HasSubstr("  instance sample 1.0, period 10 ms, topics sample::reading::\n"));
}

}  // namespace
