// SPDX-License-Identifier: MIT
//
// Topics, subscription and the queue. What the instance does with data is tested in
// numa_scenario_ins_data_test.cpp.

#include "scenario/numa_scenario_ins.h"

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <system_error>
#include <thread>
#include <type_traits>
#include <unordered_set>
#include <vector>

#include <gtest/gtest.h>

#include "scenario/numa_scenario.h"
#include "tests/unit/scenario/ins_fixture.h"

namespace {

using ins_fixture::NumaScenarioInsTest;
using ins_fixture::SCORE_TOPIC;
using ins_fixture::UNCORE_KEY;
using ins_fixture::UncoreBatch;
using kovari::InstanceRunMessage;
using kovari::NumaScenarioIns;
using kovari::Topic;

const Topic FOREIGN_TOPICS[] = {
    {"scenario_numa", "system_score", "x"},
    {"scenario_numa", "system_score", " "},
    {"scenario_numa ", "system_score", ""},
    {"Scenario_numa", "system_score", ""},
    {"", "system_score", ""},
    {"scenario_numa", "System_score", ""},
    {"scenario_numa", "system_score2", ""},
    {"scenario_numa", "system_scor", ""},
    {"scenario_numa", "", ""},
    {"scenario_numa", std::string("system_score\0", 13), ""},
    {"pmu_uncore_collector", "uncore", ""},
    {"", "", ""},
};

TEST_F(NumaScenarioInsTest, ConstructedValues)
{
    const NumaScenarioIns fresh;
    EXPECT_EQ(fresh.name, "scenario_numa");
    EXPECT_EQ(fresh.version, "v1.0");
    EXPECT_EQ(fresh.description,
              "scenario_numa instance is used to evaluate the proportion of memory access across numa in a "
              "system.\n");
    EXPECT_EQ(fresh.priority, 1);
    EXPECT_EQ(fresh.type, 8);
    EXPECT_EQ(fresh.period, 100);
    EXPECT_EQ(fresh.messageQueue, nullptr);
    ASSERT_EQ(fresh.supportTopics.size(), 1U);
    EXPECT_EQ(fresh.supportTopics[0].instanceName, "scenario_numa");
    EXPECT_EQ(fresh.supportTopics[0].topicName, "system_score");
    EXPECT_EQ(fresh.supportTopics[0].params, "");
    EXPECT_EQ(fresh.publishTopic.instanceName, "scenario_numa");
    EXPECT_EQ(fresh.publishTopic.topicName, "system_score");
    EXPECT_EQ(fresh.publishTopic.params, "");
    EXPECT_EQ(fresh.subscribeTopic.instanceName, "pmu_uncore_collector");
    EXPECT_EQ(fresh.subscribeTopic.topicName, "uncore");
    EXPECT_EQ(fresh.subscribeTopic.params, "");
    EXPECT_EQ(fresh.topicName, "system_score");
    EXPECT_FALSE(fresh.opened);
    EXPECT_TRUE(fresh.subscribedTopics.empty());
}

TEST_F(NumaScenarioInsTest, MembersFollowTheBaseClassInOrder)
{
    const auto offset = [this](const void* member) {
        return static_cast<const char*>(member) - reinterpret_cast<const char*>(&instance);
    };
    EXPECT_TRUE((std::is_base_of_v<kovari::Interface, NumaScenarioIns>));
    EXPECT_EQ(offset(static_cast<kovari::Interface*>(&instance)), 0);
    EXPECT_EQ(offset(&instance.subscribedTopics), static_cast<std::ptrdiff_t>(sizeof(kovari::Interface)));
    EXPECT_EQ(offset(&instance.subscribeTopic) - offset(&instance.subscribedTopics),
              static_cast<std::ptrdiff_t>(sizeof(std::unordered_set<std::string>)));
    EXPECT_EQ(offset(&instance.publishTopic) - offset(&instance.subscribeTopic),
              static_cast<std::ptrdiff_t>(sizeof(Topic)));
    EXPECT_EQ(offset(&instance.opened) - offset(&instance.publishTopic),
              static_cast<std::ptrdiff_t>(sizeof(Topic)));
    EXPECT_EQ(offset(&instance.topicName) - offset(&instance.opened), 8);
}

TEST_F(NumaScenarioInsTest, OpenTopicSubscribesOnce)
{
    for (int round = 0; round < 2; ++round) {
        const Result result = instance.OpenTopic(SCORE_TOPIC);
        EXPECT_EQ(result.code, 0);
        EXPECT_EQ(result.payload, "");
        EXPECT_TRUE(instance.opened);
        EXPECT_EQ(instance.subscribedTopics, (std::unordered_set<std::string>{UNCORE_KEY}));
    }
    ExpectOnlyRequest(RunType::SUBSCRIBE);
}

TEST_F(NumaScenarioInsTest, OpenTopicRefusesEveryOtherTopic)
{
    for (const bool opened : {false, true}) {
        if (opened) {
            Open();
        }
        for (const Topic& topic : FOREIGN_TOPICS) {
            const Result result = instance.OpenTopic(topic);
            EXPECT_EQ(result.code, -1) << topic.instanceName << "/" << topic.topicName << "/" << topic.params;
            EXPECT_EQ(result.payload, "OpenTopic failed, topic name is not match!");
            EXPECT_EQ(instance.opened, opened);
            EXPECT_EQ(instance.subscribedTopics.size(), opened ? 1U : 0U);
        }
        EXPECT_TRUE(queue->messages.empty());
    }
}

TEST_F(NumaScenarioInsTest, TopicIsComparedWithTheMembers)
{
    instance.name = "renamed";
    EXPECT_EQ(instance.OpenTopic(SCORE_TOPIC).code, -1);
    EXPECT_EQ(instance.OpenTopic({"renamed", "system_score", ""}).code, 0);
    const std::shared_ptr<InstanceRunMessage> message = Only();
    ASSERT_NE(message, nullptr);
    EXPECT_EQ(message->payload, (std::vector<std::string>{UNCORE_KEY, "renamed"}));
}

TEST_F(NumaScenarioInsTest, CloseTopicUnsubscribesOnce)
{
    Open();
    instance.CloseTopic(SCORE_TOPIC);
    EXPECT_FALSE(instance.opened);
    EXPECT_TRUE(instance.subscribedTopics.empty());
    instance.CloseTopic(SCORE_TOPIC);
    instance.Disable();
    ExpectOnlyRequest(RunType::UNSUBSCRIBE);
}

TEST_F(NumaScenarioInsTest, CloseTopicIgnoresEveryOtherTopic)
{
    Open();
    for (const Topic& topic : FOREIGN_TOPICS) {
        instance.CloseTopic(topic);
        EXPECT_TRUE(instance.opened) << topic.instanceName << "/" << topic.topicName << "/" << topic.params;
        EXPECT_EQ(instance.subscribedTopics.count(UNCORE_KEY), 1U);
    }
    EXPECT_TRUE(queue->messages.empty());
}

TEST_F(NumaScenarioInsTest, CloseTopicWithoutOpenSendsNothing)
{
    instance.CloseTopic(SCORE_TOPIC);
    EXPECT_FALSE(instance.opened);
    EXPECT_TRUE(queue->messages.empty());
}

TEST_F(NumaScenarioInsTest, ReopeningSubscribesAgain)
{
    for (int round = 0; round < 3; ++round) {
        Open();
        instance.CloseTopic(SCORE_TOPIC);
        ExpectOnlyRequest(RunType::UNSUBSCRIBE);
    }
}

TEST_F(NumaScenarioInsTest, EnableDoesNothing)
{
    for (const char* param : {"", "anything", "cmd: -h"}) {
        const Result result = instance.Enable(param);
        EXPECT_EQ(result.code, 0);
        EXPECT_EQ(result.payload, "");
    }
    EXPECT_TRUE(queue->messages.empty());
    EXPECT_FALSE(instance.opened);
    EXPECT_TRUE(instance.subscribedTopics.empty());
    instance.messageQueue.reset();
    EXPECT_EQ(instance.Enable("").code, 0);
}

TEST_F(NumaScenarioInsTest, DisableUnsubscribesAndStaysOpen)
{
    instance.Disable();
    EXPECT_TRUE(queue->messages.empty());
    Open();
    instance.Disable();
    ExpectOnlyRequest(RunType::UNSUBSCRIBE);
    EXPECT_TRUE(instance.opened);
    EXPECT_TRUE(instance.subscribedTopics.empty());
    instance.Run();
    ExpectOnlyPublication({1.0F, 0, 0, 0, 0});
    instance.Disable();
    EXPECT_TRUE(queue->messages.empty());
    EXPECT_EQ(instance.OpenTopic(SCORE_TOPIC).code, 0);
    ExpectOnlyRequest(RunType::SUBSCRIBE);
}

TEST_F(NumaScenarioInsTest, SubscriptionIsIndependentOfOpened)
{
    Open();
    instance.Disable();
    ExpectOnlyRequest(RunType::UNSUBSCRIBE);
    instance.CloseTopic(SCORE_TOPIC);
    EXPECT_FALSE(instance.opened);
    EXPECT_TRUE(queue->messages.empty());
}

TEST_F(NumaScenarioInsTest, MessagesAreAppendedAtTheBack)
{
    ASSERT_EQ(instance.OpenTopic(SCORE_TOPIC).code, 0);
    instance.Run();
    instance.CloseTopic(SCORE_TOPIC);
    ASSERT_EQ(queue->messages.size(), 3U);
    EXPECT_EQ(queue->messages[0]->type, RunType::SUBSCRIBE);
    EXPECT_EQ(queue->messages[1]->type, RunType::PUBLISH_DATA);
    EXPECT_EQ(queue->messages[2]->type, RunType::UNSUBSCRIBE);
}

TEST_F(NumaScenarioInsTest, PushWakesAWaitingHost)
{
    std::unique_lock<std::mutex> lock(queue->mutex);
    std::thread plugin([this] { static_cast<void>(instance.OpenTopic(SCORE_TOPIC)); });
    // The push cannot come before the wait, which gives the mutex back.
    std::cv_status status = std::cv_status::no_timeout;
    while (queue->messages.empty() && status == std::cv_status::no_timeout) {
        status = queue->condition.wait_for(lock, std::chrono::seconds(60));
    }
    EXPECT_EQ(status, std::cv_status::no_timeout);
    EXPECT_EQ(queue->messages.size(), 1U);
    lock.unlock();
    plugin.join();
}

TEST_F(NumaScenarioInsTest, DestructionSendsNothing)
{
    {
        NumaScenarioIns other;
        other.messageQueue = queue;
        ASSERT_EQ(other.OpenTopic(SCORE_TOPIC).code, 0);
        ExpectOnlyRequest(RunType::SUBSCRIBE);
    }
    EXPECT_TRUE(queue->messages.empty());
    EXPECT_EQ(queue.use_count(), 2) << "destruction gives the queue back";
}

TEST_F(NumaScenarioInsTest, InstancesShareOnePeriod)
{
    NumaScenarioIns other;
    other.messageQueue = queue;
    Open();
    UncoreBatch batch({{"rx_ops_num", 4}});
    other.UpdateData(batch.list);
    instance.Run();
    ExpectOnlyPublication({1.0F, 4, 0, 0, 100});
}

/// The queue was never set.
class WithoutQueueTest : public NumaScenarioInsTest {
protected:
    WithoutQueueTest() { instance.messageQueue.reset(); }

    template <class Action>
    static void ExpectNotPermitted(Action&& action)
    {
        try {
            action();
            ADD_FAILURE() << "nothing was raised";
        } catch (const std::system_error& error) {
            EXPECT_EQ(error.code(), std::errc::operation_not_permitted);
        }
    }
};

TEST_F(WithoutQueueTest, OpenTopicHasSubscribed)
{
    ExpectNotPermitted([this] { static_cast<void>(instance.OpenTopic(SCORE_TOPIC)); });
    EXPECT_TRUE(instance.opened);
    EXPECT_EQ(instance.subscribedTopics, (std::unordered_set<std::string>{UNCORE_KEY}));
    EXPECT_EQ(instance.OpenTopic(SCORE_TOPIC).code, 0) << "it counts as subscribed: nothing is sent again";
}

TEST_F(WithoutQueueTest, CloseTopicHasUnsubscribedAndIsStillOpen)
{
    instance.opened = true;
    instance.subscribedTopics = {UNCORE_KEY};
    ExpectNotPermitted([this] { instance.CloseTopic(SCORE_TOPIC); });
    EXPECT_TRUE(instance.opened);
    EXPECT_TRUE(instance.subscribedTopics.empty());
    instance.CloseTopic(SCORE_TOPIC);
    EXPECT_FALSE(instance.opened);
}

TEST_F(WithoutQueueTest, DisableHasUnsubscribed)
{
    instance.opened = true;
    instance.subscribedTopics = {UNCORE_KEY};
    ExpectNotPermitted([this] { instance.Disable(); });
    EXPECT_TRUE(instance.opened);
    EXPECT_TRUE(instance.subscribedTopics.empty());
    instance.Disable();
}

TEST_F(WithoutQueueTest, RunHasComputedTheScoreButNotResetThePeriod)
{
    UncoreBatch batch({{"rx_outer", 30}});
    instance.UpdateData(batch.list);
    instance.opened = true;
    ExpectNotPermitted([this] { instance.Run(); });
    const NumaScenario& scenario = NumaScenario::GetInstance();
    EXPECT_EQ(scenario.counts.size(), 3U);
    EXPECT_EQ(scenario.counts.at(NumaScenario::RX_OUTER), 30U);
    EXPECT_EQ(scenario.interval, 100U);
    instance.messageQueue = queue;
    instance.Run();
    ExpectOnlyPublication({1.0F, 0, 0, 30, 100});
}

}  // namespace
