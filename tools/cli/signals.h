// SPDX-License-Identifier: MIT

#ifndef TOOLS_CLI_SIGNALS_H
#define TOOLS_CLI_SIGNALS_H

namespace cli {

/// Has SIGINT and SIGTERM ask for a clean end, and writes to closed pipes fail instead of kill. A signal that
/// comes more than a second after the first kills as usual, should the clean end hang. Signals that whoever
/// started the program has blocked are taken all the same.
void InstallSignalHandlers();

/// True once SIGINT or SIGTERM arrived.
bool StopRequested();

}  // namespace cli

#endif  // TOOLS_CLI_SIGNALS_H
