// SPDX-License-Identifier: MIT

#include "tools/tarnix/environment.h"

#include <algorithm>

namespace tarnix {
namespace {

void Take(const cli::Environment& variables, const char* name, std::string& value)
{
    const char* const given = variables(name);
    if (given != nullptr && *given != '\0') {
        value = given;
    }
}

}  // namespace

Environment ReadEnvironment(const cli::Environment& variables)
{
    Environment environment;
    Take(variables, "TARNIX_METRICS_FILE", environment.metricsFile);
    Take(variables, "RUNTIME_DIRECTORY", environment.runtimeDir);
    // systemd gives all runtime directories of a unit, with colons between; the first is ours.
    environment.runtimeDir.resize(std::min(environment.runtimeDir.find(':'), environment.runtimeDir.size()));
    Take(variables, "TARNIX_RUNTIME_DIR", environment.runtimeDir);
    Take(variables, "TARNIX_SYSFS_ROOT", environment.sysfsRoot);
    Take(variables, "TARNIX_PROCFS_ROOT", environment.procfsRoot);
    Take(variables, "TARNIX_SOURCE", environment.source);
    Take(variables, "TARNIX_MAP", environment.map);
    Take(variables, "NOTIFY_SOCKET", environment.notifySocket);
    Take(variables, "WATCHDOG_USEC", environment.watchdogUsec);
    Take(variables, "WATCHDOG_PID", environment.watchdogPid);
    return environment;
}

}  // namespace tarnix
