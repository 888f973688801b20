// SPDX-License-Identifier: MIT

#ifndef TOOLS_TARNIX_CONFIG_CHECKED_FILE_H
#define TOOLS_TARNIX_CONFIG_CHECKED_FILE_H

#include <string>
#include <vector>

#include "config/conf.h"
#include "tools/tarnix_config/fault.h"

namespace tarnix_config {

/// What a configuration file makes of the defaults, and everything that is wrong with it.
struct CheckedFile {
    Conf conf;                  ///< meaningful without faults
    std::vector<Fault> faults;  ///< by place; those of the whole file come last
};

/// Reads and checks a file as tarnix would, alone or under the framework, but to the end instead of to the
/// first fault. Never raises but std::bad_alloc.
CheckedFile CheckFile(const std::string& path, bool underKovari);

}  // namespace tarnix_config

#endif  // TOOLS_TARNIX_CONFIG_CHECKED_FILE_H
