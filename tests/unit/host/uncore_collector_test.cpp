// SPDX-License-Identifier: MIT

#include "host/uncore_collector.h"

#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include <gtest/gtest.h>

#include "host/data_release.h"
#include "tests/support/scripted_source.h"

namespace {

using host::CounterBatch;
using host::CounterSample;
using host::UncoreCollector;
using support::ScriptedSource;
using Status = host::CounterSource::Status;

const kovari::Topic UNCORE{"pmu_uncore_collector", "uncore", ""};

CounterBatch Batch(std::int32_t intervalMs, const std::vector<CounterSample>& samples, bool endsPeriod = true)
{
    CounterBatch batch;
    batch.samples = samples;
    batch.intervalMs = intervalMs;
    batch.endsPeriod = endsPeriod;
    return batch;
}

class UncoreCollectorTest : public testing::Test {
protected:
    ~UncoreCollectorTest() override { ReleaseAll(); }

    void Make(std::vector<CounterBatch> script, Status last = Status::END)
    {
        auto owned = std::make_unique<ScriptedSource>(std::move(script), last);
        source = owned.get();
        collector = std::make_unique<UncoreCollector>(std::move(owned), 100);
        collector->messageQueue = queue;
    }

    void ReleaseAll()
    {
        for (const auto& message : queue->messages) {
            host::ReleaseDataList(message->dataList);
        }
        queue->messages.clear();
    }

    const UncoreSampleBatch& Published(std::size_t i) const
    {
        return *static_cast<const UncoreSampleBatch*>(queue->messages.at(i)->dataList.data[0]);
    }

    ScriptedSource* source = nullptr;
    std::shared_ptr<RunMessageQueue> queue = std::make_shared<RunMessageQueue>();
    std::unique_ptr<UncoreCollector> collector;
};

TEST_F(UncoreCollectorTest, IntroducesItself)
{
    Make({});
    EXPECT_EQ(collector->name, "pmu_uncore_collector");
    EXPECT_EQ(collector->period, 100);
    ASSERT_EQ(collector->supportTopics.size(), 1U);
    EXPECT_EQ(collector->supportTopics[0].instanceName, "pmu_uncore_collector");
    EXPECT_EQ(collector->supportTopics[0].topicName, "uncore");
    EXPECT_EQ(collector->supportTopics[0].params, "");
    EXPECT_EQ(collector->Enable("anything").code, 0);
    EXPECT_EQ(&collector->Source(), source);
    EXPECT_THROW(UncoreCollector(nullptr, 100), std::invalid_argument);
}

TEST_F(UncoreCollectorTest, OpensItsTopicOnly)
{
    Make({});
    for (const kovari::Topic& topic :
         {kovari::Topic{"pmu_uncore_collector", "uncore", "x"},
          kovari::Topic{"pmu_uncore_collector", "core", ""}, kovari::Topic{"scenario_numa", "uncore", ""}}) {
        const Result result = collector->OpenTopic(topic);
        EXPECT_EQ(result.code, -1);
        EXPECT_EQ(result.payload, "no topic \"" + topic.instanceName + "::" + topic.topicName + "::" +
                                      topic.params + "\" here, expected \"pmu_uncore_collector::uncore::\"");
    }
    EXPECT_EQ(collector->OpenTopic(UNCORE).code, 0);
    EXPECT_EQ(collector->OpenTopic(UNCORE).code, 0);
}

TEST_F(UncoreCollectorTest, PublishesABatchAsTheBoundarySays)
{
    const std::string outer = "uncore_l3c0/rx_outer/";
    const std::string ops = "uncore_l3c0/rx_ops_num/";
    Make({Batch(104, {{outer.c_str(), "uncore_l3c0", 7, 0.5}, {ops.c_str(), "uncore_l3c0", ~0ULL, 1.0}})});
    collector->OpenTopic(UNCORE);
    collector->Run();
    ASSERT_EQ(queue->messages.size(), 1U);
    const kovari::InstanceRunMessage& message = *queue->messages[0];
    EXPECT_EQ(message.type, RunType::PUBLISH_DATA);
    EXPECT_EQ(message.flag, 1);
    EXPECT_EQ(message.payload, std::vector<std::string>{"pmu_uncore_collector::uncore::"});
    EXPECT_STREQ(message.dataList.topic.instanceName, "pmu_uncore_collector");
    EXPECT_STREQ(message.dataList.topic.topicName, "uncore");
    EXPECT_STREQ(message.dataList.topic.params, "");
    ASSERT_EQ(message.dataList.len, 1U);
    const UncoreSampleBatch& batch = Published(0);
    EXPECT_EQ(batch.count, 2);
    EXPECT_EQ(batch.interval, 104);
    EXPECT_EQ(batch.samples[0].eventName, outer.c_str());
    EXPECT_EQ(batch.samples[0].count, 7U);
    EXPECT_EQ(batch.samples[1].eventName, ops.c_str());
    EXPECT_EQ(batch.samples[1].count, ~0ULL);
    // One block: the samples follow their header.
    EXPECT_EQ(static_cast<const void*>(batch.samples), static_cast<const void*>(&batch + 1));
    EXPECT_EQ(collector->Batch().intervalMs, 104);
    EXPECT_EQ(collector->SourceStatus(), Status::BATCH);
}

TEST_F(UncoreCollectorTest, PublishesOneBatchPerRun)
{
    Make(
        {Batch(0, {{"rx_outer", "", 1, 1.0}}, false), Batch(100, {{"rx_outer", "", 2, 1.0}}), Batch(50, {})});
    collector->OpenTopic(UNCORE);
    for (std::size_t i = 1; i <= 3; ++i) {
        collector->Run();
        ASSERT_EQ(queue->messages.size(), i);
        EXPECT_EQ(source->reads, i);
    }
    EXPECT_EQ(Published(0).interval, 0);
    EXPECT_EQ(Published(0).samples[0].count, 1U);
    EXPECT_EQ(Published(1).interval, 100);
    EXPECT_EQ(Published(1).samples[0].count, 2U);
    // Without samples the time still counts.
    EXPECT_EQ(Published(2).count, 0);
    EXPECT_EQ(Published(2).interval, 50);
}

TEST_F(UncoreCollectorTest, PublishesNothingAfterTheEnd)
{
    for (const Status last : {Status::END, Status::FAILED}) {
        ReleaseAll();
        Make({Batch(100, {})}, last);
        collector->OpenTopic(UNCORE);
        collector->Run();
        collector->Run();
        collector->Run();
        EXPECT_EQ(queue->messages.size(), 1U);
        EXPECT_EQ(collector->SourceStatus(), last);
        EXPECT_EQ(collector->Fetch(), last);
        EXPECT_EQ(source->reads, 2U);
        // What was published last can still be looked at.
        EXPECT_EQ(collector->Batch().intervalMs, 100);
    }
}

TEST_F(UncoreCollectorTest, ASourceThatWaitsIsAskedAgain)
{
    Make({Batch(100, {}), Batch(50, {})});
    source->waits = true;
    collector->OpenTopic(UNCORE);
    EXPECT_EQ(collector->Fetch(), Status::WAITING);
    EXPECT_EQ(collector->SourceStatus(), Status::WAITING);
    EXPECT_EQ(collector->Fetch(), Status::BATCH);
    collector->Run();
    ASSERT_EQ(queue->messages.size(), 1U);
    collector->Run();
    EXPECT_EQ(queue->messages.size(), 1U) << "nothing to publish yet";
    EXPECT_EQ(collector->Batch().intervalMs, 100) << "what was published last";
    collector->Run();
    ASSERT_EQ(queue->messages.size(), 2U);
    EXPECT_EQ(Published(1).interval, 50);
    EXPECT_EQ(collector->Fetch(), Status::WAITING);
    EXPECT_EQ(collector->Fetch(), Status::END);
    EXPECT_EQ(source->reads, 6U);
}

TEST_F(UncoreCollectorTest, ReadsOnlyWhileTheTopicIsOpen)
{
    Make({Batch(1, {}), Batch(2, {}), Batch(3, {})});
    collector->Run();
    EXPECT_EQ(source->reads, 0U);
    collector->OpenTopic(UNCORE);
    collector->Run();
    collector->CloseTopic({"pmu_uncore_collector", "uncore", "x"});
    collector->Run();
    EXPECT_EQ(queue->messages.size(), 2U);
    collector->CloseTopic(UNCORE);
    collector->Run();
    EXPECT_EQ(queue->messages.size(), 2U);
    collector->OpenTopic(UNCORE);
    collector->Disable();
    collector->Run();
    EXPECT_EQ(queue->messages.size(), 2U);
    EXPECT_EQ(source->reads, 2U);
}

TEST_F(UncoreCollectorTest, AFetchedBatchIsPublishedByTheNextRun)
{
    Make({Batch(1, {}), Batch(2, {})});
    EXPECT_EQ(collector->Fetch(), Status::BATCH);
    EXPECT_EQ(collector->Fetch(), Status::BATCH);
    EXPECT_EQ(source->reads, 1U);
    EXPECT_EQ(collector->Batch().intervalMs, 1);
    collector->Run();
    EXPECT_TRUE(queue->messages.empty());
    collector->OpenTopic(UNCORE);
    collector->Run();
    EXPECT_EQ(source->reads, 1U);
    ASSERT_EQ(queue->messages.size(), 1U);
    EXPECT_EQ(Published(0).interval, 1);
    EXPECT_EQ(collector->Fetch(), Status::BATCH);
    EXPECT_EQ(collector->Batch().intervalMs, 2);
    collector->Run();
    EXPECT_EQ(Published(1).interval, 2);
    EXPECT_EQ(collector->Fetch(), Status::END);
    EXPECT_EQ(collector->Batch().intervalMs, 2);
}

TEST_F(UncoreCollectorTest, WithoutAQueueTheBatchIsKept)
{
    Make({Batch(1, {}), Batch(2, {})});
    collector->messageQueue = nullptr;
    collector->OpenTopic(UNCORE);
    try {
        collector->Run();
        FAIL() << "Run pushed on a queue that was never set";
    } catch (const std::system_error& error) {
        EXPECT_EQ(error.code(), std::errc::operation_not_permitted);
    }
    collector->messageQueue = queue;
    collector->Run();
    ASSERT_EQ(queue->messages.size(), 1U);
    EXPECT_EQ(Published(0).interval, 1);
}

}  // namespace
