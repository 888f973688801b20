// SPDX-License-Identifier: MIT

#ifndef TOOLS_NUMA_SCORE_REPORT_H
#define TOOLS_NUMA_SCORE_REPORT_H

#include <cstdint>

#include <string>

#include "host/clock.h"
#include "host/replay_source.h"
#include "tools/cli/output.h"
#include "tools/numa_score/progress.h"
#include "tools/numa_score/row_writer.h"
#include "tools/numa_score/runner.h"
#include "tools/numa_score/summary.h"
#include "tools/numa_score/talk.h"

namespace numa_score {

/// Hands what a run gives to those who write it: rows to the writer and the summary, remarks to standard
/// error, how far a replay has come to the progress line. Sees to it that they do not write into each other's
/// lines.
class Report : public RunObserver {
public:
    /// All but `scores` may be null. Everything, and the clock, must outlive the report.
    struct Parts {
        RowWriter* writer = nullptr;
        cli::Output* output = nullptr;  ///< of the writer; the run ends when it fails
        Talk* talk = nullptr;
        Progress* progress = nullptr;
        const host::ReplaySource* replay = nullptr;  ///< asked how far it has come
        SummaryCollector* scores = nullptr;
    };

    Report(Parts reportParts, host::Clock& reportClock);

    /// Has the writer begin, if it has not.
    void Begin();

    /// The run is over. `complete`: a run without a period is a result too, and is begun for it.
    void End(bool complete);

    bool TakeRow(const PeriodRow& row) override;
    void TakeRemark(const std::string& line) override;
    void Tick() override;

private:
    void WriteOutInTime();

    Parts parts;
    host::Clock& clock;
    std::int64_t nextWriteNs;  // what is buffered does not get older than this
    bool begun = false;
};

/// What the plug-in's calls cost, one line with its line break.
std::string CostText(const PluginCost& cost);

}  // namespace numa_score

#endif  // TOOLS_NUMA_SCORE_REPORT_H
