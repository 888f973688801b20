// SPDX-License-Identifier: MIT

#include "tools/tarnix/reload_signal.h"

#include <signal.h>

#include "common/logger_ctl.h"

namespace tarnix {
namespace {

extern "C" void NoteReload(int /*number*/)
{
    logger->ReloadPrepare();
}

}  // namespace

void InstallReloadHandler()
{
    struct sigaction action {};
    action.sa_handler = NoteReload;
    sigemptyset(&action.sa_mask);
    sigaction(SIGHUP, &action, nullptr);
    sigset_t taken;
    sigemptyset(&taken);
    sigaddset(&taken, SIGHUP);
    sigprocmask(SIG_UNBLOCK, &taken, nullptr);
}

}  // namespace tarnix
