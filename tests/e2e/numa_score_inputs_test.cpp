// SPDX-License-Identifier: MIT
//
// numa-score and what it is given: PMUs to list, recordings to compare, files that must not be overwritten.

#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/own_directory.h"
#include "tests/support/program_run.h"
#include "tests/support/sysfs_tree.h"

namespace {

using support::Program;
using support::ProgramResult;
using testing::Contains;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

const std::string RECORDINGS = std::string(SOURCE_DIR) + "/tests/fixtures/recordings/";
const std::string TREES = std::string(SOURCE_DIR) + "/tests/fixtures/sysfs/";

ProgramResult RunScore(std::vector<std::string> arguments, const std::string& standardInput = "/dev/null")
{
    setenv("LC_ALL", "C.UTF-8", 1);
    unsetenv("NUMA_SCORE_PLUGIN");
    arguments.insert(arguments.begin(), NUMA_SCORE);
    return support::RunProgram(arguments, standardInput);
}

std::string ReadFile(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

/// The columns are as wide as the names in the first line.
std::vector<std::string> WordsBeneathTheFirstLine(const std::string& text)
{
    std::istringstream stream(text.substr(std::min(text.find('\n'), text.size())));
    return {std::istream_iterator<std::string>(stream), std::istream_iterator<std::string>()};
}

TEST(NumaScoreList, NamesEachPmuWithWhatItCanDo)
{
    const struct {
        const char* tree;
        const char* text;
    } cases[] = {
        {"two_sockets",
         "PMUs with rx_outer rx_sccl rx_ops_num\n"
         "  die1_hub2: usable, type 24, cpumask 0, events rx_ops_num rx_outer rx_sccl\n"
         "  die1_hub10: usable, type 25, cpumask 0, events rx_ops_num rx_outer rx_sccl\n"
         "  die3_hub2: usable, type 26, cpumask 32, events rx_ops_num rx_outer rx_sccl\n"
         "  die3_hub10: usable, type 27, cpumask 32, events rx_ops_num rx_outer rx_sccl\n"
         "all PMUs\n"
         "  die1_hub2 die1_hub10 die1_mem0 die3_hub2 die3_hub10\n"},
        {"partial",
         "PMUs with rx_outer rx_sccl rx_ops_num\n"
         "  half: not usable, lacks rx_sccl; has rx_ops_num rx_outer\n"
         "  third: not usable, lacks rx_outer rx_ops_num; has rx_sccl\n"
         "all PMUs\n"
         "  half third\n"},
        {"wide_mask",
         "PMUs with rx_outer rx_sccl rx_ops_num\n"
         "  uncore_numa: usable, type 40, cpumask 0,2, events rx_ops_num rx_outer rx_sccl\n"
         "all PMUs\n"
         "  uncore_numa uncore_other\n"},
    };
    for (const auto& c : cases) {
        const ProgramResult result = RunScore({"list", "--sysfs-root", TREES + c.tree});
        EXPECT_EQ(result.status, 0) << c.tree;
        EXPECT_EQ(result.err, "") << c.tree;
        EXPECT_THAT(result.out, StartsWith(std::string(c.text) + "plug-in ")) << c.tree;
    }
}

TEST(NumaScoreList, SaysWhichCpusCountAndWhyAPmuCannot)
{
    support::SysfsTree tree(TREES + "two_sockets");
    tree.Remove("devices/die1_hub2/cpumask");
    tree.Write("devices/die1_hub10/cpumask", "x\n");
    const ProgramResult result = RunScore({"list", "--sysfs-root", tree.Root()});
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out, HasSubstr("  die1_hub2: usable, type 24, no cpumask, events "));
    EXPECT_THAT(result.out, HasSubstr("  die1_hub10: not usable, "));
    EXPECT_THAT(result.out, HasSubstr("/die1_hub10/cpumask:1: CPU list 'x': expected a number at column 1"));
}

TEST(NumaScoreList, SaysBothWhenNeitherSysfsNorThePluginCanBeRead)
{
    const ProgramResult result =
        RunScore({"list", "--sysfs-root", "/nonexistent", "--plugin", "/nonexistent.so"});
    EXPECT_EQ(result.status, 3);
    EXPECT_THAT(result.out, EndsWith("  none\nall PMUs\n  none\n"));
    EXPECT_THAT(result.err, HasSubstr("cannot read /nonexistent/bus/event_source/devices: "));
    EXPECT_THAT(result.err, HasSubstr("/nonexistent.so: cannot be read: "));
    const ProgramResult noPlugin =
        RunScore({"list", "--sysfs-root", TREES + "partial", "--plugin", "/nonexistent.so"});
    EXPECT_EQ(noPlugin.status, 1);
    EXPECT_THAT(noPlugin.out, StartsWith("PMUs with rx_outer rx_sccl rx_ops_num\n  half: "));
}

TEST(NumaScoreInputs, ARecordingIsNeverOverwritten)
{
    const support::OwnDirectory directory;
    const std::string content = ReadFile(RECORDINGS + "composed_uncore.csv");
    std::ofstream("own.csv", std::ios::binary) << content;
    const std::string refused =
        "numa-score: --out \"./own.csv\" is the recording that is read: choose another file\n";
    const std::vector<std::string> commands[] = {
        {"replay", "own.csv", "--out", "./own.csv"},
        {"replay", "own.csv", "--compare", RECORDINGS + "composed_no_merge.csv", "--out", "./own.csv"},
        {"replay", RECORDINGS + "composed_no_merge.csv", "--compare", "own.csv", "--out", "./own.csv"}};
    for (const std::vector<std::string>& command : commands) {
        const ProgramResult result = RunScore(command);
        EXPECT_EQ(result.status, 2);
        EXPECT_EQ(result.err, refused);
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(ReadFile("own.csv"), content);
    }
    const ProgramResult piped = RunScore({"replay", "-", "--out", "./own.csv"}, "own.csv");
    EXPECT_EQ(piped.status, 2);
    EXPECT_EQ(piped.err, refused);
    EXPECT_EQ(ReadFile("own.csv"), content);
}

TEST(NumaScoreInputs, AnOutputThatCannotBeMadeIsAFailure)
{
    const ProgramResult measured =
        RunScore({"demo", "--speed", "max", "--count", "1", "--out", "/nonexistent/f"});
    EXPECT_EQ(measured.status, 1);
    EXPECT_THAT(measured.err, HasSubstr("/nonexistent/f"));
    const ProgramResult compared =
        RunScore({"replay", RECORDINGS + "composed_uncore.csv", "--compare",
                  RECORDINGS + "composed_no_merge.csv", "--out", "/nonexistent/f"});
    EXPECT_EQ(compared.status, 1);
    EXPECT_THAT(compared.err, HasSubstr("/nonexistent/f"));
}

TEST(NumaScoreInputs, ComparesStandardInput)
{
    const ProgramResult result = RunScore({"replay", "-", "--compare", RECORDINGS + "composed_no_merge.csv"},
                                          RECORDINGS + "composed_uncore.csv");
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out, HasSubstr(" standard input "));
    const ProgramResult named = RunScore(
        {"replay", RECORDINGS + "composed_uncore.csv", "--compare", RECORDINGS + "composed_no_merge.csv"});
    EXPECT_EQ(WordsBeneathTheFirstLine(result.out), WordsBeneathTheFirstLine(named.out));
    EXPECT_THAT(WordsBeneathTheFirstLine(named.out), Contains("+0.0080"));
}

TEST(NumaScoreInputs, ComparesInEveryFormatAndToAFile)
{
    const support::OwnDirectory directory;
    const std::vector<std::string> command = {"replay", RECORDINGS + "composed_uncore.csv", "--compare",
                                              RECORDINGS + "composed_no_merge.csv"};
    for (const std::string format : {"table", "csv", "json"}) {
        std::vector<std::string> arguments = command;
        arguments.insert(arguments.end(), {"--format", format, "--quiet"});
        const ProgramResult direct = RunScore(arguments);
        EXPECT_EQ(direct.status, 0) << format;
        EXPECT_EQ(direct.err, "") << format;
        EXPECT_THAT(direct.out, Not(testing::IsEmpty())) << format;
        arguments.insert(arguments.end(), {"--out", "compared"});
        EXPECT_EQ(RunScore(arguments).status, 0) << format;
        EXPECT_EQ(ReadFile("compared"), direct.out) << format;
    }
}

TEST(NumaScoreInputs, WhatCannotBeComparedEndsWithItsStatus)
{
    const std::string good = RECORDINGS + "composed_uncore.csv";
    const std::string idle = RECORDINGS + "no_permission.csv";
    const ProgramResult noPlugin =
        RunScore({"replay", good, "--compare", good, "--plugin", "/nonexistent.so"});
    EXPECT_EQ(noPlugin.status, 1);
    EXPECT_THAT(noPlugin.err, HasSubstr("/nonexistent.so: cannot be read: "));
    for (const auto& [first, second] : {std::pair(idle, good), std::pair(good, idle)}) {
        const ProgramResult result = RunScore({"replay", first, "--compare", second});
        EXPECT_EQ(result.status, 3);
        EXPECT_EQ(result.out, "");
        EXPECT_THAT(result.err, HasSubstr("no_permission.csv"));
    }
}

TEST(NumaScoreInputs, APauseInTheMiddleOfARecordingChangesNothing)
{
    const std::string recording = RECORDINGS + "composed_uncore.csv";
    const std::string size = std::to_string(std::filesystem::file_size(recording));
    const ProgramResult whole = RunScore({"replay", recording, "--format", "csv"});
    ASSERT_EQ(whole.status, 0) << whole.err;
    for (const char* const part : {"3", "2", "4/3"}) {
        const ProgramResult slow =
            support::RunProgram({"/bin/sh", "-c",
                                 "first=$((" + size + "/" + part + ")); { head -c $first '" + recording +
                                     "'; sleep 0.25; tail -c +$((first + 1)) '" + recording +
                                     "'; } | '" NUMA_SCORE "' replay - --format csv"});
        EXPECT_EQ(slow.status, 0) << slow.err;
        EXPECT_EQ(slow.out, whole.out) << part;
    }
}

TEST(NumaScoreInputs, AnInterruptedComparisonIsNone)
{
    const support::OwnDirectory directory;
    ASSERT_EQ(mkfifo("fifo", 0600), 0);
    Program program({NUMA_SCORE, "replay", "fifo", "--compare", RECORDINGS + "composed_uncore.csv"});
    std::ofstream input("fifo");
    input << "0.1,100,,p/rx_ops_num/,100000000,100.00,,\n" << std::flush;
    program.Signal(SIGINT);
    const ProgramResult result = program.Wait();
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, "");
    EXPECT_THAT(result.err,
                HasSubstr("interrupted before both recordings were read: there is no comparison\n"));
}

TEST(NumaScoreInputs, TheDemoHasIntervalsOfTheGivenLength)
{
    const ProgramResult result =
        RunScore({"demo", "--speed", "max", "--interval", "250", "--count", "2", "--format", "csv"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(result.out, HasSubstr("\n0.250000000,"));
    EXPECT_THAT(result.out, HasSubstr("\n0.500000000,"));
}

}  // namespace
