// SPDX-License-Identifier: MIT

#include "tools/numa_score/score_distribution.h"

#include <algorithm>
#include <cmath>

namespace numa_score {

void ScoreDistribution::Add(float score)
{
    ++count;
    minimum = std::min(minimum, score);
    if (!bins.empty()) {
        CountInBin(score);
        return;
    }
    scores.push_back(score);
    if (scores.size() > EXACT_SCORES) {
        bins.resize(BINS + 1);
        for (const float kept : scores) {
            CountInBin(kept);
        }
        scores = {};
    }
}

void ScoreDistribution::CountInBin(float score)
{
    const double place = std::clamp(static_cast<double>(score), 0.0, 1.0) * static_cast<double>(BINS);
    ++bins[static_cast<std::size_t>(std::lround(place))];
}

double ScoreDistribution::Percentile(double share) const
{
    if (count == 0) {
        return 1.0;
    }
    const double wanted = std::ceil(share * static_cast<double>(count));
    const std::uint64_t rank = std::clamp<std::uint64_t>(static_cast<std::uint64_t>(wanted), 1, count);
    if (bins.empty()) {
        std::vector<float> sorted = scores;
        const auto place = sorted.begin() + static_cast<std::ptrdiff_t>(rank - 1);
        std::nth_element(sorted.begin(), place, sorted.end());
        return *place;
    }
    std::uint64_t below = 0;
    std::size_t bin = 0;
    while (bin < BINS && below + bins[bin] < rank) {
        below += bins[bin];
        ++bin;
    }
    return static_cast<double>(bin) / static_cast<double>(BINS);
}

}  // namespace numa_score
