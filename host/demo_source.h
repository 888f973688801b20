// SPDX-License-Identifier: MIT

#ifndef HOST_DEMO_SOURCE_H
#define HOST_DEMO_SOURCE_H

#include <cstdint>

#include <memory>

#include "host/counter_source.h"

namespace host {

struct DemoOptions {
    std::uint64_t seed = 1;         ///< the same seed gives the same counts, on every machine
    std::int32_t intervalMs = 100;  ///< time that one batch covers
    bool repeat = true;             ///< start the story anew when it is over; otherwise END
};

/// A made-up machine of two sockets with two dies each that tells a story: local work, a workload that drifts
/// to the other socket, remote-heavy, tuned back, idle. Not live: a read yields the next interval at once.
std::unique_ptr<CounterSource> MakeDemoSource(const DemoOptions& options);

}  // namespace host

#endif  // HOST_DEMO_SOURCE_H
