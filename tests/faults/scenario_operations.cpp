// SPDX-License-Identifier: MIT

#include <algorithm>
#include <optional>

#include "scenario/get_instance.h"
#include "scenario/numa_scenario.h"
#include "scenario/numa_scenario_ins.h"
#include "tests/faults/operation.h"

namespace faults {
namespace {

using kovari::NumaScenarioIns;

std::string ResultText(const Result& result)
{
    return std::to_string(result.code) + " " + result.payload + "\n";
}

std::string QueueText(RunMessageQueue& queue)
{
    std::string text;
    for (const auto& message : queue.messages) {
        text += std::to_string(static_cast<int>(message->type)) + Text(message->payload);
    }
    return text;
}

/// A host with one instance. Releases what is published, and leaves an empty period.
struct Host {
    Host()
    {
        instance.messageQueue = queue;
        NumaScenario::GetInstance().counts.clear();
        NumaScenario::GetInstance().interval = 0;
    }
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;
    ~Host()
    {
        for (const auto& message : queue->messages) {
            if (message->type == RunType::PUBLISH_DATA) {
                delete[] message->dataList.topic.instanceName;
                delete[] message->dataList.topic.topicName;
                delete[] message->dataList.topic.params;
                delete static_cast<ScenarioNumaScore*>(message->dataList.data[0]);
                delete[] message->dataList.data;
            }
        }
        NumaScenario::GetInstance().counts.clear();
    }

    std::string State() const
    {
        std::string text = "result " + (result ? ResultText(*result) : "none\n") + "queue " +
                           QueueText(*queue) + " opened " + std::to_string(instance.opened) + " subscribed " +
                           std::to_string(instance.subscribedTopics.size()) + " interval " +
                           std::to_string(NumaScenario::GetInstance().interval);
        for (const auto& [event, count] : NumaScenario::GetInstance().counts) {
            // An event that was not seen counts nothing, with an entry or without.
            text += count != 0 ? " " + std::to_string(event) + "=" + std::to_string(count) : "";
        }
        return text;
    }

    std::shared_ptr<RunMessageQueue> queue = std::make_shared<RunMessageQueue>();
    NumaScenarioIns instance;
    std::optional<Result> result;  ///< of the last OpenTopic or Enable
};

/// An operation on an instance: `arrange` comes before the fault, `call` under it.
Operation OnInstance(std::string name, Memory memory, std::function<void(Host&)> arrange,
                     std::function<void(Host&)> call)
{
    return {std::move(name), memory,
            [arrange, call] {
                auto host = std::make_shared<Host>();
                arrange(*host);
                return Trial{[host, call] { call(*host); }, [host] { return host->State(); }};
            },
            nullptr};
}

const kovari::Topic& Score()
{
    static const kovari::Topic SCORE{"scenario_numa", "system_score", ""};
    return SCORE;
}

const UncoreSampleBatch& Batch()
{
    static PmuData samples[3];
    samples[0].eventName = "uncore_l3c2/rx_outer/";
    samples[1].eventName = "uncore_l3c2/rx_sccl/";
    samples[2].eventName = "uncore_l3c2/rx_ops_num/";
    for (PmuData& sample : samples) {
        sample.count = 5;
    }
    static const UncoreSampleBatch BATCH{samples, 3, 0, 100};
    return BATCH;
}

void Deliver(Host& host)
{
    char topicName[] = "uncore";
    void* data[] = {const_cast<UncoreSampleBatch*>(&Batch())};
    DataList list;
    list.topic.topicName = topicName;
    list.len = 1;
    list.data = data;
    host.instance.UpdateData(list);
}

void Nothing(Host& /*host*/) {}

void Open(Host& host)
{
    host.result = host.instance.OpenTopic(Score());
}

void OpenAndDeliver(Host& host)
{
    Open(host);
    Deliver(host);
}

Operation GetInstanceOperation()
{
    using Instances = std::vector<std::shared_ptr<kovari::Interface>>;
    return {"GetInstance", Memory::THROWS,
            [] {
                // One instance is there already, without room for another.
                auto instances = std::make_shared<Instances>(1);
                instances->shrink_to_fit();
                return Trial{[instances] { GetInstance(*instances); },
                             [instances] {
                                 std::string names = std::to_string(instances->size());
                                 for (const auto& instance : *instances) {
                                     names += instance != nullptr ? " " + instance->name : " -";
                                 }
                                 return names;
                             }};
            },
            nullptr};
}

}  // namespace

Operations ScenarioOperations()
{
    const std::vector<std::string> parts = {"pmu_uncore_collector", "uncore", ""};
    return {
        GetInstanceOperation(),
        Returning("kovari::Concat", Memory::THROWS, [parts] { return kovari::Concat(parts, "::"); }),
        Returning("kovari::NumaScenarioIns::NumaScenarioIns", Memory::THROWS,
                  [] { return static_cast<int>(NumaScenarioIns().supportTopics.size()); }),
        OnInstance("kovari::NumaScenarioIns::OpenTopic", Memory::THROWS, Nothing, Open),
        OnInstance("kovari::NumaScenarioIns::CloseTopic", Memory::THROWS, Open,
                   [](Host& host) { host.instance.CloseTopic(Score()); }),
        OnInstance("kovari::NumaScenarioIns::Disable", Memory::THROWS, Open,
                   [](Host& host) { host.instance.Disable(); }),
        OnInstance("kovari::NumaScenarioIns::Enable", Memory::NONE, Nothing,
                   [](Host& host) { host.result = host.instance.Enable("any"); }),
        OnInstance("kovari::NumaScenarioIns::UpdateData", Memory::THROWS, Open, Deliver),
        OnInstance("kovari::NumaScenarioIns::Run", Memory::THROWS, OpenAndDeliver,
                   [](Host& host) { host.instance.Run(); }),
        OnInstance("NumaScenario::GetInstance", Memory::NONE, Nothing,
                   [](Host& /*host*/) { NumaScenario::GetInstance(); }),
        OnInstance(
            "NumaScenario::UpdateScoreParam", Memory::THROWS, Nothing,
            [](Host& /*host*/) { NumaScenario::GetInstance().UpdateScoreParam(3, Batch().samples, 100); }),
        OnInstance("NumaScenario::UpdatePmu", Memory::THROWS, Nothing,
                   [](Host& /*host*/) {
                       static const std::string KEY = "pmu_uncore_collector::uncore::";
                       NumaScenario::GetInstance().UpdatePmu(KEY, 3, Batch().samples, 100);
                   }),
        OnInstance("NumaScenario::GetNumaScore", Memory::THROWS, Nothing,
                   [](Host& host) {
                       ScenarioNumaScore score;
                       NumaScenario::GetInstance().GetNumaScore(score);
                       host.instance.priority = static_cast<int>(score.numaScore);
                   }),
        OnInstance("NumaScenario::ResetScoreParam", Memory::NONE, Deliver,
                   [](Host& /*host*/) { NumaScenario::GetInstance().ResetScoreParam(); }),
    };
}

}  // namespace faults
