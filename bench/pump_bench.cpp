// SPDX-License-Identifier: MIT
//
// What the host adds to a period. Routing: one published record from its publisher through the pump to a
// subscriber that does nothing, against pushing, popping and releasing the same heap blocks. Period: a
// collector with a source of ready counts, the real plug-in and a listener, against the same calls made by
// hand.

#include <cstdint>
#include <cstdlib>
#include <cstring>

#include <iostream>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>

#include "bench/ratio_report.h"
#include "host/clock.h"
#include "host/data_release.h"
#include "host/message_pump.h"
#include "host/plugin_loader.h"
#include "host/uncore_collector.h"
#include "scenario/framework.h"

namespace {

const kovari::Topic UNCORE{"pmu_uncore_collector", "uncore", ""};
const kovari::Topic SCORE{"scenario_numa", "system_score", ""};
const kovari::Topic TICK{"ticker", "tick", ""};

/// Gives the same counts for ever.
class SteadySource : public host::CounterSource {
public:
    explicit SteadySource(std::size_t records) : count(records) {}

    std::string Describe() const override { return "the same counts for ever"; }
    bool IsLive() const override { return false; }
    Status Read(host::CounterBatch& batch) override
    {
        static constexpr const char* NAMES[] = {"uncore_l3c2/rx_outer/", "uncore_l3c2/rx_sccl/",
                                                "uncore_l3c2/rx_ops_num/"};
        if (batch.samples.size() != count) {
            for (std::size_t i = 0; i < count; ++i) {
                batch.samples.push_back({NAMES[i % 3], "uncore_l3c2", i * 7 + 1, 1.0});
            }
            batch.intervalMs = 100;
        }
        return Status::BATCH;
    }
    std::string Error() const override { return {}; }
    std::vector<std::string> TakeRemarks() override { return {}; }

private:
    std::size_t count;
};

char* NewText(const std::string& text)
{
    char* const copy = new char[text.size() + 1];
    std::memcpy(copy, text.c_str(), text.size() + 1);
    return copy;
}

/// One message as a plug-in makes it.
void PushTick(RunMessageQueue& queue)
{
    auto message = std::make_shared<kovari::InstanceRunMessage>(RunType::PUBLISH_DATA,
                                                                std::vector<std::string>{"ticker::tick::"});
    message->dataList.topic.instanceName = NewText(TICK.instanceName);
    message->dataList.topic.topicName = NewText(TICK.topicName);
    message->dataList.topic.params = NewText(TICK.params);
    message->dataList.len = 1;
    message->dataList.data = new void*[1];
    message->dataList.data[0] = new std::uint64_t(1);
    const std::unique_lock<std::mutex> lock(queue.mutex);
    queue.messages.push_back(std::move(message));
    queue.condition.notify_one();
}

void ConsumeFront(RunMessageQueue& queue)
{
    std::shared_ptr<kovari::InstanceRunMessage> message;
    {
        const std::unique_lock<std::mutex> lock(queue.mutex);
        message = std::move(queue.messages.front());
        queue.messages.pop_front();
    }
    host::ReleaseDataList(message->dataList);
}

/// Publishes one record in Run; as a subscriber it does nothing.
class Ticker : public kovari::Interface {
public:
    explicit Ticker(const std::string& instanceName) { name = instanceName; }

    Result OpenTopic(const kovari::Topic& /*topic*/) override { return {}; }
    void CloseTopic(const kovari::Topic& /*topic*/) override {}
    void UpdateData(const DataList& dataList) override { benchmark::DoNotOptimize(dataList.len); }
    Result Enable(const std::string& /*param*/) override { return {}; }
    void Disable() override {}
    void Run() override { PushTick(*messageQueue); }
};

void BarePush(benchmark::State& state)
{
    RunMessageQueue queue;
    for ([[maybe_unused]] auto _ : state) {
        PushTick(queue);
        ConsumeFront(queue);
    }
}

void Route(benchmark::State& state)
{
    host::MonotonicClock clock;
    host::MessagePump pump(clock, nullptr);
    const auto ticker = std::make_shared<Ticker>(TICK.instanceName);
    ticker->supportTopics.push_back(TICK);
    const auto subscriber = std::make_shared<Ticker>("subscriber");
    pump.Add(ticker);
    pump.Add(subscriber);
    subscriber->messageQueue->messages.push_back(std::make_shared<kovari::InstanceRunMessage>(
        RunType::SUBSCRIBE, std::vector<std::string>{"ticker::tick::", "subscriber"}));
    for ([[maybe_unused]] auto _ : state) {
        pump.RunInstance(*ticker);
    }
    if (pump.Stats(*subscriber, host::Call::UPDATE_DATA).calls == 0) {
        state.SkipWithError("nothing was delivered");
    }
}

std::unique_ptr<host::Plugin> LoadScenario()
{
    host::LoadResult loaded = host::LoadPlugin(PLUGIN_FILE);
    if (!loaded.plugin) {
        std::cerr << loaded.message << '\n';
        std::exit(EXIT_FAILURE);  // NOLINT(concurrency-mt-unsafe): one thread
    }
    return std::move(loaded.plugin);
}

void PeriodInHost(benchmark::State& state)
{
    const std::unique_ptr<host::Plugin> plugin = LoadScenario();
    const auto collector = std::make_shared<host::UncoreCollector>(
        std::make_unique<SteadySource>(static_cast<std::size_t>(state.range(0))), 100);
    host::MonotonicClock clock;
    host::MessagePump pump(clock, nullptr);
    pump.Add(collector);
    pump.Add(plugin->Instances()[0]);
    std::uint64_t heard = 0;
    pump.Listen(SCORE, [&heard](const DataList& /*dataList*/) { ++heard; });
    for ([[maybe_unused]] auto _ : state) {
        pump.RunInstance(*collector);
        pump.RunInstance(*plugin->Instances()[0]);
    }
    if (heard == 0) {
        state.SkipWithError("no score was published");
    }
}

void PeriodByHand(benchmark::State& state)
{
    const std::unique_ptr<host::Plugin> plugin = LoadScenario();
    kovari::Interface& scenario = *plugin->Instances()[0];
    host::UncoreCollector collector(std::make_unique<SteadySource>(static_cast<std::size_t>(state.range(0))),
                                    100);
    collector.messageQueue = std::make_shared<RunMessageQueue>();
    scenario.messageQueue = std::make_shared<RunMessageQueue>();
    collector.OpenTopic(UNCORE);
    scenario.OpenTopic(SCORE);
    ConsumeFront(*scenario.messageQueue);
    for ([[maybe_unused]] auto _ : state) {
        collector.Run();
        scenario.UpdateData(collector.messageQueue->messages.front()->dataList);
        ConsumeFront(*collector.messageQueue);
        scenario.Run();
        ConsumeFront(*scenario.messageQueue);
    }
}

}  // namespace

int main(int argc, char** argv)
{
    benchmark::RegisterBenchmark("bare_push", BarePush);
    benchmark::RegisterBenchmark("route", Route);
    std::vector<bench::Ratio> ratios = {
        {"one record from publisher to subscriber", "route", "bare_push", "none"}};
    for (const int records : {3, 300}) {
        const std::string argument = "/" + std::to_string(records);
        benchmark::RegisterBenchmark("period_in_host", PeriodInHost)->Arg(records);
        benchmark::RegisterBenchmark("period_by_hand", PeriodByHand)->Arg(records);
        ratios.push_back({"whole period in the host, " + std::to_string(records) + " records",
                          "period_in_host" + argument, "period_by_hand" + argument, "none"});
    }
    return bench::RunWithRatios(argc, argv, ratios);
}
