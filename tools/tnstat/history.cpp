// SPDX-License-Identifier: MIT

#include "tools/tnstat/history.h"

namespace tnstat {

void History::Note(const Reading& reading)
{
    if (!reading.IsGood() || reading.stamp == last) {
        return;
    }
    last = reading.stamp;
    points.push_back(
        {reading.stamp.modifiedNs, reading.record.uncore.numaScore, reading.record.uncore.rxOpsNum != 0});
    if (points.size() > MAX_POINTS) {
        points.pop_front();
    }
}

}  // namespace tnstat
