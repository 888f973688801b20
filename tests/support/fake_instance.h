// SPDX-License-Identifier: MIT

#ifndef TESTS_SUPPORT_FAKE_INSTANCE_H
#define TESTS_SUPPORT_FAKE_INSTANCE_H

#include <cstdint>
#include <cstring>

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "scenario/framework.h"

namespace support {

inline std::string KeyOf(const kovari::Topic& topic)
{
    return topic.instanceName + "::" + topic.topicName + "::" + topic.params;
}

/// Allocates as a plug-in does: texts and array with new[], records with new.
inline char* NewText(const std::string& text)
{
    char* const copy = new char[text.size() + 1];
    std::memcpy(copy, text.c_str(), text.size() + 1);
    return copy;
}

/// A list of `records` integers, counting from `first`.
inline DataList NewDataList(const kovari::Topic& topic, std::uint64_t records, std::uint64_t first = 0)
{
    DataList list;
    list.topic.instanceName = NewText(topic.instanceName);
    list.topic.topicName = NewText(topic.topicName);
    list.topic.params = NewText(topic.params);
    list.len = records;
    list.data = new void*[records];
    for (std::uint64_t i = 0; i < records; ++i) {
        list.data[i] = new std::uint64_t(first + i);
    }
    return list;
}

/// An instance whose operations note their calls in a common log and then do what the test wants.
class FakeInstance : public kovari::Interface {
public:
    using Log = std::vector<std::string>;

    FakeInstance(std::string instanceName, Log* commonLog) : log(commonLog)
    {
        name = std::move(instanceName);
    }

    Result OpenTopic(const kovari::Topic& topic) override
    {
        Note("OpenTopic " + KeyOf(topic));
        Call(onOpenTopic);
        return openResult;
    }
    void CloseTopic(const kovari::Topic& topic) override
    {
        Note("CloseTopic " + KeyOf(topic));
        Call(onCloseTopic);
    }
    void UpdateData(const DataList& dataList) override
    {
        if (log != nullptr) {
            Note(std::string("UpdateData ") + dataList.topic.topicName + " " +
                 std::to_string(*static_cast<std::uint64_t*>(dataList.data[0])));
        }
        Call(onUpdateData);
    }
    Result Enable(const std::string& param) override
    {
        Note("Enable " + param);
        Call(onEnable);
        return enableResult;
    }
    void Disable() override
    {
        Note("Disable");
        Call(onDisable);
    }
    void Run() override
    {
        Note("Run");
        Call(onRun);
    }

    void Push(std::shared_ptr<kovari::InstanceRunMessage> message)
    {
        const std::unique_lock<std::mutex> lock(messageQueue->mutex);
        messageQueue->messages.push_back(std::move(message));
        messageQueue->condition.notify_one();
    }
    void Push(RunType messageType, std::vector<std::string> payload, const DataList& dataList = {})
    {
        auto message = std::make_shared<kovari::InstanceRunMessage>(messageType, std::move(payload));
        message->dataList = dataList;
        Push(std::move(message));
    }
    void Subscribe(const kovari::Topic& topic) { Push(RunType::SUBSCRIBE, {KeyOf(topic), name}); }
    void Unsubscribe(const kovari::Topic& topic) { Push(RunType::UNSUBSCRIBE, {KeyOf(topic), name}); }
    void Publish(const kovari::Topic& topic, std::uint64_t value, std::uint64_t records = 1)
    {
        Push(RunType::PUBLISH_DATA, {KeyOf(topic)}, NewDataList(topic, records, value));
    }

    std::function<void()> onOpenTopic;
    std::function<void()> onCloseTopic;
    std::function<void()> onUpdateData;
    std::function<void()> onEnable;
    std::function<void()> onDisable;
    std::function<void()> onRun;
    Result openResult;
    Result enableResult;

private:
    void Note(const std::string& what)
    {
        if (log != nullptr) {
            log->push_back(name + "." + what);
        }
    }
    static void Call(const std::function<void()>& hook)
    {
        if (hook) {
            hook();
        }
    }

    Log* log;  // null: nothing is noted
};

}  // namespace support

#endif  // TESTS_SUPPORT_FAKE_INSTANCE_H
