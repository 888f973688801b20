// SPDX-License-Identifier: MIT

#ifndef TOOLS_NUMA_SCORE_EXIT_STATUS_H
#define TOOLS_NUMA_SCORE_EXIT_STATUS_H

namespace numa_score {

/// How the program ends.
enum ExitStatus : int {
    EXIT_GOOD = 0,
    EXIT_RUN_TIME = 1,   ///< the plug-in cannot be loaded or fell silent, output cannot be written,
                         ///< or a rule of the boundary failed or was not examined
    EXIT_USAGE = 2,      ///< wrong arguments
    EXIT_NO_SOURCE = 3,  ///< no PMU, no permission, no usable recording, no plug-in to check
};

}  // namespace numa_score

#endif  // TOOLS_NUMA_SCORE_EXIT_STATUS_H
