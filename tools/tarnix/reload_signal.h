// SPDX-License-Identifier: MIT

#ifndef TOOLS_TARNIX_RELOAD_SIGNAL_H
#define TOOLS_TARNIX_RELOAD_SIGNAL_H

namespace tarnix {

/// Has SIGHUP ask the logger for a reload (LoggerCtl::NeedReloadLog) instead of ending the process. A wait
/// that it interrupts returns early.
void InstallReloadHandler();

}  // namespace tarnix

#endif  // TOOLS_TARNIX_RELOAD_SIGNAL_H
