// SPDX-License-Identifier: MIT

#ifndef TOOLS_NUMA_SCORE_COMPARE_H
#define TOOLS_NUMA_SCORE_COMPARE_H

#include <string>

#include "tools/numa_score/options.h"
#include "tools/numa_score/summary.h"

namespace numa_score {

/// A run by name and in figures.
struct NamedSummary {
    std::string name;
    Summary summary;
};

/// Two runs side by side with second minus first: a table, CSV with the columns
/// measure,first,second,difference, or one JSON object in a line. What a run does not have is "-", empty or
/// null. Every line has its line break.
std::string CompareText(const NamedSummary& first, const NamedSummary& second, Format format);

}  // namespace numa_score

#endif  // TOOLS_NUMA_SCORE_COMPARE_H
