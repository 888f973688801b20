// SPDX-License-Identifier: MIT
//
// The process that examines one rule, from the inside.

#include <cerrno>
#include <csignal>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <exception>

#include "host/escape.h"
#include "tools/numa_score/conformance/guarded_heap.h"
#include "tools/numa_score/conformance/rule_process.h"

namespace conformance {
namespace {

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

}  // namespace

int ExamineHere(const std::string& ruleId, const std::string& path)
{
    constexpr int CANNOT = 2;
    const Rule* const rule = FindRule(ruleId);
    if (rule == nullptr || fcntl(NOTES_DESCRIPTOR, F_SETFD, FD_CLOEXEC) != 0) {
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

}  // namespace conformance
