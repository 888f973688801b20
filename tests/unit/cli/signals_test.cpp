// SPDX-License-Identifier: MIT

#include "tools/cli/signals.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>

#include <gtest/gtest.h>

#include "tests/support/child_run.h"

namespace {

/// Seconds by which the clock of this process is ahead.
time_t g_ahead = 0;

}  // namespace

/// Takes the place of the library's function, so that a second passes without waiting.
extern "C" int clock_gettime(clockid_t id, timespec* now) noexcept
{
    const long result = syscall(SYS_clock_gettime, id, now);
    now->tv_sec += g_ahead;
    return static_cast<int>(result);
}

namespace cli {
namespace {

TEST(Signals, AskForACleanEnd)
{
    for (const int number : {SIGINT, SIGTERM}) {
        const support::ChildResult child = support::RunInChild([number] {
            InstallSignalHandlers();
            if (StopRequested()) {
                return 1;
            }
            errno = 77;
            raise(number);
            return StopRequested() && errno == 77 ? 0 : 2;
        });
        EXPECT_EQ(child.status, 0) << number;
    }
}

TEST(Signals, WhatFollowsAtOnceIsTheSameWish)
{
    const support::ChildResult child = support::RunInChild([] {
        InstallSignalHandlers();
        raise(SIGTERM);
        raise(SIGTERM);
        raise(SIGINT);
        return StopRequested() ? 0 : 1;
    });
    EXPECT_EQ(child.status, 0);
}

TEST(Signals, ALaterOneKills)
{
#if defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "ThreadSanitizer holds back signals that are raised inside a handler";
#endif
    for (const int number : {SIGINT, SIGTERM}) {
        const support::ChildResult child = support::RunInChild([number] {
            InstallSignalHandlers();
            raise(SIGTERM);
            g_ahead = 2;
            raise(number);
            sigset_t none;  // what was raised inside the handler is delivered when it returns
            sigemptyset(&none);
            sigprocmask(SIG_SETMASK, &none, nullptr);
            return 0;
        });
        EXPECT_EQ(child.status, -number);
    }
}

TEST(Signals, AWaitIsInterrupted)
{
    const support::ChildResult child = support::RunInChild([] {
        InstallSignalHandlers();
        struct sigaction action {};
        return sigaction(SIGINT, nullptr, &action) == 0 && (action.sa_flags & SA_RESTART) == 0 ? 0 : 1;
    });
    EXPECT_EQ(child.status, 0);
}

TEST(Signals, WritingToAClosedPipeFailsInsteadOfKilling)
{
    const support::ChildResult child = support::RunInChild([] {
        InstallSignalHandlers();
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0) {
            return 1;
        }
        close(ends[0]);
        return write(ends[1], "x", 1) == -1 && errno == EPIPE ? 0 : 2;
    });
    EXPECT_EQ(child.status, 0);
}

}  // namespace
}  // namespace cli
