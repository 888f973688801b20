// SPDX-License-Identifier: MIT

#ifndef HOST_REPLAY_SOURCE_H
#define HOST_REPLAY_SOURCE_H

#include <cstdint>

#include <memory>
#include <string>

#include "host/counter_source.h"

namespace host {

struct ReplayOptions {
    std::string path;       ///< recording made with `perf stat -I N -x SEP -o FILE`; "-" is standard input
    std::string separator;  ///< the SEP of the recording; empty: found from the first data line
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
/// expected, and the reading goes on; a file without a single count fails.
class ReplaySource : public CounterSource {
public:
    virtual ReplayProgress Progress() const = 0;
};

/// A source, or one line that says why there is none.
struct ReplayResult {
    std::unique_ptr<ReplaySource> source;
    std::string error;
};

ReplayResult OpenReplaySource(const ReplayOptions& options);

}  // namespace host

#endif  // HOST_REPLAY_SOURCE_H
