// SPDX-License-Identifier: MIT
//
// The plug-in for a long time, met through dlopen as a host meets it: publish periods by bare calls and
// through the host's pump, and the library loaded and unloaded again and again, also with a running watchdog.
// Every score is checked. log4cplus stays linked although this host never calls it, as in the framework's
// server.

#include <dlfcn.h>

#include <chrono>
#include <cstdint>
#include <cstring>

#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "common/passive_watchdog.h"
#include "host/message_pump.h"
#include "host/plugin_loader.h"
#include "host/uncore_collector.h"
#include "tests/soak/soak.h"
#include "tests/support/manual_clock.h"
#include "tests/support/plugin_library.h"
#include "tests/support/process_figures.h"
#include "tests/support/published_score.h"

namespace {

using soak::Require;
using support::PublishedScore;

const kovari::Topic SCORE{"scenario_numa", "system_score", ""};
constexpr std::int32_t PERIOD_MS = 100;

/// The counts of a period; every period has its own.
struct Counts {
    explicit Counts(std::uint64_t period)
        : ops(period % 1000003 * 977 + 4), outer(ops / 4), sccl(period * 31 % (ops / 2 + 1))
    {
    }

    std::uint64_t ops;
    std::uint64_t outer;
    std::uint64_t sccl;
};

void CheckScore(const PublishedScore& score, std::uint64_t period)
{
    const Counts counts(period);
    const float ratio =
        (static_cast<float>(counts.outer) + static_cast<float>(counts.sccl)) / static_cast<float>(counts.ops);
    const float expected = ratio > 1.0F ? 0.0F : 1.0F - ratio;
    Require(std::memcmp(&score.score, &expected, sizeof(expected)) == 0, "a score is that of its counts");
    Require(score.ops == counts.ops && score.outer == counts.outer && score.sccl == counts.sccl &&
                score.interval == PERIOD_MS,
            "a record holds the counts of its period");
}

/// Subscribes, and takes the request that tells the host.
void Open(kovari::Interface& instance)
{
    Require(instance.Enable("").code == 0 && instance.OpenTopic(SCORE).code == 0, "the topic opens");
    const auto request = support::TakeMessage(*instance.messageQueue);
    Require(request != nullptr && request->type == RunType::SUBSCRIBE, "the instance subscribes");
}

void OnePeriod(kovari::Interface& instance, std::uint64_t period)
{
    const Counts counts(period);
    support::DeliverCounts(instance, counts.outer, counts.sccl, counts.ops, PERIOD_MS);
    instance.Run();
    const auto message = support::TakeMessage(*instance.messageQueue);
    Require(message != nullptr && message->type == RunType::PUBLISH_DATA, "a period publishes");
    CheckScore(support::TakeScore(*message), period);
    Require(support::TakeMessage(*instance.messageQueue) == nullptr, "a period publishes once");
}

bool Bare(std::uint64_t periods)
{
    const support::PluginLibrary library(PLUGIN_LIBRARY, RTLD_NOW);
    support::PluginLibrary::Instances instances;
    library.GetInstance(instances);
    kovari::Interface& instance = *instances.front();
    instance.messageQueue = std::make_shared<RunMessageQueue>();
    Open(instance);
    soak::Watch watch("publish periods, bare", periods);
    for (std::uint64_t period = 0; period < periods; ++period) {
        watch.Round();
        OnePeriod(instance, period);
    }
    return watch.End();
}

/// Gives the counts of one period after the other.
class PeriodSource : public host::CounterSource {
public:
    std::string Describe() const override { return "made-up counts, different in every period"; }
    bool IsLive() const override { return false; }
    Status Read(host::CounterBatch& batch) override
    {
        const Counts counts(period++);
        batch.Clear();
        batch.samples.push_back({"uncore_l3c2/rx_outer/", "uncore_l3c2", counts.outer, 1.0});
        batch.samples.push_back({"uncore_l3c2/rx_sccl/", "uncore_l3c2", counts.sccl, 1.0});
        batch.samples.push_back({"uncore_l3c2/rx_ops_num/", "uncore_l3c2", counts.ops, 1.0});
        batch.intervalMs = PERIOD_MS;
        return Status::BATCH;
    }
    std::string Error() const override { return {}; }
    std::vector<std::string> TakeRemarks() override { return {}; }

private:
    std::uint64_t period = 0;
};

bool Pump(std::uint64_t periods)
{
    const host::LoadResult loaded = host::LoadPlugin(PLUGIN_LIBRARY);
    Require(loaded.plugin != nullptr, "the plug-in loads");
    support::ManualClock clock;
    std::uint64_t scores = 0;
    std::uint64_t remarks = 0;
    soak::Watch watch("publish periods, through the pump", periods);
    host::MessagePump pump(clock, [&remarks](const std::string&) { ++remarks; });
    Require(pump.Add(std::make_shared<host::UncoreCollector>(std::make_unique<PeriodSource>(), PERIOD_MS)) &&
                pump.Add(loaded.plugin->Instances().front()),
            "the pump takes collector and plug-in");
    const bool listens = pump.Listen(SCORE, [&scores](const DataList& list) {
        PublishedScore score;
        std::memcpy(&score, list.data[0], sizeof(score));
        CheckScore(score, scores++);
    });
    Require(listens, "the topic can be listened to");
    for (std::uint64_t period = 0; period < periods; ++period) {
        watch.Round();
        clock.AdvanceMs(PERIOD_MS);
        pump.RunDue();
        Require(scores == period + 1, "every period gives one score");
    }
    Require(remarks == 0 && pump.Faults() == 0, "the pump has nothing to remark");
    return watch.End();
}

bool LoadUnload(std::uint64_t cycles)
{
    soak::Watch watch("load and unload", cycles);
    for (std::uint64_t cycle = 0; cycle < cycles; ++cycle) {
        watch.Round();
        {
            const support::PluginLibrary library(PLUGIN_LIBRARY, cycle % 2 == 0 ? RTLD_NOW : RTLD_LAZY);
            support::PluginLibrary::Instances instances;
            library.GetInstance(instances);
            instances.front()->messageQueue = std::make_shared<RunMessageQueue>();
            Open(*instances.front());
            OnePeriod(*instances.front(), cycle);
        }
        Require(!support::IsMapped(PLUGIN_LIBRARY), "the library is gone");
    }
    return watch.End();
}

/// The exported function behind a mangled name.
template <typename Function>
Function Exported(const support::PluginLibrary& library, const char* name)
{
    void* symbol = library.Symbol(name);
    Require(symbol != nullptr, name);
    return reinterpret_cast<Function>(symbol);
}

bool LoadUnloadWithWatchdog(std::uint64_t cycles)
{
    const std::size_t threads = soak::ReadFootprint().threads;
    soak::Watch watch("load and unload with a running watchdog", cycles);
    for (std::uint64_t cycle = 0; cycle < cycles; ++cycle) {
        watch.Round();
        {
            const support::PluginLibrary library(PLUGIN_LIBRARY, RTLD_NOW);
            auto* const construct = Exported<void (*)(void*)>(library, "_ZN15PassiveWatchdogC1Ev");
            auto* const destroy = Exported<void (*)(void*)>(library, "_ZN15PassiveWatchdogD1Ev");
            auto* const start = Exported<void (*)(void*, std::chrono::milliseconds)>(
                library, "_ZN15PassiveWatchdog5StartENSt6chrono8durationIlSt5ratioILl1ELl1000EEEE");
            auto* const instance = Exported<LoggerCtl& (*)()>(library, "_ZN9LoggerCtl11GetInstanceEv");
            auto* const setLogFile = Exported<bool (*)(LoggerCtl*, const std::string&)>(
                library, "_ZN9LoggerCtl10SetLogFileERKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE");
            Require(setLogFile(&instance(), "/dev/null"), "the log goes nowhere");
            alignas(PassiveWatchdog) unsigned char storage[sizeof(PassiveWatchdog)];
            construct(storage);
            start(storage, std::chrono::seconds(60));
            const bool runs = std::launder(reinterpret_cast<PassiveWatchdog*>(storage))->running;
            destroy(storage);
            Require(runs, "the watchdog runs");
        }
        soak::WaitForThreads(threads);
        Require(!support::IsMapped(PLUGIN_LIBRARY), "the library is gone");
    }
    return watch.End();
}

}  // namespace

int main(int argc, char** argv)
{
    return soak::Main(
        argc, argv,
        {{"bare", Bare}, {"pump", Pump}, {"load", LoadUnload}, {"watchdog", LoadUnloadWithWatchdog}});
}
