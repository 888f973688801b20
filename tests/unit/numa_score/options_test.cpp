// SPDX-License-Identifier: MIT

#include "tools/numa_score/options.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/numa_score/exit_status.h"

namespace {

using cli::ColorChoice;
using numa_score::Command;
using numa_score::CommandLine;
using numa_score::Format;
using numa_score::Options;
using testing::HasSubstr;
using testing::StartsWith;

using Words = std::vector<std::string>;

CommandLine Parse(const Words& words)
{
    std::vector<const char*> argv = {"numa-score"};
    for (const std::string& word : words) {
        argv.push_back(word.c_str());
    }
    argv.push_back(nullptr);
    return numa_score::ParseCommandLine(static_cast<int>(argv.size()) - 1, argv.data());
}

Options Good(const Words& words)
{
    const CommandLine line = Parse(words);
    EXPECT_EQ(line.error, "");
    EXPECT_EQ(line.out, "");
    EXPECT_TRUE(line.options.has_value());
    return line.options.value_or(Options());
}

TEST(Options, Defaults)
{
    const Options demo = Good({"demo"});
    EXPECT_EQ(demo.command, Command::DEMO);
    EXPECT_EQ(demo.format, Format::TABLE);
    EXPECT_FALSE(demo.count || demo.durationNs);
    EXPECT_EQ(demo.intervalMs, 0);
    EXPECT_FALSE(demo.quiet || demo.perPmu || demo.repeat);
    EXPECT_EQ(demo.color, cli::ColorChoice::AUTO);
    EXPECT_EQ(demo.threshold, 0.955);
    EXPECT_EQ(demo.speed, 1.0);
    EXPECT_EQ(demo.seed, 1U);
    EXPECT_EQ(demo.plugin + demo.out + demo.recording + demo.separator + demo.compare, "");
    const Options live = Good({"live"});
    EXPECT_EQ(live.command, Command::LIVE);
    EXPECT_EQ(live.sysfsRoot, "/sys");
    EXPECT_EQ(live.procfsRoot, "/proc");
    EXPECT_TRUE(live.mappings.empty());
    const Options replay = Good({"replay", "file"});
    EXPECT_EQ(replay.command, Command::REPLAY);
    EXPECT_EQ(replay.recording, "file");
    EXPECT_FALSE(replay.speed.has_value());
    EXPECT_EQ(Good({"doctor"}).command, Command::DOCTOR);
    EXPECT_EQ(Good({"list"}).command, Command::LIST);
}

TEST(Options, DefaultsMayBeGivenByName)
{
    const Options options = Good({"demo", "--format", "table", "--color", "auto"});
    EXPECT_EQ(options.format, Format::TABLE);
    EXPECT_EQ(options.color, cli::ColorChoice::AUTO);
    EXPECT_EQ(Good({"demo", "--format", "json"}).format, Format::JSON);
}

TEST(Options, WhatEveryRunKnowsStandsBeforeOrAfterTheCommand)
{
    const Words common = {"--format",   "json",  "--count",   "7",       "--duration",   "2.5",
                          "--interval", "250",   "--per-pmu", "--quiet", "--threshold",  "0.5",
                          "--out",      "o.txt", "--color",   "always",  "--plugin=p.so"};
    Words before = common;
    before.push_back("demo");
    Words after = {"demo"};
    after.insert(after.end(), common.begin(), common.end());
    for (const Words& words : {before, after}) {
        const Options options = Good(words);
        EXPECT_EQ(options.format, Format::JSON);
        EXPECT_EQ(options.count, 7U);
        EXPECT_EQ(options.durationNs, 2500000000);
        EXPECT_EQ(options.intervalMs, 250);
        EXPECT_TRUE(options.perPmu);
        EXPECT_TRUE(options.quiet);
        EXPECT_EQ(options.threshold, 0.5);
        EXPECT_EQ(options.out, "o.txt");
        EXPECT_EQ(options.color, cli::ColorChoice::ALWAYS);
        EXPECT_EQ(options.plugin, "p.so");
    }
    const Options both = Good({"--format=csv", "demo", "--color=never"});
    EXPECT_EQ(both.format, Format::CSV);
    EXPECT_EQ(both.color, cli::ColorChoice::NEVER);
}

TEST(Options, OfOneCommand)
{
    const Options live =
        Good({"live", "--map", "rx_outer=a/b/", "--map=rx_sccl=c/config=0x1/", "--sysfs-root", "s"});
    ASSERT_EQ(live.mappings.size(), 2U);
    EXPECT_EQ(live.mappings[0].target, "a/b/");
    EXPECT_EQ(live.mappings[1].target, "c/config=0x1/");
    EXPECT_EQ(live.sysfsRoot, "s");
    const Options replay = Good({"replay", "--speed", "2", "--separator", ";", "f"});
    EXPECT_EQ(replay.speed, 2.0);
    EXPECT_EQ(replay.separator, ";");
    EXPECT_EQ(replay.recording, "f");
    EXPECT_EQ(Good({"replay", "f", "--compare", "g"}).compare, "g");
    const Options demo = Good({"demo", "--seed", "9", "--repeat", "--speed=max"});
    EXPECT_EQ(demo.seed, 9U);
    EXPECT_TRUE(demo.repeat);
    EXPECT_FALSE(demo.speed.has_value());
    EXPECT_EQ(Good({"doctor", "--sysfs-root", "d"}).sysfsRoot, "d");
    EXPECT_EQ(Good({"doctor", "--procfs-root", "p"}).procfsRoot, "p");
    EXPECT_EQ(Good({"live", "--procfs-root", "p"}).procfsRoot, "p");
    EXPECT_EQ(Good({"--plugin", "q", "list"}).plugin, "q");
}

TEST(Options, StandardStreams)
{
    EXPECT_EQ(Good({"replay", "-"}).recording, "-");
    EXPECT_EQ(Good({"demo", "--out", "-"}).out, "");
    EXPECT_EQ(Good({"replay", "a", "--compare", "-"}).compare, "-");
}

TEST(Options, ARecordingMayHaveTheNameOfACommand)
{
    const Options options = Good({"replay", "demo"});
    EXPECT_EQ(options.command, Command::REPLAY);
    EXPECT_EQ(options.recording, "demo");
}

TEST(Options, UsageErrors)
{
    const struct {
        Words words;
        const char* error;
        const char* command;  // in the hint
    } cases[] = {
        {{}, "no command, expected one of live, replay, demo, doctor, list, check", ""},
        {{"--quiet"}, "no command, expected one of live, replay, demo, doctor, list, check", ""},
        {{"bogus"}, "unexpected argument \"bogus\"", ""},
        {{"bo\n\x1bgus"}, "unexpected argument \"bo\\n\\x1bgus\"", ""},
        {{"--bogus", "demo"}, "unexpected argument \"--bogus\"", "demo "},
        {{"demo", "x"}, "unexpected argument \"x\"", "demo "},
        {{"demo", "--coun", "3"}, "unexpected argument \"--coun\"", "demo "},
        {{"demo", "-q"}, "unexpected argument \"-q\"", "demo "},
        {{"demo", "demo"}, "unexpected argument \"demo\"", "demo "},
        {{"demo", "list"}, "unexpected argument \"list\"", "demo "},
        {{"replay", "a", "b"}, "unexpected argument \"b\"", "replay "},
        {{"doctor", "--seed", "3"}, "unexpected argument \"--seed\"", "doctor "},
        {{"demo", "--count"}, "--count needs a value", "demo "},
        {{"live", "--map"}, "--map needs a value", "live "},
        {{"--out"}, "--out needs a value", ""},
        {{"demo", "--quiet=1"}, "--quiet takes no value: leave out the = and what follows it", "demo "},
        {{"--per-pmu=no", "demo"}, "--per-pmu takes no value: leave out the = and what follows it", ""},
        {{"--count", "3", "doctor"}, "--count has no meaning for \"doctor\": leave it out", "doctor "},
        {{"--quiet", "list"}, "--quiet has no meaning for \"list\": leave it out", "list "},
        {{"demo", "--count", "1", "--count", "2"}, "--count is given twice: once is enough", "demo "},
        {{"--format=csv", "demo", "--format=csv"}, "--format is given twice: once is enough", "demo "},
        {{"--quiet", "demo", "--quiet"}, "--quiet is given twice: once is enough", "demo "},
        {{"demo", "--count", ""},
         "--count \"\": expected a whole number of periods from 1 to 1000000000000",
         "demo "},
        {{"demo", "--format", "x\ty"}, "--format \"x\\ty\": expected table, csv or json", "demo "},
        {{"--threshold", "2", "demo"},
         "--threshold \"2\": expected a score from 0 to 1, for example 0.955",
         "demo "},
        {{"live", "--map", "rx_outer=a/b/", "--map", "rx_outer=c/d/"},
         "--map \"rx_outer=c/d/\": expected rx_outer=, rx_sccl= or rx_ops_num= and PMU/event/, each event "
         "once",
         "live "},
        {{"replay"},
         "replay needs a recording: a file made with \"perf stat -I 100 -x\\; -o FILE -e ...\", or - for "
         "standard input",
         "replay "},
        {{"replay", "-", "--compare", "-"},
         "both recordings are standard input: give a file for one of them",
         "replay "},
        {{"replay", "a", "--compare", "b", "--per-pmu"},
         "--compare and --per-pmu exclude each other: leave one out",
         "replay "},
        {{"replay", "a", "--compare", "b", "--speed", "1"},
         "--compare and --speed exclude each other: leave one out",
         "replay "},
    };
    for (const auto& one : cases) {
        const CommandLine line = Parse(one.words);
        EXPECT_EQ(line.error, one.error);
        EXPECT_EQ(line.hint, "\"numa-score " + std::string(one.command) + "--help\" shows what there is")
            << one.error;
        EXPECT_EQ(line.status, numa_score::EXIT_USAGE) << one.error;
        EXPECT_FALSE(line.options.has_value()) << one.error;
        EXPECT_EQ(line.out, "") << one.error;
    }
}

TEST(Options, HelpAndVersionGoToStandardOutput)
{
    for (const Words& words : {Words{"--version"}, Words{"demo", "--version"}}) {
        const CommandLine line = Parse(words);
        EXPECT_THAT(line.out, StartsWith("numa-score "));
        EXPECT_THAT(line.out, HasSubstr("\nplug-in directory /"));
        EXPECT_EQ(line.out.back(), '\n');
        EXPECT_EQ(line.status, 0);
        EXPECT_EQ(line.error, "");
        EXPECT_FALSE(line.options.has_value());
    }
    for (const Words& words : {Words{"--help"}, Words{"-h"}}) {
        const CommandLine line = Parse(words);
        for (const char* const command : {"live", "replay", "demo", "doctor", "list"}) {
            EXPECT_THAT(line.out, HasSubstr(std::string("\n  ") + command + "  "));
        }
        EXPECT_THAT(line.out, HasSubstr("--format table|csv|json"));
        EXPECT_THAT(line.out, HasSubstr("\nExit status: 0 good, 1 run-time failure or a rule failed or not "
                                        "examined, 2 usage, 3 no PMU"));
    }
    const std::string replay = Parse({"replay", "--help"}).out;
    EXPECT_THAT(replay, HasSubstr("--compare FILE2"));
    EXPECT_THAT(replay, testing::Not(HasSubstr("--seed")));
}

TEST(Options, CommandNames)
{
    EXPECT_STREQ(CommandName(Command::LIVE), "live");
    EXPECT_STREQ(CommandName(Command::REPLAY), "replay");
    EXPECT_STREQ(CommandName(Command::DEMO), "demo");
    EXPECT_STREQ(CommandName(Command::DOCTOR), "doctor");
    EXPECT_STREQ(CommandName(Command::LIST), "list");
}

}  // namespace
