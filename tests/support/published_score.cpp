// SPDX-License-Identifier: MIT

#include "tests/support/published_score.h"

#include <array>
#include <mutex>

namespace support {

std::shared_ptr<kovari::InstanceRunMessage> TakeMessage(RunMessageQueue& queue)
{
    const std::lock_guard<std::mutex> lock(queue.mutex);
    if (queue.messages.empty()) {
        return nullptr;
    }
    std::shared_ptr<kovari::InstanceRunMessage> message = queue.messages.front();
    queue.messages.pop_front();
    return message;
}

PublishedScore TakeScore(kovari::InstanceRunMessage& message)
{
    DataList& list = message.dataList;
    auto* record = static_cast<PublishedScore*>(list.data[0]);
    const PublishedScore score = *record;
    delete record;
    delete[] list.data;
    delete[] list.topic.instanceName;
    delete[] list.topic.topicName;
    delete[] list.topic.params;
    list = DataList{};
    return score;
}

void DeliverCounts(kovari::Interface& instance, std::uint64_t outer, std::uint64_t sccl, std::uint64_t ops,
                   std::int32_t interval)
{
    std::array<PmuData, 3> samples{};
    samples[0].eventName = "uncore_l3c0/rx_outer/";
    samples[0].count = outer;
    samples[1].eventName = "uncore_l3c0/rx_sccl/";
    samples[1].count = sccl;
    samples[2].eventName = "uncore_l3c0/rx_ops_num/";
    samples[2].count = ops;

    UncoreSampleBatch batch;
    batch.samples = samples.data();
    batch.count = static_cast<std::int32_t>(samples.size());
    batch.interval = interval;

    std::array<char, 21> publisher{"pmu_uncore_collector"};
    std::array<char, 7> topic{"uncore"};
    std::array<char, 1> params{""};
    std::array<void*, 1> records{&batch};
    DataList list;
    list.topic.instanceName = publisher.data();
    list.topic.topicName = topic.data();
    list.topic.params = params.data();
    list.len = records.size();
    list.data = records.data();
    instance.UpdateData(list);
}

}  // namespace support
