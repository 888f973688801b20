// SPDX-License-Identifier: MIT

#ifndef TOOLS_TARNIX_CONFIG_REPORTS_H
#define TOOLS_TARNIX_CONFIG_REPORTS_H

#include <string>

#include "config/conf.h"
#include "tools/tarnix_config/checked_file.h"

namespace tarnix_config {

/// The faults, a line each: path, line and column where there is a place, and the text.
std::string FaultReport(const std::string& path, const CheckedFile& file);

/// The effective configuration as tarnix reports it.
std::string ShowReport(const Conf& conf);

/// The settings that differ from the defaults, a line each: key, default, " -> ", value.
std::string DiffReport(const Conf& conf);

/// SHA-256 of the effective configuration: files that mean the same have the same, however they are written.
std::string HashReport(const Conf& conf);

}  // namespace tarnix_config

#endif  // TOOLS_TARNIX_CONFIG_REPORTS_H
