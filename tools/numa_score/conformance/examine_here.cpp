// SPDX-License-Identifier: MIT
//
// The processes that examine one rule or a part of it, from the inside.

#include <cerrno>
#include <csignal>
#include <cstring>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <exception>

#include "host/escape.h"
#include "tools/numa_score/conformance/fresh_process.h"
#include "tools/numa_score/conformance/guarded_heap.h"
#include "tools/numa_score/conformance/rule_process.h"

namespace conformance {
namespace {

constexpr int CANNOT = 2;

/// Notes what was touched, then lets the signal do what it does.
extern "C" void OnBadAccess(int number, siginfo_t* info, void* /*context*/)
{
    const int savedErrno = errno;
    const guarded_heap::Block block = guarded_heap::Find(info->si_addr);
    if (block.state != guarded_heap::State::UNKNOWN) {
        const Notes notes(NOTES_DESCRIPTOR);
        notes.Touched(guarded_heap::TagText(block.tag));
    }
    struct sigaction usual = {};
    usual.sa_handler = SIG_DFL;
    sigaction(number, &usual, nullptr);
    // A signal that was sent, by raise() for example, does not come again by itself.
    static_cast<void>(raise(number));
    errno = savedErrno;
}

/// Signals do what they do in a plain program, whatever a sanitizer has put there, and leave no core file.
void TakeSignals()
{
    for (const int number : {SIGABRT, SIGBUS, SIGFPE, SIGILL}) {
        struct sigaction usual = {};
        usual.sa_handler = SIG_DFL;
        sigaction(number, &usual, nullptr);
    }
    struct sigaction noting = {};
    noting.sa_sigaction = OnBadAccess;
    noting.sa_flags = SA_SIGINFO;
    sigaction(SIGSEGV, &noting, nullptr);
    const rlimit none{0, 0};
    setrlimit(RLIMIT_CORE, &none);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
}

/// Makes a descriptor that was handed over this process's alone.
bool Keep(int descriptor)
{
    return fcntl(descriptor, F_SETFD, FD_CLOEXEC) == 0;
}

int ExamineRuleHere(const std::string& id, const std::string& path)
{
    const Rule* const rule = FindRule(id);
    if (rule == nullptr || !Keep(NOTES_DESCRIPTOR)) {
        return CANNOT;
    }
    TakeSignals();
    const Notes notes(NOTES_DESCRIPTOR);
    notes.At("the start");
    const pid_t self = getpid();
    try {
        const Verdict verdict = rule->examine(path, notes);
        // Where the plug-in has forked, its copies of this process come here too.
        if (getpid() == self) {
            notes.Write(verdict);
        }
    } catch (const std::exception& exception) {
        if (getpid() == self) {
            notes.Write(NotExamined(host::EscapeText(exception.what())));
        }
    }
    // A process that has a plug-in in it is not ended by exit(): libraries with threads hang in it.
    _exit(0);
}

int ExaminePartHere(const std::string& id, const std::string& path)
{
    const Part* const part = FindPart(id);
    if (part == nullptr || !Keep(NOTES_DESCRIPTOR) || !Keep(ANSWER_DESCRIPTOR)) {
        return CANNOT;
    }
    TakeSignals();
    // The process that asked leads the group. Should it be gone already, nobody is left to end this one.
    if (getppid() != getpgrp()) {
        return CANNOT;
    }
    AnswerAndEnd([part, &path] { return part->examine(path, Notes(NOTES_DESCRIPTOR)); });
}

}  // namespace

std::optional<int> ExamineHere(const char* what, const char* id, const char* path)
{
    if (std::strcmp(what, RULE_PROCESS_ARGUMENT) == 0) {
        return ExamineRuleHere(id, path);
    }
    if (std::strcmp(what, PART_PROCESS_ARGUMENT) == 0) {
        return ExaminePartHere(id, path);
    }
    return std::nullopt;
}

}  // namespace conformance
