// SPDX-License-Identifier: MIT

#ifndef TOOLS_NUMA_SCORE_SCORE_DISTRIBUTION_H
#define TOOLS_NUMA_SCORE_SCORE_DISTRIBUTION_H

#include <cstddef>
#include <cstdint>

#include <vector>

namespace numa_score {

/// Scores of a run of any length in bounded memory. Up to EXACT_SCORES every score is kept and percentiles
/// are exact; from then on scores are counted in bins of 1 / BINS, and a percentile is within half a bin
/// (5e-6) of the exact one. The minimum is always exact.
class ScoreDistribution {
public:
    static constexpr std::size_t EXACT_SCORES = 100000;
    static constexpr std::size_t BINS = 100000;

    /// `score` lies in 0 to 1.
    void Add(float score);

    std::uint64_t Count() const { return count; }

    /// Smallest score; 1 when there is none.
    float Minimum() const { return minimum; }

    /// The smallest score that at least `share` (above 0, up to 1) of all scores do not exceed ("nearest
    /// rank"). 1 when there is none.
    double Percentile(double share) const;

private:
    void CountInBin(float score);

    std::uint64_t count = 0;
    float minimum = 1.0F;
    std::vector<float> scores;        // while exact
    std::vector<std::uint64_t> bins;  // afterwards
};

}  // namespace numa_score

#endif  // TOOLS_NUMA_SCORE_SCORE_DISTRIBUTION_H
