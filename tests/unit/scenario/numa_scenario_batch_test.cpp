// SPDX-License-Identifier: MIT
//
// Batches of every shape against the definition, what the engine reads, and what it allocates.

#include "scenario/numa_scenario.h"

#include <cstdint>
#include <cstring>

#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "tests/unit/scenario/counting_new.h"
#include "tests/unit/scenario/guarded_pages.h"
#include "tests/unit/scenario/scenario_fixture.h"

namespace {

using scenario_fixture::AddPlainly;
using scenario_fixture::Counts;
using scenario_fixture::NumaScenarioTest;
using scenario_fixture::Records;

TEST_F(NumaScenarioTest, ReadsTwoFieldsOfEach96ByteRecordAndNothingElse)
{
    // Every other byte is poison, and neither the records nor the names may be left by a single byte.
    const GuardedPages pages;
    const GuardedPages names;
    for (const std::size_t count : {1U, 2U, 7U, 8U, 9U, 15U, 16U, 17U, 41U}) {
        Clear();
        char* const begin = pages.End() - 96 * count;
        std::memset(begin, 0xEE, 96 * count);
        char* const name = names.End() - sizeof("uncore_l3c2/rx_ops_num/");
        std::memcpy(name, "uncore_l3c2/rx_ops_num/", sizeof("uncore_l3c2/rx_ops_num/"));
        std::uint64_t sum = 0;
        for (std::size_t i = 0; i < count; ++i) {
            const std::uint64_t value = 1000 + i;
            std::memcpy(begin + 96 * i + 8, &name, 8);
            std::memcpy(begin + 96 * i + 64, &value, 8);
            sum += value;
        }
        scenario.UpdateScoreParam(static_cast<int>(count), reinterpret_cast<const PmuData*>(begin), 0);
        EXPECT_EQ(scenario.counts, (Counts{{NumaScenario::RX_OPS_NUM, sum}})) << count;
    }
}

TEST_F(NumaScenarioTest, NullNamesAreSkippedWhereverTheyStand)
{
    for (const std::size_t count : {3U, 8U, 20U, 100U, 600U}) {
        for (std::size_t step = 1; step <= 4; ++step) {
            Clear();
            std::vector<PmuData> records(count);
            Counts expected;
            for (std::size_t i = 0; i < count; ++i) {
                records[i].count = i + 1;
                records[i].eventName = i % (step + 1) == 0 ? nullptr : "rx_outer";
            }
            AddPlainly(expected, records);
            Update(records);
            EXPECT_EQ(scenario.counts, expected) << count << " records, step " << step;
        }
    }
}

/// Texts in memory of their own, some of them equal.
std::vector<std::unique_ptr<std::string>> Names(std::size_t count)
{
    static const char* const EVENTS[] = {"rx_outer", "rx_sccl", "rx_ops_num",      "victim_num",
                                         "rx_ops",   "",        "rx_sccl,rx_outer"};
    std::vector<std::unique_ptr<std::string>> names;
    for (std::size_t i = 0; i < count; ++i) {
        names.push_back(
            std::make_unique<std::string>("uncore_l3c" + std::to_string(i % 32) + "/" + EVENTS[i % 7] + "/"));
    }
    return names;
}

TEST_F(NumaScenarioTest, BatchesOfEveryShapeAsRecordByRecord)
{
    std::mt19937_64 random(99);
    for (const std::size_t distinct : {1U, 2U, 3U, 12U, 24U, 48U, 130U, 600U, 3000U}) {
        const auto names = Names(distinct);
        for (const std::size_t count :
             {1U, 2U, 3U, 7U, 8U, 9U, 16U, 17U, 48U, 63U, 64U, 65U, 200U, 255U, 256U, 257U, 300U, 3001U}) {
            for (const char* order : {"cyclic", "blocked", "random", "late"}) {
                Clear();
                std::vector<PmuData> records(count);
                for (std::size_t i = 0; i < count; ++i) {
                    std::size_t pick = i % distinct;
                    if (order[0] == 'b') {
                        pick = i * distinct / count;
                    } else if (order[0] == 'r') {
                        pick = random() % distinct;
                    } else if (order[0] == 'l' && i < count / 2) {
                        pick = 0;  // the names begin to differ when half the batch is through
                    }
                    records[i].eventName = random() % 50 == 0 ? nullptr : names[pick]->c_str();
                    records[i].count = random();
                }
                Counts expected;
                AddPlainly(expected, records);
                Update(records);
                ASSERT_EQ(scenario.counts, expected)
                    << order << ", " << count << " records, " << distinct << " names";
            }
        }
    }
}

TEST_F(NumaScenarioTest, NamesThatDifferOnlyInTheirAddress)
{
    // One byte after the other: every slot of a table keyed by address sees several of them.
    std::string text(4000, 'x');
    text += "rx_outer";
    std::vector<PmuData> records(8000);
    for (std::size_t i = 0; i < records.size(); ++i) {
        records[i].eventName = text.c_str() + i % 4000;
        records[i].count = 1;
    }
    Update(records);
    EXPECT_EQ(scenario.counts, (Counts{{NumaScenario::RX_OUTER, 8000}}));
}

TEST_F(NumaScenarioTest, NothingAboutANameSurvivesTheCall)
{
    char name[] = "uncore_l3c2/rx_ops_num/";
    const std::vector<PmuData> records =
        Records(std::vector<std::pair<const char*, std::uint64_t>>(300, {name, 1}));
    Update(records);
    std::strcpy(name, "uncore_l3c2/rx_outer/");
    Update(records);
    std::strcpy(name, "nothing");
    Update(records);
    EXPECT_EQ(scenario.counts, (Counts{{NumaScenario::RX_OUTER, 300}, {NumaScenario::RX_OPS_NUM, 300}}));
}

TEST_F(NumaScenarioTest, NoAllocationOnceTheEntriesExist)
{
    const auto names = Names(700);
    std::vector<PmuData> records(3000);
    for (std::size_t i = 0; i < records.size(); ++i) {
        records[i].eventName = names[i % 700]->c_str();
    }
    static_cast<void>(Score());
    for (const int len : {0, 1, 3, 7, 8, 48, 300, 3000}) {
        EXPECT_EQ(counting_new::Allocations([&] { scenario.UpdateScoreParam(len, records.data(), 100); }), 0U)
            << len;
    }
    EXPECT_EQ(counting_new::Allocations([&] { static_cast<void>(Score()); }), 0U);
    EXPECT_EQ(counting_new::Allocations([&] { scenario.ResetScoreParam(); }), 0U);
}

TEST_F(NumaScenarioTest, FailingAllocationLeavesThePeriodAsItWas)
{
    const std::vector<PmuData> records = Records({{"rx_ops_num", 10}, {"rx_outer", 1}, {"rx_sccl", 2}});
    const Counts states[] = {{},
                             {{NumaScenario::RX_SCCL, 7}},
                             {{NumaScenario::RX_OUTER, 7}},
                             {{NumaScenario::RX_OUTER, 7}, {NumaScenario::RX_OPS_NUM, 8}}};
    for (const Counts& state : states) {
        Clear();
        scenario.counts = state;
        scenario.interval = 5;
        long failures = 0;
        while (counting_new::FailsAt(failures, [&] { Update(records, 100); })) {
            EXPECT_EQ(scenario.counts, state) << "allocation " << failures;
            EXPECT_EQ(scenario.interval, 5U);
            ++failures;
        }
        EXPECT_EQ(failures, 3 - static_cast<long>(state.size()));
        Counts expected = state;
        AddPlainly(expected, records);
        EXPECT_EQ(scenario.counts, expected);
        EXPECT_EQ(scenario.interval, 105U);
    }
}

}  // namespace
