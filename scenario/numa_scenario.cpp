// SPDX-License-Identifier: MIT

#include "scenario/numa_scenario.h"

#include <cstring>

namespace {

const std::string UNCORE_TOPIC_KEY = "pmu_uncore_collector::uncore::";

}  // namespace

NumaScenario& NumaScenario::GetInstance()
{
    static NumaScenario scenario;
    return scenario;
}

void NumaScenario::UpdateScoreParam(int len, const PmuData* data, int batchInterval)
{
    for (int i = 0; data != nullptr && i < len; ++i) {
        const char* name = data[i].eventName;
        if (name == nullptr) {
            continue;
        }
        if (std::strstr(name, "rx_outer") != nullptr) {
            counts[RX_OUTER] += data[i].count;
        } else if (std::strstr(name, "rx_sccl") != nullptr) {
            counts[RX_SCCL] += data[i].count;
        } else if (std::strstr(name, "rx_ops_num") != nullptr) {
            counts[RX_OPS_NUM] += data[i].count;
        }
    }
    interval += static_cast<std::uint64_t>(static_cast<std::int64_t>(batchInterval));
}

void NumaScenario::UpdatePmu(const std::string& topicKey, int len, const PmuData* data, int batchInterval)
{
    if (topicKey == UNCORE_TOPIC_KEY) {
        UpdateScoreParam(len, data, batchInterval);
    }
}

void NumaScenario::GetNumaScore(ScenarioNumaScore& out)
{
    const unsigned long ops = counts[RX_OPS_NUM];
    const unsigned long sccl = counts[RX_SCCL];
    const unsigned long outer = counts[RX_OUTER];
    if (ops == 0) {
        out.numaScore = 1.0F;
    } else {
        const float ratio = (static_cast<float>(outer) + static_cast<float>(sccl)) / static_cast<float>(ops);
        out.numaScore = ratio > 1.0F ? 0.0F : 1.0F - ratio;
    }
    out.rxOpsNum = ops;
    out.rxScclNum = sccl;
    out.rxOuterNum = outer;
    out.interval = interval;
}

void NumaScenario::ResetScoreParam()
{
    for (auto& entry : counts) {
        entry.second = 0;
    }
    interval = 0;
}
