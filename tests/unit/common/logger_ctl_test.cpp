// SPDX-License-Identifier: MIT

#include "common/logger_ctl.h"

#include <signal.h>
#include <stdio.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <ctime>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/common/logger_fixture.h"

using support::ChildResult;
using support::FileText;
using support::RunInChild;
using testing::MatchesRegex;

namespace {

constexpr LogLevel LEVELS[] = {LogLevel::TRACE, LogLevel::DEBUG, LogLevel::INFO,
                               LogLevel::WARN,  LogLevel::ERROR, LogLevel::FATAL};
const char* const NAMES[] = {"TRACE", "DEBUG", "INFO", "WARN", "ERROR", "FATAL"};

LoggerCtl* const g_loggerWhenLoaded = logger;

}  // namespace

// Before any test of the fixture, which sets these values.
TEST(LoggerAtLoad, IsBuiltWithItsDefaults)
{
    ASSERT_NE(g_loggerWhenLoaded, nullptr);
    const LoggerCtl& ctl = LoggerCtl::GetInstance();
    EXPECT_EQ(logger, &ctl);
    EXPECT_FALSE(ctl.snapshot.enabled);
    EXPECT_EQ(ctl.snapshot.interval, 6000000U);
    EXPECT_EQ(ctl.snapshot.elapsed, 0U);
    EXPECT_FALSE(ctl.snapshot.forced);
    ASSERT_EQ(ctl.levelNames.size(), 6U);
    for (int value = 0; value < 6; ++value) {
        EXPECT_EQ(static_cast<std::int32_t>(LEVELS[value]), value);
        EXPECT_EQ(ctl.levelNames.at(LEVELS[value]), NAMES[value]);
    }
    ASSERT_EQ(ctl.logs.size(), 3U);
    for (const int type : {0, 1, 2}) {
        EXPECT_TRUE(ctl.logs.at(static_cast<LogType>(type)).logFunc);
        EXPECT_TRUE(ctl.logs.at(static_cast<LogType>(type)).snapFunc);
    }
    EXPECT_EQ(ctl.tid, static_cast<pid_t>(syscall(SYS_gettid)));
    EXPECT_EQ(ctl.level, LogLevel::INFO);
    EXPECT_TRUE(ctl.logFile.empty());
    EXPECT_EQ(ctl.stream, nullptr);
    EXPECT_FALSE(ctl.NeedReloadLog());
    EXPECT_TRUE(ctl.useStdout);
    static_assert(sizeof(LogLevel) == 4 && sizeof(LogType) == 4 && sizeof(ctl.tid) == 4);
}

TEST(LoggerAtLoad, EveryChannelHasTheDefaultFunctions)
{
    const support::TempDirectory directory;
    const std::string path = directory / "log";
    const ChildResult result = RunInChild([&] {
        LoggerCtl& ctl = LoggerCtl::GetInstance();
        ctl.SetLogFile(path);
        ctl.InitSnapshot(3);
        for (const int type : {0, 1, 2}) {
            const Log& log = ctl.GetLog(static_cast<LogType>(type));
            log.logFunc(LogLevel::DEBUG, "dropped");
            log.logFunc(LogLevel::INFO, "logged");
            log.snapFunc(LogLevel::DEBUG, "gated");
        }
        return 0;
    });
    EXPECT_EQ(result.status, 0);
    const std::string one = "[INFO] logged\n[DEBUG] [SNAP] gated\n";
    EXPECT_EQ(WithoutStamps(FileText(path)), one + one + one);
}

class LoggerCtlTest : public LoggerFixture {};

TEST_F(LoggerCtlTest, ALineOfEachLevel)
{
    ASSERT_TRUE(ctl.SetLogFile(Path("log")));
    std::string expected;
    for (int i = 0; i < 6; ++i) {
        ctl.LogStandalone(LEVELS[i], "text " + std::to_string(i));
        expected += Prefix(NAMES[i]) + "text " + std::to_string(i) + "\n";
    }
    EXPECT_THAT(FileText(Path("log")), MatchesRegex(expected));
}

TEST_F(LoggerCtlTest, TheMessageStandsAsItIs)
{
    ASSERT_TRUE(ctl.SetLogFile(Path("log")));
    const std::string message("%s\t\x1b[0m\0\\ two\nlines", 20);
    ctl.LogStandalone(LogLevel::INFO, message);
    ctl.LogStandalone(LogLevel::INFO, "");
    EXPECT_EQ(WithoutStamps(FileText(Path("log"))), "[INFO] " + message + "\n[INFO] \n");
}

TEST_F(LoggerCtlTest, TheStampIsTheWallClockNow)
{
    setenv("TZ", "XST-3", 1);
    tzset();
    const std::time_t before = std::time(nullptr);
    const std::string stamp = LoggerCtl::GetTimeString();
    ASSERT_TRUE(ctl.SetLogFile(Path("log")));
    ctl.LogStandalone(LogLevel::INFO, "x");
    const std::string line = FileText(Path("log"));
    const std::time_t after = std::time(nullptr);
    for (const std::string& text : {stamp, line.substr(1, 21)}) {
        ASSERT_THAT(text, MatchesRegex("[0-9/]{8} [0-9:]{8}\\.[0-9]{3}"));
        std::tm parsed{};
        ASSERT_NE(strptime(text.c_str(), "%m/%d/%y %H:%M:%S", &parsed), nullptr);
        const std::time_t seconds = std::mktime(&parsed);
        // time() reads a coarser clock, which may lag behind by a tick.
        EXPECT_GE(seconds, before);
        EXPECT_LE(seconds, after + 1);
    }
}

TEST_F(LoggerCtlTest, TheOrdinaryFunctionDropsWhatIsBelowTheThreshold)
{
    ASSERT_TRUE(ctl.SetLogFile(Path("log")));
    std::string expected;
    for (const LogLevel threshold : LEVELS) {
        ctl.level = threshold;
        for (int i = 0; i < 6; ++i) {
            DefaultLogFunc(LEVELS[i], "m");
            EXPECT_EQ(ctl.IsEnabled(LEVELS[i]), LEVELS[i] >= threshold);
            if (LEVELS[i] >= threshold) {
                expected += std::string("[") + NAMES[i] + "] m\n";
            }
        }
    }
    EXPECT_EQ(WithoutStamps(FileText(Path("log"))), expected);
}

TEST_F(LoggerCtlTest, SetLevelSetsTheThreshold)
{
    for (const LogLevel threshold : LEVELS) {
        ctl.SetLevel(threshold);
        EXPECT_EQ(ctl.level, threshold);
    }
}

TEST_F(LoggerCtlTest, TheSnapshotFunctionLetsLowLevelsThroughAnOpenGate)
{
    ASSERT_TRUE(ctl.SetLogFile(Path("log")));
    DefaultSnapFunc(LogLevel::DEBUG, "gate off");
    ctl.InitSnapshot(3);
    DefaultSnapFunc(LogLevel::DEBUG, "gate open");
    DefaultSnapFunc(LogLevel::INFO, "at the threshold");
    DefaultLogFunc(LogLevel::DEBUG, "ordinary");
    ctl.snapshot.UpdateInterval(1);
    DefaultSnapFunc(LogLevel::DEBUG, "gate shut");
    DefaultSnapFunc(LogLevel::ERROR, "above the threshold");
    ctl.snapshot.forced = true;
    DefaultSnapFunc(LogLevel::TRACE, "forced");
    EXPECT_EQ(WithoutStamps(FileText(Path("log"))),
              "[DEBUG] [SNAP] gate open\n"
              "[INFO] at the threshold\n"
              "[ERROR] above the threshold\n"
              "[TRACE] [SNAP] forced\n");
}

TEST_F(LoggerCtlTest, ASnapshotIntervalOfZeroSwitchesTheGateOff)
{
    ctl.InitSnapshot(5);
    EXPECT_TRUE(ctl.snapshot.enabled);
    EXPECT_EQ(ctl.snapshot.interval, 5U);
    ctl.InitSnapshot(0);
    EXPECT_FALSE(ctl.snapshot.enabled);
    EXPECT_FALSE(ctl.snapshot.ShouldSnap());
    ctl.snapshot.UpdateInterval(4);
    EXPECT_EQ(ctl.snapshot.elapsed, 0U);
}

TEST_F(LoggerCtlTest, ChannelsAreReplacedOneByOneAndKeepTheirPlace)
{
    Log& runtimeLog = ctl.GetLog(LogType::RUNTIME);
    const auto added = static_cast<LogType>(77);
    EXPECT_FALSE(ctl.GetLog(added).logFunc);
    EXPECT_FALSE(ctl.GetLog(added).snapFunc);
    EXPECT_EQ(ctl.logs.size(), 4U);

    std::vector<std::string> seen;
    const auto record = [&seen](const char* name) {
        return [&seen, name](LogLevel level, const std::string& text) {
            seen.push_back(name + std::to_string(static_cast<int>(level)) + text);
        };
    };
    ctl.SetLogFunc(LogType::RUNTIME, record("a"), record("b"));
    ctl.SetLogFunc(added, record("c"), record("d"));
    ctl.SetLogFunc(static_cast<LogType>(-5), record("e"), record("f"));
    runtimeLog.logFunc(LogLevel::WARN, "x");
    runtimeLog.snapFunc(LogLevel::DEBUG, "y");
    ctl.GetLog(added).logFunc(LogLevel::INFO, "z");
    ctl.GetLog(static_cast<LogType>(-5)).snapFunc(LogLevel::FATAL, "w");
    EXPECT_EQ(seen, (std::vector<std::string>{"a3x", "b1y", "c2z", "f5w"}));
    EXPECT_EQ(&runtimeLog, &ctl.GetLog(LogType::RUNTIME));
    for (int i = 100; i < 400; ++i) {
        ctl.GetLog(static_cast<LogType>(i));
    }
    EXPECT_EQ(&runtimeLog, &ctl.GetLog(LogType::RUNTIME)) << "callers keep the reference";
    using Function = void (*)(LogLevel, const std::string&);
    EXPECT_NE(ctl.GetLog(LogType::TOOL).logFunc.target<Function>(), nullptr) << "others are left alone";
}

TEST_F(LoggerCtlTest, StandardOutputComesFirst)
{
    const ChildResult result = RunInChild([this] {
        ctl.LogStandalone(LogLevel::WARN, "to standard output");
        return 0;
    });
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out, MatchesRegex(Prefix("WARN") + "to standard output\n"));
    EXPECT_EQ(result.err, "");
}

TEST_F(LoggerCtlTest, TheFileIsSettableOnceAndStandardOutputAtAnyTime)
{
    const ChildResult result = RunInChild([this] {
        bool good = ctl.SetLogFile(Path("first"));
        ctl.LogStandalone(LogLevel::INFO, "1");
        good = good && ctl.SetLogFile("stdout");
        ctl.LogStandalone(LogLevel::INFO, "2");
        good = good && !ctl.SetLogFile(Path("second"));
        ctl.LogStandalone(LogLevel::INFO, "3");
        good = good && ctl.SetLogFile("stdout") && ctl.SetLogFile(Path("first"));
        ctl.LogStandalone(LogLevel::INFO, "4");
        return good && ctl.logFile == Path("first") ? 0 : 1;
    });
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(WithoutStamps(FileText(Path("first"))), "[INFO] 1\n[INFO] 3\n[INFO] 4\n");
    EXPECT_EQ(WithoutStamps(result.out), "[INFO] 2\n");
    EXPECT_EQ(result.err, "");
    EXPECT_NE(access(Path("second").c_str(), F_OK), 0);
}

TEST_F(LoggerCtlTest, AFileThatExistsIsAppendedTo)
{
    ASSERT_TRUE(ctl.SetLogFile(Path("log")));
    ctl.LogStandalone(LogLevel::INFO, "1");
    Reset();
    ASSERT_TRUE(ctl.SetLogFile(Path("log")));
    ctl.LogStandalone(LogLevel::INFO, "2");
    EXPECT_EQ(WithoutStamps(FileText(Path("log"))), "[INFO] 1\n[INFO] 2\n");
    ASSERT_EQ(truncate(Path("log").c_str(), 0), 0);  // what logrotate's copytruncate does
    ctl.LogStandalone(LogLevel::INFO, "3");
    EXPECT_THAT(FileText(Path("log")), MatchesRegex(Prefix("INFO") + "3\n"));
}

TEST_F(LoggerCtlTest, AReplacedFileIsFollowedOnlyByAReload)
{
    ASSERT_TRUE(ctl.SetLogFile(Path("log")));
    ctl.LogStandalone(LogLevel::INFO, "1");
    ASSERT_EQ(rename(Path("log").c_str(), Path("log.1").c_str()), 0);
    ctl.LogStandalone(LogLevel::INFO, "2");
    EXPECT_NE(access(Path("log").c_str(), F_OK), 0);
    ctl.ReloadPrepare();
    ASSERT_TRUE(ctl.NeedReloadLog());
    ctl.LogStandalone(LogLevel::INFO, "3");
    EXPECT_NE(access(Path("log").c_str(), F_OK), 0);
    ctl.ReloadLogFile();
    EXPECT_FALSE(ctl.NeedReloadLog());
    ctl.LogStandalone(LogLevel::INFO, "4");
    ASSERT_EQ(unlink(Path("log").c_str()), 0);
    ctl.LogStandalone(LogLevel::INFO, "lost with the deleted file");
    EXPECT_NE(access(Path("log").c_str(), F_OK), 0);
    ctl.ReloadLogFile();
    ctl.LogStandalone(LogLevel::INFO, "5");
    EXPECT_EQ(WithoutStamps(FileText(Path("log.1"))), "[INFO] 1\n[INFO] 2\n[INFO] 3\n");
    EXPECT_EQ(WithoutStamps(FileText(Path("log"))), "[INFO] 5\n");
}

TEST_F(LoggerCtlTest, AReloadWithoutAFileOnlyClearsTheRequest)
{
    ctl.ReloadPrepare();
    ctl.ReloadLogFile();
    EXPECT_FALSE(ctl.NeedReloadLog());
    EXPECT_EQ(ctl.stream, nullptr);
    EXPECT_TRUE(ctl.useStdout);
}

TEST_F(LoggerCtlTest, AReloadKeepsStandardOutputAsTheDestination)
{
    const ChildResult result = RunInChild([this] {
        ctl.SetLogFile(Path("log"));
        ctl.SetLogFile("stdout");
        ctl.ReloadLogFile();
        ctl.LogStandalone(LogLevel::INFO, "x");
        return ctl.stream != nullptr && ctl.stream->is_open() ? 0 : 1;
    });
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(WithoutStamps(result.out), "[INFO] x\n");
    EXPECT_EQ(FileText(Path("log")), "");
}

TEST_F(LoggerCtlTest, ReloadPrepareIsForSignalHandlers)
{
    struct sigaction action {};
    struct sigaction previous {};
    action.sa_handler = [](int) { logger->ReloadPrepare(); };
    ASSERT_EQ(sigaction(SIGUSR1, &action, &previous), 0);
    std::thread sender([] { kill(getpid(), SIGUSR1); });
    while (!ctl.NeedReloadLog()) {
        sched_yield();
    }
    sender.join();
    sigaction(SIGUSR1, &previous, nullptr);
    EXPECT_TRUE(ctl.NeedReloadLog());
}
