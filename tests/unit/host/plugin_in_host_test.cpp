// SPDX-License-Identifier: MIT
//
// The real plug-in, loaded from its file, driven by the host with a collector whose counts are scripted.

#include <cstdint>
#include <cstring>

#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/message_pump.h"
#include "host/plugin_loader.h"
#include "host/uncore_collector.h"
#include "scenario/numa_scenario.h"
#include "tests/support/manual_clock.h"
#include "tests/support/scripted_source.h"

namespace {

using host::Call;
using host::CounterBatch;
using host::CounterSample;
using testing::IsEmpty;

const kovari::Topic SCORE{"scenario_numa", "system_score", ""};

CounterBatch Batch(std::int32_t intervalMs, std::uint64_t outer, std::uint64_t sccl, std::uint64_t ops)
{
    CounterBatch batch;
    batch.intervalMs = intervalMs;
    batch.samples = {{"uncore_l3c0/rx_outer/", "uncore_l3c0", outer, 1.0},
                     {"uncore_l3c0/rx_sccl/", "uncore_l3c0", sccl, 1.0},
                     {"uncore_l3c0/rx_ops_num/", "uncore_l3c0", ops, 1.0},
                     {"uncore_l3c0/other/", "uncore_l3c0", 12345, 1.0}};
    return batch;
}

struct Expected {
    std::uint32_t scoreBits;
    std::uint64_t ops;
    std::uint64_t sccl;
    std::uint64_t outer;
    std::uint64_t interval;
};

std::uint32_t BitsOf(float value)
{
    std::uint32_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

TEST(PluginInHost, PublishesTheScoresOfTheScriptToTheBit)
{
    const host::LoadResult loaded = host::LoadPlugin(PLUGIN_FILE);
    ASSERT_NE(loaded.plugin, nullptr) << loaded.message;
    ASSERT_EQ(loaded.plugin->Instances().size(), 1U);
    const std::shared_ptr<kovari::Interface> scenario = loaded.plugin->Instances()[0];

    const auto collector = std::make_shared<host::UncoreCollector>(
        std::make_unique<support::ScriptedSource>(
            std::vector<CounterBatch>{Batch(100, 30, 20, 100), Batch(101, 80, 40, 100), Batch(99, 0, 0, 0),
                                      Batch(100, 1, 0, 3), Batch(100, 0, 7, 7), Batch(100, 1, 2, 16777217)}),
        100);

    support::ManualClock clock;
    std::vector<std::string> remarks;
    std::vector<ScenarioNumaScore> scores;
    std::uint64_t faults = 0;
    {
        host::MessagePump pump(clock, [&](const std::string& line) { remarks.push_back(line); });
        ASSERT_TRUE(pump.Add(collector));
        ASSERT_TRUE(pump.Add(scenario));
        ASSERT_TRUE(pump.Listen(SCORE, [&](const DataList& list) {
            ASSERT_EQ(list.len, 1U);
            scores.push_back(*static_cast<const ScenarioNumaScore*>(list.data[0]));
        }));
        for (int period = 0; period < 7; ++period) {
            clock.SleepUntilNs(pump.NextDueNs());
            pump.RunDue();
        }
        EXPECT_EQ(pump.Stats(*scenario, Call::RUN).calls, 7U);
        EXPECT_EQ(pump.Stats(*scenario, Call::UPDATE_DATA).calls, 6U);
        pump.Shutdown();
        EXPECT_EQ(pump.Stats(*collector, Call::CLOSE_TOPIC).calls, 1U);
        faults = pump.Faults();
    }
    EXPECT_THAT(remarks, IsEmpty());
    EXPECT_EQ(faults, 0U);

    const std::vector<Expected> expected = {
        {0x3F000000U, 100, 20, 30, 100},     // 0.5
        {0x00000000U, 100, 40, 80, 101},     // more remote than operations: 0
        {0x3F800000U, 0, 0, 0, 99},          // idle: 1
        {0x3F2AAAAAU, 3, 0, 1, 100},         // 1 - 1/3
        {0x00000000U, 7, 7, 0, 100},         // all of it remote
        {0x3F7FFFFDU, 16777217, 2, 1, 100},  // 1 - 3/2^24 in single precision
        {0x3F800000U, 0, 0, 0, 0},           // the source has ended
    };
    ASSERT_EQ(scores.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        EXPECT_EQ(BitsOf(scores[i].numaScore), expected[i].scoreBits) << i;
        EXPECT_EQ(scores[i].rxOpsNum, expected[i].ops) << i;
        EXPECT_EQ(scores[i].rxScclNum, expected[i].sccl) << i;
        EXPECT_EQ(scores[i].rxOuterNum, expected[i].outer) << i;
        EXPECT_EQ(scores[i].interval, expected[i].interval) << i;
    }
}

}  // namespace
