// SPDX-License-Identifier: MIT

#ifndef TOOLS_NUMA_SCORE_KERNEL_TEXT_H
#define TOOLS_NUMA_SCORE_KERNEL_TEXT_H

#include <string>

#include "host/second_opinion.h"

namespace numa_score {

/// What the kernel counted during a run, as lines that follow those of the summary: shares, each node, hint
/// faults, and whether that contradicts the PMU.
std::string KernelText(const host::OpinionReport& report);

}  // namespace numa_score

#endif  // TOOLS_NUMA_SCORE_KERNEL_TEXT_H
