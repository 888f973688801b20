// SPDX-License-Identifier: MIT

#include "common/monotonic_ns.h"

#include <time.h>

namespace runtime {
namespace {

std::uint64_t SystemMonotonicNs()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::uint64_t>(now.tv_sec) * 1000000000U + static_cast<std::uint64_t>(now.tv_nsec);
}

}  // namespace

std::uint64_t (*monotonicSource)() = SystemMonotonicNs;

std::uint64_t MonotonicNs()
{
    return monotonicSource();
}

}  // namespace runtime
