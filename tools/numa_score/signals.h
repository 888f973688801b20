// SPDX-License-Identifier: MIT

#ifndef TOOLS_NUMA_SCORE_SIGNALS_H
#define TOOLS_NUMA_SCORE_SIGNALS_H

namespace numa_score {

/// Has SIGINT and SIGTERM ask for a clean end, and writes to closed pipes fail instead of kill. A signal that
/// comes more than a second after the first kills as usual, should the clean end hang.
void InstallSignalHandlers();

/// True once SIGINT or SIGTERM arrived.
bool StopRequested();

}  // namespace numa_score

#endif  // TOOLS_NUMA_SCORE_SIGNALS_H
