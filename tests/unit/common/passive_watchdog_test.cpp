// SPDX-License-Identifier: MIT

#include "common/passive_watchdog.h"

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <sched.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <limits>
#include <mutex>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "common/logger_ctl.h"
#include "common/monotonic_ns.h"
#include "tests/support/child_run.h"
#include "tests/unit/common/logger_fixture.h"

using std::chrono::milliseconds;
using support::ChildResult;
using support::FileText;
using support::RunInChild;
using testing::ElementsAre;
using testing::MatchesRegex;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define SANITIZER_OWNS_PTHREAD_CREATE 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define SANITIZER_OWNS_PTHREAD_CREATE 1
#endif
#endif

#if defined(__SANITIZE_THREAD__)
#define THREAD_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define THREAD_SANITIZER 1
#endif
#endif

#ifdef THREAD_SANITIZER
// By default it takes a second of its own to end a process.
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_options();
extern "C" const char* __tsan_default_options()
{
    return "atexit_sleep_ms=0";
}
#endif

namespace {

constexpr milliseconds LONG{3600000};

std::atomic<std::uint64_t> g_handNs{0};
std::atomic<std::uint64_t> g_handReads{0};
std::atomic<int> g_threadsUntilFailure{std::numeric_limits<int>::max()};

std::uint64_t HandClock()
{
    ++g_handReads;
    return g_handNs;
}

/// Lets the watchdog read a clock that the test moves.
class HandMovedClock {
public:
    HandMovedClock() : previous(runtime::monotonicSource)
    {
        g_handNs = 1000000000000U;
        runtime::monotonicSource = HandClock;
    }
    ~HandMovedClock() { runtime::monotonicSource = previous; }

    HandMovedClock(const HandMovedClock&) = delete;
    HandMovedClock& operator=(const HandMovedClock&) = delete;

    static void Advance(std::uint64_t nanoseconds) { g_handNs += nanoseconds; }

    /// Returns when the monitor has looked at the present time at least once.
    static void AwaitPoll()
    {
        const std::uint64_t reads = g_handReads;
        while (g_handReads < reads + 3) {
            sched_yield();
        }
    }

private:
    std::uint64_t (*previous)();
};

/// The lines that went through channel 0 since its construction.
class Recorder {
public:
    Recorder()
    {
        LoggerCtl::GetInstance().SetLogFunc(
            LogType::RUNTIME,
            [this](LogLevel level, const std::string& text) {
                const std::lock_guard<std::mutex> lock(mutex);
                lines.push_back(LoggerCtl::GetInstance().levelNames.at(level) + " " + text);
            },
            [](LogLevel, const std::string&) {});
    }

    std::vector<std::string> Lines() const
    {
        const std::lock_guard<std::mutex> lock(mutex);
        return lines;
    }

    bool Has(const std::string& line) const
    {
        const std::vector<std::string> all = Lines();
        return std::find(all.begin(), all.end(), line) != all.end();
    }

private:
    mutable std::mutex mutex;
    std::vector<std::string> lines;
};

std::int64_t NowMs()
{
    return std::chrono::duration_cast<milliseconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

/// The status files of this process's threads that are called `name`.
std::vector<std::string> ThreadsCalled(const std::string& name)
{
    std::vector<std::string> found;
    DIR* const tasks = opendir("/proc/self/task");
    while (const dirent* task = readdir(tasks)) {
        const std::string base = std::string("/proc/self/task/") + task->d_name;
        const bool named = FileText(base + "/comm") == name + "\n";
        const std::string status = FileText(base + "/status");
        if (named && !status.empty()) {  // a thread may end in between
            found.push_back(status);
        }
    }
    closedir(tasks);
    return found;
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

constexpr const char* STARTED = "INFO Watchdog monitor thread started";
constexpr const char* STOPPED = "DEBUG Watchdog monitor thread stopped";
constexpr const char* EXITING = "tarnix exit due to heartbeat timeout";

}  // namespace

#ifndef SANITIZER_OWNS_PTHREAD_CREATE
// Fails as on a machine that is out of threads, when the test asks for it.
extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*body)(void*),
                              void* argument)
{
    using Function = int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
    static const auto REAL = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "pthread_create"));
    if (g_threadsUntilFailure.fetch_sub(1) <= 0) {
        return EAGAIN;
    }
    return REAL(thread, attributes, body, argument);
}
#endif

class PassiveWatchdogTest : public LoggerFixture {
protected:
    ~PassiveWatchdogTest() override { g_threadsUntilFailure = std::numeric_limits<int>::max(); }
};

TEST_F(PassiveWatchdogTest, IsConstructedStopped)
{
    const HandMovedClock clock;
    const PassiveWatchdog watchdog;
    EXPECT_EQ(&watchdog.log, &ctl.GetLog(LogType::RUNTIME));
    EXPECT_EQ(static_cast<int>(LogType::RUNTIME), 0);
    EXPECT_FALSE(watchdog.thread.joinable());
    EXPECT_FALSE(watchdog.running);
    EXPECT_EQ(watchdog.timeoutMs, 5000);
    EXPECT_EQ(watchdog.lastHeartbeat, 1000000000000);
    EXPECT_TRUE(ThreadsCalled("tn-watchdog").empty());
}

TEST_F(PassiveWatchdogTest, StartAndStopSayWhatTheyDo)
{
    const HandMovedClock clock;
    struct Case {
        milliseconds timeout;
        const char* text;
    };
    const Case cases[] = {
        {milliseconds(0), "INFO Watchdog started with timeout: 0 seconds"},
        {milliseconds(999), "INFO Watchdog started with timeout: 0 seconds"},
        {milliseconds(1500), "INFO Watchdog started with timeout: 1 seconds"},
        {milliseconds(5000), "INFO Watchdog started with timeout: 5 seconds"},
        {milliseconds::max(), "INFO Watchdog started with timeout: 9223372036854775 seconds"},
    };
    PassiveWatchdog watchdog;
    for (const Case& one : cases) {
        const Recorder recorder;
        clock.Advance(77000000);
        watchdog.Start(one.timeout);
        EXPECT_TRUE(watchdog.running);
        EXPECT_EQ(watchdog.timeoutMs, one.timeout.count());
        EXPECT_EQ(watchdog.GetLastHeartbeat(), 0) << "Start counts as a heartbeat";
        watchdog.Stop();
        EXPECT_FALSE(watchdog.running);
        EXPECT_FALSE(watchdog.thread.joinable());
        const std::vector<std::string> lines = recorder.Lines();
        EXPECT_THAT(lines, testing::UnorderedElementsAre(one.text, STARTED, STOPPED));
        EXPECT_EQ(lines.back(), STOPPED);
    }
}

TEST_F(PassiveWatchdogTest, StopWithoutAThreadDoesNothing)
{
    const Recorder recorder;
    PassiveWatchdog watchdog;
    watchdog.Stop();
    watchdog.Start(LONG);
    watchdog.Stop();
    watchdog.Stop();
    EXPECT_EQ(recorder.Lines().size(), 3U);
}

TEST_F(PassiveWatchdogTest, ASecondStartIsRejectedAndTheFirstGoesOn)
{
    const Recorder recorder;
    PassiveWatchdog watchdog;
    watchdog.Start(milliseconds(7200000));
    const std::thread::id first = watchdog.thread.get_id();
    watchdog.Start(milliseconds(1));
    EXPECT_EQ(watchdog.timeoutMs, 7200000);
    EXPECT_EQ(watchdog.thread.get_id(), first);
    EXPECT_TRUE(watchdog.running);
    EXPECT_TRUE(
        recorder.Has("ERROR Watchdog is already started with a timeout of 7200000 ms and goes on with it: "
                     "call Stop before Start"));
    watchdog.Stop();
}

TEST_F(PassiveWatchdogTest, TheDestructorStopsAndJoins)
{
    const Recorder recorder;
    for (int i = 0; i < 50; ++i) {
        PassiveWatchdog watchdog;
        watchdog.Start(LONG);
    }
    EXPECT_EQ(recorder.Lines().size(), 150U);
    EXPECT_EQ(recorder.Lines().back(), STOPPED);
}

TEST_F(PassiveWatchdogTest, TheThreadHasItsNameAndTakesNoSignals)
{
    const Recorder recorder;
    const HandMovedClock clock;
    PassiveWatchdog watchdog;
    sigset_t before;
    pthread_sigmask(SIG_SETMASK, nullptr, &before);
    watchdog.Start(LONG);
    // While a thread is created or ends, the C library blocks every signal in it for a moment. So wait for
    // the monitor to poll, and for the thread that writes the first line, which has the name too, to be gone.
    clock.AwaitPoll();
    std::vector<std::string> threads;
    do {
        threads = ThreadsCalled("tn-watchdog");
    } while (threads.size() != 1);
    for (const std::string& status : threads) {
        const std::size_t at = status.find("SigBlk:\t");
        ASSERT_NE(at, std::string::npos);
        const unsigned long blocked = std::stoul(status.substr(at + 8), nullptr, 16);
        for (const int signal : {SIGHUP, SIGINT, SIGTERM, SIGUSR1, SIGALRM, SIGCHLD}) {
            EXPECT_TRUE((blocked & (1UL << (signal - 1))) != 0) << signal;
        }
        EXPECT_TRUE((blocked & (1UL << (SIGSEGV - 1))) == 0);
    }
    sigset_t after;
    pthread_sigmask(SIG_SETMASK, nullptr, &after);
    for (int signal = 1; signal < 65; ++signal) {
        EXPECT_EQ(sigismember(&before, signal), sigismember(&after, signal)) << signal;
    }
    watchdog.Stop();
}

TEST_F(PassiveWatchdogTest, TheAgeIsCutToWholeMilliseconds)
{
    const HandMovedClock clock;
    PassiveWatchdog watchdog;
    EXPECT_EQ(watchdog.GetLastHeartbeat(), 0);
    clock.Advance(999999);
    EXPECT_EQ(watchdog.GetLastHeartbeat(), 0);
    clock.Advance(1);
    EXPECT_EQ(watchdog.GetLastHeartbeat(), 1);
    clock.Advance(5000999999);
    EXPECT_EQ(watchdog.GetLastHeartbeat(), 5001);
    watchdog.Heartbeat();
    EXPECT_EQ(watchdog.GetLastHeartbeat(), 0);
    EXPECT_EQ(watchdog.lastHeartbeat, 1005001999999);
}

TEST_F(PassiveWatchdogTest, AHeartbeatExactlyAsOldAsTheTimeoutIsNoTimeoutOneMillisecondMoreIs)
{
    const support::SharedValue<std::atomic<int>> survived;
    const ChildResult result = RunInChild([&] {
        const HandMovedClock clock;
        PassiveWatchdog watchdog;
        watchdog.Start(milliseconds(50));
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

TEST_F(PassiveWatchdogTest, HeartbeatsKeepTheProcessAlive)
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

TEST_F(PassiveWatchdogTest, ATimeoutRunsNoExitHandlersAndFlushesNothing)
{
    const ChildResult result = RunInChild([] {
        atexit([] { printf("handler\n"); });
        FILE* const pending = fdopen(dup(STDOUT_FILENO), "w");
        fputs("pending\n", pending);
        PassiveWatchdog watchdog;
        watchdog.Start(milliseconds(20));
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

TEST_F(PassiveWatchdogTest, ANegativeTimeoutIsOverAtOnce)
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

namespace {

/// Runs a loop that hangs in a child; checks the exit status and that the end came in time.
void ExpectEndInTime(const std::function<void(PassiveWatchdog&)>& hang)
{
    constexpr std::int64_t TIMEOUT_MS = 100;
    constexpr std::int64_t BOUND_MS = 200;
    constexpr std::int64_t BUSY_MACHINE_MS = 400;
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
    EXPECT_LT(lifetime, TIMEOUT_MS + BOUND_MS + BUSY_MACHINE_MS);
}

}  // namespace

TEST_F(PassiveWatchdogTest, EndsALoopThatHangsInsideALogWrite)
{
    ExpectEndInTime([this](PassiveWatchdog& watchdog) {
        FillStandardOutput();
        ctl.GetLog(LogType::RUNTIME).logFunc(LogLevel::INFO, "never through");
        watchdog.Stop();
    });
}

TEST_F(PassiveWatchdogTest, EndsALoopThatHangsInItsVeryFirstLogWrite)
{
    support::Child child(support::Fork([] {
        PassiveWatchdog watchdog;
        FillStandardOutput();
        watchdog.Start(milliseconds(100));
        return 0;
    }));
    EXPECT_EQ(child.Wait(), 4);
}

TEST_F(PassiveWatchdogTest, EndsALoopWhoseLogFileIsAFullFifo)
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

TEST_F(PassiveWatchdogTest, EndsALoopThatHoldsTheLockOfStandardOutput)
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

TEST_F(PassiveWatchdogTest, AttemptsBothLinesWhenTheFirstHangs)
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
    EXPECT_EQ(FileText(Path("seen")), "Heartbeat timeout\ntarnix exit due t\n");
}

TEST_F(PassiveWatchdogTest, DoesNotWaitWhenTheLogIsQuick)
{
    const support::SharedValue<std::atomic<std::int64_t>> lastLine;
    support::Child child(support::Fork([&] {
        ctl.SetLogFunc(
            LogType::RUNTIME, [&](LogLevel, const std::string&) { *lastLine = NowMs(); }, DefaultSnapFunc);
        PassiveWatchdog watchdog;
        watchdog.Start(milliseconds(10));
        for (;;) {
            pause();
        }
        return 0;
    }));
    EXPECT_EQ(child.Wait(), 4);
    EXPECT_LT(NowMs() - *lastLine, 90);
}

TEST_F(PassiveWatchdogTest, ALogThatThrowsDoesNotKeepTheProcessAlive)
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

TEST_F(PassiveWatchdogTest, AnExceptionEndsTheMonitorThread)
{
    std::atomic<int> reports{0};
    std::atomic<int> others{0};
    ctl.SetLogFunc(
        LogType::RUNTIME,
        [&](LogLevel level, const std::string& text) {
            if (text == "Watchdog monitor thread started") {
                throw std::runtime_error("log");
            }
            if (level == LogLevel::ERROR && text == "Exception in monitor thread") {
                ++reports;
                throw 7;
            }
            ++others;
        },
        DefaultSnapFunc);
    PassiveWatchdog watchdog;
    watchdog.Start(LONG);
    while (reports == 0) {
        sched_yield();
    }
    while (watchdog.running) {
        sched_yield();
    }
    watchdog.Stop();
    EXPECT_EQ(reports, 1);
    EXPECT_EQ(others, 1) << "only what Start says; the thread that failed does not say that it stopped";
    ctl.SetLogFunc(LogType::RUNTIME, DefaultLogFunc, DefaultSnapFunc);
    const Recorder recorder;
    watchdog.Start(LONG);
    watchdog.Stop();
    EXPECT_TRUE(recorder.Has(STOPPED)) << "can be started again";
}

TEST_F(PassiveWatchdogTest, AChannelWithoutFunctionsIsNotCalled)
{
    ctl.SetLogFunc(LogType::RUNTIME, nullptr, nullptr);
    PassiveWatchdog watchdog;
    watchdog.Start(LONG);
    watchdog.Start(LONG);
    watchdog.Stop();
    EXPECT_FALSE(watchdog.running);
}

TEST_F(PassiveWatchdogTest, AThreadThatCannotBeCreatedIsReported)
{
#ifdef SANITIZER_OWNS_PTHREAD_CREATE
    GTEST_SKIP() << "pthread_create belongs to the sanitizer here and cannot be made to fail";
#endif
    const Recorder recorder;
    PassiveWatchdog watchdog;
    g_threadsUntilFailure = 0;
    watchdog.Start(LONG);
    g_threadsUntilFailure = std::numeric_limits<int>::max();
    EXPECT_FALSE(watchdog.running);
    EXPECT_THAT(
        recorder.Lines(),
        ElementsAre("ERROR Watchdog not started, the main loop is not guarded: cannot create its thread "
                    "(errno 11), raise the limit of threads"));
    watchdog.Start(LONG);
    EXPECT_TRUE(watchdog.running);
    watchdog.Stop();
}

TEST_F(PassiveWatchdogTest, WithoutAThreadForTheLinesTheProcessEndsAtOnce)
{
#ifdef SANITIZER_OWNS_PTHREAD_CREATE
    GTEST_SKIP() << "pthread_create belongs to the sanitizer here and cannot be made to fail";
#endif
    const ChildResult result = RunInChild([] {
        const Recorder recorder;
        PassiveWatchdog watchdog;
        g_threadsUntilFailure = 1;  // the monitor, and nothing after it
        watchdog.Start(milliseconds(20));
        for (;;) {
            pause();
        }
        return 0;
    });
    EXPECT_EQ(result.status, 4);
}

TEST_F(PassiveWatchdogTest, TheLibraryDoesNotChangeHowSignalsAreHandled)
{
    const Recorder recorder;
    struct sigaction before[65] = {};
    for (int signal = 1; signal < 65; ++signal) {
        sigaction(signal, nullptr, &before[signal]);
    }
    PassiveWatchdog watchdog;
    watchdog.Start(LONG);
    watchdog.Stop();
    for (int signal = 1; signal < 65; ++signal) {
        struct sigaction now {};
        sigaction(signal, nullptr, &now);
        EXPECT_EQ(now.sa_handler, before[signal].sa_handler) << signal;
    }
}
