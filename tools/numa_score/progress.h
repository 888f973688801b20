// SPDX-License-Identifier: MIT

#ifndef TOOLS_NUMA_SCORE_PROGRESS_H
#define TOOLS_NUMA_SCORE_PROGRESS_H

#include <cstdint>

#include <string>

#include "host/clock.h"
#include "host/replay_source.h"
#include "tools/cli/output.h"

namespace numa_score {

/// A line on a terminal that says how far a replay has come. Appears when the replay takes longer than a
/// second and changes at most twice a second.
class Progress {
public:
    /// `errorOutput` and `clock` must outlive the object.
    Progress(cli::Output& errorOutput, host::Clock& progressClock);
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// True when Show would change the line now; cheap.
    bool IsDue() { return clock.NowNs() >= nextNs; }

    void Show(const host::ReplayProgress& progress);

    /// Takes the line away, for others to write.
    void Clear();

private:
    cli::Output& err;
    host::Clock& clock;
    std::int64_t nextNs;
    bool shown = false;
};

/// "45 %, 12345678 lines, 3456 s of recorded time"; without a size the bytes instead of the share.
std::string ProgressText(const host::ReplayProgress& progress);

}  // namespace numa_score

#endif  // TOOLS_NUMA_SCORE_PROGRESS_H
