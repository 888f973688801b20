// SPDX-License-Identifier: MIT

#include "tools/numa_score/conformance/rule_process.h"

#include <cerrno>
#include <csignal>
#include <cstring>

#include <fcntl.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <system_error>
#include <thread>

#include "tools/numa_score/conformance/orphan_keeper.h"
#include "tools/numa_score/conformance/this_program.h"

namespace conformance {
namespace {

constexpr std::chrono::milliseconds BETWEEN_LOOKS(1);

/// A file without a name that parent and child hold; closed with this object.
class NotesFile {
public:
    NotesFile() : fd(memfd_create("notes", MFD_CLOEXEC)) {}
    NotesFile(const NotesFile&) = delete;
    NotesFile& operator=(const NotesFile&) = delete;
    ~NotesFile()
    {
        if (fd >= 0) {
            close(fd);
        }
    }
    int Get() const { return fd; }

private:
    int fd;
};

/// Starts this program anew with nothing but its notes open: what a plug-in prints goes nowhere. 0, or the
/// errno of the failure.
int Start(const Rule& rule, const std::string& path, int notes, pid_t& pid)
{
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        posix_spawn_file_actions_addopen(&actions, standard, "/dev/null", O_RDWR, 0);
    }
    posix_spawn_file_actions_adddup2(&actions, notes, NOTES_DESCRIPTOR);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t all;
    sigset_t none;
    sigfillset(&all);
    sigemptyset(&none);
    posix_spawnattr_setsigdefault(&attributes, &all);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setpgroup(&attributes, 0);
    posix_spawnattr_setflags(&attributes,
                             POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETPGROUP);
    const int error = StartThisProgram({RULE_PROCESS_ARGUMENT, rule.id, path}, actions, &attributes, pid);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    return error;
}

ProcessEnd Await(pid_t pid, const std::function<bool()>& stopRequested)
{
    const auto limit = std::chrono::steady_clock::now() + RULE_LIMIT;
    ProcessEnd end;
    int status = 0;
    for (;;) {
        const pid_t ended = waitpid(pid, &status, WNOHANG);
        if (ended == pid) {
            break;
        }
        if (ended < 0) {
            end.number = errno;
            return end;
        }
        const bool late = std::chrono::steady_clock::now() >= limit;
        if (late || stopRequested()) {
            end.kind = late ? ProcessEnd::Kind::TIMED_OUT : ProcessEnd::Kind::INTERRUPTED;
            kill(-pid, SIGKILL);
            kill(pid, SIGKILL);
            waitpid(pid, &status, 0);
            return end;
        }
        std::this_thread::sleep_for(BETWEEN_LOOKS);
    }
    return EndOf(status);
}

std::string SignalText(int number)
{
    const char* const name = sigabbrev_np(number);
    return "signal " + std::to_string(number) + (name == nullptr ? "" : std::string(" (SIG") + name + ")");
}

}  // namespace

ProcessEnd EndOf(int waitStatus)
{
    if (WIFSIGNALED(waitStatus)) {
        return {ProcessEnd::Kind::SIGNALLED, WTERMSIG(waitStatus)};
    }
    return {ProcessEnd::Kind::EXITED, WEXITSTATUS(waitStatus)};
}

std::string NotBegun(const ProcessEnd& end)
{
    const std::string what = "no process to examine it in: ";
    switch (end.kind) {
        case ProcessEnd::Kind::SIGNALLED:
            return what + "ended by " + SignalText(end.number) + " before it began";
        case ProcessEnd::Kind::TIMED_OUT:
            return what + "not begun after " + std::to_string(RULE_LIMIT.count()) + " s";
        case ProcessEnd::Kind::EXITED:
            return what + "ended with status " + std::to_string(end.number) + " before it began";
        case ProcessEnd::Kind::NOT_STARTED:
        case ProcessEnd::Kind::INTERRUPTED:
            break;
    }
    return what + std::generic_category().message(end.number);
}

Verdict Judge(const ProcessEnd& end, const Notes& notes, pid_t pid)
{
    const bool begun = !notes.Place().empty();
    const std::string place = " in " + notes.Place();
    const std::string touched = notes.TouchedText();
    switch (end.kind) {
        case ProcessEnd::Kind::NOT_STARTED:
            return NotExamined(NotBegun(end));
        case ProcessEnd::Kind::INTERRUPTED:
            return NotExamined("interrupted");
        case ProcessEnd::Kind::TIMED_OUT:
            return !begun ? NotExamined(NotBegun(end))
                          : Failed("not back after " + std::to_string(RULE_LIMIT.count()) + " s" + place);
        case ProcessEnd::Kind::SIGNALLED:
            return !begun ? NotExamined(NotBegun(end))
                          : Failed("ended by " + SignalText(end.number) + place +
                                   (touched.empty() ? "" : ", on touching " + touched));
        case ProcessEnd::Kind::EXITED:
            break;
    }
    const std::optional<Verdict> verdict = notes.Read(pid);
    if (end.number == 0 && verdict) {
        return *verdict;
    }
    return !begun ? NotExamined(NotBegun(end))
                  : Failed("ended the process with status " + std::to_string(end.number) + place);
}

Verdict ExamineInProcess(const Rule& rule, const std::string& path,
                         const std::function<bool()>& stopRequested)
{
    // Where it is ignored, how a process ended is not to be learnt.
    static_cast<void>(signal(SIGCHLD, SIG_DFL));
    const OrphanKeeper orphans;
    const NotesFile file;
    const Notes notes(file.Get());
    ProcessEnd end;
    pid_t pid = -1;
    end.number = file.Get() < 0 ? errno : Start(rule, path, file.Get(), pid);
    if (end.number == 0) {
        end = Await(pid, stopRequested);
        // What the plug-in started goes too.
        kill(-pid, SIGKILL);
        orphans.End();
    }
    return Judge(end, notes, pid);
}

}  // namespace conformance
