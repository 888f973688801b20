// SPDX-License-Identifier: MIT

#ifndef TOOLS_TARNIX_OWN_COST_H
#define TOOLS_TARNIX_OWN_COST_H

#include <cstdint>

#include <string>

#include "tools/tarnix/messages.h"

namespace tarnix {

/// What this process itself takes of the machine. Belongs to the loop's thread.
class OwnCost {
public:
    /// `nowNs` is the time of a monotonic clock.
    explicit OwnCost(std::int64_t nowNs);

    /// A pass of the loop took so long.
    void NotePass(std::int64_t durationNs);

    /// The figures since the last call; starts a new span.
    messages::Cost Take(std::int64_t nowNs);

private:
    struct Usage {
        std::int64_t cpuNs = 0;
        std::int64_t switches = 0;
    };

    /// `who` as getrusage(2) takes it.
    static Usage UsageOf(int who);

    std::int64_t sinceNs;
    Usage process;
    Usage loop;
    std::int64_t longestNs = 0;
};

}  // namespace tarnix

#endif  // TOOLS_TARNIX_OWN_COST_H
