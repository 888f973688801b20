// SPDX-License-Identifier: MIT
//
// Counting and the score. Batches of every shape are in numa_scenario_batch_test.cpp.

#include "scenario/numa_scenario.h"

#include <cstdint>
#include <cstring>

#include <limits>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "tests/unit/scenario/scenario_fixture.h"

namespace {

using scenario_fixture::Counts;
using scenario_fixture::NumaScenarioTest;
using scenario_fixture::Records;

constexpr std::uint64_t MAX_U64 = std::numeric_limits<std::uint64_t>::max();

TEST_F(NumaScenarioTest, OneObjectPerProcess)
{
    std::vector<NumaScenario*> found(8);
    std::vector<std::thread> threads;
    for (NumaScenario*& slot : found) {
        threads.emplace_back([&slot] { slot = &NumaScenario::GetInstance(); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (const NumaScenario* one : found) {
        EXPECT_EQ(one, &scenario);
    }
    EXPECT_FALSE(std::is_copy_constructible_v<NumaScenario>);
    EXPECT_FALSE(std::is_default_constructible_v<NumaScenario>);
}

TEST_F(NumaScenarioTest, EventsHaveTheirValues)
{
    EXPECT_EQ(static_cast<int>(NumaScenario::RX_OUTER), 0);
    EXPECT_EQ(static_cast<int>(NumaScenario::RX_SCCL), 1);
    EXPECT_EQ(static_cast<int>(NumaScenario::RX_OPS_NUM), 2);
}

TEST_F(NumaScenarioTest, RecordIsFilledInItsPlaceAndPaddingIsLeftAlone)
{
    Update(Records({{"rx_outer", 30}, {"rx_sccl", 20}, {"rx_ops_num", 100}}), 7);
    alignas(ScenarioNumaScore) unsigned char raw[40 + 8];
    std::memset(raw, 0xAB, sizeof(raw));
    scenario.GetNumaScore(*reinterpret_cast<ScenarioNumaScore*>(raw));
    const auto read64 = [&raw](std::size_t offset) {
        std::uint64_t value = 0;
        std::memcpy(&value, raw + offset, sizeof(value));
        return value;
    };
    float score = 0;
    std::memcpy(&score, raw, sizeof(score));
    EXPECT_EQ(score, 0.5F);
    EXPECT_EQ(read64(8), 100U);
    EXPECT_EQ(read64(16), 20U);
    EXPECT_EQ(read64(24), 30U);
    EXPECT_EQ(read64(32), 7U);
    for (const std::size_t offset : {4U, 5U, 6U, 7U, 40U, 41U, 46U, 47U}) {
        EXPECT_EQ(raw[offset], 0xAB) << offset;
    }
}

TEST_F(NumaScenarioTest, NamesSelectTheEvent)
{
    const struct {
        const char* name;
        Counts counts;
    } cases[] = {
        {"rx_outer", {{NumaScenario::RX_OUTER, 5}}},
        {"uncore_l3c2/rx_outer/", {{NumaScenario::RX_OUTER, 5}}},
        {"before rx_outer behind", {{NumaScenario::RX_OUTER, 5}}},
        {"uncore_l3c2/rx_sccl/", {{NumaScenario::RX_SCCL, 5}}},
        {"uncore_l3c2/rx_ops_num/", {{NumaScenario::RX_OPS_NUM, 5}}},
        {"rx_ops_num rx_outer", {{NumaScenario::RX_OUTER, 5}}},
        {"rx_sccl rx_outer", {{NumaScenario::RX_OUTER, 5}}},
        {"rx_ops_num rx_sccl", {{NumaScenario::RX_SCCL, 5}}},
        {"rx_ops_num rx_sccl rx_outer", {{NumaScenario::RX_OUTER, 5}}},
        {"rx_ops", {}},
        {"uncore_l3c2/rx_ops/", {}},
        {"RX_OUTER", {}},
        {"rx_oute", {}},
        {"", {}},
        {nullptr, {}},
    };
    for (const auto& item : cases) {
        Clear();
        Update(Records({{item.name, 5}}), 1);
        EXPECT_EQ(scenario.counts, item.counts) << (item.name == nullptr ? "null" : item.name);
        EXPECT_EQ(scenario.interval, 1U);
    }
}

TEST_F(NumaScenarioTest, EntryAppearsWithTheFirstRecordOfTheEventEvenIfItCountsNothing)
{
    for (const std::size_t repeats : {1U, 7U, 8U, 9U, 100U, 1000U}) {
        Clear();
        std::vector<std::pair<const char*, std::uint64_t>> samples;
        for (std::size_t i = 0; i < repeats; ++i) {
            samples.emplace_back("rx_sccl", 0);
            samples.emplace_back("other", 9);
        }
        Update(Records(samples));
        EXPECT_EQ(scenario.counts, (Counts{{NumaScenario::RX_SCCL, 0}})) << repeats;
    }
}

TEST_F(NumaScenarioTest, CountsAddUpOverBatchesAndWrap)
{
    Update(
        Records({{"rx_outer", MAX_U64}, {"rx_outer", 1}, {"rx_sccl", MAX_U64}, {"rx_ops_num", MAX_U64 - 1}}));
    EXPECT_EQ(scenario.counts, (Counts{{NumaScenario::RX_OUTER, 0},
                                       {NumaScenario::RX_SCCL, MAX_U64},
                                       {NumaScenario::RX_OPS_NUM, MAX_U64 - 1}}));
    Update(Records({{"rx_sccl", 3}, {"rx_ops_num", 1}}));
    EXPECT_EQ(scenario.counts, (Counts{{NumaScenario::RX_OUTER, 0},
                                       {NumaScenario::RX_SCCL, 2},
                                       {NumaScenario::RX_OPS_NUM, MAX_U64}}));
    Clear();
    Update(Records(std::vector<std::pair<const char*, std::uint64_t>>(1000, {"rx_outer", MAX_U64})));
    EXPECT_EQ(scenario.counts, (Counts{{NumaScenario::RX_OUTER, MAX_U64 - 999}}));
}

TEST_F(NumaScenarioTest, IntervalIsAddedWhateverTheRecordsAre)
{
    const std::vector<PmuData> records = Records({{"rx_outer", 1}});
    // Not to be followed: there are no records to read.
    const auto* nowhere = reinterpret_cast<const PmuData*>(std::uintptr_t{16});
    const int lowest = std::numeric_limits<int>::min();
    const struct {
        int len;
        const PmuData* data;
        int interval;
        std::uint64_t sum;
    } steps[] = {
        {0, records.data(), 100, 100},
        {0, nullptr, 100, 200},
        {-1, nowhere, 1, 201},
        {0, nowhere, 1, 202},
        {lowest, nowhere, 1, 203},
        {1, nullptr, 1, 204},
        {std::numeric_limits<int>::max(), nullptr, 1, 205},
        {0, nullptr, -205, 0},
        {0, nullptr, -1, MAX_U64},
        {0, nullptr, 1, 0},
        {0, nullptr, lowest, 0xFFFFFFFF80000000U},
        {0, nullptr, std::numeric_limits<int>::max(), MAX_U64},
        {0, nullptr, 0, MAX_U64},
    };
    for (const auto& step : steps) {
        scenario.UpdateScoreParam(step.len, step.data, step.interval);
        EXPECT_EQ(scenario.interval, step.sum) << step.len << " records, interval " << step.interval;
    }
    EXPECT_TRUE(scenario.counts.empty());
    scenario.UpdateScoreParam(1, records.data(), -5);
    EXPECT_EQ(scenario.interval, MAX_U64 - 5);
    EXPECT_EQ(scenario.counts, (Counts{{NumaScenario::RX_OUTER, 1}}));
}

TEST_F(NumaScenarioTest, UpdatePmuTakesOneKeyOnly)
{
    const std::vector<PmuData> records = Records({{"rx_outer", 4}});
    for (const char* key : {"pmu_uncore_collector::uncore", "pmu_uncore_collector::uncore::x", "", "uncore",
                            "pmu_uncore_collector::Uncore::", " pmu_uncore_collector::uncore::",
                            "scenario_numa::system_score::"}) {
        scenario.UpdatePmu(key, 1, records.data(), 100);
        EXPECT_TRUE(scenario.counts.empty()) << key;
        EXPECT_EQ(scenario.interval, 0U) << key;
    }
    scenario.UpdatePmu(std::string("pmu_uncore_collector::uncore::\0", 31), 1, records.data(), 100);
    EXPECT_TRUE(scenario.counts.empty()) << "a NUL is part of the key";
    scenario.UpdatePmu("pmu_uncore_collector::uncore::", 1, records.data(), 100);
    EXPECT_EQ(scenario.counts, (Counts{{NumaScenario::RX_OUTER, 4}}));
    EXPECT_EQ(scenario.interval, 100U);
}

TEST_F(NumaScenarioTest, PeriodWithoutSamples)
{
    const ScenarioNumaScore score = Score();
    EXPECT_EQ(score.numaScore, 1.0F);
    EXPECT_EQ(score.rxOpsNum, 0U);
    EXPECT_EQ(score.rxScclNum, 0U);
    EXPECT_EQ(score.rxOuterNum, 0U);
    EXPECT_EQ(score.interval, 0U);
    EXPECT_EQ(
        scenario.counts,
        (Counts{{NumaScenario::RX_OUTER, 0}, {NumaScenario::RX_SCCL, 0}, {NumaScenario::RX_OPS_NUM, 0}}));
}

TEST_F(NumaScenarioTest, ScoreToTheBit)
{
    // Computed with exact fractions, rounded to the nearest single-precision number after each operation.
    const struct {
        std::uint64_t outer;
        std::uint64_t sccl;
        std::uint64_t ops;
        std::uint32_t bits;
    } cases[] = {
        {0U, 0U, 0U, 0x3F800000U},                                        // 1.0
        {5U, 7U, 0U, 0x3F800000U},                                        // 1.0
        {30U, 20U, 100U, 0x3F000000U},                                    // 0.5
        {80U, 40U, 100U, 0x00000000U},                                    // 0.0
        {60U, 40U, 100U, 0x00000000U},                                    // 0.0
        {0U, 0U, 100U, 0x3F800000U},                                      // 1.0
        {1U, 0U, 3U, 0x3F2AAAAAU},                                        // 0.6666666269302368
        {0U, 1U, 3U, 0x3F2AAAAAU},                                        // 0.6666666269302368
        {1U, 1U, 3U, 0x3EAAAAAAU},                                        // 0.3333333134651184
        {1U, 0U, 7U, 0x3F5B6DB7U},                                        // 0.8571428656578064
        {33U, 0U, 1000U, 0x3F778D50U},                                    // 0.9670000076293945
        {45U, 0U, 1000U, 0x3F747AE1U},                                    // 0.9549999833106995
        {1U, 0U, 16777216U, 0x3F7FFFFFU},                                 // 0.9999999403953552
        {1U, 0U, 16777217U, 0x3F7FFFFFU},                                 // 0.9999999403953552
        {1U, 0U, 33554432U, 0x3F800000U},                                 // 1.0
        {1U, 0U, 33554433U, 0x3F800000U},                                 // 1.0
        {1U, 0U, 67108864U, 0x3F800000U},                                 // 1.0
        {16777216U, 1U, 33554433U, 0x3F000000U},                          // 0.5
        {16777217U, 0U, 16777219U, 0x34800000U},                          // 2.384185791015625e-07
        {16777217U, 0U, 16777217U, 0x00000000U},                          // 0.0
        {16777217U, 16777217U, 50331651U, 0x3EAAAAACU},                   // 0.3333333730697632
        {123456789U, 987654321U, 9876543210123U, 0x3F7FF8A1U},            // 0.9998875260353088
        {4294967295U, 4294967296U, 1099511627777U, 0x3F7E0000U},          // 0.9921875
        {18446744073709551615U, 0U, 18446744073709551615U, 0x00000000U},  // 0.0
        {18446744073709551615U, 18446744073709551615U, 1U, 0x00000000U},  // 0.0
        {18446744073709551615U, 18446744073709551615U, 18446744073709551615U, 0x00000000U},  // 0.0
        {18446744073709551615U, 0U, 9223372036854775808U, 0x00000000U},                      // 0.0
        {9223372036854775808U, 0U, 18446744073709551615U, 0x3F000000U},                      // 0.5
        {9223372036854775807U, 1U, 18446744073709551615U, 0x3F000000U},                      // 0.5
        {1U, 0U, 18446744073709551615U, 0x3F800000U},                                        // 1.0
        {6148914691236517205U, 3689348814741910323U, 18446744073709551615U,
         0x3EEEEEEEU},                                   // 0.46666663885116577
        {16777217U, 16777219U, 67108869U, 0x3F000000U},  // 0.5
        {101U, 0U, 100U, 0x00000000U},                   // 0.0
        {100000001U, 0U, 100000000U, 0x00000000U},       // 0.0
        {9223372036854775808U, 9223372036854775808U, 18446744073709551615U, 0x00000000U},  // 0.0
        {18446744073709551615U, 1U, 18446744073709551615U, 0x00000000U},                   // 0.0
        {118545156U, 96113259U, 217529938U, 0x3C584780U},   // 0.013200640678405762
        {127314978U, 132946315U, 262521449U, 0x3C0D0EC0U},  // 0.008609473705291748
        {80228524U, 96603144U, 228855611U, 0x3E68C720U},    // 0.22732210159301758
    };
    for (const auto& item : cases) {
        Clear();
        Update(Records({{"rx_outer", item.outer}, {"rx_sccl", item.sccl}, {"rx_ops_num", item.ops}}), 100);
        const Counts before = scenario.counts;
        const ScenarioNumaScore score = Score();
        std::uint32_t bits = 0;
        std::memcpy(&bits, &score.numaScore, sizeof(bits));
        EXPECT_EQ(bits, item.bits) << item.outer << " + " << item.sccl << " of " << item.ops << " gave "
                                   << score.numaScore;
        EXPECT_EQ(score.rxOuterNum, item.outer);
        EXPECT_EQ(score.rxScclNum, item.sccl);
        EXPECT_EQ(score.rxOpsNum, item.ops);
        EXPECT_EQ(score.interval, 100U);
        EXPECT_EQ(scenario.counts, before) << "asking changes nothing";
        EXPECT_EQ(scenario.interval, 100U);
    }
}

TEST_F(NumaScenarioTest, ManyScoresToTheBit)
{
    // Every processor and compiler comes to the digest that was computed on x86-64: FNV-1a over the bits of
    // the scores of counts of all sizes.
    std::uint64_t state = 88172645463325252U;
    const auto next = [&state] {
        state ^= state << 13;
        state ^= state >> 7;
        state ^= state << 17;
        return state;
    };
    std::uint64_t digest = 14695981039346656037U;
    for (int i = 0; i < 100000; ++i) {
        const std::uint64_t ops = next() >> next() % 64;
        const std::uint64_t outer = next() % (ops / 2 + 1);
        const std::uint64_t sccl = next() % (ops / 2 + 1);
        scenario.counts = {
            {NumaScenario::RX_OUTER, outer}, {NumaScenario::RX_SCCL, sccl}, {NumaScenario::RX_OPS_NUM, ops}};
        const float score = Score().numaScore;
        std::uint32_t bits = 0;
        std::memcpy(&bits, &score, sizeof(bits));
        digest = (digest ^ bits) * 1099511628211U;
    }
    EXPECT_EQ(digest, 2891139934363268462U);
}

TEST_F(NumaScenarioTest, ScoreFillsInTheMissingEntriesAndNothingElse)
{
    Update(Records({{"rx_ops_num", 10}}), 3);
    EXPECT_EQ(Score().numaScore, 1.0F);
    EXPECT_EQ(
        scenario.counts,
        (Counts{{NumaScenario::RX_OUTER, 0}, {NumaScenario::RX_SCCL, 0}, {NumaScenario::RX_OPS_NUM, 10}}));
    EXPECT_EQ(scenario.interval, 3U);
}

TEST_F(NumaScenarioTest, ResetKeepsTheEntries)
{
    scenario.ResetScoreParam();
    EXPECT_TRUE(scenario.counts.empty());
    Update(Records({{"rx_outer", 3}, {"rx_ops_num", 10}}), 100);
    scenario.ResetScoreParam();
    EXPECT_EQ(scenario.counts, (Counts{{NumaScenario::RX_OUTER, 0}, {NumaScenario::RX_OPS_NUM, 0}}));
    EXPECT_EQ(scenario.interval, 0U);
    EXPECT_EQ(Score().numaScore, 1.0F);
    EXPECT_EQ(scenario.counts.size(), 3U);
    scenario.ResetScoreParam();
    EXPECT_EQ(Score().numaScore, 1.0F);
    EXPECT_EQ(scenario.counts.size(), 3U);
}

}  // namespace
