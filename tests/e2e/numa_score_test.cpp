// SPDX-License-Identifier: MIT
//
// numa-score as its users run it: exit status, standard output, standard error. Golden outputs are in
// tests/golden/numa_score; UPDATE_GOLDEN=1 writes them anew.

#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/program_run.h"

namespace {

using support::Program;
using support::ProgramResult;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

const std::string RECORDINGS = std::string(SOURCE_DIR) + "/tests/fixtures/recordings/";

ProgramResult RunScore(std::vector<std::string> arguments, const std::string& standardInput = "/dev/null")
{
    arguments.insert(arguments.begin(), NUMA_SCORE);
    return support::RunProgram(arguments, standardInput);
}

std::size_t CountLines(const std::string& text)
{
    return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

std::string ReadFile(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void ExpectGolden(const std::string& name, const std::string& text)
{
    const std::string path = std::string(SOURCE_DIR) + "/tests/golden/numa_score/" + name;
    if (getenv("UPDATE_GOLDEN") != nullptr) {
        std::ofstream(path, std::ios::binary) << text;
    }
    EXPECT_EQ(text, ReadFile(path)) << name;
    EXPECT_FALSE(text.empty()) << name;
}

class NumaScoreTest : public testing::Test {
protected:
    void SetUp() override
    {
        setenv("LC_ALL", "C.UTF-8", 1);
        unsetenv("NUMA_SCORE_PLUGIN");
        char name[] = "/tmp/numa_score_test_XXXXXX";
        ASSERT_NE(mkdtemp(name), nullptr);
        directory = name;
    }
    void TearDown() override
    {
        const std::string command = "rm -rf '" + directory + "'";
        EXPECT_EQ(system(command.c_str()), 0);
    }
    std::string Path(const std::string& name) const { return directory + "/" + name; }

    std::string directory;
};

TEST_F(NumaScoreTest, WrongArgumentsEndWithStatus2AndSayWhat)
{
    const struct {
        std::vector<std::string> arguments;
        const char* error;
    } cases[] = {
        {{}, "numa-score: no command, expected one of live, replay, demo, doctor, list, check\n"},
        {{"bogus"}, "numa-score: unexpected argument \"bogus\"\n"},
        {{"demo", "--nope"}, "numa-score: unexpected argument \"--nope\"\n"},
        {{"demo", "--count", "0"},
         "numa-score: --count \"0\": expected a whole number of periods from 1 to "
         "1000000000000\n"},
        {{"demo", "--count", "-3"}, "numa-score: --count \"-3\": expected a whole number"},
        {{"demo", "--duration", "nan"}, "numa-score: --duration \"nan\": expected seconds above 0"},
        {{"demo", "--duration", "1e400"}, "numa-score: --duration \"1e400\": expected seconds above 0"},
        {{"demo", "--format", "xml"}, "numa-score: --format \"xml\": expected table, csv or json\n"},
        {{"demo", "--threshold", "2"}, "numa-score: --threshold \"2\": expected a score from 0 to 1"},
        {{"demo", "--speed", "0"}, "numa-score: --speed \"0\": expected max, or how many times"},
        {{"demo", "--color", "pink"}, "numa-score: --color \"pink\": expected auto, always or never\n"},
        {{"live", "--map", "foo=bar"},
         "numa-score: --map \"foo=bar\": expected rx_outer=, rx_sccl= or rx_ops_num="},
        {{"live", "--map", "rx_outer=pmu"},
         "numa-score: --map \"rx_outer=pmu\": event 'pmu': no '/' after the PMU, expected PMU/event/ or"},
        {{"doctor", "--map", "rx_outer=pmu/a=?/"},
         "numa-score: --map \"rx_outer=pmu/a=?/\": event 'pmu/a=?/': "},
        {{"replay", "file", "--separator", "ab"},
         "numa-score: --separator \"ab\": expected the 1 to 8 characters after -x of perf stat, none of them "
         "a"},
        {{"replay"}, "numa-score: replay needs a recording"},
    };
    for (const auto& c : cases) {
        const ProgramResult result = RunScore(c.arguments);
        EXPECT_EQ(result.status, 2) << c.error;
        EXPECT_EQ(result.out, "");
        EXPECT_THAT(result.err, StartsWith(c.error));
        EXPECT_EQ(CountLines(result.err), 2U) << result.err;
        EXPECT_THAT(result.err, HasSubstr("--help\" shows what there is\n"));
    }
}

TEST_F(NumaScoreTest, HelpAndVersionGoToStandardOutput)
{
    for (const char* command : {"live", "replay", "demo", "doctor", "list", "check"}) {
        const ProgramResult help = RunScore({command, "--help"});
        EXPECT_EQ(help.status, 0);
        EXPECT_EQ(help.err, "");
        EXPECT_THAT(help.out, HasSubstr(std::string("Usage: numa-score ") + command));
        EXPECT_THAT(help.out, HasSubstr("Exit status: 0 good, 1 run-time failure or a rule failed or not "
                                        "examined, 2 usage, 3 no PMU"));
    }
    const ProgramResult help = RunScore({"--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_THAT(help.out, HasSubstr("Subcommands:"));
    const ProgramResult version = RunScore({"--version"});
    EXPECT_EQ(version.status, 0);
    EXPECT_THAT(version.out, StartsWith("numa-score " NUMA_SCORE_VERSION "\n"));
}

TEST_F(NumaScoreTest, DemoInEveryFormatIsTheGoldenOutput)
{
    const std::vector<std::string> demo = {"demo", "--speed", "max", "--quiet"};
    const auto with = [&demo](std::vector<std::string> more) {
        more.insert(more.begin(), demo.begin(), demo.end());
        const ProgramResult result = RunScore(more);
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.err, "");
        return result.out;
    };
    ExpectGolden("demo_table.txt", with({"--color", "never"}));
    ExpectGolden("demo_color.txt", with({"--color", "always", "--count", "80"}));
    ExpectGolden("demo.csv", with({"--format", "csv"}));
    ExpectGolden("demo_per_pmu.csv", with({"--format", "csv", "--per-pmu", "--count", "5"}));
    ExpectGolden("demo.json", with({"--format", "json", "--per-pmu", "--count", "5"}));
}

TEST_F(NumaScoreTest, TheDemoTellsItsStory)
{
    const ProgramResult result = RunScore({"demo", "--speed", "max", "--format", "csv"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(CountLines(result.out), 161U) << "header and 16 s of periods of 100 ms";
    EXPECT_THAT(result.err, HasSubstr("summary      160 periods, 16.000 s\n"));
    EXPECT_THAT(result.err, HasSubstr("(20 periods)")) << "idle";
}

TEST_F(NumaScoreTest, PaceOfTheDemo)
{
    const auto start = std::chrono::steady_clock::now();
    const ProgramResult result = RunScore({"demo", "--count", "5"});
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
    EXPECT_EQ(result.status, 0);
    EXPECT_GE(took.count(), 0.5) << "five periods of 100 ms";
}

TEST_F(NumaScoreTest, ReplayIsIdenticalBetweenRunsAndSpeeds)
{
    for (const char* name : {"composed_uncore.csv", "appended.csv", "per_socket.csv", "semicolon.csv"}) {
        const auto replay = [&](const char* speed) {
            const ProgramResult result =
                RunScore({"replay", RECORDINGS + name, "--format", "csv", "--per-pmu", "--speed", speed});
            EXPECT_EQ(result.status, 0) << name << result.err;
            return result.out;
        };
        const std::string first = replay("max");
        EXPECT_GE(CountLines(first), 2U) << name;
        EXPECT_EQ(replay("max"), first);
        EXPECT_EQ(replay("7"), first);
    }
}

TEST_F(NumaScoreTest, ReplayOfAnUncoreRecordingIsTheGoldenOutput)
{
    const ProgramResult result =
        RunScore({"replay", RECORDINGS + "composed_uncore.csv", "--format", "csv", "--per-pmu"});
    ExpectGolden("replay_uncore.csv", result.out);
    EXPECT_THAT(result.err, HasSubstr("<not counted>"));
    EXPECT_THAT(result.out, HasSubstr("not_counted"));
    const ProgramResult fromPipe =
        RunScore({"replay", "-", "--format", "csv", "--per-pmu"}, RECORDINGS + "composed_uncore.csv");
    EXPECT_EQ(fromPipe.out, result.out);
}

TEST_F(NumaScoreTest, ReplayAtTheRecordedPace)
{
    const auto start = std::chrono::steady_clock::now();
    const ProgramResult result = RunScore({"replay", RECORDINGS + "composed_uncore.csv", "--speed", "1"});
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
    EXPECT_EQ(result.status, 0);
    EXPECT_GE(took.count(), 0.29) << "0.301 s were recorded";
}

TEST_F(NumaScoreTest, UnusableRecordingsEndWithStatus3)
{
    std::ofstream(Path("empty")) << "";
    std::ofstream(Path("comments")) << "# started on Sat Nov 21 03:55:45 2026\n\n";
    std::ofstream(Path("binary"), std::ios::binary) << std::string(
        "\x7f"
        "ELF\0\1\2\xff\xfe",
        9);
    const struct {
        std::string path;
        const char* error;
    } cases[] = {
        {"/nonexistent/recording", "cannot be opened: No such file or directory"},
        {directory, "is a directory; expected a recording of perf stat -I, or a pipe"},
        {Path("empty"), "record with: perf stat -a -I 100 -x, -o FILE"},
        {Path("comments"), "record with: perf stat -a -I 100 -x, -o FILE"},
        {Path("binary"), "record with: perf stat -a -I 100 -x, -o FILE"},
        {RECORDINGS + "json.txt", "record with -x, instead of -j"},
        {RECORDINGS + "metric_only.csv", "record without --metric-only"},
        {RECORDINGS + "not_supported.csv", "not"},
    };
    for (const auto& c : cases) {
        const ProgramResult result = RunScore({"replay", c.path, "--format", "csv"});
        EXPECT_EQ(result.status, 3) << c.path;
        EXPECT_THAT(result.err, HasSubstr(c.path));
        EXPECT_THAT(result.err, HasSubstr(c.error));
    }
}

TEST_F(NumaScoreTest, RecordingsWithoutOperationsEndWithStatus3)
{
    std::ofstream(Path("other")) << "0.1;100;;cycles;100;100.00;;\n0.2;100;;cycles;100;100.00;;\n";
    std::ofstream(Path("uncounted")) << "0.1;<not counted>;;p/rx_ops_num/;0;0.00;;\n";
    std::ofstream(Path("idle")) << "0.1;0;;p/rx_ops_num/;100;100.00;;\n";
    const std::string good = RECORDINGS + "composed_uncore.csv";
    const std::string other =
        ": operations were counted in no interval, so that no score means anything; record "
        "with: perf stat -a -I 100 -x, -o FILE -e PMU/rx_outer/";
    const struct {
        std::string path;
        std::string error;
    } cases[] = {{Path("other"), "numa-score: " + Path("other") + other},
                 {Path("uncounted"), Path("uncounted") + ": not one count in 1 line"}};
    for (const auto& c : cases) {
        const ProgramResult replay = RunScore({"replay", c.path});
        EXPECT_EQ(replay.status, 3) << c.path;
        EXPECT_THAT(replay.err, HasSubstr(c.error));
        for (const auto& pair : {std::pair(c.path, good), std::pair(good, c.path)}) {
            const ProgramResult compare = RunScore({"replay", pair.first, "--compare", pair.second});
            EXPECT_EQ(compare.status, 3) << c.path;
            EXPECT_THAT(compare.err, HasSubstr(c.error));
            EXPECT_EQ(compare.out, "");
        }
    }
    EXPECT_EQ(RunScore({"replay", Path("idle")}).status, 0) << "nothing happened, and that was counted";
}

TEST_F(NumaScoreTest, CompareSetsTwoRecordingsSideBySide)
{
    const ProgramResult result = RunScore(
        {"replay", RECORDINGS + "composed_uncore.csv", "--compare", RECORDINGS + "composed_no_merge.csv"});
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out, HasSubstr("periods "));
    EXPECT_THAT(result.out, HasSubstr("minimum score"));
    EXPECT_THAT(result.out, HasSubstr("difference\n"));
    EXPECT_THAT(result.out, HasSubstr("+0.0080"));
    const ProgramResult missing =
        RunScore({"replay", RECORDINGS + "composed_uncore.csv", "--compare", "/nonexistent"});
    EXPECT_EQ(missing.status, 3);
    EXPECT_THAT(missing.err, HasSubstr("/nonexistent"));
}

TEST_F(NumaScoreTest, AMillionLinesThroughAPipeInBoundedMemory)
{
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || defined(__aarch64__)
    const int intervals = 20000;  // instrumented or emulated
#else
    const int intervals = 1000000;
#endif
    const std::string fifo = Path("fifo");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    Program program({NUMA_SCORE, "replay", fifo, "--format", "csv", "--out", "/dev/null"});
    {
        std::ofstream recording(fifo);
        char line[128];
        for (int i = 1; i <= intervals; ++i) {
            for (const char* event : {"rx_outer", "rx_sccl", "rx_ops_num"}) {
                const int length =
                    snprintf(line, sizeof line, "%d.%d00000000,%d,,uncore_l3c0/%s/,100000000,100.00,,\n",
                             i / 10, i % 10, event[3] == 'o' && event[4] == 'p' ? 1000 : 7, event);
                recording.write(line, length);
            }
        }
    }
    const ProgramResult result = program.Wait();
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(result.err, HasSubstr("summary      " + std::to_string(intervals) + " periods"));
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__) && !defined(__aarch64__)
    EXPECT_LT(result.maxRssKb, 32 * 1024);
#endif
    std::cout << 3 * intervals << " lines, " << result.maxRssKb << " KiB resident at most\n";
}

TEST_F(NumaScoreTest, SignalsEndItCleanlyWithTheSummary)
{
    for (const int number : {SIGINT, SIGTERM}) {
        int out[2];
        ASSERT_EQ(pipe2(out, O_CLOEXEC), 0);
        Program program({NUMA_SCORE, "demo", "--repeat", "--format", "csv"}, "/dev/null", out[1]);
        close(out[1]);
        std::string text;
        char buffer[4096];
        ssize_t got = 0;
        while (CountLines(text) < 2 && (got = read(out[0], buffer, sizeof buffer)) > 0) {
            text.append(buffer, static_cast<std::size_t>(got));
        }
        program.Signal(number);
        while ((got = read(out[0], buffer, sizeof buffer)) > 0) {
            text.append(buffer, static_cast<std::size_t>(got));
        }
        close(out[0]);
        const ProgramResult result = program.Wait();
        EXPECT_EQ(result.status, 0);
        EXPECT_THAT(result.err, HasSubstr("summary      "));
        EXPECT_EQ(text.back(), '\n') << "no row is cut";
    }
}

TEST_F(NumaScoreTest, AClosedPipeEndsItQuietly)
{
    int out[2];
    ASSERT_EQ(pipe2(out, O_CLOEXEC), 0);
    Program program({NUMA_SCORE, "demo", "--repeat", "--speed", "max", "--format", "csv", "--quiet"},
                    "/dev/null", out[1]);
    close(out[1]);
    char byte = 0;
    ASSERT_EQ(read(out[0], &byte, 1), 1);
    close(out[0]);
    const ProgramResult result = program.Wait();
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
}

TEST_F(NumaScoreTest, AFullDiskIsAFailure)
{
    const ProgramResult result = RunScore({"demo", "--speed", "max", "--out", "/dev/full"});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err,
                HasSubstr("numa-score: \"/dev/full\": cannot be written: No space left on device"));
    const ProgramResult missing = RunScore({"demo", "--speed", "max", "--out", Path("absent/file")});
    EXPECT_EQ(missing.status, 1);
    EXPECT_THAT(missing.err, HasSubstr("absent/file"));
}

TEST_F(NumaScoreTest, OutWritesTheFileThatStandardOutputWouldGet)
{
    const ProgramResult direct = RunScore({"demo", "--speed", "max", "--format", "csv", "--count", "7"});
    const ProgramResult filed =
        RunScore({"demo", "--speed", "max", "--format", "csv", "--count", "7", "--out", Path("rows.csv")});
    EXPECT_EQ(filed.status, 0);
    EXPECT_EQ(filed.out, "");
    EXPECT_EQ(ReadFile(Path("rows.csv")), direct.out);
}

TEST_F(NumaScoreTest, PluginsThatCannotServe)
{
    std::ofstream(Path("text.so")) << "no library";
    const struct {
        std::string plugin;
        const char* error;
    } cases[] = {{"/nonexistent.so", "/nonexistent.so: cannot be read: No such file or directory"},
                 {Path("text.so"), "text.so: "},
                 {directory, "text.so: "},
                 {NUMA_SCORE, "numa-score: "}};
    for (const auto& c : cases) {
        const ProgramResult result =
            RunScore({"demo", "--count", "1", "--speed", "max", "--plugin", c.plugin});
        EXPECT_EQ(result.status, 1) << c.plugin;
        EXPECT_THAT(result.err, HasSubstr(c.error));
        EXPECT_EQ(result.out, "");
    }
}

TEST_F(NumaScoreTest, WithoutAPmuLiveSaysWhatToDo)
{
    ASSERT_EQ(system(("mkdir -p " + Path("sys/bus/event_source/devices")).c_str()), 0);
    const ProgramResult live = RunScore({"live", "--sysfs-root", Path("sys")});
    EXPECT_EQ(live.status, 3);
    EXPECT_THAT(live.err, HasSubstr("can count rx_outer, rx_sccl, rx_ops_num"));
    EXPECT_THAT(live.err, HasSubstr("--map rx_outer=PMU/event/"));

    const ProgramResult doctor = RunScore({"doctor", "--sysfs-root", Path("sys")});
    EXPECT_EQ(doctor.status, 3);
    EXPECT_THAT(doctor.out, HasSubstr("\nFAIL  pmus "));
    EXPECT_THAT(doctor.out, HasSubstr("\nOK    plug-in "));
    EXPECT_THAT(doctor.out, Not(HasSubstr("a live measurement is possible")));

    const ProgramResult noPlugin =
        RunScore({"doctor", "--sysfs-root", Path("sys"), "--plugin", "/nonexistent.so"});
    EXPECT_EQ(noPlugin.status, 1);
    EXPECT_THAT(noPlugin.out, HasSubstr("\nFAIL  plug-in "));

    const ProgramResult list = RunScore({"list", "--sysfs-root", Path("sys")});
    EXPECT_EQ(list.status, 0);
    EXPECT_THAT(list.out, StartsWith("PMUs with rx_outer rx_sccl rx_ops_num\n  none\nall PMUs\n  none\n"));
    EXPECT_THAT(list.out, HasSubstr("  instance scenario_numa v1.0, period 100 ms, topics "
                                    "scenario_numa::system_score::\n"));

    const ProgramResult nowhere = RunScore({"live", "--sysfs-root", Path("absent")});
    EXPECT_EQ(nowhere.status, 3);
    EXPECT_THAT(nowhere.err, HasSubstr("No such file or directory"));
}

TEST_F(NumaScoreTest, LiveCountersOfTheKernelsOwnClock)
{
    const std::vector<std::string> live = {"live",
                                           "--map",
                                           "rx_ops_num=software/config=0x0/",
                                           "--map",
                                           "rx_outer=software/config=0x2/",
                                           "--map",
                                           "rx_sccl=software/config=0x4/",
                                           "--count",
                                           "3",
                                           "--format",
                                           "csv"};
    const ProgramResult result = RunScore(live);
    if (result.status == 3) {
        GTEST_SKIP() << "the kernel refuses counters here: " << result.err;
    }
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(CountLines(result.out), 4U);
    EXPECT_THAT(result.out, HasSubstr("Z,,")) << "UTC times";
    EXPECT_THAT(result.err, HasSubstr("summary      3 periods"));
    const ProgramResult doctor = RunScore({"doctor", "--map", live[2], "--map", live[4], "--map", live[6]});
    EXPECT_EQ(doctor.status, 0) << doctor.out;
    EXPECT_THAT(doctor.out, HasSubstr("a live measurement is possible here: numa-score live\n"));
}

TEST_F(NumaScoreTest, OutputDoesNotDependOnTheLocale)
{
    const ProgramResult before = RunScore({"demo", "--speed", "max", "--format", "csv", "--count", "3"});
    setenv("LC_ALL", "de_DE.UTF-8", 1);
    const ProgramResult after = RunScore({"demo", "--speed", "max", "--format", "csv", "--count", "3"});
    EXPECT_EQ(after.out, before.out);
    EXPECT_THAT(after.out, HasSubstr("0.1"));
}

}  // namespace
