// SPDX-License-Identifier: MIT

#ifndef TOOLS_TARNIX_LOG_GATE_H
#define TOOLS_TARNIX_LOG_GATE_H

namespace tarnix {

/// Has the lines of LogType::RUNTIME, which the watchdog's threads write too, wait while RenewLogFile is at
/// work. To be called before such a thread is started. A write that hangs keeps RenewLogFile waiting, and so
/// the heartbeat: the watchdog ends the process then, as with any other line of the main thread. A renewal
/// that hangs keeps the watchdog's last words waiting: they are lost then, the exit status is the same.
void GateRuntimeLog();

/// LoggerCtl::ReloadLogFile while no line of LogType::RUNTIME is being written. To be called by the main
/// thread.
void RenewLogFile();

}  // namespace tarnix

#endif  // TOOLS_TARNIX_LOG_GATE_H
