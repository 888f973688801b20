// SPDX-License-Identifier: MIT

#include "tools/tarnix/engine_options.h"

#include <array>
#include <sstream>
#include <string_view>

#include "tools/tarnix_config/reports.h"

namespace tarnix {
namespace {

/// What this program does by itself; everything else is the engine's.
constexpr std::array<std::string_view, 7> OWN = {
    "sampling-interval", "watchdog-timeout",  "sampling-times", "log-level",
    "log-file",          "snapshot-interval", "metrics"};

bool IsOwn(std::string_view name)
{
    for (const std::string_view own : OWN) {
        if (name == own) {
            return true;
        }
    }
    return false;
}

}  // namespace

std::string EngineOptionsThatAreSet(const Conf& conf)
{
    std::istringstream lines(tarnix_config::DiffReport(conf));
    std::string names;
    for (std::string line; std::getline(lines, line);) {
        const std::string name = line.substr(0, line.find(':'));
        if (!IsOwn(name)) {
            names += (names.empty() ? "" : ", ") + name;
        }
    }
    return names;
}

}  // namespace tarnix
