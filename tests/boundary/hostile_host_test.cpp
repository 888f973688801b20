// SPDX-License-Identifier: MIT
//
// A host that exports classes of the plug-in's names must not take over the plug-in's calls. The second half
// loads the same sources built without the linker's protection and sees them taken over, which shows that
// this host can do it.

#include <dlfcn.h>

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/boundary/hostile_classes.h"
#include "tests/support/plugin_library.h"
#include "tests/support/published_score.h"

namespace {

using support::PluginLibrary;

/// One symbol of each class that this program exports.
const std::vector<const char*> EXPORTED = {
    "_ZN12NumaScenario11GetInstanceEv",
    "_ZN12NumaScenario16UpdateScoreParamEiPK7PmuDatai",
    "_ZN12NumaScenario12GetNumaScoreER17ScenarioNumaScore",
    "_ZN12NumaScenario15ResetScoreParamEv",
    "_ZN6kovari15NumaScenarioInsC1Ev",
    "_ZN6kovari15NumaScenarioIns9OpenTopicERKNS_5TopicE",
    "_ZN6kovari15NumaScenarioIns3RunEv",
    "_ZTVN6kovari15NumaScenarioInsE",
    "_ZTIN6kovari15NumaScenarioInsE",
    "_ZN4Stat4InitEv",
    "_ZN4Stat3RunEv",
    "_ZN4Stat14UpdateProcStatEv",
    "_ZN6Option5ParseERKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE",
    "_ZN3Log11GetInstanceEv",
    "_ZNK4Conf7IsValidEb",
    "_ZN7Metrics4InitEb",
    "_ZN7Metrics4DumpEv",
    "_ZN7Metrics12ClearMetricsEv",
    "_Z13GetPageSizeKbv",
    "_Z5Kb2Mbf",
    "_ZN9LoggerCtl11GetInstanceEv",
    "_ZN9LoggerCtl10SetLogFileERKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE",
    "_ZN9LoggerCtl6GetLogE7LogType",
    "_ZN9LoggerCtl13LogStandaloneE8LogLevelRKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE",
    "_Z14DefaultLogFunc8LogLevelRKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE",
    "_ZN8Snapshot4InitEv",
};

class HostileHost : public testing::TestWithParam<support::LoadMode> {
protected:
    void SetUp() override { g_hijackedCalls = 0; }
};

TEST_P(HostileHost, ExportsItsOwnClasses)
{
    const int lines = Log::GetInstance().lines;
    Log::GetInstance().Write("");
    EXPECT_EQ(Log::GetInstance().lines, lines + 1);
    const std::string program = support::ObjectOf(&g_hijackedCalls);
    for (const char* name : EXPORTED) {
        const void* address = dlsym(RTLD_DEFAULT, name);
        ASSERT_NE(address, nullptr) << name;
        EXPECT_EQ(support::ObjectOf(address), program) << name;
    }
}

TEST_P(HostileHost, ThePluginRunsItsOwnCode)
{
    const PluginLibrary library(PLUGIN_LIBRARY, GetParam().flag);
    PluginLibrary::Instances instances;
    library.GetInstance(instances);
    ASSERT_EQ(instances.size(), 1U);
    kovari::Interface& instance = *instances.front();
    EXPECT_EQ(instance.name, "scenario_numa");
    EXPECT_EQ(instance.period, 100);
    instance.messageQueue = std::make_shared<RunMessageQueue>();
    RunMessageQueue& queue = *instance.messageQueue;

    // Two destructor entries, then the six operations.
    for (std::size_t slot = 0; slot < 8; ++slot) {
        EXPECT_EQ(support::ObjectOfSlot(&instance, slot), PLUGIN_LIBRARY) << "slot " << slot;
    }

    EXPECT_EQ(instance.Enable("").code, 0);
    EXPECT_EQ(instance.OpenTopic({"scenario_numa", "system_score", ""}).code, 0);
    std::shared_ptr<kovari::InstanceRunMessage> message = support::TakeMessage(queue);
    ASSERT_NE(message, nullptr);
    EXPECT_EQ(message->type, RunType::SUBSCRIBE);
    EXPECT_EQ(message->payload,
              (std::vector<std::string>{"pmu_uncore_collector::uncore::", "scenario_numa"}));

    support::DeliverCounts(instance, 30, 20, 100, 100);
    support::DeliverCounts(instance, 10, 15, 200, 100);
    instance.Run();
    message = support::TakeMessage(queue);
    ASSERT_NE(message, nullptr);
    ASSERT_EQ(message->type, RunType::PUBLISH_DATA);
    support::PublishedScore score = support::TakeScore(*message);
    EXPECT_EQ(score.score, 0.75F);
    EXPECT_EQ(score.ops, 300U);
    EXPECT_EQ(score.sccl, 35U);
    EXPECT_EQ(score.outer, 40U);
    EXPECT_EQ(score.interval, 200U);

    // The period was reset by the plug-in's own engine.
    instance.Run();
    message = support::TakeMessage(queue);
    ASSERT_NE(message, nullptr);
    score = support::TakeScore(*message);
    EXPECT_EQ(score.score, 1.0F);
    EXPECT_EQ(score.ops, 0U);

    instance.CloseTopic({"scenario_numa", "system_score", ""});
    message = support::TakeMessage(queue);
    ASSERT_NE(message, nullptr);
    EXPECT_EQ(message->type, RunType::UNSUBSCRIBE);
    instance.Disable();
    EXPECT_EQ(support::TakeMessage(queue), nullptr);
    message.reset();
    instances.clear();
    EXPECT_EQ(g_hijackedCalls, 0);
}

TEST_P(HostileHost, TakesOverTheSameSourcesWithoutProtection)
{
    const PluginLibrary library(UNPROTECTED_LIBRARY, GetParam().flag);
    PluginLibrary::Instances instances;
    library.GetInstance(instances);
    ASSERT_EQ(instances.size(), 1U);
    EXPECT_EQ(instances.front()->name, "the host's");
    EXPECT_EQ(instances.front()->OpenTopic({"scenario_numa", "system_score", ""}).code, -1);
    instances.clear();
    EXPECT_EQ(g_hijackedCalls, 3);
}

INSTANTIATE_TEST_SUITE_P(Modes, HostileHost, testing::ValuesIn(support::LOAD_MODES),
                         [](const auto& mode) { return std::string(mode.param.name); });

}  // namespace
