// SPDX-License-Identifier: MIT

#ifndef TOOLS_TNSTAT_COMMANDS_H
#define TOOLS_TNSTAT_COMMANDS_H

#include <string>

#include "config/conf.h"
#include "tools/cli/output.h"

namespace tnstat {

/// Where the commands write.
struct Channels {
    cli::Output& out;
    cli::Output& err;
    bool redraw = false;  ///< standard output is a terminal on which a report may replace the one before
};

// The commands. Each runs to its end, which SIGINT and SIGTERM bring about, and returns the exit status.

/// report and csv, once or with each new dump.
int ShowCommand(const TnStatConf& conf, const std::string& metricsPath, Channels channels);

/// node_exporter.
int ExportCommand(const TnStatConf& conf, const std::string& metricsPath, Channels channels);

/// Writes `text` and flushes; `status`, or that of a failed write.
int Finish(const std::string& text, int status, Channels channels);

}  // namespace tnstat

#endif  // TOOLS_TNSTAT_COMMANDS_H
