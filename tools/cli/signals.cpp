// SPDX-License-Identifier: MIT

#include "tools/cli/signals.h"

#include <signal.h>
#include <time.h>

#include <atomic>
#include <cerrno>
#include <cstdint>

namespace cli {
namespace {

constexpr std::int64_t NS_PER_SECOND = 1000000000;

/// When the first signal came; 0 before.
std::atomic<std::int64_t> g_firstSignalNs{0};
static_assert(std::atomic<std::int64_t>::is_always_lock_free, "used in a signal handler");

extern "C" void NoteSignal(int number)
{
    const int savedErrno = errno;
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    const std::int64_t nowNs = now.tv_sec * NS_PER_SECOND + now.tv_nsec;
    std::int64_t first = 0;
    // Some senders signal a process and then its group: what follows at once is the same wish.
    if (!g_firstSignalNs.compare_exchange_strong(first, nowNs > 0 ? nowNs : 1) &&
        nowNs - first > NS_PER_SECOND) {
        signal(number, SIG_DFL);
        raise(number);
    }
    errno = savedErrno;
}

}  // namespace

void InstallSignalHandlers()
{
    struct sigaction action {};
    action.sa_handler = NoteSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = 0;  // no SA_RESTART: a wait that is interrupted looks at StopRequested
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    action.sa_handler = SIG_IGN;
    sigaction(SIGPIPE, &action, nullptr);
    sigset_t taken;
    sigemptyset(&taken);
    sigaddset(&taken, SIGINT);
    sigaddset(&taken, SIGTERM);
    sigprocmask(SIG_UNBLOCK, &taken, nullptr);
}

bool StopRequested()
{
    return g_firstSignalNs.load(std::memory_order_relaxed) != 0;
}

}  // namespace cli
