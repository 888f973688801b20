// SPDX-License-Identifier: MIT
//
// A plug-in of one instance, "example_score": a locality score that looks at other sockets only. While its
// topic "system_score" is open it subscribes to the uncore batches, and publishes once a period the share of
// operations that stayed inside their socket.

#include <cstring>

#include <memory>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include <scenario/framework.h>
#include <scenario/numa_scenario.h>

namespace {

const kovari::Topic UNCORE{"pmu_uncore_collector", "uncore", ""};

std::string KeyOf(const kovari::Topic& topic)
{
    return kovari::Concat({topic.instanceName, topic.topicName, topic.params}, "::");
}

/// A copy that the host may release with delete[].
char* CopyText(const std::string& text)
{
    char* const copy = new char[text.size() + 1];
    std::memcpy(copy, text.c_str(), text.size() + 1);
    return copy;
}

class ExampleScore : public kovari::Interface {
public:
    ExampleScore()
    {
        name = "example_score";
        version = "v1.0";
        description = "share of operations that stayed inside their socket";
        priority = 1;
        type = 8;
        period = 100;
        supportTopics.push_back({name, "system_score", ""});
    }

    Result Enable(const std::string& /*param*/) override { return {0, ""}; }

    Result OpenTopic(const kovari::Topic& topic) override
    {
        if (!IsOurs(topic)) {
            return {-1, "example_score publishes system_score without parameters, nothing else"};
        }
        opened = true;
        if (!subscribed) {
            subscribed = true;
            Request(RunType::SUBSCRIBE);
        }
        return {0, ""};
    }

    void CloseTopic(const kovari::Topic& topic) override
    {
        if (IsOurs(topic)) {
            opened = false;
            Unsubscribe();
        }
    }

    void Disable() override { Unsubscribe(); }

    void UpdateData(const DataList& dataList) override
    {
        if (dataList.topic.topicName == nullptr || UNCORE.topicName != dataList.topic.topicName ||
            dataList.data == nullptr || dataList.data[0] == nullptr) {
            return;
        }
        const auto& batch = *static_cast<const UncoreSampleBatch*>(dataList.data[0]);
        for (std::int32_t i = 0; i < batch.count; ++i) {
            const PmuData& sample = batch.samples[i];
            if (std::strstr(sample.eventName, "rx_outer") != nullptr) {
                sums.rxOuterNum += sample.count;
            } else if (std::strstr(sample.eventName, "rx_ops_num") != nullptr) {
                sums.rxOpsNum += sample.count;
            }
        }
        sums.interval += static_cast<std::uint64_t>(batch.interval);
    }

    void Run() override
    {
        if (!opened) {
            return;
        }
        sums.numaScore = 1.0F;
        if (sums.rxOpsNum != 0) {
            const double share = static_cast<double>(sums.rxOuterNum) / static_cast<double>(sums.rxOpsNum);
            sums.numaScore = share > 1.0 ? 0.0F : static_cast<float>(1.0 - share);
        }
        const kovari::Topic& topic = supportTopics.front();
        auto message = std::make_shared<kovari::InstanceRunMessage>(RunType::PUBLISH_DATA,
                                                                    std::vector<std::string>{KeyOf(topic)});
        message->dataList.topic.instanceName = CopyText(topic.instanceName);
        message->dataList.topic.topicName = CopyText(topic.topicName);
        message->dataList.topic.params = CopyText(topic.params);
        message->dataList.data = new void*[1];
        message->dataList.data[0] = new ScenarioNumaScore(sums);
        message->dataList.len = 1;
        Push(std::move(message));
        sums = ScenarioNumaScore();
    }

private:
    bool IsOurs(const kovari::Topic& topic) const
    {
        return topic.instanceName == name && topic.topicName == "system_score" && topic.params.empty();
    }

    void Unsubscribe()
    {
        if (subscribed) {
            subscribed = false;
            Request(RunType::UNSUBSCRIBE);
        }
    }

    void Request(RunType requestType) const
    {
        Push(std::make_shared<kovari::InstanceRunMessage>(requestType,
                                                          std::vector<std::string>{KeyOf(UNCORE), name}));
    }

    /// From here on everything in the message is the host's.
    void Push(std::shared_ptr<kovari::InstanceRunMessage> message) const
    {
        if (!messageQueue) {
            throw std::system_error(std::make_error_code(std::errc::operation_not_permitted));
        }
        const std::unique_lock<std::mutex> lock(messageQueue->mutex);
        messageQueue->messages.push_back(std::move(message));
        messageQueue->condition.notify_one();
    }

    bool opened = false;
    bool subscribed = false;
    ScenarioNumaScore sums{};
};

}  // namespace

extern "C" __attribute__((visibility("default"))) void GetInstance(
    std::vector<std::shared_ptr<kovari::Interface>>& interfaces)
{
    interfaces.push_back(std::make_shared<ExampleScore>());
}
