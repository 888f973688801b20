// SPDX-License-Identifier: MIT

#include "common/passive_watchdog.h"

#include <dirent.h>
#include <dlfcn.h>
#include <errno.h>
#include <pthread.h>
#include <sched.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/child_run.h"
#include "tests/support/sanitized.h"
#include "tests/unit/common/watchdog_fixture.h"

using std::chrono::milliseconds;
using support::ChildResult;
using support::FileText;
using support::RunInChild;
using testing::ElementsAre;

namespace {

constexpr const char* STARTED = "INFO Watchdog monitor thread started";
constexpr const char* STOPPED = "DEBUG Watchdog monitor thread stopped";

std::atomic<int> g_threadsUntilFailure{std::numeric_limits<int>::max()};
std::atomic<int> g_threadError{EAGAIN};

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

}  // namespace

#if !TESTS_SANITIZED
// Fails as on a machine that is out of threads, or of memory, when the test asks for it.
extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*body)(void*),
                              void* argument)
{
    using Function = int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
    static const auto REAL = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "pthread_create"));
    if (g_threadsUntilFailure.fetch_sub(1) <= 0) {
        return g_threadError;
    }
    return REAL(thread, attributes, body, argument);
}
#endif

class PassiveWatchdogTest : public LoggerFixture {
protected:
    ~PassiveWatchdogTest() override
    {
        g_threadsUntilFailure = std::numeric_limits<int>::max();
        g_threadError = EAGAIN;
    }
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
    watchdog.Start(LONG_TIMEOUT);
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
        watchdog.Start(LONG_TIMEOUT);
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
    watchdog.Start(LONG_TIMEOUT);
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
    watchdog.Start(LONG_TIMEOUT);
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
    watchdog.Start(LONG_TIMEOUT);
    watchdog.Stop();
    EXPECT_TRUE(recorder.Has(STOPPED)) << "can be started again";
}

TEST_F(PassiveWatchdogTest, AChannelWithoutFunctionsIsNotCalled)
{
    ctl.SetLogFunc(LogType::RUNTIME, nullptr, nullptr);
    PassiveWatchdog watchdog;
    watchdog.Start(LONG_TIMEOUT);
    watchdog.Start(LONG_TIMEOUT);
    watchdog.Stop();
    EXPECT_FALSE(watchdog.running);
}

TEST_F(PassiveWatchdogTest, AThreadThatCannotBeCreatedIsReported)
{
#if TESTS_SANITIZED
    GTEST_SKIP() << "pthread_create belongs to the sanitizer here and cannot be made to fail";
#endif
    const Recorder recorder;
    PassiveWatchdog watchdog;
    g_threadsUntilFailure = 0;
    watchdog.Start(LONG_TIMEOUT);
    g_threadsUntilFailure = std::numeric_limits<int>::max();
    EXPECT_FALSE(watchdog.running);
    EXPECT_THAT(
        recorder.Lines(),
        ElementsAre("ERROR Watchdog not started, the main loop is not guarded: cannot create its thread "
                    "(errno 11), raise the limit of threads"));
    watchdog.Start(LONG_TIMEOUT);
    EXPECT_TRUE(watchdog.running);
    watchdog.Stop();
}

TEST_F(PassiveWatchdogTest, AThreadWithoutMemoryIsReportedWithItsRemedy)
{
#if TESTS_SANITIZED
    GTEST_SKIP() << "pthread_create belongs to the sanitizer here and cannot be made to fail";
#endif
    const Recorder recorder;
    PassiveWatchdog watchdog;
    g_threadError = ENOMEM;
    g_threadsUntilFailure = 0;
    watchdog.Start(LONG_TIMEOUT);
    EXPECT_FALSE(watchdog.running);
    EXPECT_THAT(
        recorder.Lines(),
        ElementsAre("ERROR Watchdog not started, the main loop is not guarded: cannot create its thread "
                    "(errno 12), free some memory"));
}

TEST_F(PassiveWatchdogTest, WithoutAThreadForTheLinesTheProcessEndsAtOnce)
{
#if TESTS_SANITIZED
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
    watchdog.Start(LONG_TIMEOUT);
    watchdog.Stop();
    for (int signal = 1; signal < 65; ++signal) {
        struct sigaction now {};
        sigaction(signal, nullptr, &now);
        EXPECT_EQ(now.sa_handler, before[signal].sa_handler) << signal;
    }
}
