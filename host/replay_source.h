// SPDX-License-Identifier: MIT

#ifndef HOST_REPLAY_SOURCE_H
#define HOST_REPLAY_SOURCE_H

#include <cstddef>
#include <cstdint>

#include <memory>
#include <string>
#include <string_view>

#include "host/counter_source.h"

namespace host {

/// True for what may be given as ReplayOptions::separator: 1 to 8 characters, none of them a letter, a digit,
/// a dot or a line break; or "\\t".
bool IsSeparatorText(std::string_view text);

struct ReplayOptions {
    std::string path;  ///< recording made with `perf stat -I N -x SEP -o FILE`; "-" is standard input
    std::string
        separator;  ///< the SEP of the recording ("\\t" is a tab); empty: found from the first data line
    std::int32_t firstInputMs = 30000;  ///< longest wait for the first bytes of a named FIFO; -1: for ever
};

/// What has been read so far.
struct ReplayProgress {
    std::uint64_t bytes = 0;       ///< read from the file
    std::uint64_t totalBytes = 0;  ///< size of the file; 0 when it has none (a pipe)
    std::uint64_t lines = 0;
    std::uint64_t samples = 0;    ///< counts that were used
    std::uint64_t badLines = 0;   ///< lines that could not be understood
    std::uint64_t segments = 0;   ///< runs in the file; time starts anew in each
    std::int64_t recordedNs = 0;  ///< recorded time so far, all segments
};

/// Reads a recording interval by interval, in memory that does not grow with its length. Lines that cannot be
/// understood are counted, the first of each kind is remarked with file, line number, value and what was
/// expected, and the reading goes on; a file without a single count fails when its end is reached.
///
/// An interval is what stands under one time stamp; it is given once the next one begins, so that a replay of
/// a pipe is one interval behind it. A batch's interval is the difference to the stamp before, in a new run
/// (a "# started on" line, or a stamp that steps back) the stamp itself; `timeNs` goes on over all runs.
/// Counts are taken as perf scaled them. "pmu/event/" and "event [pmu]" give the sample's PMU; what the
/// counts are aggregated by follows it ("uncore_l3c2 S0"), or stands alone; without both it is "-". An event
/// that was in the run before and is not in the interval counts as missing.
///
/// Intervals of more than MAX_SAMPLES counts come in parts, the interval with the last. A part without
/// samples comes when a signal handler ran during a wait for input, and every MAX_BYTES of input that
/// complete no interval, so that the caller stays in charge.
class ReplaySource : public CounterSource {
public:
    static constexpr std::size_t MAX_SAMPLES = 65536;
    static constexpr std::uint64_t MAX_BYTES = 16777216;

    virtual ReplayProgress Progress() const = 0;
};

/// A source, or one line that says why there is none.
struct ReplayResult {
    std::unique_ptr<ReplaySource> source;
    std::string error;
};

/// Takes a regular file, a pipe, a socket or a FIFO; a directory, a device or a terminal is refused.
ReplayResult OpenReplaySource(const ReplayOptions& options);

}  // namespace host

#endif  // HOST_REPLAY_SOURCE_H
