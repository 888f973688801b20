// SPDX-License-Identifier: MIT

#include "tools/tarnix/instance_lock.h"

#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

#include "tests/support/quiet_fork.h"
#include "tests/support/scratch_directory.h"

namespace {

using support::ScratchDirectory;
using tarnix::InstanceLock;

/// What another process answers: the locks are those of processes.
template <typename Function>
std::string InAnotherProcess(Function function)
{
    int ends[2];
    if (pipe(ends) != 0) {
        return "no pipe";
    }
    const pid_t child = support::ForkQuietly();
    if (child == 0) {
        const std::string answer = function();
        const ssize_t written = write(ends[1], answer.data(), answer.size());
        _exit(written == static_cast<ssize_t>(answer.size()) ? 0 : 1);
    }
    close(ends[1]);
    std::string answer;
    char bytes[512];
    for (ssize_t got = 0; (got = read(ends[0], bytes, sizeof bytes)) > 0;) {
        answer.append(bytes, static_cast<std::size_t>(got));
    }
    close(ends[0]);
    waitpid(child, nullptr, 0);
    return answer;
}

std::string FileText(const std::string& path)
{
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

TEST(TarnixInstanceLock, MakesItsDirectoryAndHoldsTheProcessId)
{
    const ScratchDirectory scratch;
    InstanceLock lock(scratch / "run");
    EXPECT_EQ(lock.Acquire(), "");
    EXPECT_EQ(FileText(scratch / "run/tarnix.pid"), std::to_string(getpid()) + "\n");
}

TEST(TarnixInstanceLock, NobodyElseCanOpenTheFile)
{
    const ScratchDirectory scratch;
    std::ofstream(scratch / "tarnix.pid") << "1\n";
    ASSERT_EQ(chmod((scratch / "tarnix.pid").c_str(), 0666), 0);
    InstanceLock lock(scratch / ".");
    ASSERT_EQ(lock.Acquire(), "");
    struct stat status {};
    ASSERT_EQ(stat((scratch / "tarnix.pid").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0600U);
}

TEST(TarnixInstanceLock, ASecondInstanceIsToldWhoRuns)
{
    const ScratchDirectory scratch;
    InstanceLock lock(scratch / "run");
    ASSERT_EQ(lock.Acquire(), "");
    const std::string answer =
        InAnotherProcess([&scratch] { return InstanceLock(scratch / "run").Acquire(); });
    EXPECT_EQ(answer, "another tarnix runs already, process " + std::to_string(getpid()) + ", which holds " +
                          (scratch / "run/tarnix.pid") + "; stop it first");
    EXPECT_EQ(FileText(scratch / "run/tarnix.pid"), std::to_string(getpid()) + "\n");
}

TEST(TarnixInstanceLock, WhatACrashLeftIsNoObstacle)
{
    const ScratchDirectory scratch;
    EXPECT_EQ(InAnotherProcess([&scratch] {
                  auto* leaked = new InstanceLock(scratch / "run");
                  return leaked->Acquire();
              }),
              "");
    InstanceLock lock(scratch / "run");
    EXPECT_EQ(lock.Acquire(), "");
    EXPECT_EQ(FileText(scratch / "run/tarnix.pid"), std::to_string(getpid()) + "\n");
}

TEST(TarnixInstanceLock, ALongerNumberIsReplacedWhole)
{
    const ScratchDirectory scratch;
    std::ofstream(scratch / "tarnix.pid") << "123456789012345678901234567890\n";
    InstanceLock lock(scratch / ".");
    EXPECT_EQ(lock.Acquire(), "");
    EXPECT_EQ(FileText(scratch / "tarnix.pid"), std::to_string(getpid()) + "\n");
}

TEST(TarnixInstanceLock, WhatCannotBeLockedIsExplained)
{
    const ScratchDirectory scratch;
    std::ofstream(scratch / "file") << "x";
    EXPECT_EQ(InstanceLock(scratch / "file").Acquire(),
              "cannot lock " + (scratch / "file/tarnix.pid") + ": Not a directory");
    EXPECT_EQ(InstanceLock(scratch / "a/b").Acquire(),
              "cannot lock " + (scratch / "a/b/tarnix.pid") +
                  ": No such file or directory; the directory has to exist and to be writable, "
                  "TARNIX_RUNTIME_DIR names another");
    std::filesystem::create_directory(scratch / "link");
    std::filesystem::create_symlink("/etc/hostname", scratch / "link/tarnix.pid");
    EXPECT_EQ(InstanceLock(scratch / "link").Acquire(),
              "cannot lock " + (scratch / "link/tarnix.pid") +
                  ": Too many levels of symbolic links; a symbolic link is not followed, remove it");
    std::filesystem::create_directories(scratch / "dir/tarnix.pid");
    EXPECT_EQ(InstanceLock(scratch / "dir").Acquire(),
              "cannot lock " + (scratch / "dir/tarnix.pid") + ": Is a directory");
}

TEST(TarnixInstanceLock, SignalsTheHolder)
{
    const ScratchDirectory scratch;
    const InstanceLock ours(scratch / "run");
    EXPECT_EQ(ours.Signal(0), "no tarnix runs that could be reloaded: nobody holds " +
                                  (scratch / "run/tarnix.pid") +
                                  "; TARNIX_RUNTIME_DIR names another directory");
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const pid_t child = support::ForkQuietly();
    if (child == 0) {
        InstanceLock lock(scratch / "run");
        const bool good = lock.Acquire().empty();
        if (write(ends[1], good ? "y" : "n", 1) == 1) {
            pause();
        }
        _exit(0);
    }
    char answer = 0;
    ASSERT_EQ(read(ends[0], &answer, 1), 1);
    EXPECT_EQ(answer, 'y');
    EXPECT_EQ(ours.Signal(SIGUSR1), "");
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGUSR1) << status;
    close(ends[0]);
    close(ends[1]);
    EXPECT_EQ(ours.Signal(0).substr(0, 38), "no tarnix runs that could be reloaded:");
}

TEST(TarnixInstanceLock, ANumberInAFileThatNobodyHoldsIsNotSignalled)
{
    const ScratchDirectory scratch;
    std::ofstream(scratch / "tarnix.pid") << getpid() << "\n";
    EXPECT_EQ(InstanceLock(scratch / ".").Signal(SIGKILL),
              "no tarnix runs that could be reloaded: nobody holds " + (scratch / "./tarnix.pid") +
                  "; TARNIX_RUNTIME_DIR names another directory");
}

}  // namespace
