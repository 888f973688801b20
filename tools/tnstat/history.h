// SPDX-License-Identifier: MIT

#ifndef TOOLS_TNSTAT_HISTORY_H
#define TOOLS_TNSTAT_HISTORY_H

#include <cstddef>
#include <cstdint>

#include <deque>

#include "tools/tnstat/metrics_file.h"

namespace tnstat {

/// The scores of the last dumps that somebody looked at. One thread at a time.
class History {
public:
    static constexpr std::size_t MAX_POINTS = 600;

    struct Point {
        std::int64_t timeNs = 0;  ///< of the dump, since 1970
        float score = 0.0F;
        bool hadOperations = false;  ///< a score without operations is 1 by definition and says nothing
    };

    /// Takes a good reading of a dump that is not the one before; drops the oldest beyond MAX_POINTS.
    void Note(const Reading& reading);

    const std::deque<Point>& Points() const { return points; }

private:
    std::deque<Point> points;
    FileStamp last;
};

}  // namespace tnstat

#endif  // TOOLS_TNSTAT_HISTORY_H
