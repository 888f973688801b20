// SPDX-License-Identifier: MIT

#include "tools/numa_score/period_accumulator.h"

#include <cstdint>
#include <deque>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace {

using namespace numa_score;

host::CounterSample Sample(const char* event, std::string_view pmu, std::uint64_t count, double ratio = 1.0)
{
    host::CounterSample sample{};
    sample.eventName = event;
    sample.pmuName = pmu;
    sample.count = count;
    sample.runningRatio = ratio;
    return sample;
}

host::CounterBatch Batch(std::vector<host::CounterSample> samples)
{
    host::CounterBatch batch;
    batch.samples = std::move(samples);
    return batch;
}

/// The rows as text: name ops/sccl/outer score ratio.
std::vector<std::string> RowsOf(const PeriodAccumulator& accumulator)
{
    std::vector<PmuRow> rows(3);  // leftovers that must go
    accumulator.FillPmus(rows);
    std::vector<std::string> texts;
    for (const PmuRow& row : rows) {
        texts.push_back(std::string(row.name) + ' ' + std::to_string(row.traffic.ops) + '/' +
                        std::to_string(row.traffic.sccl) + '/' + std::to_string(row.traffic.outer) + ' ' +
                        std::to_string(row.score) + ' ' + std::to_string(row.runningRatio));
    }
    return texts;
}

using Texts = std::vector<std::string>;

TEST(PeriodAccumulator, KnowsNothingAtFirst)
{
    const PeriodAccumulator accumulator;
    EXPECT_FALSE(accumulator.Any());
    EXPECT_EQ(RowsOf(accumulator), Texts());
    EXPECT_EQ(accumulator.Facts().samples, 0U);
    EXPECT_EQ(accumulator.Facts().runningRatio, 1.0);
    EXPECT_FALSE(accumulator.Facts().sawOps);
}

TEST(PeriodAccumulator, SpreadsCountsOverPmus)
{
    PeriodAccumulator accumulator;
    const host::CounterBatch batch = Batch({
        Sample("b/rx_ops_num/", "b", 1000),
        Sample("a/rx_ops_num/", "a", 400, 0.5),
        Sample("b/rx_sccl/", "b", 100, 0.75),
        Sample("b/rx_outer/", "b", 150),
    });
    accumulator.Add(batch);
    EXPECT_TRUE(accumulator.Any());
    EXPECT_EQ(RowsOf(accumulator),
              (Texts{"b 1000/100/150 0.750000 0.750000", "a 400/0/0 1.000000 0.500000"}));
    accumulator.Add(batch);
    EXPECT_EQ(RowsOf(accumulator),
              (Texts{"b 2000/200/300 0.750000 0.750000", "a 800/0/0 1.000000 0.500000"}));
    EXPECT_EQ(accumulator.Facts().samples, 8U);
    EXPECT_EQ(accumulator.Facts().runningRatio, 0.5);
    EXPECT_TRUE(accumulator.Facts().sawOps && accumulator.Facts().sawSccl && accumulator.Facts().sawOuter);
}

TEST(PeriodAccumulator, TellsEventsAsThePluginDoes)
{
    struct Case {
        const char* event;
        std::string row;
    };
    const std::vector<Case> cases = {
        {"rx_outer", "p 0/0/7 1.000000 1.000000"},
        {"rx_sccl", "p 0/7/0 1.000000 1.000000"},
        {"rx_ops_num", "p 7/0/0 1.000000 1.000000"},
        {"xrx_ops_number", "p 7/0/0 1.000000 1.000000"},
        {"rx_ops_num+rx_outer", "p 0/0/7 1.000000 1.000000"},
        {"rx_ops_num+rx_sccl", "p 0/7/0 1.000000 1.000000"},
        {"rx_sccl+rx_outer", "p 0/0/7 1.000000 1.000000"},
        {"RX_OPS_NUM", ""},
        {"rx_ops", ""},
        {"", ""},
        {nullptr, ""},
    };
    for (const Case& item : cases) {
        PeriodAccumulator accumulator;
        accumulator.Add(Batch({Sample(item.event, "p", 7, 0.9999)}));
        EXPECT_TRUE(accumulator.Any());
        EXPECT_EQ(RowsOf(accumulator).size(), item.row.empty() ? 0U : 1U);
        if (!item.row.empty()) {
            const std::string ending = " 0.999900";
            EXPECT_EQ(RowsOf(accumulator)[0], item.row.substr(0, item.row.rfind(' ')) + ending) << item.event;
        }
        // What does not go into the score does not speak about its quality.
        EXPECT_EQ(accumulator.Facts().runningRatio, item.row.empty() ? 1.0 : 0.9999);
    }
}

TEST(PeriodAccumulator, HearsOfCountersThatSaidNothing)
{
    PeriodAccumulator accumulator;
    host::CounterBatch batch;
    accumulator.Add(batch);
    EXPECT_FALSE(accumulator.Any());
    batch.notCounted = 2;
    accumulator.Add(batch);
    accumulator.Add(batch);
    EXPECT_TRUE(accumulator.Any());
    EXPECT_EQ(accumulator.Facts().notCounted, 4U);
    accumulator.Reset();
    EXPECT_FALSE(accumulator.Any());
    batch.notCounted = 0;
    batch.missing = 3;
    accumulator.Add(batch);
    EXPECT_TRUE(accumulator.Any());
    EXPECT_EQ(accumulator.Facts().missing, 3U);
}

TEST(PeriodAccumulator, StartsAnewAndKeepsTheOrder)
{
    PeriodAccumulator accumulator;
    accumulator.Add(Batch({Sample("rx_ops_num", "b", 10, 0.5), Sample("rx_ops_num", "a", 20)}));
    accumulator.Reset();
    EXPECT_FALSE(accumulator.Any());
    EXPECT_EQ(RowsOf(accumulator), Texts());
    EXPECT_EQ(accumulator.Facts().runningRatio, 1.0);
    EXPECT_FALSE(accumulator.Facts().sawOps);
    accumulator.Add(Batch({Sample("rx_outer", "a", 3)}));
    EXPECT_EQ(RowsOf(accumulator), (Texts{"a 0/0/3 1.000000 1.000000"}));
    accumulator.Add(Batch({Sample("rx_ops_num", "c", 1), Sample("rx_ops_num", "b", 2)}));
    EXPECT_EQ(RowsOf(accumulator),
              (Texts{"b 2/0/0 1.000000 1.000000", "a 0/0/3 1.000000 1.000000", "c 1/0/0 1.000000 1.000000"}));
}

TEST(PeriodAccumulator, FollowsBatchesThatChangeTheirLook)
{
    const char* const ops = "rx_ops_num";
    const char* const outer = "rx_outer";
    const std::string name = "ab";
    const std::string sameName = "ab";
    PeriodAccumulator accumulator;
    accumulator.Add(Batch({Sample(ops, name, 10), Sample(outer, name, 1)}));
    accumulator.Add(Batch({Sample(outer, name, 1), Sample(ops, name, 10)}));
    accumulator.Add(Batch({Sample(ops, sameName, 10)}));
    // The same address, but a shorter name.
    accumulator.Add(Batch({Sample(ops, std::string_view(sameName).substr(0, 1), 5)}));
    accumulator.Add(Batch({Sample(nullptr, name, 1000)}));
    EXPECT_EQ(RowsOf(accumulator), (Texts{"ab 30/0/2 0.933333 1.000000", "a 5/0/0 1.000000 1.000000"}));
}

TEST(PeriodAccumulator, KeepsNamesOfItsOwn)
{
    PeriodAccumulator accumulator;
    std::vector<PmuRow> rows;
    {
        std::string name = "a name too long for the short string inside";
        accumulator.Add(Batch({Sample("rx_ops_num", name, 1), Sample("rx_ops_num", "", 2)}));
        name.assign(name.size(), 'x');
    }
    accumulator.FillPmus(rows);
    ASSERT_EQ(rows.size(), 2U);
    EXPECT_EQ(rows[0].name, "a name too long for the short string inside");
    EXPECT_EQ(rows[1].name, "");
}

TEST(PeriodAccumulator, PutsPmusBeyondTheLimitTogether)
{
    constexpr std::size_t EXTRA = 3;
    std::deque<std::string> names;
    std::vector<host::CounterSample> samples;
    for (std::size_t i = 0; i < PeriodAccumulator::MAX_PMUS + EXTRA; ++i) {
        names.push_back("pmu" + std::to_string(i));
        samples.push_back(Sample("rx_ops_num", names.back(), 1));
    }
    PeriodAccumulator accumulator;
    for (int period = 0; period < 2; ++period) {
        accumulator.Add(Batch(samples));
        const Texts rows = RowsOf(accumulator);
        ASSERT_EQ(rows.size(), PeriodAccumulator::MAX_PMUS + 1);
        EXPECT_EQ(rows[PeriodAccumulator::MAX_PMUS - 1], "pmu4095 1/0/0 1.000000 1.000000");
        EXPECT_EQ(rows.back(), "(others) 3/0/0 1.000000 1.000000");
        accumulator.Reset();
    }
    // A PMU that has a row keeps it; a PMU that calls itself so is no other than the others.
    accumulator.Add(Batch({Sample("rx_ops_num", "pmu0", 9), Sample("rx_ops_num", "(others)", 4)}));
    EXPECT_EQ(RowsOf(accumulator),
              (Texts{"pmu0 9/0/0 1.000000 1.000000", "(others) 4/0/0 1.000000 1.000000"}));
}

TEST(ScoreOf, IsTheRuleOfThePublishedScore)
{
    struct Case {
        Traffic traffic;
        float score;
    };
    const std::vector<Case> cases = {
        {{0, 0, 0}, 1.0F},
        {{0, 5, 5}, 1.0F},
        {{1000, 0, 0}, 1.0F},
        {{1000, 20, 10}, 0.97F},
        {{1000, 250, 250}, 0.5F},
        {{1000, 500, 500}, 0.0F},
        {{1000, 501, 500}, 0.0F},
        {{1, UINT64_MAX, UINT64_MAX}, 0.0F},
        {{UINT64_MAX, 0, UINT64_MAX / 2}, 0.5F},
        {{UINT64_MAX, 0, 1}, 1.0F},
        // In single precision 16777217 is 16777216.
        {{16777217, 16777216, 0}, 0.0F},
    };
    for (const Case& item : cases) {
        EXPECT_EQ(ScoreOf(item.traffic), item.score) << item.traffic.ops;
    }
}

}  // namespace
