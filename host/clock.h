// SPDX-License-Identifier: MIT

#ifndef HOST_CLOCK_H
#define HOST_CLOCK_H

#include <cstdint>

namespace host {

/// Time as the host sees it; the seam that lets tests move the clock by hand. All values are nanoseconds of a
/// clock that never steps back.
class Clock {
public:
    Clock() = default;
    Clock(const Clock&) = delete;
    Clock& operator=(const Clock&) = delete;
    virtual ~Clock() = default;

    virtual std::int64_t NowNs() = 0;

    /// Returns at `deadlineNs`, or earlier when a signal handler ran. A deadline in the past returns at once.
    virtual void SleepUntilNs(std::int64_t deadlineNs) = 0;
};

/// CLOCK_MONOTONIC with absolute sleeps, so that a loop that sleeps to start + n * period does not drift.
class MonotonicClock : public Clock {
public:
    std::int64_t NowNs() override;
    void SleepUntilNs(std::int64_t deadlineNs) override;
};

}  // namespace host

#endif  // HOST_CLOCK_H
