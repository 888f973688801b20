// SPDX-License-Identifier: MIT

#ifndef TOOLS_TARNIX_SOURCE_CHOICE_H
#define TOOLS_TARNIX_SOURCE_CHOICE_H

#include <cstdint>

#include <string>
#include <vector>

#include "host/live_source.h"

namespace tarnix {

/// Where the counts come from, as TARNIX_SOURCE tells: "live", "demo" or "replay:" and the path of a
/// recording.
struct SourceChoice {
    enum class Kind { LIVE, DEMO, REPLAY };

    Kind kind = Kind::LIVE;
    std::string recording;                     ///< of REPLAY
    std::vector<host::EventMapping> mappings;  ///< of LIVE: other events to count instead
    std::string sysfsRoot = "/sys";            ///< of LIVE
    std::int32_t intervalMs = 100;             ///< of DEMO: time that one batch covers, at least 1
};

/// Fills kind and recording. Empty, or what is wrong with the text: one line.
std::string ParseSource(const std::string& text, SourceChoice& choice);

/// Fills the mappings: "EVENT=PMU/event/", as `numa-score --map` takes them, with blanks between. Empty, or
/// what is wrong with the text: one line. Whether there is such an event shows when it is opened.
std::string ParseMappings(const std::string& text, SourceChoice& choice);

/// The source, or one line that says why there is none. A recording has to be a regular file: what is read in
/// the loop must not wait for anybody.
host::SourceResult OpenSource(const SourceChoice& choice);

}  // namespace tarnix

#endif  // TOOLS_TARNIX_SOURCE_CHOICE_H
