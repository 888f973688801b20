// SPDX-License-Identifier: MIT

#ifndef TESTS_SUPPORT_CHILD_RUN_H
#define TESTS_SUPPORT_CHILD_RUN_H

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <new>
#include <string>
#include <type_traits>

#include "tests/support/quiet_fork.h"

namespace support {

/// Text of a file, empty when it cannot be read. For the files of /proc too, whose thread may end in the
/// middle.
inline std::string FileText(const std::string& path)
{
    std::string text;
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    char buffer[4096];
    ssize_t size = 0;
    while ((size = read(fd, buffer, sizeof buffer)) > 0) {
        text.append(buffer, static_cast<std::size_t>(size));
    }
    if (fd >= 0) {
        close(fd);
    }
    return text;
}

/// A directory of its own below TMPDIR, removed with the files in it at the end.
class TempDirectory {
public:
    TempDirectory()
    {
        const char* const base = getenv("TMPDIR");
        path = std::string(base != nullptr ? base : "/tmp") + "/unit-XXXXXX";
        if (mkdtemp(path.data()) == nullptr) {
            perror("mkdtemp");
            abort();
        }
    }

    ~TempDirectory()
    {
        const std::string command = "rm -rf '" + path + "'";
        if (system(command.c_str()) != 0) {
            perror("rm");
        }
    }

    TempDirectory(const TempDirectory&) = delete;
    TempDirectory& operator=(const TempDirectory&) = delete;

    std::string operator/(const std::string& name) const { return path + "/" + name; }
    const std::string& Path() const { return path; }

private:
    std::string path;
};

/// One object of a trivially copyable or atomic type that a child process and its parent share.
template <class T>
class SharedValue {
public:
    SharedValue()
    {
        void* const page =
            mmap(nullptr, sizeof(T), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        if (page == MAP_FAILED) {
            perror("mmap");
            abort();
        }
        value = new (page) T();
    }
    ~SharedValue() { munmap(value, sizeof(T)); }

    SharedValue(const SharedValue&) = delete;
    SharedValue& operator=(const SharedValue&) = delete;

    T& operator*() const { return *value; }
    T* operator->() const { return value; }

private:
    static_assert(std::is_trivially_destructible_v<T>, "nobody destroys it");
    T* value = nullptr;
};

/// How a child ended: its exit status, or minus the signal that killed it.
struct ChildResult {
    int status = -1;
    std::string out;
    std::string err;
};

/// A child that is running; killed at the end of its scope if it still is.
class Child {
public:
    explicit Child(pid_t child) : pid(child) {}
    ~Child()
    {
        if (pid > 0) {
            kill(pid, SIGKILL);
            waitpid(pid, nullptr, 0);
        }
    }

    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    pid_t Pid() const { return pid; }

    /// The exit status, minus the number of the signal that ended the child, or -1000 after `seconds`.
    int Wait(int seconds = 20)
    {
        const int fd = static_cast<int>(syscall(SYS_pidfd_open, pid, 0));
        pollfd wait{fd, POLLIN, 0};
        const int ready = poll(&wait, 1, seconds * 1000);
        close(fd);
        if (ready <= 0) {
            return -1000;
        }
        int status = 0;
        waitpid(pid, &status, 0);
        pid = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }

private:
    pid_t pid;
};

/// Forks a child that runs `body` and ends with _exit of its result.
inline pid_t Fork(const std::function<int()>& body)
{
    fflush(nullptr);
    const pid_t pid = ForkQuietly();
    if (pid == 0) {
        _exit(body());
    }
    return pid;
}

/// Runs `body` in a child whose standard output and error go to files, and waits for its end.
inline ChildResult RunInChild(const std::function<int()>& body)
{
    const TempDirectory directory;
    const std::string names[] = {directory / "out", directory / "err"};
    Child child(Fork([&] {
        for (const int fd : {1, 2}) {
            const int file = open(names[fd - 1].c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
            if (file < 0 || dup2(file, fd) != fd) {
                return 99;
            }
        }
        const int result = body();
        fflush(nullptr);
        return result;
    }));
    ChildResult result;
    result.status = child.Wait();
    result.out = FileText(names[0]);
    result.err = FileText(names[1]);
    return result;
}

}  // namespace support

#endif  // TESTS_SUPPORT_CHILD_RUN_H
