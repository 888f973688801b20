// SPDX-License-Identifier: MIT

#ifndef TESTS_SUPPORT_MANUAL_CLOCK_H
#define TESTS_SUPPORT_MANUAL_CLOCK_H

#include <cstdint>

#include <algorithm>
#include <vector>

#include "host/clock.h"

namespace support {

constexpr std::int64_t NS_PER_MS = 1000000;

/// A clock that stands still until it is moved; a sleep moves it to its end at once.
class ManualClock : public host::Clock {
public:
    std::int64_t NowNs() override { return nowNs; }

    void SleepUntilNs(std::int64_t deadlineNs) override
    {
        deadlines.push_back(deadlineNs);
        nowNs = std::max(nowNs, deadlineNs);
    }

    void AdvanceMs(std::int64_t milliseconds) { nowNs += milliseconds * NS_PER_MS; }
    std::int64_t NowMs() const { return nowNs / NS_PER_MS; }

    std::int64_t nowNs = 0;
    std::vector<std::int64_t> deadlines;  ///< of all sleeps so far
};

}  // namespace support

#endif  // TESTS_SUPPORT_MANUAL_CLOCK_H
