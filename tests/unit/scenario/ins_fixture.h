// SPDX-License-Identifier: MIT
//
// An instance with a queue, the batches that it is fed, and checks of what it pushes.

#ifndef TESTS_UNIT_SCENARIO_INS_FIXTURE_H
#define TESTS_UNIT_SCENARIO_INS_FIXTURE_H

#include <cstdint>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "scenario/numa_scenario.h"
#include "scenario/numa_scenario_ins.h"

namespace ins_fixture {

using kovari::InstanceRunMessage;
using kovari::NumaScenarioIns;
using kovari::Topic;

inline const std::string UNCORE_KEY = "pmu_uncore_collector::uncore::";
inline const std::string SCORE_KEY = "scenario_numa::system_score::";
inline const Topic SCORE_TOPIC = {"scenario_numa", "system_score", ""};

/// What a host does with published data.
inline void Release(DataList& list)
{
    delete[] list.topic.instanceName;
    delete[] list.topic.topicName;
    delete[] list.topic.params;
    for (std::uint64_t i = 0; i < list.len; ++i) {
        delete static_cast<ScenarioNumaScore*>(list.data[i]);
    }
    delete[] list.data;
    list = {};
}

/// A batch as the collector delivers it.
class UncoreBatch {
public:
    explicit UncoreBatch(const std::vector<std::pair<const char*, std::uint64_t>>& samples,
                         std::int32_t interval = 100)
        : records_(samples.size())
    {
        for (std::size_t i = 0; i < samples.size(); ++i) {
            records_[i].eventName = samples[i].first;
            records_[i].count = samples[i].second;
        }
        batch_.samples = records_.data();
        batch_.count = static_cast<std::int32_t>(records_.size());
        batch_.collectorOwn = -1;
        batch_.interval = interval;
        list.topic.instanceName = instanceName_;
        list.topic.topicName = topicName_;
        list.topic.params = params_;
        list.len = 1;
        list.data = data_;
    }
    UncoreBatch(const UncoreBatch&) = delete;
    UncoreBatch& operator=(const UncoreBatch&) = delete;

    DataList list;

private:
    std::vector<PmuData> records_;
    UncoreSampleBatch batch_;
    char instanceName_[32] = "pmu_uncore_collector";
    char topicName_[32] = "uncore";
    char params_[1] = "";
    void* data_[1] = {&batch_};
};

class NumaScenarioInsTest : public ::testing::Test {
protected:
    NumaScenarioInsTest()
    {
        Clear();
        instance.messageQueue = queue;
    }
    ~NumaScenarioInsTest() override
    {
        while (!queue->messages.empty()) {
            Release(queue->messages.front()->dataList);
            queue->messages.pop_front();
        }
        Clear();
    }

    static void Clear()
    {
        NumaScenario::GetInstance().counts.clear();
        NumaScenario::GetInstance().interval = 0;
    }

    /// The only message in the queue; takes it out.
    std::shared_ptr<InstanceRunMessage> Only()
    {
        EXPECT_EQ(queue->messages.size(), 1U);
        if (queue->messages.empty()) {
            return nullptr;
        }
        std::shared_ptr<InstanceRunMessage> message = queue->messages.front();
        queue->messages.pop_front();
        return message;
    }

    void ExpectOnlyRequest(RunType type)
    {
        const std::shared_ptr<InstanceRunMessage> message = Only();
        ASSERT_NE(message, nullptr);
        EXPECT_EQ(message->flag, 1);
        EXPECT_EQ(message->type, type);
        EXPECT_EQ(message->payload, (std::vector<std::string>{UNCORE_KEY, "scenario_numa"}));
        EXPECT_EQ(message->result.payload, "");
        EXPECT_EQ(message->dataList.topic.instanceName, nullptr);
        EXPECT_EQ(message->dataList.topic.topicName, nullptr);
        EXPECT_EQ(message->dataList.topic.params, nullptr);
        EXPECT_EQ(message->dataList.len, 0U);
        EXPECT_EQ(message->dataList.data, nullptr);
        EXPECT_FALSE(message->finished);
        EXPECT_EQ(message.use_count(), 1) << "the instance keeps none of its messages";
    }

    /// Checks the only message, a publication, against `score` and releases it.
    void ExpectOnlyPublication(const ScenarioNumaScore& score)
    {
        const std::shared_ptr<InstanceRunMessage> message = Only();
        ASSERT_NE(message, nullptr);
        EXPECT_EQ(message->flag, 1);
        EXPECT_EQ(message->type, RunType::PUBLISH_DATA);
        EXPECT_EQ(message->payload, (std::vector<std::string>{SCORE_KEY}));
        EXPECT_EQ(message->result.payload, "");
        EXPECT_FALSE(message->finished);
        EXPECT_EQ(message.use_count(), 1);
        DataList& list = message->dataList;
        EXPECT_STREQ(list.topic.instanceName, "scenario_numa");
        EXPECT_STREQ(list.topic.topicName, "system_score");
        EXPECT_STREQ(list.topic.params, "");
        ASSERT_EQ(list.len, 1U);
        const auto* published = static_cast<const ScenarioNumaScore*>(list.data[0]);
        EXPECT_EQ(published->numaScore, score.numaScore);
        EXPECT_EQ(published->rxOpsNum, score.rxOpsNum);
        EXPECT_EQ(published->rxScclNum, score.rxScclNum);
        EXPECT_EQ(published->rxOuterNum, score.rxOuterNum);
        EXPECT_EQ(published->interval, score.interval);
        Release(list);
    }

    void Open()
    {
        ASSERT_EQ(instance.OpenTopic(SCORE_TOPIC).code, 0);
        ExpectOnlyRequest(RunType::SUBSCRIBE);
    }

    std::shared_ptr<RunMessageQueue> queue = std::make_shared<RunMessageQueue>();
    NumaScenarioIns instance;
};

}  // namespace ins_fixture

#endif  // TESTS_UNIT_SCENARIO_INS_FIXTURE_H
