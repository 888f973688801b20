// SPDX-License-Identifier: MIT
//
// The watchdog when the heartbeat stays away: in time, whatever the log does.

#include <fcntl.h>
#include <sched.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "common/passive_watchdog.h"
#include "tests/support/child_run.h"
#include "tests/support/sanitized.h"
#include "tests/unit/common/watchdog_fixture.h"

using std::chrono::milliseconds;
using support::ChildResult;
using support::FileText;
using support::RunInChild;
using testing::MatchesRegex;

namespace {

constexpr const char* EXITING = "tarnix exit due to heartbeat timeout";

std::int64_t NowMs()
{
    return std::chrono::duration_cast<milliseconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

/// Replaces standard output by a pipe that is full and whose reader never reads.
void FillStandardOutput()
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0) {
        abort();
    }
    const std::string block(65536, 'x');
    while (write(ends[1], block.data(), block.size()) > 0) {
    }
    fcntl(ends[1], F_SETFL, 0);
    dup2(ends[1], STDOUT_FILENO);
}

/// Has the runtime's lines counted on their way to DefaultLogFunc.
class CountedLog {
public:
    CountedLog()
    {
        LoggerCtl::GetInstance().SetLogFunc(
            LogType::RUNTIME,
            [this](LogLevel level, const std::string& text) {
                DefaultLogFunc(level, text);
                ++lines;
            },
            DefaultSnapFunc);
    }

    /// Returns when so many are out: the two of the start come from two threads.
    void Await(int count) const
    {
        while (lines < count) {
            sched_yield();
        }
    }

private:
    std::atomic<int> lines{0};
};

/// Runs a loop that hangs in a child, or in a few; checks the exit status and that the end came in time.
void ExpectEndInTime(const std::function<void(PassiveWatchdog&)>& hang)
{
    constexpr std::int64_t TIMEOUT_MS = 100;
    constexpr std::int64_t BOUND_MS = 200;
    constexpr std::int64_t BUSY_MACHINE_MS = support::SANITIZED ? 2000 : 400;
    // The quickest of a few: a busy machine may keep one from ending.
    std::int64_t quickest = INT64_MAX;
    for (int i = 0; i < 5 && quickest >= TIMEOUT_MS + BOUND_MS + BUSY_MACHINE_MS; ++i) {
        const support::SharedValue<std::atomic<std::int64_t>> lastHeartbeat;
        support::Child child(support::Fork([&] {
            PassiveWatchdog watchdog;
            *lastHeartbeat = NowMs();
            watchdog.Start(milliseconds(TIMEOUT_MS));
            hang(watchdog);
            return 0;
        }));
        EXPECT_EQ(child.Wait(), 4);
        const std::int64_t lifetime = NowMs() - *lastHeartbeat;
        EXPECT_GT(lifetime, TIMEOUT_MS);
        quickest = std::min(quickest, lifetime);
    }
    EXPECT_LT(quickest, TIMEOUT_MS + BOUND_MS + BUSY_MACHINE_MS);
}

class WatchdogTimeout : public LoggerFixture {};

TEST_F(WatchdogTimeout, AHeartbeatExactlyAsOldAsTheTimeoutIsNoTimeoutOneMillisecondMoreIs)
{
    const support::SharedValue<std::atomic<int>> survived;
    const ChildResult result = RunInChild([&] {
        const HandMovedClock clock;
        const CountedLog log;
        PassiveWatchdog watchdog;
        watchdog.Start(milliseconds(50));
        log.Await(2);
        clock.Advance(50999999);  // 50 ms, cut
        clock.AwaitPoll();
        watchdog.Heartbeat();
        clock.Advance(50000000);
        clock.AwaitPoll();
        *survived = 1;
        clock.Advance(1000000);
        for (;;) {
            pause();
        }
        return 0;
    });
    EXPECT_EQ(*survived, 1);
    EXPECT_EQ(result.status, 4);
    EXPECT_THAT(WithoutStamps(result.out),
                testing::EndsWith("[ERROR] Heartbeat timeout detected - 51 ms since last heartbeat\n"
                                  "[ERROR] tarnix exit due to heartbeat timeout\n"));
    EXPECT_EQ(result.err, "");
}

TEST_F(WatchdogTimeout, HeartbeatsKeepTheProcessAlive)
{
    const ChildResult result = RunInChild([] {
        const HandMovedClock clock;
        PassiveWatchdog watchdog;
        watchdog.Start(milliseconds(5));
        for (int i = 0; i < 20; ++i) {
            clock.Advance(4000000);
            clock.AwaitPoll();
            watchdog.Heartbeat();
        }
        watchdog.Stop();
        clock.Advance(60000000000);  // nobody watches any more
        return 0;
    });
    EXPECT_EQ(result.status, 0);
}

TEST_F(WatchdogTimeout, ATimeoutRunsNoExitHandlersAndFlushesNothing)
{
    const ChildResult result = RunInChild([] {
        atexit([] { printf("handler\n"); });
        FILE* const pending = fdopen(dup(STDOUT_FILENO), "w");
        fputs("pending\n", pending);
        const HandMovedClock clock;
        const CountedLog log;
        PassiveWatchdog watchdog;
        watchdog.Start(milliseconds(20));
        log.Await(2);
        clock.Advance(21000000);
        for (;;) {
            pause();
        }
        return 0;
    });
    EXPECT_EQ(result.status, 4);
    EXPECT_THAT(result.out, MatchesRegex(Prefix("INFO") + "Watchdog [^\n]*\n" + Prefix("INFO") +
                                         "Watchdog [^\n]*\n" + Prefix("ERROR") +
                                         "Heartbeat timeout detected - [0-9]+ ms since last heartbeat\n" +
                                         Prefix("ERROR") + EXITING + "\n"));
}

TEST_F(WatchdogTimeout, ANegativeTimeoutIsOverAtOnce)
{
    const ChildResult result = RunInChild([] {
        PassiveWatchdog watchdog;
        watchdog.Start(milliseconds(-1));
        for (;;) {
            pause();
        }
        return 0;
    });
    EXPECT_EQ(result.status, 4);
}

TEST_F(WatchdogTimeout, EndsALoopThatHangsInsideALogWrite)
{
    ExpectEndInTime([this](PassiveWatchdog& watchdog) {
        FillStandardOutput();
        ctl.GetLog(LogType::RUNTIME).logFunc(LogLevel::INFO, "never through");
        watchdog.Stop();
    });
}

TEST_F(WatchdogTimeout, EndsALoopThatHangsInItsVeryFirstLogWrite)
{
    support::Child child(support::Fork([] {
        PassiveWatchdog watchdog;
        FillStandardOutput();
        watchdog.Start(milliseconds(100));
        return 0;
    }));
    EXPECT_EQ(child.Wait(), 4);
}

TEST_F(WatchdogTimeout, EndsALoopWhoseLogFileIsAFullFifo)
{
    ASSERT_EQ(mkfifo(Path("fifo").c_str(), 0600), 0);
    const int reader = open(Path("fifo").c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    ASSERT_TRUE(ctl.SetLogFile(Path("fifo")));
    ExpectEndInTime([this](PassiveWatchdog& watchdog) {
        for (;;) {
            watchdog.Heartbeat();
            ctl.GetLog(LogType::RUNTIME).logFunc(LogLevel::INFO, std::string(4000, 'x'));
        }
    });
    close(reader);
}

TEST_F(WatchdogTimeout, EndsALoopThatHoldsTheLockOfStandardOutput)
{
#ifdef THREAD_SANITIZER
    GTEST_SKIP() << "ThreadSanitizer flushes standard output in its own _exit, and hangs there";
#endif
    ExpectEndInTime([](PassiveWatchdog&) {
        flockfile(stdout);
        for (;;) {
            pause();
        }
    });
}

TEST_F(WatchdogTimeout, AttemptsBothLinesWhenTheFirstHangs)
{
    const int file = open(Path("seen").c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    ASSERT_GE(file, 0);
    ctl.SetLogFunc(
        LogType::RUNTIME,
        [file](LogLevel level, const std::string& text) {
            if (level != LogLevel::ERROR) {
                return;
            }
            const std::string line = text.substr(0, 17) + "\n";
            if (write(file, line.data(), line.size()) > 0) {
                for (;;) {
                    pause();
                }
            }
        },
        DefaultSnapFunc);
    ExpectEndInTime([](PassiveWatchdog&) {
        for (;;) {
            pause();
        }
    });
    close(file);
    EXPECT_THAT(FileText(Path("seen")), MatchesRegex("(Heartbeat timeout\ntarnix exit due t\n)+"));
}

TEST_F(WatchdogTimeout, DoesNotWaitWhenTheLogIsQuick)
{
    // The quickest of a few: a busy machine may keep one from ending.
    std::int64_t quickest = INT64_MAX;
    for (int i = 0; i < 5 && quickest >= 90; ++i) {
        const support::SharedValue<std::atomic<std::int64_t>> lastLine;
        support::Child child(support::Fork([&] {
            ctl.SetLogFunc(
                LogType::RUNTIME, [&](LogLevel, const std::string&) { *lastLine = NowMs(); },
                DefaultSnapFunc);
            PassiveWatchdog watchdog;
            watchdog.Start(milliseconds(10));
            for (;;) {
                pause();
            }
            return 0;
        }));
        EXPECT_EQ(child.Wait(), 4);
        quickest = std::min(quickest, NowMs() - *lastLine);
    }
    EXPECT_LT(quickest, 90);
}

TEST_F(WatchdogTimeout, ALogThatThrowsDoesNotKeepTheProcessAlive)
{
    const ChildResult result = RunInChild([this] {
        ctl.SetLogFunc(
            LogType::RUNTIME,
            [](LogLevel level, const std::string& text) {
                if (level == LogLevel::ERROR) {
                    DefaultLogFunc(level, text);
                    throw 7;
                }
            },
            DefaultSnapFunc);
        PassiveWatchdog watchdog;
        watchdog.Start(milliseconds(20));
        for (;;) {
            pause();
        }
        return 0;
    });
    EXPECT_EQ(result.status, 4);
    EXPECT_THAT(WithoutStamps(result.out),
                MatchesRegex("\\[ERROR\\] Heartbeat timeout detected - [0-9]+ ms since last heartbeat\n"
                             "\\[ERROR\\] tarnix exit due to heartbeat timeout\n"));
}

}  // namespace
