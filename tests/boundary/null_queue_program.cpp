// SPDX-License-Identifier: MIT
//
// Compiled together with the plug-in's sources at one optimisation level: what happens when the host never
// set its queue, and what is left behind. Null pointers are where optimisation levels differ.

#include <cstdio>
#include <exception>
#include <memory>
#include <system_error>
#include <vector>

#include "scenario/get_instance.h"
#include "scenario/numa_scenario.h"
#include "scenario/numa_scenario_ins.h"

namespace {

int g_failures = 0;

void Check(bool holds, const char* what)
{
    if (!holds) {
        std::fprintf(stderr, "FAILED: %s\n", what);
        ++g_failures;
    }
}

template <typename Call>
void CheckRefused(Call call, const char* what)
{
    try {
        call();
        std::fprintf(stderr, "FAILED: %s raised nothing\n", what);
        ++g_failures;
    } catch (const std::system_error& error) {
        Check(error.code() == std::make_error_code(std::errc::operation_not_permitted), what);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "FAILED: %s raised \"%s\"\n", what, error.what());
        ++g_failures;
    }
}

bool HoldsOnlyUncore(const kovari::NumaScenarioIns& instance)
{
    return instance.subscribedTopics.size() == 1 &&
           instance.subscribedTopics.count("pmu_uncore_collector::uncore::") == 1;
}

}  // namespace

int main()
{
    std::vector<std::shared_ptr<kovari::Interface>> interfaces;
    GetInstance(interfaces);
    kovari::Interface& host = *interfaces.at(0);
    auto& instance = dynamic_cast<kovari::NumaScenarioIns&>(host);
    const kovari::Topic systemScore{"scenario_numa", "system_score", ""};

    host.Run();
    host.CloseTopic(systemScore);
    host.Disable();
    Check(host.Enable("").code == 0, "Enable needs no queue");

    CheckRefused([&] { host.OpenTopic(systemScore); }, "OpenTopic");
    Check(instance.opened, "OpenTopic: opened before the request");
    Check(HoldsOnlyUncore(instance), "OpenTopic: the subscription stays noted");
    Check(host.OpenTopic(systemScore).code == 0, "OpenTopic: a noted subscription is not sent again");

    NumaScenario& engine = NumaScenario::GetInstance();
    engine.counts[NumaScenario::RX_OUTER] = 25;
    engine.counts[NumaScenario::RX_OPS_NUM] = 100;
    engine.interval = 7;
    CheckRefused([&] { host.Run(); }, "Run");
    Check(engine.counts.size() == 3, "Run: the score was computed, so all three events have an entry");
    Check(engine.counts[NumaScenario::RX_OUTER] == 25 && engine.counts[NumaScenario::RX_SCCL] == 0 &&
              engine.counts[NumaScenario::RX_OPS_NUM] == 100 && engine.interval == 7,
          "Run: the period is not reset");
    Check(instance.opened && HoldsOnlyUncore(instance), "Run: changes nothing else");

    CheckRefused([&] { host.CloseTopic(systemScore); }, "CloseTopic");
    Check(instance.subscribedTopics.empty(), "CloseTopic: the subscription is forgotten");
    Check(instance.opened, "CloseTopic: closes only after the request");

    CheckRefused([&] { host.OpenTopic(systemScore); }, "OpenTopic, the second time");
    CheckRefused([&] { host.Disable(); }, "Disable");
    Check(instance.subscribedTopics.empty(), "Disable: the subscription is forgotten");
    Check(instance.opened, "Disable: leaves it open");

    host.messageQueue = std::make_shared<RunMessageQueue>();
    host.Run();
    Check(host.messageQueue->messages.size() == 1, "a queue set later serves");
    Check(engine.counts[NumaScenario::RX_OPS_NUM] == 0 && engine.interval == 0, "and the period is reset");
    if (host.messageQueue->messages.size() == 1) {
        DataList& list = host.messageQueue->messages.front()->dataList;
        Check(static_cast<ScenarioNumaScore*>(list.data[0])->numaScore == 0.75F,
              "with the score of the period");
        delete static_cast<ScenarioNumaScore*>(list.data[0]);
        delete[] list.data;
        delete[] list.topic.instanceName;
        delete[] list.topic.topicName;
        delete[] list.topic.params;
    }
    return g_failures == 0 ? 0 : 1;
}
