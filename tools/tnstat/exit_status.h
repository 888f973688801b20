// SPDX-License-Identifier: MIT

#ifndef TOOLS_TNSTAT_EXIT_STATUS_H
#define TOOLS_TNSTAT_EXIT_STATUS_H

namespace tnstat {

/// How the program ends.
enum ExitStatus : int {
    EXIT_GOOD = 0,
    EXIT_RUN_TIME = 1,   ///< the address cannot be listened on, output cannot be written, no memory
    EXIT_USAGE = 2,      ///< wrong arguments
    EXIT_NO_SOURCE = 3,  ///< no usable metrics file
};

}  // namespace tnstat

#endif  // TOOLS_TNSTAT_EXIT_STATUS_H
