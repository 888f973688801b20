// SPDX-License-Identifier: MIT

#include "tools/numa_score/conformance/known_input.h"

#include <array>
#include <cstring>
#include <new>

#include "tools/numa_score/conformance/guarded_heap.h"

namespace conformance {
namespace {

constexpr const char* UNCORE_KEY = "pmu_uncore_collector::uncore::";
constexpr std::int32_t INTERVAL_MS = 100;
constexpr std::array<const char*, 3> EVENTS = {"uncore_l3c0/rx_outer/", "uncore_l3c0/rx_sccl/",
                                               "uncore_l3c0/rx_ops_num/"};
constexpr std::array<std::uint64_t, 3> COUNTS = {30, 20, 1000};

}  // namespace

bool IsKnownInput(const std::string& topicKey)
{
    return topicKey == UNCORE_KEY;
}

Delivery::Delivery(const std::string& instanceName, const std::string& topicName, const std::string& params)
{
    list.topic.instanceName = Text(instanceName);
    list.topic.topicName = Text(topicName);
    list.topic.params = Text(params);
    auto* const samples = Keep(static_cast<PmuData*>(::operator new(SAMPLES * sizeof(PmuData))));
    std::array<char*, EVENTS.size()> names{};
    for (std::size_t i = 0; i < EVENTS.size(); ++i) {
        names[i] = Text(EVENTS[i]);
    }
    for (std::size_t i = 0; i < SAMPLES; ++i) {
        auto* const sample = new (samples + i) PmuData;
        sample->eventName = names[i % names.size()];
        sample->count = COUNTS[i % COUNTS.size()];
    }
    auto* const batch = new (Keep(::operator new(sizeof(UncoreSampleBatch)))) UncoreSampleBatch;
    batch->samples = samples;
    batch->count = static_cast<std::int32_t>(SAMPLES);
    batch->interval = INTERVAL_MS;
    list.data = Keep(static_cast<void**>(::operator new(sizeof(void*))));
    list.data[0] = batch;
    list.len = 1;
}

Delivery::~Delivery()
{
    if (!released) {
        for (void* const block : blocks) {
            ::operator delete(block);
        }
    }
}

char* Delivery::Text(const std::string& text)
{
    char* const copy = Keep(static_cast<char*>(::operator new(text.size() + 1)));
    std::memcpy(copy, text.c_str(), text.size() + 1);
    return copy;
}

void Delivery::Guard()
{
    for (const void* const block : blocks) {
        guarded_heap::SetTag(block, guarded_heap::Tag::DELIVERED);
        guarded_heap::MakeReadOnly(block);
    }
}

void Delivery::Release()
{
    released = true;
    for (const void* const block : blocks) {
        guarded_heap::Release(block);
    }
}

std::unique_ptr<Delivery> KnownInput(const std::string& topicKey)
{
    if (!IsKnownInput(topicKey)) {
        return nullptr;
    }
    return std::make_unique<Delivery>("pmu_uncore_collector", "uncore", "");
}

}  // namespace conformance
