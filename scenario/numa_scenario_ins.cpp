// SPDX-License-Identifier: MIT

#include "scenario/numa_scenario_ins.h"

#include <memory>
#include <mutex>
#include <new>
#include <stdexcept>
#include <system_error>
#include <utility>
#include <vector>

#include <safe_str_lib.h>

#include "scenario/numa_scenario.h"

namespace kovari {
namespace {

std::string KeyOf(const Topic& topic)
{
    return Concat({topic.instanceName, topic.topicName, topic.params}, "::");
}

/// Appends `message` to the host's queue and wakes the host. A queue that was never set raises
/// std::system_error: locking through the null pointer would be undefined and crashes with some compilers.
void Push(RunMessageQueue* queue, std::shared_ptr<InstanceRunMessage> message)
{
    if (queue == nullptr) {
        throw std::system_error(std::make_error_code(std::errc::operation_not_permitted));
    }
    const std::unique_lock<std::mutex> lock(queue->mutex);
    queue->messages.push_back(std::move(message));
    queue->condition.notify_one();
}

std::shared_ptr<InstanceRunMessage> Request(const NumaScenarioIns& instance, RunType type,
                                            const std::string& key)
{
    std::vector<std::string> payload;
    payload.reserve(2);
    payload.push_back(key);
    payload.push_back(instance.name);
    return std::make_shared<InstanceRunMessage>(type, std::move(payload));
}

// A host without a queue does not undo what was noted. Memory that runs out does: the request never reached
// the host, and the next call has to send it.

void Subscribe(NumaScenarioIns& instance, const Topic& topic)
{
    const std::string key = KeyOf(topic);
    if (instance.subscribedTopics.count(key) != 0) {
        return;
    }
    auto request = Request(instance, RunType::SUBSCRIBE, key);
    instance.subscribedTopics.insert(key);
    try {
        Push(instance.messageQueue.get(), std::move(request));
    } catch (const std::bad_alloc&) {
        instance.subscribedTopics.erase(key);
        throw;
    }
}

void Unsubscribe(NumaScenarioIns& instance, const Topic& topic)
{
    const std::string key = KeyOf(topic);
    if (instance.subscribedTopics.count(key) == 0) {
        return;
    }
    auto request = Request(instance, RunType::UNSUBSCRIBE, key);
    auto noted = instance.subscribedTopics.extract(key);
    try {
        Push(instance.messageQueue.get(), std::move(request));
    } catch (const std::bad_alloc&) {
        instance.subscribedTopics.insert(std::move(noted));
        throw;
    }
}

bool IsPublished(const NumaScenarioIns& instance, const Topic& topic)
{
    return topic.instanceName == instance.name && topic.topicName == instance.topicName &&
           topic.params.empty();
}

std::unique_ptr<char[]> CopyText(const std::string& text)
{
    const std::size_t size = text.size() + 1;
    std::unique_ptr<char[]> copy(new char[size]);
    strcpy_s(copy.get(), size, text.c_str());
    return copy;
}

}  // namespace

NumaScenarioIns::NumaScenarioIns()
    : subscribeTopic{"pmu_uncore_collector", "uncore", ""},
      publishTopic{"scenario_numa", "system_score", ""},
      topicName("system_score")
{
    name = "scenario_numa";
    version = "v1.0";
    description =
        "scenario_numa instance is used to evaluate the proportion of memory access across numa in a "
        "system.\n";
    priority = 1;
    type = 8;
    period = 100;
    supportTopics.push_back(publishTopic);
}

NumaScenarioIns::~NumaScenarioIns() = default;

Result NumaScenarioIns::OpenTopic(const Topic& topic)
{
    if (!IsPublished(*this, topic)) {
        return {-1, "OpenTopic failed, topic name is not match!"};
    }
    const bool openedBefore = opened;
    opened = true;
    try {
        Subscribe(*this, subscribeTopic);
    } catch (const std::bad_alloc&) {
        opened = openedBefore;
        throw;
    }
    return {0, ""};
}

void NumaScenarioIns::CloseTopic(const Topic& topic)
{
    if (!IsPublished(*this, topic)) {
        return;
    }
    Unsubscribe(*this, subscribeTopic);
    opened = false;
}

void NumaScenarioIns::UpdateData(const DataList& dataList)
{
    if (dataList.topic.topicName == nullptr) {
        throw std::logic_error("UpdateData: the topic name is null");
    }
    if (subscribeTopic.topicName != dataList.topic.topicName) {
        return;
    }
    if (dataList.data == nullptr || dataList.data[0] == nullptr) {
        return;
    }
    const auto* batch = static_cast<const UncoreSampleBatch*>(dataList.data[0]);
    NumaScenario::GetInstance().UpdateScoreParam(batch->count, batch->samples, batch->interval);
}

Result NumaScenarioIns::Enable(const std::string& /*param*/)
{
    return {0, ""};
}

void NumaScenarioIns::Disable()
{
    Unsubscribe(*this, subscribeTopic);
}

void NumaScenarioIns::Run()
{
    if (!opened) {
        return;
    }
    std::unique_ptr<char[]> instanceName = CopyText(publishTopic.instanceName);
    std::unique_ptr<char[]> publishedName = CopyText(publishTopic.topicName);
    std::unique_ptr<char[]> params = CopyText(publishTopic.params);
    std::unique_ptr<void*[]> data(new void*[1]);
    auto score = std::make_unique<ScenarioNumaScore>();
    NumaScenario::GetInstance().GetNumaScore(*score);
    data[0] = score.get();

    std::vector<std::string> payload;
    payload.push_back(KeyOf(publishTopic));
    auto message = std::make_shared<InstanceRunMessage>(RunType::PUBLISH_DATA, std::move(payload));
    message->flag = 1;
    message->dataList.topic.instanceName = instanceName.get();
    message->dataList.topic.topicName = publishedName.get();
    message->dataList.topic.params = params.get();
    message->dataList.len = 1;
    message->dataList.data = data.get();
    Push(messageQueue.get(), std::move(message));

    // The host owns all of it now, and may already have released it.
    static_cast<void>(instanceName.release());
    static_cast<void>(publishedName.release());
    static_cast<void>(params.release());
    static_cast<void>(data.release());
    static_cast<void>(score.release());
    NumaScenario::GetInstance().ResetScoreParam();
}

}  // namespace kovari
