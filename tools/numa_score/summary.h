// SPDX-License-Identifier: MIT

#ifndef TOOLS_NUMA_SCORE_SUMMARY_H
#define TOOLS_NUMA_SCORE_SUMMARY_H

#include <cstdint>

#include <array>
#include <optional>
#include <string>

#include "tools/numa_score/period_row.h"
#include "tools/numa_score/quality.h"
#include "tools/numa_score/score_distribution.h"

namespace numa_score {

/// A run in figures. Periods without operations, and periods in which operations were not counted, are left
/// out of minimum, percentiles and the share below the threshold: their score 1.0 is no locality.
struct Summary {
    std::uint64_t periods = 0;
    std::uint64_t measured = 0;    ///< periods with operations
    std::uint64_t idle = 0;        ///< periods in which operations were counted and there were none
    std::uint64_t unmeasured = 0;  ///< periods in which operations were not counted
    std::int64_t durationNs = 0;   ///< of all periods
    double threshold = 0;

    // Absent when nothing was measured.
    std::optional<double> minimum;
    std::optional<double> percentile5;
    std::optional<double> median;
    std::optional<double> belowShare;  ///< part of the measured time with a score below the threshold

    std::optional<double> idleShare;  ///< part of all time; absent without a period

    double ops = 0;                       ///< operations of the whole run
    std::optional<double> opsPerMs;       ///< over the whole time
    std::optional<double> remoteShare;    ///< over all operations
    std::optional<double> crossDieShare;  ///< over all operations

    std::array<std::uint64_t, QUALITY_COUNT> flagged{};  ///< periods with each flag, in the order of Quality
};

/// Gathers a summary period by period, in bounded memory.
class SummaryCollector {
public:
    explicit SummaryCollector(double scoreThreshold) : threshold(scoreThreshold) {}

    void Add(const PeriodRow& row);
    Summary Finish() const;

private:
    double threshold;
    Summary totals;
    double sccl = 0;
    double outer = 0;
    std::int64_t measuredNs = 0;
    std::int64_t belowNs = 0;
    std::int64_t idleNs = 0;
    std::uint64_t below = 0;
    ScoreDistribution scores;
};

/// True when there were periods and operations were counted in none of them: no score of the run means
/// anything.
bool NothingMeasured(const Summary& summary);

/// The summary as lines of text, each with its line break.
std::string SummaryText(const Summary& summary);

}  // namespace numa_score

#endif  // TOOLS_NUMA_SCORE_SUMMARY_H
