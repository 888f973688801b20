// SPDX-License-Identifier: MIT

#ifndef TOOLS_NUMA_SCORE_COMMANDS_H
#define TOOLS_NUMA_SCORE_COMMANDS_H

#include <string>

#include "tools/cli/output.h"
#include "tools/numa_score/options.h"
#include "tools/numa_score/talk.h"

namespace numa_score {

/// Standard error: as lines of talk, and raw for what redraws itself.
struct ErrorChannel {
    cli::Output& raw;
    Talk& talk;
};

// The commands. Each runs to its end and returns the program's exit status.

/// live, replay and demo.
int MeasureCommand(const Options& options, ErrorChannel err);

/// replay --compare.
int CompareCommand(const Options& options, ErrorChannel err);

int DoctorCommand(const Options& options, ErrorChannel err);
int ListCommand(const Options& options, ErrorChannel err);

/// Holds a plug-in against the rules of the boundary, one process for each.
int CheckCommand(const Options& options, ErrorChannel err);

/// Writes `text` to the file `path`, standard output when empty; `status`, or that of a failed write.
int PrintResult(const std::string& text, const std::string& path, int status, ErrorChannel err);

/// Closes `output`; `status`, or that of a failed write. A reader that has gone makes everything good.
int CloseOutput(cli::Output& output, const std::string& path, int status, ErrorChannel err);

}  // namespace numa_score

#endif  // TOOLS_NUMA_SCORE_COMMANDS_H
