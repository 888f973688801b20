// SPDX-License-Identifier: MIT

#ifndef TESTS_CONFORMANCE_SAMPLE_PUBLISHER_H
#define TESTS_CONFORMANCE_SAMPLE_PUBLISHER_H

#include <cstring>

#include <memory>
#include <set>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "scenario/framework.h"
#include "tests/support/plugins/sample_instance.h"

namespace sample {

struct Reading {
    std::uint64_t batches = 0;
};

/// In order in every respect: subscribes to the uncore batches while its topic is open and publishes how many
/// there were. The broken samples change one thing each.
class Publisher : public kovari::Interface {
public:
    Publisher()
    {
        name = "sample";
        version = "1.0";
        period = 10;
        supportTopics.push_back({name, "reading", ""});
    }

    Result OpenTopic(const kovari::Topic& topic) override
    {
        if (!IsSupported(topic)) {
            return {-1, "no such topic"};
        }
        opened = true;
        Subscribe();
        return {0, ""};
    }

    void CloseTopic(const kovari::Topic& topic) override
    {
        if (IsSupported(topic)) {
            opened = false;
            Unsubscribe();
        }
    }

    void UpdateData(const DataList& dataList) override
    {
        batches += dataList.topic.topicName != nullptr && input.topicName == dataList.topic.topicName ? 1 : 0;
    }

    Result Enable(const std::string& /*param*/) override { return {0, ""}; }
    void Disable() override { Unsubscribe(); }

    void Run() override
    {
        if (opened) {
            Publish();
        }
    }

protected:
    virtual char* MakeText(const std::string& text)
    {
        char* const copy = new char[text.size() + 1];
        std::memcpy(copy, text.c_str(), text.size() + 1);
        return copy;
    }
    virtual void** MakeArray() { return new void*[1]; }
    virtual void* MakeRecord() { return new Reading{batches}; }
    virtual std::uint64_t Records() { return 1; }
    virtual void Publish() { PublishAs(Key(supportTopics.front())); }

    virtual void Subscribe()
    {
        if (subscribed.insert(Key(input)).second) {
            Push(Make(RunType::SUBSCRIBE, {Key(input), name}));
        }
    }
    virtual void Unsubscribe()
    {
        if (subscribed.erase(Key(input)) != 0) {
            Push(Make(RunType::UNSUBSCRIBE, {Key(input), name}));
        }
    }

    virtual bool IsSupported(const kovari::Topic& topic)
    {
        return topic.instanceName == name && topic.topicName == supportTopics.front().topicName &&
               topic.params.empty();
    }

    DataList PublishAs(const std::string& key)
    {
        std::shared_ptr<kovari::InstanceRunMessage> message = Make(RunType::PUBLISH_DATA, {key});
        const kovari::Topic& topic = supportTopics.front();
        DataList& list = message->dataList;
        list.topic.instanceName = MakeText(topic.instanceName);
        list.topic.topicName = MakeText(topic.topicName);
        list.topic.params = MakeText(topic.params);
        list.data = MakeArray();
        list.data[0] = MakeRecord();
        list.len = Records();
        const DataList copy = list;
        Push(std::move(message));
        return copy;
    }

    static std::string Key(const kovari::Topic& topic)
    {
        return kovari::Concat({topic.instanceName, topic.topicName, topic.params}, "::");
    }

    static std::shared_ptr<kovari::InstanceRunMessage> Make(RunType type, std::vector<std::string> payload)
    {
        return std::make_shared<kovari::InstanceRunMessage>(type, std::move(payload));
    }

    virtual void Push(std::shared_ptr<kovari::InstanceRunMessage> message)
    {
        if (!messageQueue) {
            throw std::system_error(std::make_error_code(std::errc::operation_not_permitted));
        }
        const std::lock_guard<std::mutex> lock(messageQueue->mutex);
        messageQueue->messages.push_back(std::move(message));
        messageQueue->condition.notify_one();
    }

    const kovari::Topic input{"pmu_uncore_collector", "uncore", ""};
    std::set<std::string> subscribed;
    bool opened = false;
    std::uint64_t batches = 0;
};

}  // namespace sample

#endif  // TESTS_CONFORMANCE_SAMPLE_PUBLISHER_H
