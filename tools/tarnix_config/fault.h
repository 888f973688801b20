// SPDX-License-Identifier: MIT

#ifndef TOOLS_TARNIX_CONFIG_FAULT_H
#define TOOLS_TARNIX_CONFIG_FAULT_H

#include <string>

namespace tarnix_config {

/// Something wrong in a configuration file.
struct Fault {
    int line = 0;      ///< from 1; 0: of the file as a whole
    int column = 0;    ///< from 1; 0 with line 0
    std::string text;  ///< one line without line break, outside text escaped
};

}  // namespace tarnix_config

#endif  // TOOLS_TARNIX_CONFIG_FAULT_H
