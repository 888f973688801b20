// SPDX-License-Identifier: MIT

#ifndef TOOLS_NUMA_SCORE_SOURCE_CHOICE_H
#define TOOLS_NUMA_SCORE_SOURCE_CHOICE_H

#include <memory>
#include <string>

#include "host/counter_source.h"
#include "host/replay_source.h"
#include "tools/numa_score/options.h"

namespace numa_score {

/// The source that a command reads, or one line that says why there is none.
struct ChosenSource {
    std::unique_ptr<host::CounterSource> source;
    const host::ReplaySource* replay = nullptr;  ///< the same object when it is a recording
    std::string error;
};

ChosenSource OpenSource(const Options& options);
ChosenSource OpenRecording(const Options& options, const std::string& path);

}  // namespace numa_score

#endif  // TOOLS_NUMA_SCORE_SOURCE_CHOICE_H
