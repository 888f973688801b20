// SPDX-License-Identifier: MIT

#include "tools/numa_score/conformance/fresh_process.h"

#include <cerrno>
#include <csignal>

#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <exception>
#include <system_error>

namespace conformance {
namespace {

constexpr std::size_t MOST_TEXT = std::size_t{64} << 10U;
// Stands first in the file once the text is there: that of the function, or of its exception.
constexpr char DONE = '.';
constexpr char RAISED = '!';

[[noreturn]] void CallAndEnd(const std::function<std::string()>& function, int file)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    const pid_t self = getpid();
    std::string text;
    try {
        text = DONE + function().substr(0, MOST_TEXT);
    } catch (const std::exception& exception) {
        text = RAISED + std::string(exception.what());
    }
    if (getpid() == self) {
        static_cast<void>(!pwrite(file, text.data(), text.size(), 0));
    }
    _exit(0);
}

FreshResult FaultOf(const char* what)
{
    return {"", std::string("no process to examine it in: ") + what};
}

}  // namespace

FreshResult InFreshProcess(const std::function<std::string()>& function)
{
    const int file = memfd_create("result", MFD_CLOEXEC);
    const pid_t pid = file < 0 ? -1 : fork();
    if (pid == 0) {
        CallAndEnd(function, file);
    }
    if (pid < 0) {
        FreshResult result = FaultOf(std::generic_category().message(errno).c_str());
        if (file >= 0) {
            close(file);
        }
        return result;
    }
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    std::string text(MOST_TEXT + 1, '\0');
    const ssize_t got = pread(file, text.data(), text.size(), 0);
    close(file);
    text.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
    if (WIFSIGNALED(status)) {
        static_cast<void>(signal(WTERMSIG(status), SIG_DFL));
        static_cast<void>(raise(WTERMSIG(status)));
    }
    if (text.empty() || WEXITSTATUS(status) != 0) {
        _exit(WEXITSTATUS(status));
    }
    return text.front() == DONE ? FreshResult{text.substr(1), ""} : FreshResult{"", text.substr(1)};
}

}  // namespace conformance
