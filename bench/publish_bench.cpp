// SPDX-License-Identifier: MIT
//
// One whole period as a host lives it, batch in, Run, message taken and released, against pushing and popping
// the same heap blocks without any of the work.

#include <cstdint>
#include <cstring>

#include <algorithm>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>

#include "bench/ratio_report.h"
#include "scenario/numa_scenario.h"
#include "scenario/numa_scenario_ins.h"

namespace {

/// What the host does with a message: takes it from the front and releases what it carries.
void Consume(RunMessageQueue& queue)
{
    std::shared_ptr<kovari::InstanceRunMessage> message;
    {
        const std::unique_lock<std::mutex> lock(queue.mutex);
        message = std::move(queue.messages.front());
        queue.messages.pop_front();
    }
    DataList& list = message->dataList;
    delete[] list.topic.instanceName;
    delete[] list.topic.topicName;
    delete[] list.topic.params;
    if (list.len != 0) {
        delete static_cast<ScenarioNumaScore*>(list.data[0]);
    }
    delete[] list.data;
}

/// One batch of `records` records that share three names.
class Batch {
public:
    explicit Batch(std::size_t records) : records_(records)
    {
        for (std::size_t i = 0; i < records; ++i) {
            records_[i].eventName = names_[i % 3].c_str();
            records_[i].count = i * 7 + 1;
        }
        batch_.samples = records_.data();
        batch_.count = static_cast<std::int32_t>(records);
        batch_.interval = 100;
        list_.topic.instanceName = instanceName_;
        list_.topic.topicName = topicName_;
        list_.topic.params = params_;
        list_.len = 1;
        list_.data = data_;
    }
    Batch(const Batch&) = delete;
    Batch& operator=(const Batch&) = delete;

    const DataList& List() const { return list_; }

private:
    std::string names_[3] = {"uncore_l3c2/rx_outer/", "uncore_l3c2/rx_sccl/", "uncore_l3c2/rx_ops_num/"};
    std::vector<PmuData> records_;
    UncoreSampleBatch batch_;
    void* data_[1] = {&batch_};
    char instanceName_[32] = "pmu_uncore_collector";
    char topicName_[8] = "uncore";
    char params_[1] = "";
    DataList list_;
};

void Period(benchmark::State& state)
{
    const Batch batch(static_cast<std::size_t>(state.range(0)));
    kovari::NumaScenarioIns instance;
    instance.messageQueue = std::make_shared<RunMessageQueue>();
    static_cast<void>(instance.OpenTopic({"scenario_numa", "system_score", ""}));
    Consume(*instance.messageQueue);
    for ([[maybe_unused]] auto _ : state) {
        instance.UpdateData(batch.List());
        instance.Run();
        Consume(*instance.messageQueue);
    }
}

/// The floor: the heap blocks that host and plug-in owe each other, and the queue.
void BarePush(benchmark::State& state)
{
    const auto queue = std::make_shared<RunMessageQueue>();
    for ([[maybe_unused]] auto _ : state) {
        auto* score = new ScenarioNumaScore();
        auto message = std::make_shared<kovari::InstanceRunMessage>(
            RunType::PUBLISH_DATA, std::vector<std::string>{"scenario_numa::system_score::"});
        message->dataList.topic.instanceName = new char[sizeof("scenario_numa")];
        message->dataList.topic.topicName = new char[sizeof("system_score")];
        message->dataList.topic.params = new char[1];
        message->dataList.len = 1;
        message->dataList.data = new void*[1];
        message->dataList.data[0] = score;
        {
            const std::unique_lock<std::mutex> lock(queue->mutex);
            queue->messages.push_back(std::move(message));
            queue->condition.notify_one();
        }
        Consume(*queue);
    }
}

}  // namespace

int main(int argc, char** argv)
{
    benchmark::RegisterBenchmark("bare_push", BarePush);
    std::vector<bench::Ratio> ratios;
    for (const int records : {0, 3, 48, 300, 3000}) {
        const std::string name = "period/" + std::to_string(records);
        benchmark::RegisterBenchmark("period", Period)->Arg(records);
        ratios.push_back({"whole period, " + std::to_string(records) + " records, shared names", name,
                          "bare_push", records == 300 ? "at most 5 times the baseline" : "none"});
    }
    return bench::RunWithRatios(argc, argv, ratios);
}
