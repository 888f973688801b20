// SPDX-License-Identifier: MIT

#include "tools/numa_score/conformance/fresh_process.h"

#include <cerrno>
#include <csignal>

#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <exception>
#include <system_error>

#include "tools/numa_score/conformance/rule_process.h"
#include "tools/numa_score/conformance/this_program.h"

namespace conformance {
namespace {

constexpr std::size_t MOST_TEXT = std::size_t{64} << 10U;
// Stands first in the answer once the text is there: that of the function, or of its exception.
constexpr char DONE = '.';
constexpr char RAISED = '!';

/// 0, or the errno of the failure. What is open for the notes and the answer stays open in the new process.
int Start(const std::string& part, const std::string& path, int answer, pid_t& pid)
{
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, NOTES_DESCRIPTOR, NOTES_DESCRIPTOR);
    posix_spawn_file_actions_adddup2(&actions, answer, ANSWER_DESCRIPTOR);
    const int error = StartThisProgram({PART_PROCESS_ARGUMENT, part, path}, actions, nullptr, pid);
    posix_spawn_file_actions_destroy(&actions);
    return error;
}

/// How the process ended, as waitpid() tells it.
int EndOf(pid_t pid)
{
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    return status;
}

std::string AnswerOn(int file)
{
    std::string text(MOST_TEXT + 1, '\0');
    const ssize_t got = pread(file, text.data(), text.size(), 0);
    text.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
    return text;
}

}  // namespace

FreshResult InFreshProcess(const std::string& part, const std::string& path)
{
    const int file = memfd_create("answer", MFD_CLOEXEC);
    pid_t pid = -1;
    const int error = file < 0 ? errno : Start(part, path, file, pid);
    const int status = error == 0 ? EndOf(pid) : 0;
    const std::string text = error == 0 ? AnswerOn(file) : "";
    if (file >= 0) {
        close(file);
    }
    if (error != 0) {
        return {"", "no process to examine it in: " + std::generic_category().message(error)};
    }
    if (WIFSIGNALED(status)) {
        static_cast<void>(signal(WTERMSIG(status), SIG_DFL));
        static_cast<void>(raise(WTERMSIG(status)));
    }
    if (text.empty() || WEXITSTATUS(status) != 0) {
        _exit(WEXITSTATUS(status));
    }
    return text.front() == DONE ? FreshResult{text.substr(1), ""} : FreshResult{"", text.substr(1)};
}

void AnswerAndEnd(const std::function<std::string()>& function)
{
    const pid_t self = getpid();
    std::string text;
    try {
        text = DONE + function().substr(0, MOST_TEXT);
    } catch (const std::exception& exception) {
        text = RAISED + std::string(exception.what());
    }
    // Where the plug-in has forked, its copies of this process come here too.
    if (getpid() == self) {
        static_cast<void>(!pwrite(ANSWER_DESCRIPTOR, text.data(), text.size(), 0));
    }
    _exit(0);
}

}  // namespace conformance
