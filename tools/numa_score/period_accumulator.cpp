// SPDX-License-Identifier: MIT

#include "tools/numa_score/period_accumulator.h"

#include <cstring>

#include <algorithm>

namespace numa_score {

PeriodAccumulator::Event PeriodAccumulator::EventOf(const char* eventName)
{
    if (eventName == nullptr) {
        return Event::NONE;
    }
    if (std::strstr(eventName, "rx_outer") != nullptr) {
        return Event::OUTER;
    }
    if (std::strstr(eventName, "rx_sccl") != nullptr) {
        return Event::SCCL;
    }
    return std::strstr(eventName, "rx_ops_num") != nullptr ? Event::OPS : Event::NONE;
}

void PeriodAccumulator::Add(const host::CounterBatch& batch)
{
    evidence.notCounted += batch.notCounted;
    evidence.missing += batch.missing;
    evidence.samples += batch.samples.size();
    if (places.size() < batch.samples.size()) {
        places.resize(batch.samples.size());
    }
    for (std::size_t i = 0; i < batch.samples.size(); ++i) {
        const host::CounterSample& sample = batch.samples[i];
        Place& place = places[i];
        if (place.eventName == nullptr || place.eventName != sample.eventName ||
            place.pmuName != sample.pmuName.data() || place.pmuLength != sample.pmuName.size()) {
            LookUp(sample, place);
        }
        if (place.event != Event::NONE) {
            Count(sample, place);
        }
    }
}

void PeriodAccumulator::LookUp(const host::CounterSample& sample, Place& place)
{
    place.eventName = sample.eventName;
    place.pmuName = sample.pmuName.data();
    place.pmuLength = sample.pmuName.size();
    place.event = EventOf(sample.eventName);
    place.pmu = place.event == Event::NONE ? 0 : PmuIndex(sample.pmuName);
}

std::size_t PeriodAccumulator::PmuIndex(std::string_view name)
{
    const auto known = indices.find(name);
    if (known != indices.end()) {
        return known->second;
    }
    if (pmus.size() > MAX_PMUS) {
        return MAX_PMUS;
    }
    Pmu& pmu = pmus.emplace_back();
    pmu.name = pmus.size() > MAX_PMUS ? OTHER_PMUS : name;
    const std::size_t index = pmus.size() - 1;
    if (index < MAX_PMUS) {
        indices.emplace(pmu.name, index);
    }
    return index;
}

void PeriodAccumulator::Count(const host::CounterSample& sample, const Place& place)
{
    Pmu& pmu = pmus[place.pmu];
    if (!pmu.seen) {
        pmu.seen = true;
        seenPmus.push_back(place.pmu);
    }
    pmu.runningRatio = std::min(pmu.runningRatio, sample.runningRatio);
    evidence.runningRatio = std::min(evidence.runningRatio, sample.runningRatio);
    switch (place.event) {
        case Event::OUTER:
            evidence.sawOuter = true;
            pmu.traffic.outer += sample.count;
            break;
        case Event::SCCL:
            evidence.sawSccl = true;
            pmu.traffic.sccl += sample.count;
            break;
        case Event::OPS:
            evidence.sawOps = true;
            pmu.traffic.ops += sample.count;
            break;
        case Event::NONE:
            break;
    }
}

void PeriodAccumulator::FillPmus(std::vector<PmuRow>& rows) const
{
    rows.clear();
    for (const Pmu& pmu : pmus) {
        if (pmu.seen) {
            rows.push_back({pmu.name, pmu.traffic, ScoreOf(pmu.traffic), pmu.runningRatio});
        }
    }
}

void PeriodAccumulator::Reset()
{
    evidence = Evidence();
    for (const std::size_t index : seenPmus) {
        pmus[index].traffic = Traffic();
        pmus[index].runningRatio = 1.0;
        pmus[index].seen = false;
    }
    seenPmus.clear();
}

float ScoreOf(const Traffic& traffic)
{
    if (traffic.ops == 0) {
        return 1.0F;
    }
    const float ratio = (static_cast<float>(traffic.outer) + static_cast<float>(traffic.sccl)) /
                        static_cast<float>(traffic.ops);
    return ratio > 1.0F ? 0.0F : 1.0F - ratio;
}

}  // namespace numa_score
