// SPDX-License-Identifier: MIT

#ifndef TOOLS_TARNIX_EXIT_STATUS_H
#define TOOLS_TARNIX_EXIT_STATUS_H

namespace tarnix {

/// How the program ends. 4 is the passive watchdog's: the loop hung.
enum ExitStatus : int {
    EXIT_GOOD = 0,
    EXIT_RUN_TIME = 1,   ///< another instance runs, none runs to be reloaded, output cannot be written
    EXIT_USAGE = 2,      ///< wrong arguments, settings that cannot be together, wrong environment
    EXIT_NO_SOURCE = 3,  ///< the recording that was asked for cannot be read
};

}  // namespace tarnix

#endif  // TOOLS_TARNIX_EXIT_STATUS_H
