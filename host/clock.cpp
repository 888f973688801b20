// SPDX-License-Identifier: MIT

#include "host/clock.h"

#include <ctime>

namespace host {
namespace {

constexpr std::int64_t NS_PER_SECOND = 1000000000;

}  // namespace

std::int64_t MonotonicClock::NowNs()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::int64_t>(now.tv_sec) * NS_PER_SECOND + now.tv_nsec;
}

void MonotonicClock::SleepUntilNs(std::int64_t deadlineNs)
{
    // The kernel refuses times before its epoch; they are past in any case.
    if (deadlineNs <= 0) {
        return;
    }
    timespec deadline{};
    deadline.tv_sec = static_cast<std::time_t>(deadlineNs / NS_PER_SECOND);
    deadline.tv_nsec = static_cast<long>(deadlineNs % NS_PER_SECOND);
    // Not repeated after EINTR: whoever waits has to look at what the signal handler noted.
    clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &deadline, nullptr);
}

}  // namespace host
