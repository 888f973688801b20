// SPDX-License-Identifier: MIT

#ifndef HOST_DEMO_SOURCE_H
#define HOST_DEMO_SOURCE_H

#include <cstdint>

#include <memory>

#include "host/counter_source.h"

namespace host {

constexpr std::int32_t MAX_DEMO_INTERVAL_MS = 60000;

struct DemoOptions {
    std::uint64_t seed = 1;         ///< the same seed gives the same counts, on every machine
    std::int32_t intervalMs = 100;  ///< time that one batch covers, 1 to MAX_DEMO_INTERVAL_MS
    bool repeat = true;             ///< start the story anew when it is over; otherwise END
};

/// A made-up machine of two sockets with two dies each that tells a story of 16 seconds: local work (3 s), a
/// workload that drifts to the other socket (4 s), remote-heavy (4 s), tuned back (3 s), idle (2 s). Four
/// PMUs, "uncore_l3c0" to "uncore_l3c3", three events each. Not live: a read yields the next interval at
/// once.
std::unique_ptr<CounterSource> MakeDemoSource(const DemoOptions& options);

}  // namespace host

#endif  // HOST_DEMO_SOURCE_H
