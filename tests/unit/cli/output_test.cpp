// SPDX-License-Identifier: MIT

#include "tools/cli/output.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include <gtest/gtest.h>

#include "tests/support/child_run.h"

namespace cli {
namespace {

using support::FileText;
using support::TempDirectory;

bool IsOpen(int fd)
{
    return fcntl(fd, F_GETFD) >= 0;
}

TEST(Output, HandsOnEachRecordOrWaitsForAFullBuffer)
{
    const TempDirectory directory;
    const std::string path = directory / "f";
    Output watched(OpenOutputFile(path), true, Output::Flush::EACH_COMMIT, nullptr);
    watched.Buffer() += "one\n";
    EXPECT_EQ(FileText(path), "");
    watched.Commit();
    EXPECT_EQ(FileText(path), "one\n");
    EXPECT_EQ(watched.Buffer(), "");

    Output full(OpenOutputFile(path), true, Output::Flush::WHEN_FULL, nullptr);
    full.Buffer() += std::string(Output::BUFFER - 1, 'x');
    full.Commit();
    EXPECT_EQ(FileText(path), "");
    full.Buffer() += "y";
    full.Commit();
    EXPECT_EQ(FileText(path).size(), Output::BUFFER);
    full.Buffer() += "end";
    full.Close();
    EXPECT_EQ(FileText(path), std::string(Output::BUFFER - 1, 'x') + "yend");
    EXPECT_EQ(full.GetState(), Output::State::GOOD);
    EXPECT_EQ(full.ErrorNumber(), 0);
}

TEST(Output, ClosesWhatItOwnsAndOnlyThat)
{
    const TempDirectory directory;
    const int owned = OpenOutputFile(directory / "a");
    const int lent = OpenOutputFile(directory / "b");
    EXPECT_EQ(fcntl(owned, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
    {
        Output first(owned, true, Output::Flush::WHEN_FULL, nullptr);
        Output second(lent, false, Output::Flush::WHEN_FULL, nullptr);
        second.Close();
        EXPECT_TRUE(IsOpen(lent));
        EXPECT_TRUE(IsOpen(owned));
    }
    EXPECT_FALSE(IsOpen(owned));
    EXPECT_TRUE(IsOpen(lent));
    close(lent);
}

TEST(Output, AFullDiskIsAFailureThatIsKept)
{
    const int fd = open("/dev/full", O_WRONLY | O_CLOEXEC);
    if (fd < 0) {
        GTEST_SKIP() << "/dev/full cannot be opened here";
    }
    Output output(fd, true, Output::Flush::EACH_COMMIT, nullptr);
    output.Buffer() += "text";
    output.Commit();
    EXPECT_EQ(output.GetState(), Output::State::FAILED);
    EXPECT_EQ(output.ErrorNumber(), ENOSPC);
    output.Buffer() += "more";
    output.Commit();
    EXPECT_EQ(output.Buffer(), "") << "what comes after a failure is dropped";
    output.Close();
    EXPECT_EQ(output.ErrorNumber(), ENOSPC);
    EXPECT_FALSE(IsOpen(fd));
}

TEST(Output, AFullDiskShowsWhenTheBufferIsWrittenByClose)
{
    const int fd = open("/dev/full", O_WRONLY | O_CLOEXEC);
    if (fd < 0) {
        GTEST_SKIP() << "/dev/full cannot be opened here";
    }
    Output output(fd, true, Output::Flush::WHEN_FULL, nullptr);
    output.Buffer() += "text";
    output.Commit();
    EXPECT_EQ(output.GetState(), Output::State::GOOD);
    output.Close();
    EXPECT_EQ(output.GetState(), Output::State::FAILED);
    EXPECT_EQ(output.ErrorNumber(), ENOSPC);
}

TEST(Output, AReaderThatIsGoneIsNoFailure)
{
    ASSERT_NE(signal(SIGPIPE, SIG_IGN), SIG_ERR);
    for (const bool ending : {false, true}) {
        int ends[2];
        ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
        close(ends[0]);
        Output output(ends[1], true, Output::Flush::EACH_COMMIT, [ending] { return ending; });
        output.Buffer() += "text";
        output.Commit();
        EXPECT_EQ(output.GetState(), Output::State::READER_GONE);
        EXPECT_EQ(output.ErrorNumber(), EPIPE);
    }
}

TEST(Output, ADescriptorThatCannotBeWrittenFails)
{
    const int fd = open("/dev/null", O_RDONLY | O_CLOEXEC);
    ASSERT_GE(fd, 0);
    Output output(fd, true, Output::Flush::EACH_COMMIT, nullptr);
    output.Buffer() += "text";
    output.Commit();
    EXPECT_EQ(output.GetState(), Output::State::FAILED);
    EXPECT_EQ(output.ErrorNumber(), EBADF);
}

TEST(Output, WaitsForASlowReaderOfANonBlockingPipe)
{
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC | O_NONBLOCK), 0);
    constexpr std::size_t SIZE = 1000000;
    support::Child reader(support::Fork([&] {
        close(ends[1]);
        fcntl(ends[0], F_SETFL, 0);
        std::size_t total = 0;
        char block[4096];
        for (ssize_t size = 0; (size = read(ends[0], block, sizeof block)) > 0;) {
            total += static_cast<std::size_t>(size);
        }
        return total == SIZE ? 0 : 1;
    }));
    close(ends[0]);
    Output output(ends[1], true, Output::Flush::EACH_COMMIT, nullptr);
    output.Buffer() += std::string(SIZE, 'x');
    output.Commit();
    output.Close();
    EXPECT_EQ(output.GetState(), Output::State::GOOD);
    EXPECT_EQ(reader.Wait(), 0);
}

TEST(Output, AnEndThatWasAskedForDoesNotWaitForeverOnAFullPipe)
{
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    Output output(ends[1], true, Output::Flush::EACH_COMMIT, [] { return true; });
    output.Buffer() += std::string(1000000, 'x');
    output.Commit();
    EXPECT_EQ(output.GetState(), Output::State::FAILED);
    EXPECT_EQ(output.ErrorNumber(), ETIMEDOUT);
    close(ends[0]);
}

TEST(Output, AnEndThatIsAskedForDuringAWaitNeedsNoSignalToBeSeen)
{
    for (const int flags : {0, O_NONBLOCK}) {
        int ends[2];
        ASSERT_EQ(pipe2(ends, O_CLOEXEC | flags), 0);
        int looks = 0;
        Output output(ends[1], true, Output::Flush::EACH_COMMIT, [&looks] { return ++looks > 40; });
        output.Buffer() += std::string(1000000, 'x');
        output.Commit();
        EXPECT_EQ(output.GetState(), Output::State::FAILED) << flags;
        EXPECT_EQ(output.ErrorNumber(), ETIMEDOUT) << flags;
        close(ends[0]);
    }
}

int g_readEnd = -1;
int g_signals = 0;

/// Interrupts a wait a few times before it reads from the pipe, so that the wait has to be taken up again.
extern "C" void ReadLater(int /*number*/)
{
    const int savedErrno = errno;
    char text[65536];
    if (++g_signals > 2 && read(g_readEnd, text, sizeof(text)) < 0) {
        g_signals = -1000;
    }
    errno = savedErrno;
}

TEST(Output, ASignalDuringAWaitIsNoFailure)
{
    for (const int flags : {0, O_NONBLOCK}) {
        int ends[2];
        ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
        ASSERT_EQ(fcntl(ends[1], F_SETFL, flags), 0);
        Output output(ends[1], true, Output::Flush::EACH_COMMIT, [] { return false; });
        output.Buffer() += std::string(65536, 'x');
        output.Commit();
        ASSERT_EQ(output.GetState(), Output::State::GOOD) << "the pipe is full now";

        g_readEnd = ends[0];
        g_signals = 0;
        struct sigaction action {};
        action.sa_handler = ReadLater;
        struct sigaction before {};
        ASSERT_EQ(sigaction(SIGALRM, &action, &before), 0);
        const itimerval often{{0, 5000}, {0, 5000}};
        ASSERT_EQ(setitimer(ITIMER_REAL, &often, nullptr), 0);
        output.Buffer() += "more";
        output.Commit();
        const itimerval never{};
        ASSERT_EQ(setitimer(ITIMER_REAL, &never, nullptr), 0);
        sigaction(SIGALRM, &before, nullptr);
        EXPECT_GE(g_signals, 3);
        EXPECT_EQ(output.GetState(), Output::State::GOOD) << flags;
        char text[8] = {};
        EXPECT_EQ(read(ends[0], text, sizeof(text)), 4);
        EXPECT_STREQ(text, "more");
        close(ends[0]);
    }
}

TEST(Output, AFailureOfCloseShowsAndTheFirstFailureIsKept)
{
    const int gone = open("/dev/null", O_WRONLY | O_CLOEXEC);
    ASSERT_GE(gone, 0);
    Output owner(gone, true, Output::Flush::WHEN_FULL, nullptr);
    close(gone);
    owner.Close();
    EXPECT_EQ(owner.GetState(), Output::State::FAILED);
    EXPECT_EQ(owner.ErrorNumber(), EBADF);
    owner.Close();
    EXPECT_EQ(owner.ErrorNumber(), EBADF) << "closed already";

    Output lent(gone, false, Output::Flush::WHEN_FULL, nullptr);
    lent.Close();
    EXPECT_EQ(lent.GetState(), Output::State::GOOD)
        << "nothing was to be written, and closing is the owner's";

    const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
    if (full < 0) {
        GTEST_SKIP() << "/dev/full cannot be opened here";
    }
    Output first(full, true, Output::Flush::EACH_COMMIT, nullptr);
    first.Buffer() += "text";
    first.Commit();
    close(full);
    first.Close();
    EXPECT_EQ(first.ErrorNumber(), ENOSPC);
}

TEST(Output, StandardInputThatIsClosedIsNoRecording)
{
    const TempDirectory directory;
    const std::string path = directory / "f";
    close(OpenOutputFile(path));
    const int kept = fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 3);
    close(STDIN_FILENO);
    EXPECT_FALSE(IsSameFile("-", path));
    const int file = open(path.c_str(), O_RDONLY);
    ASSERT_EQ(file, STDIN_FILENO);
    EXPECT_TRUE(IsSameFile("-", path));
    EXPECT_FALSE(IsSameFile("-", "/proc/self/stat")) << "on another file system";
    close(file);
    if (kept >= 0) {
        EXPECT_EQ(dup2(kept, STDIN_FILENO), STDIN_FILENO);
        close(kept);
    }
}

TEST(Output, OpensByMakingOrEmptying)
{
    const TempDirectory directory;
    const std::string path = directory / "f";
    {
        Output output(OpenOutputFile(path), true, Output::Flush::EACH_COMMIT, nullptr);
        output.Buffer() += "old";
        output.Commit();
    }
    EXPECT_EQ(FileText(path), "old");
    close(OpenOutputFile(path));
    EXPECT_EQ(FileText(path), "");
    EXPECT_EQ(OpenOutputFile(directory / "no/f"), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(OpenOutputFile(directory.Path()), -1);
    EXPECT_EQ(errno, EISDIR);
}

TEST(Output, KnowsTheRecordingUnderAnyName)
{
    const TempDirectory directory;
    const std::string path = directory / "f";
    const std::string linked = directory / "l";
    const std::string hard = directory / "h";
    const std::string other = directory / "o";
    close(OpenOutputFile(path));
    close(OpenOutputFile(other));
    ASSERT_EQ(symlink(path.c_str(), linked.c_str()), 0);
    ASSERT_EQ(link(path.c_str(), hard.c_str()), 0);
    EXPECT_TRUE(IsSameFile(path, path));
    EXPECT_TRUE(IsSameFile(path, linked));
    EXPECT_TRUE(IsSameFile(hard, path));
    EXPECT_FALSE(IsSameFile(path, other));
    EXPECT_FALSE(IsSameFile(path, directory / "absent"));
    EXPECT_FALSE(IsSameFile(directory / "absent", path));
    EXPECT_FALSE(IsSameFile("/dev/null", "/dev/null"));

    const support::ChildResult child = support::RunInChild([&] {
        const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
        dup2(fd, STDIN_FILENO);
        return (IsSameFile("-", linked) ? 1 : 0) + (IsSameFile("-", other) ? 2 : 0);
    });
    EXPECT_EQ(child.status, 1);
}

TEST(EndOutOfMemory, SaysWhoAndReturnsTheStatus)
{
    const support::ChildResult child = support::RunInChild([] { return EndOutOfMemory("a-program", 3); });
    EXPECT_EQ(child.status, 3);
    EXPECT_EQ(child.err, "a-program: out of memory\n");
}

/// Standard error becomes a pipe that holds as much as it can and has no reader. Returns the end to read
/// from.
int FillStandardError()
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0) {
        return -1;
    }
    const std::string block(4096, 'x');
    while (write(ends[1], block.data(), block.size()) > 0) {
    }
    return fcntl(ends[1], F_SETFL, 0) == 0 && dup2(ends[1], STDERR_FILENO) >= 0 ? ends[0] : -1;
}

TEST(EndOutOfMemory, DoesNotWaitForAReaderThatTakesNothing)
{
    const support::ChildResult child =
        support::RunInChild([] { return FillStandardError() < 0 ? 99 : EndOutOfMemory("a-program", 3); });
    EXPECT_EQ(child.status, 3);
}

TEST(EndOutOfMemory, ASignalEndsTheWait)
{
    const support::ChildResult child = support::RunInChild([] {
        if (FillStandardError() < 0) {
            return 99;
        }
        struct sigaction action {};
        action.sa_handler = [](int /*number*/) {};
        sigaction(SIGALRM, &action, nullptr);
        const itimerval often{{0, 5000}, {0, 5000}};
        setitimer(ITIMER_REAL, &often, nullptr);
        return EndOutOfMemory("a-program", 3);
    });
    EXPECT_EQ(child.status, 3);
}

}  // namespace
}  // namespace cli
