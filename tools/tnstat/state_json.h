// SPDX-License-Identifier: MIT

#ifndef TOOLS_TNSTAT_STATE_JSON_H
#define TOOLS_TNSTAT_STATE_JSON_H

#include <cstdint>

#include <string>

#include "tools/tnstat/history.h"
#include "tools/tnstat/metrics_file.h"

namespace tnstat {

/// What the page shows, as one JSON object: "up", "fault", "age_seconds", "stale", and with a record "score",
/// "operations_per_second", "flags", "loops", "nodes" (free and given-up bytes), "migrated_bytes" (source by
/// target), and always "history" (pairs of milliseconds since 1970 and score, null without operations).
/// `nowNs` is the time since 1970.
std::string StateJson(const Reading& reading, const History& history, std::int64_t nowNs);

}  // namespace tnstat

#endif  // TOOLS_TNSTAT_STATE_JSON_H
