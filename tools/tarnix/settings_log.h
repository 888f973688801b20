// SPDX-License-Identifier: MIT

#ifndef TOOLS_TARNIX_SETTINGS_LOG_H
#define TOOLS_TARNIX_SETTINGS_LOG_H

#include <string>
#include <vector>

#include "common/logger_ctl.h"
#include "config/conf.h"

namespace tarnix {

/// The faults of a configuration file, a line each, at most MAX_FAULTS_TOLD and how many more there are. None
/// for a file that is not there.
std::vector<std::string> FileFaults(const std::string& path);

constexpr std::size_t MAX_FAULTS_TOLD = 20;

/// Logs a text of several lines, a line each.
void LogLines(LogLevel level, const std::string& text);

/// Logs what the settings are, and which of them are the tuning engine's and so without effect.
void LogSettings(const Conf& conf);

}  // namespace tarnix

#endif  // TOOLS_TARNIX_SETTINGS_LOG_H
