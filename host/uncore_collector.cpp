// SPDX-License-Identifier: MIT

#include "host/uncore_collector.h"

#include <cstddef>
#include <cstring>

#include <limits>
#include <mutex>
#include <new>
#include <stdexcept>
#include <system_error>
#include <utility>
#include <vector>

#include "host/data_release.h"

namespace host {
namespace {

const kovari::Topic UNCORE{"pmu_uncore_collector", "uncore", ""};

std::string KeyOf(const kovari::Topic& topic)
{
    return kovari::Concat({topic.instanceName, topic.topicName, topic.params}, "::");
}

bool IsUncore(const kovari::Topic& topic)
{
    return topic.instanceName == UNCORE.instanceName && topic.topicName == UNCORE.topicName &&
           topic.params == UNCORE.params;
}

char* NewText(const std::string& text)
{
    auto copy = std::make_unique<char[]>(text.size() + 1);
    std::memcpy(copy.get(), text.c_str(), text.size() + 1);
    return copy.release();
}

/// Record header and samples in one block of the plain operator new.
void* NewBatch(const CounterBatch& batch)
{
    const std::size_t count = batch.samples.size();
    if (count > static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max())) {
        throw std::length_error("a batch holds more samples than its record can count");
    }
    static_assert(sizeof(UncoreSampleBatch) % alignof(PmuData) == 0, "samples follow the header");
    auto* const block =
        static_cast<unsigned char*>(::operator new(sizeof(UncoreSampleBatch) + count * sizeof(PmuData)));
    unsigned char* place = block + sizeof(UncoreSampleBatch);
    PmuData* const samples = reinterpret_cast<PmuData*>(place);
    for (const CounterSample& sample : batch.samples) {
        auto* const record = new (place) PmuData;
        record->eventName = sample.eventName;
        record->count = sample.count;
        place += sizeof(PmuData);
    }
    auto* const header = new (block) UncoreSampleBatch;
    header->samples = samples;
    header->count = static_cast<std::int32_t>(count);
    header->interval = batch.intervalMs;
    return block;
}

/// Owns what a message carries until the message is on its way.
struct Shipment {
    explicit Shipment(DataList& carried) : dataList(&carried) {}
    Shipment(const Shipment&) = delete;
    Shipment& operator=(const Shipment&) = delete;
    ~Shipment()
    {
        if (dataList != nullptr) {
            ReleaseDataList(*dataList);
        }
    }

    DataList* dataList;
};

}  // namespace

UncoreCollector::UncoreCollector(std::unique_ptr<CounterSource> counterSource, std::int32_t periodMs)
    : source(std::move(counterSource))
{
    if (!source) {
        throw std::invalid_argument("UncoreCollector: no counter source");
    }
    name = UNCORE.instanceName;
    version = "v1.0";
    description = "Reads uncore PMU counters and publishes what they counted.";
    supportTopics.push_back(UNCORE);
    period = periodMs;
}

Result UncoreCollector::OpenTopic(const kovari::Topic& topic)
{
    if (!IsUncore(topic)) {
        return {-1, "no topic \"" + KeyOf(topic) + "\" here, expected \"" + KeyOf(UNCORE) + "\""};
    }
    opened = true;
    return {0, ""};
}

void UncoreCollector::CloseTopic(const kovari::Topic& topic)
{
    if (IsUncore(topic)) {
        opened = false;
    }
}

void UncoreCollector::UpdateData(const DataList& /*dataList*/) {}

Result UncoreCollector::Enable(const std::string& /*param*/)
{
    return {0, ""};
}

void UncoreCollector::Disable()
{
    opened = false;
}

CounterSource::Status UncoreCollector::Fetch()
{
    if (fetched || CounterSource::IsOver(status)) {
        return status;
    }
    status = source->Read(next);
    if (status == CounterSource::Status::BATCH) {
        std::swap(batch, next);
        fetched = true;
    }
    return status;
}

void UncoreCollector::Run()
{
    if (opened && Fetch() == CounterSource::Status::BATCH) {
        Publish();
    }
}

void UncoreCollector::Publish()
{
    if (!messageQueue) {
        throw std::system_error(std::make_error_code(std::errc::operation_not_permitted));
    }
    std::vector<std::string> payload;
    payload.push_back(KeyOf(UNCORE));
    auto message =
        std::make_shared<kovari::InstanceRunMessage>(kovari::RunType::PUBLISH_DATA, std::move(payload));
    DataList& dataList = message->dataList;
    Shipment shipment(dataList);
    dataList.topic.instanceName = NewText(UNCORE.instanceName);
    dataList.topic.topicName = NewText(UNCORE.topicName);
    dataList.topic.params = NewText(UNCORE.params);
    dataList.data = std::make_unique<void*[]>(1).release();
    dataList.len = 1;
    dataList.data[0] = NewBatch(batch);
    {
        const std::unique_lock<std::mutex> lock(messageQueue->mutex);
        messageQueue->messages.push_back(std::move(message));
        messageQueue->condition.notify_one();
    }
    shipment.dataList = nullptr;
    fetched = false;
}

}  // namespace host
