// SPDX-License-Identifier: MIT

#include "common/descriptor_write.h"

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "tests/support/child_run.h"

using runtime::CanRaiseSigpipe;
using runtime::SigpipeHold;
using runtime::WriteAll;
using runtime::WriteOutcome;

namespace {

bool SigpipeIsPending()
{
    sigset_t pending;
    sigpending(&pending);
    return sigismember(&pending, SIGPIPE) == 1;
}

bool SigpipeIsBlocked()
{
    sigset_t mask;
    pthread_sigmask(SIG_SETMASK, nullptr, &mask);
    return sigismember(&mask, SIGPIPE) == 1;
}

/// A pipe whose reader has gone.
int BrokenPipe()
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        return -1;
    }
    close(ends[0]);
    return ends[1];
}

int WriteOne(int fd)
{
    char byte = 'x';
    iovec part{&byte, 1};
    return WriteAll(fd, &part, 1).error;
}

}  // namespace

TEST(DescriptorWrite, PartsOfAnySizeArriveInOrder)
{
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    std::string texts[] = {"", "head ", std::string(300000, 'm'), "", "\n"};
    std::string received;
    // More than a pipe holds, so the writer is served in pieces.
    std::thread reader([&] {
        char buffer[4096];
        ssize_t size = 0;
        while ((size = read(ends[0], buffer, sizeof buffer)) > 0) {
            received.append(buffer, static_cast<std::size_t>(size));
        }
    });
    iovec parts[5];
    for (int i = 0; i < 5; ++i) {
        parts[i] = {texts[i].data(), texts[i].size()};
    }
    const WriteOutcome outcome = WriteAll(ends[1], parts, 5);
    close(ends[1]);
    reader.join();
    close(ends[0]);
    EXPECT_EQ(outcome.error, 0);
    EXPECT_EQ(outcome.written, 300006U);
    EXPECT_EQ(received, texts[1] + texts[2] + texts[4]);
}

TEST(DescriptorWrite, AFullNonBlockingPipeEndsTheWrite)
{
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC | O_NONBLOCK), 0);
    std::string text(1000000, 'm');
    iovec part{text.data(), text.size()};
    const WriteOutcome outcome = WriteAll(ends[1], &part, 1);
    EXPECT_EQ(outcome.error, EAGAIN);
    EXPECT_EQ(outcome.written, 65536U);
    close(ends[0]);
    close(ends[1]);
}

TEST(DescriptorWrite, ErrorsAreReturned)
{
    EXPECT_EQ(WriteOne(-1), EBADF);
    const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
    ASSERT_GE(full, 0);
    EXPECT_EQ(WriteOne(full), ENOSPC);
    close(full);
}

TEST(DescriptorWrite, KnowsPipesAndSockets)
{
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    int sockets[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets), 0);
    const int null = open("/dev/null", O_WRONLY | O_CLOEXEC);
    EXPECT_TRUE(CanRaiseSigpipe(ends[1]));
    EXPECT_TRUE(CanRaiseSigpipe(sockets[0]));
    EXPECT_FALSE(CanRaiseSigpipe(null));
    EXPECT_FALSE(CanRaiseSigpipe(-1));
    for (const int fd : {ends[0], ends[1], sockets[0], sockets[1], null}) {
        close(fd);
    }
}

TEST(SigpipeHold, ABrokenPipeKillsNobodyAndLeavesNoTrace)
{
    const support::ChildResult result = support::RunInChild([] {
        const int fd = BrokenPipe();
        {
            SigpipeHold hold(true);
            const int error = WriteOne(fd);
            hold.NoteError(error);
            if (error != EPIPE) {
                return 1;
            }
        }
        struct sigaction action {};
        sigaction(SIGPIPE, nullptr, &action);
        return SigpipeIsBlocked() || SigpipeIsPending() || action.sa_handler != SIG_DFL ? 2 : 0;
    });
    EXPECT_EQ(result.status, 0);
}

TEST(SigpipeHold, WithoutItTheSameWriteKills)
{
    const support::ChildResult result = support::RunInChild([] {
        SigpipeHold hold(false);
        return WriteOne(BrokenPipe());
    });
    EXPECT_EQ(result.status, -SIGPIPE);
}

TEST(SigpipeHold, ASignalThatWasPendingBeforeStaysPending)
{
    const support::ChildResult result = support::RunInChild([] {
        sigset_t sigpipe;
        sigemptyset(&sigpipe);
        sigaddset(&sigpipe, SIGPIPE);
        pthread_sigmask(SIG_BLOCK, &sigpipe, nullptr);
        raise(SIGPIPE);
        {
            SigpipeHold hold(true);
            hold.NoteError(WriteOne(BrokenPipe()));
        }
        return SigpipeIsPending() && SigpipeIsBlocked() ? 0 : 1;
    });
    EXPECT_EQ(result.status, 0);
}

TEST(SigpipeHold, AMaskThatBlockedTheSignalStaysAndNothingIsLeftPending)
{
    const support::ChildResult result = support::RunInChild([] {
        sigset_t sigpipe;
        sigemptyset(&sigpipe);
        sigaddset(&sigpipe, SIGPIPE);
        pthread_sigmask(SIG_BLOCK, &sigpipe, nullptr);
        {
            SigpipeHold hold(true);
            hold.NoteError(WriteOne(BrokenPipe()));
        }
        return !SigpipeIsPending() && SigpipeIsBlocked() ? 0 : 1;
    });
    EXPECT_EQ(result.status, 0);
}

TEST(SigpipeHold, AnIgnoredSignalIsNotWaitedFor)
{
    const support::ChildResult result = support::RunInChild([] {
        signal(SIGPIPE, SIG_IGN);
        {
            SigpipeHold hold(true);
            hold.NoteError(WriteOne(BrokenPipe()));
        }
        return SigpipeIsBlocked() ? 1 : 0;
    });
    EXPECT_EQ(result.status, 0);
}
