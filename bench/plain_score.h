// SPDX-License-Identifier: MIT
//
// The score engine's plain form: three substring searches and one map update per record. Baseline of the
// benchmarks.

#ifndef BENCH_PLAIN_SCORE_H
#define BENCH_PLAIN_SCORE_H

#include <cstdint>
#include <cstring>

#include <map>

#include "scenario/numa_scenario.h"

namespace bench {

struct PlainScore {
    std::map<NumaScenario::UncoreEvent, unsigned long> counts;
    std::uint64_t interval = 0;

    __attribute__((noinline)) void Update(int len, const PmuData* data, int batchInterval)
    {
        for (int i = 0; i < len; ++i) {
            const char* name = data[i].eventName;
            NumaScenario::UncoreEvent event{};
            if (std::strstr(name, "rx_outer") != nullptr) {
                event = NumaScenario::RX_OUTER;
            } else if (std::strstr(name, "rx_sccl") != nullptr) {
                event = NumaScenario::RX_SCCL;
            } else if (std::strstr(name, "rx_ops_num") != nullptr) {
                event = NumaScenario::RX_OPS_NUM;
            } else {
                continue;
            }
            counts[event] += data[i].count;
        }
        interval += static_cast<std::uint64_t>(static_cast<std::int64_t>(batchInterval));
    }
};

}  // namespace bench

#endif  // BENCH_PLAIN_SCORE_H
