// SPDX-License-Identifier: MIT

#include "tools/numa_score/conformance/fresh_process.h"

#include <cerrno>
#include <csignal>

#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <exception>

#include "tools/numa_score/conformance/notes.h"
#include "tools/numa_score/conformance/rule_process.h"
#include "tools/numa_score/conformance/this_program.h"

namespace conformance {
namespace {

constexpr std::size_t MOST_TEXT = std::size_t{64} << 10U;
// Stands first in the answer: the process has begun; or the text is there, that of the function or of its
// exception.
constexpr char BEGUN = '?';
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

ProcessEnd Await(pid_t pid)
{
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    return EndOf(status);
}

/// Ends this process in the same way.
void EndLikewise(const ProcessEnd& end)
{
    if (end.kind == ProcessEnd::Kind::SIGNALLED) {
        static_cast<void>(signal(end.number, SIG_DFL));
        static_cast<void>(raise(end.number));
    }
    _exit(end.number);
}

void Leave(const std::string& answer)
{
    // What cannot be written leaves the answer as it was; there is nobody to tell.
    static_cast<void>(!pwrite(ANSWER_DESCRIPTOR, answer.data(), answer.size(), 0));
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
    // The place of an earlier part is none of this one's.
    Notes(NOTES_DESCRIPTOR).At("the start");
    const int file = memfd_create("answer", MFD_CLOEXEC);
    pid_t pid = -1;
    ProcessEnd end;
    end.number = file < 0 ? errno : Start(part, path, file, pid);
    std::string answer;
    if (end.number == 0) {
        end = Await(pid);
        answer = AnswerOn(file);
    }
    if (file >= 0) {
        close(file);
    }
    if (answer.empty()) {
        return {"", NotBegun(end)};
    }
    if (end.kind != ProcessEnd::Kind::EXITED || end.number != 0 || answer.front() == BEGUN) {
        EndLikewise(end);
    }
    return answer.front() == DONE ? FreshResult{answer.substr(1), ""} : FreshResult{"", answer.substr(1)};
}

void AnswerAndEnd(const std::function<std::string()>& function)
{
    const pid_t self = getpid();
    Leave({BEGUN});
    std::string text;
    try {
        text = DONE + function().substr(0, MOST_TEXT);
    } catch (const std::exception& exception) {
        text = RAISED + std::string(exception.what());
    }
    // Where the plug-in has forked, its copies of this process come here too.
    if (getpid() == self) {
        Leave(text);
    }
    _exit(0);
}

}  // namespace conformance
