// SPDX-License-Identifier: MIT

#ifndef TOOLS_TARNIX_ENVIRONMENT_H
#define TOOLS_TARNIX_ENVIRONMENT_H

#include <string>

#include "tools/cli/terminal.h"

namespace tarnix {

/// What lies outside the options: variables of the environment, each with its default. Empty variables count
/// as not set.
struct Environment {
    std::string metricsFile;  ///< TARNIX_METRICS_FILE; empty: where the library writes by default
    std::string runtimeDir = "/run/tarnix";  ///< TARNIX_RUNTIME_DIR, or systemd's RUNTIME_DIRECTORY
    std::string sysfsRoot = "/sys";          ///< TARNIX_SYSFS_ROOT
    std::string procfsRoot = "/proc";        ///< TARNIX_PROCFS_ROOT: where the kernel's own counts are
    std::string source = "live";             ///< TARNIX_SOURCE
    std::string map;                         ///< TARNIX_MAP
    std::string notifySocket;                ///< NOTIFY_SOCKET; empty: nobody supervises
    std::string watchdogUsec;                ///< WATCHDOG_USEC, as it stands
    std::string watchdogPid;                 ///< WATCHDOG_PID, as it stands
};

Environment ReadEnvironment(const cli::Environment& variables);

}  // namespace tarnix

#endif  // TOOLS_TARNIX_ENVIRONMENT_H
