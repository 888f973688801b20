// SPDX-License-Identifier: MIT

#include "tools/tnstat/quality.h"

#include <cmath>

namespace tnstat {
namespace {

/// Counts of several periods add up to a score that may differ a little from the mean of their scores.
constexpr double TOLERANCE = 0.05;

}  // namespace

std::vector<std::pair<std::string, bool>> ScoreQuality(const UncoreMetrics& uncore)
{
    const auto operations = static_cast<double>(uncore.rxOpsNum);
    const double remote = static_cast<double>(uncore.rxOuterNum) + static_cast<double>(uncore.rxScclNum);
    const bool excess = remote > operations;
    double expected = 1.0;
    if (operations > 0) {
        expected = excess ? 0.0 : 1.0 - remote / operations;
    }
    return {{"no_interval", uncore.interval == 0},
            {"no_operations", uncore.rxOpsNum == 0},
            {"remote_exceeds_operations", excess},
            {"score_differs", std::fabs(static_cast<double>(uncore.numaScore) - expected) > TOLERANCE}};
}

}  // namespace tnstat
