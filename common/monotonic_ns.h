// SPDX-License-Identifier: MIT

#ifndef COMMON_MONOTONIC_NS_H
#define COMMON_MONOTONIC_NS_H

#include <cstdint>

namespace runtime {

/// CLOCK_MONOTONIC in nanoseconds. Reads through `monotonicSource`, which tests point at a clock that they
/// move by hand; nothing else ever sets it.
std::uint64_t MonotonicNs();

extern std::uint64_t (*monotonicSource)();

}  // namespace runtime

#endif  // COMMON_MONOTONIC_NS_H
