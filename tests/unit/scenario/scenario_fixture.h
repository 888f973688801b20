// SPDX-License-Identifier: MIT
//
// The score engine in a defined state, and its definition record by record.

#ifndef TESTS_UNIT_SCENARIO_SCENARIO_FIXTURE_H
#define TESTS_UNIT_SCENARIO_SCENARIO_FIXTURE_H

#include <cstdint>
#include <cstring>

#include <map>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "scenario/numa_scenario.h"

namespace scenario_fixture {

using Counts = std::map<NumaScenario::UncoreEvent, unsigned long>;

/// Records for UpdateScoreParam; the names are not copied.
inline std::vector<PmuData> Records(const std::vector<std::pair<const char*, std::uint64_t>>& samples)
{
    std::vector<PmuData> records(samples.size());
    for (std::size_t i = 0; i < samples.size(); ++i) {
        records[i].eventName = samples[i].first;
        records[i].count = samples[i].second;
    }
    return records;
}

/// The definition of a batch, record by record.
inline void AddPlainly(Counts& counts, const std::vector<PmuData>& records)
{
    for (const PmuData& record : records) {
        if (record.eventName == nullptr) {
            continue;
        }
        if (std::strstr(record.eventName, "rx_outer") != nullptr) {
            counts[NumaScenario::RX_OUTER] += record.count;
        } else if (std::strstr(record.eventName, "rx_sccl") != nullptr) {
            counts[NumaScenario::RX_SCCL] += record.count;
        } else if (std::strstr(record.eventName, "rx_ops_num") != nullptr) {
            counts[NumaScenario::RX_OPS_NUM] += record.count;
        }
    }
}

/// The object lives as long as the process: every test begins and ends with an untouched one.
class NumaScenarioTest : public ::testing::Test {
protected:
    NumaScenarioTest() : scenario(NumaScenario::GetInstance()) { Clear(); }
    ~NumaScenarioTest() override { Clear(); }

    void Clear()
    {
        scenario.counts.clear();
        scenario.interval = 0;
    }

    void Update(const std::vector<PmuData>& records, int interval = 0)
    {
        scenario.UpdateScoreParam(static_cast<int>(records.size()), records.data(), interval);
    }

    ScenarioNumaScore Score()
    {
        ScenarioNumaScore score;
        scenario.GetNumaScore(score);
        return score;
    }

    NumaScenario& scenario;
};

}  // namespace scenario_fixture

#endif  // TESTS_UNIT_SCENARIO_SCENARIO_FIXTURE_H
