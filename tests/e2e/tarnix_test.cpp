// SPDX-License-Identifier: MIT
//
// tarnix as its users run it: exit status, standard output, standard error, files, signals.

#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "common/metrics.h"
#include "tests/support/exporter.h"
#include "tests/support/program_run.h"
#include "tests/support/scratch_directory.h"
#include "tests/support/service_manager.h"

namespace {

using support::Eventually;
using support::Program;
using support::ProgramResult;
using support::ServiceManager;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;

const std::string STAMP = "\\[[0-9/]* [0-9:.]*\\] \\[[0-9]*\\] ";

std::string ReadFile(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::size_t CountOf(const std::string& text, const std::string& part)
{
    std::size_t count = 0;
    for (std::size_t at = 0; (at = text.find(part, at)) != std::string::npos; at += part.size()) {
        ++count;
    }
    return count;
}

class TarnixTest : public testing::Test {
protected:
    void SetUp() override
    {
        setenv("LC_ALL", "C.UTF-8", 1);
        setenv("TARNIX_METRICS_FILE", metrics.c_str(), 1);
        setenv("TARNIX_RUNTIME_DIR", (scratch / "run").c_str(), 1);
        setenv("TARNIX_SYSFS_ROOT", (scratch / "sys").c_str(), 1);
        setenv("TARNIX_SOURCE", "demo", 1);
        for (const char* name : {"TARNIX_MAP", "NOTIFY_SOCKET", "WATCHDOG_USEC", "WATCHDOG_PID"}) {
            unsetenv(name);
        }
    }

    static std::vector<std::string> Command(std::vector<std::string> arguments)
    {
        arguments.insert(arguments.begin(), TARNIX);
        return arguments;
    }
    static ProgramResult Run(const std::vector<std::string>& arguments)
    {
        return support::RunProgram(Command(arguments));
    }

    /// Zero before the first dump.
    std::uint64_t Loops() const { return Written().loopCnt; }

    SystemMetrics Written() const
    {
        Metrics reader;
        reader.path = metrics;
        SystemMetrics record;
        return reader.GetMetricsFromFile(record) ? record : SystemMetrics();
    }

    /// Ends a running daemon as its operator does.
    static ProgramResult Stop(Program& daemon)
    {
        daemon.Signal(SIGTERM);
        return daemon.Wait();
    }

    support::ScratchDirectory scratch;
    std::string metrics = scratch / "log/metrics.bin";
};

TEST_F(TarnixTest, ObservesTheDemonstration)
{
    Program daemon(Command({"-i", "100", "-t", "2"}));
    ASSERT_TRUE(Eventually([this] { return Loops() >= 2; })) << daemon.Err();
    const SystemMetrics record = Written();
    EXPECT_EQ(record.pageSizeKb, static_cast<int>(sysconf(_SC_PAGESIZE) / 1024));
    EXPECT_GE(record.numaNum, 1);
    EXPECT_EQ(record.uncore.interval % 100, 0U);
    EXPECT_GT(record.uncore.rxOpsNum, 0U);
    EXPECT_GT(record.uncore.numaScore, 0.9F);
    EXPECT_EQ(record.mem.migratedKb, 0U);
    const ProgramResult result = Stop(daemon);
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_THAT(result.out,
                HasSubstr("[INFO] tarnix " PROGRAM_VERSION " observes only: nothing is migrated or bound\n"));
    EXPECT_THAT(result.out, HasSubstr("[INFO] sampling-times: 2\n"));
    EXPECT_THAT(result.out, HasSubstr("[INFO] counting: demonstration: "));
    EXPECT_THAT(result.out, HasSubstr("[DEBUG] [SNAP] period 1: score 0.9"));
    EXPECT_THAT(result.out, testing::ContainsRegex("\\[INFO\\] own cost in [0-9]+\\.[0-9]+ s"));
    EXPECT_THAT(result.out, HasSubstr("[INFO] ended after "));
    EXPECT_THAT(result.out, Not(HasSubstr("without effect")));
}

TEST_F(TarnixTest, TellsHelpAndVersion)
{
    for (const std::vector<std::string>& arguments :
         std::vector<std::vector<std::string>>{{"--help"}, {"-h"}, {"--help", "cmd"}, {"-hcmd"}}) {
        const ProgramResult help = Run(arguments);
        EXPECT_EQ(help.status, 0);
        EXPECT_EQ(help.err, "");
        EXPECT_THAT(help.out, StartsWith("Usage: tarnix [options][<param>]\n"));
        EXPECT_EQ(help.out, Run({"--help"}).out);
    }
    EXPECT_THAT(Run({"--help", "yaml"}).out, HasSubstr("\nsampling-interval: <n> # "));
    const ProgramResult version = Run({"--version"});
    EXPECT_EQ(version.status, 0);
    EXPECT_THAT(version.out, MatchesRegex("tarnix version: " PROGRAM_VERSION "\ngit info: .+\n"));
    EXPECT_EQ(Run({"-v"}).out, version.out);
}

TEST_F(TarnixTest, RefusesWrongArguments)
{
    const struct {
        std::vector<std::string> arguments;
        std::string text;
    } cases[] = {{{"-z"}, "option not found, please check cmdline by help\n"},
                 {{"-i", "99"}, "sampling-interval"},
                 {{"-t"}, "option not found, please check cmdline by help\n"},
                 {{"--no-such-option"}, "option not found, please check cmdline by help\n"},
                 {{"--help", "me"}, "help"}};
    for (const auto& row : cases) {
        const ProgramResult result = Run(row.arguments);
        EXPECT_EQ(result.status, 2) << row.arguments[0];
        EXPECT_EQ(result.out, "");
        EXPECT_THAT(result.err, HasSubstr("tarnix: cmdline parse failed.\n"));
        EXPECT_THAT(result.err, HasSubstr(row.text));
        EXPECT_THAT(result.err, HasSubstr("Usage: tarnix [options][<param>]\n"));
        EXPECT_FALSE(std::filesystem::exists(scratch / "run"));
    }
}

TEST_F(TarnixTest, RefusesAWrongEnvironment)
{
    setenv("TARNIX_SOURCE", "dead", 1);
    ProgramResult result = Run({});
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.err,
              "tarnix: TARNIX_SOURCE is \"dead\", expected live, demo or replay: followed by the path of a "
              "recording\n");
    setenv("TARNIX_SOURCE", "live", 1);
    setenv("TARNIX_MAP", "rx_outer", 1);
    result = Run({});
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.err,
              "tarnix: TARNIX_MAP has \"rx_outer\", expected rx_outer=PMU/event/, rx_sccl=PMU/event/ or "
              "rx_ops_num=PMU/event/, with blanks between\n");
    unsetenv("TARNIX_MAP");
    setenv("TARNIX_SOURCE", ("replay:" + (scratch / "none")).c_str(), 1);
    result = Run({});
    EXPECT_EQ(result.status, 3);
    EXPECT_EQ(result.err,
              "tarnix: TARNIX_SOURCE names " + (scratch / "none") + ": No such file or directory\n");
    setenv("TARNIX_SOURCE", "demo", 1);
    setenv("TARNIX_RUNTIME_DIR", "/proc/none", 1);
    result = Run({});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, StartsWith("tarnix: cannot lock /proc/none/tarnix.pid: "));
    EXPECT_EQ(result.out, "");
}

TEST_F(TarnixTest, OneInstanceAtATime)
{
    Program daemon(Command({"-t", "1"}));
    ASSERT_TRUE(Eventually([this] { return Loops() >= 1; }));
    const ProgramResult second = Run({});
    EXPECT_EQ(second.status, 1);
    EXPECT_EQ(second.out, "");
    EXPECT_EQ(second.err, "tarnix: another tarnix runs already, process " + std::to_string(daemon.Pid()) +
                              ", which holds " + (scratch / "run/tarnix.pid") + "; stop it first\n");
    daemon.Signal(SIGKILL);
    daemon.Wait();
    Program third(Command({}));
    EXPECT_TRUE(Eventually([&third] { return third.Out().find("counting: ") != std::string::npos; }));
    EXPECT_EQ(Stop(third).status, 0);
}

TEST_F(TarnixTest, ReloadReachesTheRunningInstance)
{
    const ProgramResult nobody = Run({"--reload"});
    EXPECT_EQ(nobody.status, 1);
    EXPECT_EQ(nobody.err, "tarnix: no tarnix runs that could be reloaded: nobody holds " +
                              (scratch / "run/tarnix.pid") +
                              "; TARNIX_RUNTIME_DIR names another directory\n");
    const std::string log = scratch / "tarnix.log";
    Program daemon(Command({"-t", "1", "--log-file", log}));
    // The line of the watchdog's thread comes when it likes.
    for (const char* const line : {"counting: ", "Watchdog monitor thread started"}) {
        ASSERT_TRUE(Eventually([&] { return ReadFile(log).find(line) != std::string::npos; })) << line;
    }
    std::filesystem::rename(log, log + ".1");
    const ProgramResult reload = Run({"--reload"});
    EXPECT_EQ(reload.status, 0);
    EXPECT_EQ(reload.out + reload.err, "");
    // Whether there is a configuration file on this machine or not: the answer goes to the new file.
    EXPECT_TRUE(Eventually([&log] { return ReadFile(log).find("reloaded") != std::string::npos; }))
        << ReadFile(log);
    EXPECT_EQ(Stop(daemon).status, 0);
    EXPECT_THAT(ReadFile(log), EndsWith(" tune periods\n"));
    EXPECT_THAT(ReadFile(log + ".1"), Not(HasSubstr("ended after")));
    EXPECT_THAT(ReadFile(log), MatchesRegex(STAMP + "\\[(INFO|WARN)\\] (not )?reloaded(.|\n)*"));
}

TEST_F(TarnixTest, PlaysARecordingToItsEnd)
{
    const std::string recording = scratch / "recording.csv";
    {
        std::ofstream file(recording);
        for (int i = 1; i <= 3; ++i) {
            const std::string time = "     0." + std::to_string(i) + "00000000";
            file << time << ",100,,hub/rx_outer/,1000,100.00,,\n"
                 << time << ",50,,hub/rx_sccl/,1000,100.00,,\n"
                 << time << ",1000,,hub/rx_ops_num/,1000,100.00,,\n";
        }
    }
    setenv("TARNIX_SOURCE", ("replay:" + recording).c_str(), 1);
    const ProgramResult result = Run({"-t", "1000"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(result.out, AllOf(HasSubstr("[INFO] the recording is at its end\n"),
                                  EndsWith("[INFO] ended after 1 tune periods\n")));
    const SystemMetrics record = Written();
    EXPECT_EQ(record.loopCnt, 1U);
    EXPECT_EQ(record.uncore.interval, 300U);
    EXPECT_EQ(record.uncore.rxOpsNum, 3000U);
    EXPECT_EQ(record.uncore.rxOuterNum, 300U);
    EXPECT_EQ(record.uncore.rxScclNum, 150U);
    EXPECT_FLOAT_EQ(record.uncore.numaScore, 0.85F);
}

TEST_F(TarnixTest, ARecordingWithoutCountsIsAFailure)
{
    const std::string recording = scratch / "recording.csv";
    std::ofstream(recording) << "nothing of use\n";
    setenv("TARNIX_SOURCE", ("replay:" + recording).c_str(), 1);
    const ProgramResult result = Run({});
    EXPECT_EQ(result.status, 3);
    EXPECT_THAT(result.out, HasSubstr("[ERROR] "));
}

TEST_F(TarnixTest, WithoutAPmuTheRestGoesOn)
{
    setenv("TARNIX_SOURCE", "live", 1);
    std::filesystem::create_directories(scratch / "sys/bus/event_source/devices");
    Program daemon(Command({"-t", "1"}));
    ASSERT_TRUE(Eventually([this] { return Loops() >= 5; })) << daemon.Out();
    const SystemMetrics record = Written();
    EXPECT_EQ(record.uncore.interval, 0U);
    EXPECT_GE(record.numaNum, 1);
    const ProgramResult result = Stop(daemon);
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(
        CountOf(result.out, "[WARN] no score, everything else goes on: no PMU below " + (scratch / "sys")),
        1U);
    EXPECT_THAT(result.out, HasSubstr("TARNIX_MAP=rx_outer=PMU/event/"));
}

TEST_F(TarnixTest, OptionsOfTheEngineAreNamed)
{
    Program daemon(Command({"-t", "1", "--smt", "off", "-W", "a,b", "--mem-balance"}));
    ASSERT_TRUE(Eventually([this] { return Loops() >= 1; }));
    EXPECT_THAT(
        Stop(daemon).out,
        HasSubstr("[INFO] set, but without effect, as the tuning engine is not part of this program: smt, "
                  "mem-balance, whitelist\n"));
}

TEST_F(TarnixTest, ALogThatCannotBeOpenedIsToldAndEverythingGoesOn)
{
    Program daemon(Command({"-t", "1", "--log-file", scratch / "none/tarnix.log"}));
    EXPECT_TRUE(Eventually([this] { return Loops() >= 1; }));
    const ProgramResult result = Stop(daemon);
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.err, HasSubstr(scratch / "none/tarnix.log"));
    EXPECT_THAT(result.err, HasSubstr("ended after"));
}

TEST_F(TarnixTest, ADirectoryThatVanishesIsToldOnce)
{
    Program daemon(Command({"-t", "1"}));
    ASSERT_TRUE(Eventually([this] { return Loops() >= 1; }));
    std::filesystem::rename(scratch / "log", scratch / "gone");
    ASSERT_TRUE(Eventually([&daemon] { return daemon.Out().find("is not written") != std::string::npos; }));
    std::filesystem::rename(scratch / "gone", scratch / "log");
    ASSERT_TRUE(Eventually([&daemon] { return daemon.Out().find("is written again") != std::string::npos; }));
    const ProgramResult result = Stop(daemon);
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(CountOf(result.out, "[WARN] the metrics file " + metrics + " is not written: "), 1U);
    EXPECT_EQ(CountOf(result.out, "[INFO] the metrics file " + metrics + " is written again\n"), 1U);
}

TEST_F(TarnixTest, EitherSignalEndsItCleanly)
{
    for (const int number : {SIGTERM, SIGINT}) {
        Program daemon(Command({"-i", "100000"}));
        // The watchdog's thread says so in its own time.
        for (const char* const line : {"counting: ", "Watchdog monitor thread started\n"}) {
            ASSERT_TRUE(Eventually([&daemon, line] { return daemon.Out().find(line) != std::string::npos; }));
        }
        daemon.Signal(number);
        const ProgramResult result = daemon.Wait();
        EXPECT_EQ(result.status, 0);
        EXPECT_THAT(result.out, EndsWith("[INFO] ended after 0 tune periods\n"));
    }
}

TEST_F(TarnixTest, SignalsAtEveryMoment)
{
    for (int round = 0; round < 40; ++round) {
        Program daemon(Command({"-t", "1"}));
        usleep(static_cast<useconds_t>(round * 1500));
        daemon.Signal(SIGHUP);
        daemon.Signal(round % 2 == 0 ? SIGTERM : SIGINT);
        const int status = daemon.Wait().status;
        // Before main runs, the signals end it as they end any program.
        EXPECT_TRUE(status == 0 || status == 128 + SIGHUP || status == 128 + SIGTERM ||
                    status == 128 + SIGINT)
            << status << " in round " << round;
    }
    Program daemon(Command({"-t", "1"}));
    ASSERT_TRUE(Eventually([this] { return Loops() >= 1; }));
    for (int i = 0; i < 200; ++i) {
        daemon.Signal(SIGHUP);
        usleep(1000);
    }
    const ProgramResult result = Stop(daemon);
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out, HasSubstr("reloaded"));
}

TEST_F(TarnixTest, TalksToTheServiceManager)
{
    ServiceManager manager(scratch / "notify");
    ASSERT_TRUE(manager.good);
    setenv("NOTIFY_SOCKET", (scratch / "notify").c_str(), 1);
    setenv("WATCHDOG_USEC", "200000", 1);
    Program daemon(Command({"-t", "1"}));
    std::vector<std::string> told;
    const auto hears = [&manager, &told](const std::string& text) {
        return Eventually([&] {
            for (std::string next = manager.Next(); !next.empty(); next = manager.Next()) {
                told.push_back(next);
            }
            return std::any_of(told.begin(), told.end(), [&text](const std::string& one) {
                return one.compare(0, text.size(), text) == 0;
            });
        });
    };
    EXPECT_TRUE(hears("READY=1\nSTATUS=no score yet"));
    EXPECT_EQ(told.front().substr(0, 8), "READY=1\n");
    EXPECT_TRUE(hears("STATUS=score 0.9"));
    EXPECT_TRUE(hears("WATCHDOG=1"));
    told.clear();
    EXPECT_TRUE(hears("WATCHDOG=1"));
    daemon.Signal(SIGHUP);
    EXPECT_TRUE(hears("RELOADING=1\nMONOTONIC_USEC="));
    EXPECT_TRUE(hears("READY=1\nSTATUS=score 0.9"));
    EXPECT_EQ(Stop(daemon).status, 0);
    EXPECT_TRUE(hears("STOPPING=1"));
}

TEST_F(TarnixTest, ALogThatHangsEndsItWithStatus4)
{
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    const int flags = fcntl(ends[1], F_GETFL);
    fcntl(ends[1], F_SETFL, flags | O_NONBLOCK);
    const std::string filling(4096, 'x');
    while (write(ends[1], filling.data(), filling.size()) > 0) {
    }
    fcntl(ends[1], F_SETFL, flags);
    Program daemon(Command({}), "/dev/null", ends[1]);
    EXPECT_EQ(daemon.Wait().status, 4);  // after the 10 s of watchdog-timeout
    close(ends[0]);
    close(ends[1]);
}

TEST_F(TarnixTest, MissingStandardDescriptorsAreNotTakenByOtherFiles)
{
    const std::string command = std::string(TARNIX) + " -t 1 <&- >&- 2>&-";
    Program daemon({"/bin/sh", "-c", "exec " + command});
    ASSERT_TRUE(Eventually([this] { return Loops() >= 2; }));
    EXPECT_EQ(ReadFile(scratch / "run/tarnix.pid"), std::to_string(daemon.Pid()) + "\n");
    EXPECT_EQ(Stop(daemon).status, 0);
}

TEST_F(TarnixTest, SignalsThatWereBlockedAreTaken)
{
    sigset_t blocked;
    sigset_t before;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGTERM);
    sigaddset(&blocked, SIGHUP);
    ASSERT_EQ(sigprocmask(SIG_BLOCK, &blocked, &before), 0);
    Program daemon(Command({"-t", "1"}));
    ASSERT_EQ(sigprocmask(SIG_SETMASK, &before, nullptr), 0);
    ASSERT_TRUE(Eventually([this] { return Loops() >= 1; }));
    daemon.Signal(SIGHUP);
    EXPECT_TRUE(Eventually([&daemon] { return daemon.Out().find("reloaded") != std::string::npos; }));
    EXPECT_EQ(Stop(daemon).status, 0);
}

TEST_F(TarnixTest, AClosedStandardOutputIsNoEnd)
{
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    close(ends[0]);
    Program daemon(Command({"-t", "1"}), "/dev/null", ends[1]);
    close(ends[1]);
    EXPECT_TRUE(Eventually([this] { return Loops() >= 3; }));
    EXPECT_EQ(Stop(daemon).status, 0);
}

/// With a configuration file and a small disk of its own; needs the right to mount.
class TarnixWithFile : public TarnixTest {
protected:
    void SetUp() override
    {
        TarnixTest::SetUp();
        if (support::RunProgram({"/usr/bin/unshare", "-m", "/bin/mount", "-t", "tmpfs", "none", "/mnt"})
                .status != 0) {
            GTEST_SKIP() << "no right to mount in a namespace of its own (unshare -m)";
        }
    }

    /// Runs with /etc/tarnix.yaml made of `yaml`; `before` are shell commands.
    std::vector<std::string> WithFile(const std::string& yaml, const std::string& before,
                                      const std::string& arguments) const
    {
        std::ofstream(scratch / "tarnix.yaml") << yaml;
        const std::string script = "mount -t tmpfs none /etc && ln -s " + (scratch / "tarnix.yaml") +
                                   " /etc/tarnix.yaml && " + before + " exec " TARNIX " " + arguments;
        return {"/usr/bin/unshare", "-m", "/bin/sh", "-c", script};
    }
};

TEST_F(TarnixWithFile, TheFilesFaultsAreInTheLog)
{
    Program daemon(WithFile("sampling-times: 1\nsampling-tmies: 2\nwatchdog-timeout: 3\n", "", ""));
    ASSERT_TRUE(Eventually([this] { return Loops() >= 1; })) << daemon.Out() << daemon.Err();
    const ProgramResult result = Stop(daemon);
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out, HasSubstr("[INFO] Watchdog started with timeout: 3 seconds\n"));
    EXPECT_THAT(result.out, HasSubstr("[WARN] /etc/tarnix.yaml:2:1: "));
    EXPECT_THAT(result.out, HasSubstr("sampling-times"));
    EXPECT_THAT(result.out, Not(HasSubstr("yaml config parse failed")));
}

TEST_F(TarnixWithFile, ABadFileLeavesTheDefaultsAndIsExplained)
{
    Program daemon(WithFile("sampling-times: 0\n", "", ""));
    ASSERT_TRUE(Eventually([&daemon] { return daemon.Out().find("counting: ") != std::string::npos; }));
    const ProgramResult result = Stop(daemon);
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out, HasSubstr("[WARN] yaml config parse failed, will use default value. "));
    EXPECT_THAT(result.out, HasSubstr("[WARN] /etc/tarnix.yaml:1:17: sampling-times value out of range, min: "
                                      "1, max: 1000, current value: 0\n"));
    EXPECT_THAT(result.out, HasSubstr("[INFO] sampling-times: 10\n"));
}

TEST_F(TarnixWithFile, MetricsCanBeSwitchedOff)
{
    Program daemon(WithFile("metrics: false\nsampling-times: 1\n", "", ""));
    EXPECT_TRUE(Eventually([&daemon] { return daemon.Out().find("period 1: ") != std::string::npos; }));
    EXPECT_EQ(Stop(daemon).status, 0);
    EXPECT_FALSE(std::filesystem::exists(metrics));
}

TEST_F(TarnixWithFile, AReloadTakesTheNewLevel)
{
    Program daemon(WithFile("log-level: warn\nsampling-times: 1\n", "", ""));
    ASSERT_TRUE(Eventually([this] { return Loops() >= 1; }));
    std::ofstream(scratch / "tarnix.yaml") << "log-level: debug\nsampling-times: 5\n";
    daemon.Signal(SIGHUP);
    EXPECT_TRUE(Eventually([&daemon] {
        return daemon.Out().find("[INFO] reloaded: log-level is debug\n") != std::string::npos;
    }));
    const std::uint64_t then = Loops();
    EXPECT_TRUE(Eventually([this, then] { return Loops() >= then + 3; }));
    const ProgramResult result = Stop(daemon);
    EXPECT_THAT(result.out, Not(HasSubstr("observes only")));
    EXPECT_THAT(result.out, HasSubstr("[DEBUG] period "));
}

TEST_F(TarnixWithFile, ALongIntervalIsNoHang)
{
    Program daemon(WithFile("watchdog-timeout: 1\nsampling-interval: 100000\n", "", ""));
    ASSERT_TRUE(Eventually([&daemon] { return daemon.Out().find("counting: ") != std::string::npos; }));
    usleep(3000000);  // thrice the timeout
    const ProgramResult result = Stop(daemon);
    EXPECT_EQ(result.status, 0) << result.out;
    EXPECT_THAT(result.out, EndsWith("[INFO] ended after 0 tune periods\n"));
}

TEST_F(TarnixWithFile, AFullDiskLosesNothingThatIsThere)
{
    setenv("TARNIX_METRICS_FILE", "/mnt/metrics.bin", 1);
    Program daemon(WithFile(
        "sampling-times: 1\n",
        // Filled again and again: the daemon's own new file may have had the last page for a while.
        "mount -t tmpfs -o size=64k none /mnt && (until [ -s /mnt/metrics.bin ]; do sleep 0.1; done; "
        "until [ -e " +
            (scratch / "told") + " ] || [ ! -d " + (scratch / ".") +
            " ]; do cat /dev/zero >> /mnt/fill; sleep 0.1; done; cp /mnt/metrics.bin " +
            (scratch / "during") + "; rm /mnt/fill; until [ -e " + (scratch / "written") + " ] || [ ! -d " +
            (scratch / ".") + " ]; do sleep 0.1; done; cp /mnt/metrics.bin " + (scratch / "copy") + "; mv " +
            (scratch / "copy") + " " + (scratch / "after") + ") 2>/dev/null &",
        ""));
    const auto says = [&daemon](const std::string& text) {
        return Eventually([&] { return daemon.Out().find(text) != std::string::npos; });
    };
    EXPECT_TRUE(says(" is not written: ")) << daemon.Out();
    std::ofstream(scratch / "told").close();
    EXPECT_TRUE(says(" is written again\n")) << daemon.Out();
    std::ofstream(scratch / "written").close();
    EXPECT_TRUE(Eventually([this] { return std::filesystem::exists(scratch / "after"); }));
    const ProgramResult result = Stop(daemon);
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(ReadFile(scratch / "during").size(), sizeof(SystemMetrics));
    EXPECT_EQ(ReadFile(scratch / "after").size(), sizeof(SystemMetrics));
    EXPECT_NE(ReadFile(scratch / "during"), ReadFile(scratch / "after"));
    EXPECT_THAT(result.out,
                HasSubstr("[WARN] the metrics file /mnt/metrics.bin is not written: no new file came "
                          "into being; its directory has to exist, to be writable and to have room\n"));
    EXPECT_THAT(result.out, HasSubstr("[INFO] the metrics file /mnt/metrics.bin is written again\n"));
}

}  // namespace
