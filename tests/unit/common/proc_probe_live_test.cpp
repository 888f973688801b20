// SPDX-License-Identifier: MIT

// The process probes on the kernel's own procfs: real children with hostile names and arguments.

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "common/proc_probe.h"
#include "tests/support/probe_tree.h"
#include "tests/support/quiet_fork.h"

namespace {

/// A child that tells when it is ready and is killed with the object.
class Child {
public:
    /// `run` gets the descriptor to write one byte to and the one that never becomes readable.
    explicit Child(const std::function<void(int ready, int wait)>& run)
    {
        int ready[2];
        int wait[2];
        if (pipe2(ready, O_CLOEXEC) != 0 || pipe2(wait, O_CLOEXEC) != 0) {
            return;
        }
        pid = support::ForkQuietly();
        if (pid == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            run(ready[1], wait[0]);
            _exit(1);
        }
        close(ready[1]);
        close(wait[0]);
        char byte = 0;
        isReady = pid > 0 && read(ready[0], &byte, 1) == 1;
        close(ready[0]);
        waitEnd = wait[1];
    }
    ~Child()
    {
        Kill();
        close(waitEnd);
        if (pid > 0) {
            waitpid(pid, nullptr, 0);
        }
    }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    void Kill() const
    {
        if (pid > 0) {
            kill(pid, SIGKILL);
        }
    }

    pid_t pid = -1;
    bool isReady = false;

private:
    int waitEnd = -1;
};

void TellAndWait(int ready, int wait)
{
    char byte = 'r';
    if (write(ready, &byte, 1) == 1) {
        (void)!read(wait, &byte, 1);
    }
}

/// Executes `program` (a shell) so that it says "r" and waits, with `arguments` behind its script.
void ExecShell(const std::string& program, const std::string& name, const std::vector<std::string>& arguments,
               int ready, int wait)
{
    const std::string script = "printf r; read x";
    std::vector<char*> argv;
    std::vector<std::string> all{name, "-c", script};
    all.insert(all.end(), arguments.begin(), arguments.end());
    for (std::string& argument : all) {
        argv.push_back(argument.data());
    }
    argv.push_back(nullptr);
    char* environment[] = {nullptr};
    // The kernel grants a quarter of the stack limit to the arguments.
    const rlimit stack{8U << 20, RLIM_INFINITY};
    setrlimit(RLIMIT_STACK, &stack);
    dup2(wait, 0);
    dup2(ready, 1);
    execve(program.c_str(), argv.data(), environment);
}

/// A copy of the system's shell under another name.
std::string ShellCalled(const support::TempTree& tree, const std::string& name)
{
    const std::string path = tree.Path(name);
    std::filesystem::copy_file("/bin/sh", path);
    return path;
}

const std::string HOSTILE_NAMES[] = {"a\nPPid:\t1",
                                     "\n\n\n",
                                     "(brackets) [x]",
                                     " blanks  ",
                                     "\x1b[2J\x1b]0;x\x07",
                                     "\xff\xfe\x80\xc0",
                                     "back\\slash",
                                     "tab\there",
                                     "%s%n%x",
                                     "fifteen-charact",
                                     "Name:\tx",
                                     "",
                                     "\r",
                                     "\x7f\x01\x02"};

std::string FirstLine(const std::string& text)
{
    return text.substr(0, text.find('\n'));
}

/// How the kernel writes a name into /proc/<pid>/status.
std::string AsInStatus(const std::string& name)
{
    std::string text;
    for (const char c : name) {
        text += c == '\n' ? "\\n" : c == '\\' ? "\\\\" : std::string(1, c);
    }
    return text.substr(std::min(text.size(), text.find_first_not_of(" \t")));
}

TEST(LiveProcess, ThatNamesItselfAnything)
{
    for (const std::string& name : HOSTILE_NAMES) {
        const Child child([&name](int ready, int wait) {
            prctl(PR_SET_NAME, name.c_str());
            TellAndWait(ready, wait);
        });
        ASSERT_TRUE(child.isReady);
        EXPECT_EQ(ProcfsGetComm(child.pid), FirstLine(name)) << testing::PrintToString(name);
        ProcStatus status;
        ASSERT_TRUE(GetProcStatus(static_cast<unsigned long>(child.pid), status));
        EXPECT_EQ(status.name, AsInStatus(name)) << testing::PrintToString(name);
        EXPECT_EQ(status.ppid, static_cast<unsigned>(getpid())) << testing::PrintToString(name);
    }
}

TEST(LiveProcess, OfARenamedExecutable)
{
    const support::TempTree tree;
    for (const std::string& name : HOSTILE_NAMES) {
        if (name.empty()) {
            continue;  // no file is called so
        }
        const std::string program = ShellCalled(tree, name);
        const Child child([&](int ready, int wait) {
            ExecShell(program, program, {"--name", name}, ready, wait);
        });
        ASSERT_TRUE(child.isReady) << testing::PrintToString(name);
        EXPECT_EQ(ProcfsGetComm(child.pid), FirstLine(name)) << testing::PrintToString(name);
        ProcStatus status;
        ASSERT_TRUE(GetProcStatus(static_cast<unsigned long>(child.pid), status));
        EXPECT_EQ(status.ppid, static_cast<unsigned>(getpid()));
        EXPECT_EQ(GetCmdline(child.pid), program + " -c printf r; read x --name " + name);
    }
}

TEST(LiveProcess, WithEmptyAndForgedArguments)
{
    const support::TempTree tree;
    const std::string program = ShellCalled(tree, "sh");
    const Child child([&](int ready, int wait) {
        ExecShell(program, "[kworker/0:0]", {"", "a\nb", "", "\x1b[31m", ""}, ready, wait);
    });
    ASSERT_TRUE(child.isReady);
    EXPECT_EQ(GetCmdline(child.pid), "[kworker/0:0] -c printf r; read x  a\nb  \x1b[31m ");
}

TEST(LiveProcess, WithTwoMillionBytesOfArguments)
{
    const support::TempTree tree;
    const std::string program = ShellCalled(tree, "sh");
    std::vector<std::string> arguments;
    std::string expected = "sh -c printf r; read x";
    for (char c = 'a'; c < 'a' + 16; ++c) {
        arguments.emplace_back(125000, c);
        expected += " " + arguments.back();
    }
    const Child child([&](int ready, int wait) { ExecShell(program, "sh", arguments, ready, wait); });
    ASSERT_TRUE(child.isReady) << "the kernel refused 2 MB of arguments";
    EXPECT_GT(expected.size(), 2000000U);
    EXPECT_TRUE(GetCmdline(child.pid) == expected);
}

TEST(LiveProcess, ThatIsDeadButNotWaitedFor)
{
    const Child child(TellAndWait);
    ASSERT_TRUE(child.isReady);
    child.Kill();
    siginfo_t info{};
    ASSERT_EQ(waitid(P_PID, static_cast<id_t>(child.pid), &info, WEXITED | WNOWAIT), 0);
    EXPECT_EQ(GetCmdline(child.pid), "");
    ProcStatus status;
    EXPECT_TRUE(GetProcStatus(static_cast<unsigned long>(child.pid), status));
    EXPECT_EQ(status.ppid, static_cast<unsigned>(getpid()));
    EXPECT_EQ(ProcfsGetComm(child.pid), status.name);
}

TEST(LiveProcess, ThatIsGone)
{
    pid_t gone = -1;
    {
        const Child child(TellAndWait);
        ASSERT_TRUE(child.isReady);
        gone = child.pid;
    }
    ProcStatus status{"old", 5};
    std::vector<unsigned> pages;
    EXPECT_EQ(ProcfsGetComm(gone), "_unknown");
    EXPECT_EQ(GetCmdline(gone), "");
    EXPECT_FALSE(GetProcStatus(static_cast<unsigned long>(gone), status));
    EXPECT_EQ(status.name, "old");
    EXPECT_FALSE(ProcessGetMemDistribution(gone, pages, 2));
    EXPECT_EQ(pages, (std::vector<unsigned>{0, 0}));
}

TEST(LiveProcess, HasPagesOnItsNodes)
{
    const Child child(TellAndWait);
    ASSERT_TRUE(child.isReady);
    if (access(("/proc/" + std::to_string(child.pid) + "/numa_maps").c_str(), R_OK) != 0) {
        GTEST_SKIP() << "the kernel has no numa_maps";
    }
    std::vector<unsigned> pages;
    ASSERT_TRUE(ProcessGetMemDistribution(child.pid, pages, 1024));
    unsigned sum = 0;
    for (const unsigned count : pages) {
        sum += count;
    }
    EXPECT_EQ(pages.size(), 1024U);
    EXPECT_GT(sum, 50U);
}

TEST(LiveProcess, OfAnotherUserIsNotReadWithoutTheRight)
{
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can become another user";
    }
    const pid_t reader = support::ForkQuietly();
    if (reader == 0) {
        std::vector<unsigned> pages{9};
        const bool dropped = setgid(65534) == 0 && setuid(65534) == 0;
        const bool read = ProcessGetMemDistribution(getppid(), pages, 1);
        _exit(dropped && !read && pages == std::vector<unsigned>{0} ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(waitpid(reader, &status, 0), reader);
    EXPECT_EQ(status, 0);
}

TEST(LiveProcess, OneIsTheParentOfAll)
{
    ProcStatus status;
    ASSERT_TRUE(GetProcStatus(1, status));
    EXPECT_EQ(status.ppid, 0U);
    EXPECT_EQ(ProcfsGetComm(1), status.name);
}

}  // namespace
