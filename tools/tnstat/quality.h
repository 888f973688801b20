// SPDX-License-Identifier: MIT

#ifndef TOOLS_TNSTAT_QUALITY_H
#define TOOLS_TNSTAT_QUALITY_H

#include <string>
#include <utility>
#include <vector>

#include "common/metrics.h"

namespace tnstat {

/// The reasons to doubt a score, each with whether it applies, always all and in this order: "no_interval"
/// (nothing was measured), "no_operations" (a busy machine has some; the score is then 1 by definition),
/// "remote_exceeds_operations" (more operations crossed than there were), "score_differs" (not what the
/// counts give).
std::vector<std::pair<std::string, bool>> ScoreQuality(const UncoreMetrics& uncore);

}  // namespace tnstat

#endif  // TOOLS_TNSTAT_QUALITY_H
