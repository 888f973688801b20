// SPDX-License-Identifier: MIT
//
// What the instance does with data: batches in, scores out, and who owns the memory.

#include "scenario/numa_scenario_ins.h"

#include <cstdint>

#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "scenario/numa_scenario.h"
#include "tests/unit/scenario/counting_new.h"
#include "tests/unit/scenario/ins_fixture.h"

namespace {

using ins_fixture::NumaScenarioInsTest;
using ins_fixture::Release;
using ins_fixture::SCORE_TOPIC;
using ins_fixture::UncoreBatch;
using kovari::InstanceRunMessage;

TEST_F(NumaScenarioInsTest, UpdateDataTakesUncoreBatchesOfAnyPublisher)
{
    const auto& counts = NumaScenario::GetInstance().counts;
    UncoreBatch batch({{"uncore_l3c2/rx_outer/", 30}, {"uncore_l3c2/rx_ops_num/", 100}});
    instance.UpdateData(batch.list);
    EXPECT_EQ(counts.at(NumaScenario::RX_OUTER), 30U);
    char other[] = "somebody";
    batch.list.topic.instanceName = other;
    batch.list.topic.params = other;
    instance.UpdateData(batch.list);
    batch.list.topic.instanceName = nullptr;
    batch.list.topic.params = nullptr;
    instance.UpdateData(batch.list);
    EXPECT_EQ(counts.at(NumaScenario::RX_OUTER), 90U);
    EXPECT_EQ(counts.at(NumaScenario::RX_OPS_NUM), 300U);
    EXPECT_EQ(counts.size(), 2U);
    EXPECT_EQ(NumaScenario::GetInstance().interval, 300U);
    EXPECT_TRUE(queue->messages.empty());
}

TEST_F(NumaScenarioInsTest, UpdateDataConsultsNoLengthAndReadsTheFirstEntryOnly)
{
    UncoreBatch batch({{"rx_outer", 1}});
    for (const std::uint64_t len :
         {std::uint64_t{0}, std::uint64_t{5}, std::numeric_limits<std::uint64_t>::max()}) {
        batch.list.len = len;
        instance.UpdateData(batch.list);
    }
    EXPECT_EQ(NumaScenario::GetInstance().counts.at(NumaScenario::RX_OUTER), 3U);
}

TEST_F(NumaScenarioInsTest, UpdateDataIgnoresOtherTopics)
{
    UncoreBatch batch({{"rx_outer", 1}});
    for (const char* topic : {"", "uncor", "uncore2", "uncore ", "Uncore", "system_score"}) {
        std::string text = topic;
        batch.list.topic.topicName = text.data();
        instance.UpdateData(batch.list);
        batch.list.data = nullptr;  // other people's data is not even looked at
        instance.UpdateData(batch.list);
    }
    EXPECT_TRUE(NumaScenario::GetInstance().counts.empty());
    EXPECT_EQ(NumaScenario::GetInstance().interval, 0U);
}

TEST_F(NumaScenarioInsTest, UpdateDataWithoutTopicNameRaisesLogicError)
{
    UncoreBatch batch({{"rx_outer", 1}});
    batch.list.topic.topicName = nullptr;
    EXPECT_THROW(instance.UpdateData(batch.list), std::logic_error);
    EXPECT_THROW(instance.UpdateData(DataList{}), std::logic_error);
    EXPECT_TRUE(NumaScenario::GetInstance().counts.empty());
    EXPECT_EQ(NumaScenario::GetInstance().interval, 0U);
}

TEST_F(NumaScenarioInsTest, UpdateDataSkipsMissingData)
{
    UncoreBatch batch({{"rx_outer", 1}});
    batch.list.data = nullptr;
    instance.UpdateData(batch.list);
    void* nothing[1] = {nullptr};
    batch.list.data = nothing;
    instance.UpdateData(batch.list);
    EXPECT_TRUE(NumaScenario::GetInstance().counts.empty());
    EXPECT_EQ(NumaScenario::GetInstance().interval, 0U);
}

TEST_F(NumaScenarioInsTest, UpdateDataCountsTheIntervalOfBatchesWithoutRecords)
{
    char topic[] = "uncore";
    DataList list;
    list.topic.topicName = topic;
    const struct {
        UncoreSampleBatch batch;
        std::uint64_t sum;
    } steps[] = {
        {{nullptr, 0, 0, 100}, 100},
        {{nullptr, 3, 0, 100}, 200},
        {{nullptr, -3, 0, 100}, 300},
        {{nullptr, 0, 77, -301}, std::numeric_limits<std::uint64_t>::max()},
    };
    for (const auto& step : steps) {
        UncoreSampleBatch copy = step.batch;
        void* data[1] = {&copy};
        list.data = data;
        instance.UpdateData(list);
        EXPECT_EQ(NumaScenario::GetInstance().interval, step.sum);
    }
    EXPECT_TRUE(NumaScenario::GetInstance().counts.empty());
}

TEST_F(NumaScenarioInsTest, RunWhileClosedDoesNothing)
{
    UncoreBatch batch({{"rx_outer", 30}});
    instance.UpdateData(batch.list);
    instance.Run();
    EXPECT_TRUE(queue->messages.empty());
    EXPECT_EQ(NumaScenario::GetInstance().counts.size(), 1U) << "no score was asked for";
    EXPECT_EQ(NumaScenario::GetInstance().counts.at(NumaScenario::RX_OUTER), 30U);
    EXPECT_EQ(NumaScenario::GetInstance().interval, 100U);
    instance.messageQueue.reset();
    instance.Run();
}

TEST_F(NumaScenarioInsTest, RunPublishesThePeriodAndStartsTheNext)
{
    Open();
    UncoreBatch batch(
        {{"uncore_l3c2/rx_outer/", 30}, {"uncore_l3c2/rx_sccl/", 20}, {"uncore_l3c2/rx_ops_num/", 100}}, 50);
    instance.UpdateData(batch.list);
    instance.UpdateData(batch.list);
    instance.Run();
    EXPECT_EQ(NumaScenario::GetInstance().interval, 0U);
    for (const auto& entry : NumaScenario::GetInstance().counts) {
        EXPECT_EQ(entry.second, 0U);
    }
    ExpectOnlyPublication({0.5F, 200, 40, 60, 100});
    instance.Run();
    ExpectOnlyPublication({1.0F, 0, 0, 0, 0});
    instance.CloseTopic(SCORE_TOPIC);
    ExpectOnlyRequest(RunType::UNSUBSCRIBE);
    instance.Run();
    EXPECT_TRUE(queue->messages.empty());
}

TEST_F(NumaScenarioInsTest, PublicationsShareNoMemory)
{
    Open();
    instance.Run();
    instance.Run();
    ASSERT_EQ(queue->messages.size(), 2U);
    const DataList& first = queue->messages[0]->dataList;
    const DataList& second = queue->messages[1]->dataList;
    EXPECT_NE(first.topic.instanceName, second.topic.instanceName);
    EXPECT_NE(first.topic.topicName, second.topic.topicName);
    EXPECT_NE(first.topic.params, second.topic.params);
    EXPECT_NE(first.data, second.data);
    EXPECT_NE(first.data[0], second.data[0]);
    EXPECT_NE(static_cast<const void*>(first.topic.instanceName), instance.publishTopic.instanceName.data());
}

TEST_F(NumaScenarioInsTest, PublishesThePublishTopicAsItIsNow)
{
    Open();
    instance.publishTopic = {"scenario_numa", std::string(5000, 't'), "p"};
    instance.Run();
    const std::shared_ptr<InstanceRunMessage> message = Only();
    ASSERT_NE(message, nullptr);
    EXPECT_STREQ(message->dataList.topic.topicName, std::string(5000, 't').c_str());
    EXPECT_STREQ(message->dataList.topic.params, "p");
    EXPECT_EQ(message->payload,
              (std::vector<std::string>{"scenario_numa::" + std::string(5000, 't') + "::p"}));
    Release(message->dataList);
}

TEST_F(NumaScenarioInsTest, BatchesTakeNoHeapBlockOnceTheEntriesExist)
{
    UncoreBatch batch({{"rx_outer", 30}, {"rx_sccl", 20}, {"rx_ops_num", 100}});
    instance.UpdateData(batch.list);
    for (int i = 0; i < 10; ++i) {
        EXPECT_EQ(counting_new::Allocations([&] { instance.UpdateData(batch.list); }), 0U);
    }
}

TEST_F(NumaScenarioInsTest, RunTakesAtMostNineHeapBlocksBesidesTheQueuesOwn)
{
    constexpr std::size_t RUNS = 1000;
    Open();
    UncoreBatch batch({{"rx_outer", 30}, {"rx_sccl", 20}, {"rx_ops_num", 100}});
    instance.UpdateData(batch.list);
    std::size_t withQueueBlock = 0;
    for (std::size_t i = 0; i < RUNS; ++i) {
        const std::size_t taken = counting_new::Allocations([this] { instance.Run(); });
        ASSERT_LE(taken, 9U + 1U) << "run " << i;
        withQueueBlock += taken > 9 ? 1U : 0U;
        Release(queue->messages.front()->dataList);
        queue->messages.pop_front();
    }
    // The deque takes a block of 512 bytes for every 32 messages.
    EXPECT_LE(withQueueBlock, RUNS / 32 + 1);
}

TEST_F(NumaScenarioInsTest, FailingAllocationInRunPublishesNothingAndLosesNothing)
{
    Open();
    UncoreBatch batch({{"rx_outer", 30}, {"rx_ops_num", 100}});
    instance.UpdateData(batch.list);
    long failures = 0;
    while (counting_new::FailsAt(failures, [this] { instance.Run(); })) {
        EXPECT_TRUE(queue->messages.empty()) << "allocation " << failures;
        EXPECT_EQ(NumaScenario::GetInstance().counts.at(NumaScenario::RX_OUTER), 30U);
        EXPECT_EQ(NumaScenario::GetInstance().interval, 100U);
        ++failures;
    }
    EXPECT_GE(failures, 6) << "three texts, the array, the score and the message at least";
    ScenarioNumaScore expected;
    expected.numaScore = 1.0F - 30.0F / 100.0F;
    expected.rxOpsNum = 100;
    expected.rxOuterNum = 30;
    expected.interval = 100;
    ExpectOnlyPublication(expected);
}

}  // namespace
