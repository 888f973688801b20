// SPDX-License-Identifier: MIT
//
// A host that exports kovari::Concat of its own, as the framework does: the plug-in calls that one.

#include <dlfcn.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/plugin_library.h"
#include "tests/support/published_score.h"

namespace {

using Parts = std::vector<std::string>;

/// What the host's Concat was asked to join, in order.
std::vector<std::pair<Parts, std::string>> g_calls;

}  // namespace

namespace kovari {

/// Recognisable in the keys that the plug-in sends.
std::string Concat(const std::vector<std::string>& parts, const std::string& separator)
{
    g_calls.emplace_back(parts, separator);
    std::string joined = "host";
    for (const std::string& part : parts) {
        joined += "|" + part;
    }
    return joined;
}

}  // namespace kovari

namespace {

class ConcatOfTheHost : public testing::TestWithParam<support::LoadMode> {
protected:
    void SetUp() override { g_calls.clear(); }
};

TEST_P(ConcatOfTheHost, IsExported)
{
    const auto own = reinterpret_cast<const void*>(&kovari::Concat);
    EXPECT_EQ(dlsym(RTLD_DEFAULT,
                    "_ZN6kovari6ConcatERKSt6vectorINSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEESaIS6_"
                    "EERKS6_"),
              own);
}

TEST_P(ConcatOfTheHost, BuildsTheKeysOfThePlugin)
{
    const support::PluginLibrary library(PLUGIN_LIBRARY, GetParam().flag);
    support::PluginLibrary::Instances instances;
    library.GetInstance(instances);
    ASSERT_EQ(instances.size(), 1U);
    kovari::Interface& instance = *instances.front();
    instance.messageQueue = std::make_shared<RunMessageQueue>();
    RunMessageQueue& queue = *instance.messageQueue;

    g_calls.clear();
    ASSERT_EQ(instance.OpenTopic({"scenario_numa", "system_score", ""}).code, 0);
    ASSERT_EQ(g_calls.size(), 1U);
    EXPECT_EQ(g_calls[0].first, (Parts{"pmu_uncore_collector", "uncore", ""}));
    EXPECT_EQ(g_calls[0].second, "::");
    std::shared_ptr<kovari::InstanceRunMessage> message = support::TakeMessage(queue);
    ASSERT_NE(message, nullptr);
    EXPECT_EQ(message->payload, (Parts{"host|pmu_uncore_collector|uncore|", "scenario_numa"}));

    g_calls.clear();
    instance.Run();
    ASSERT_EQ(g_calls.size(), 1U);
    EXPECT_EQ(g_calls[0].first, (Parts{"scenario_numa", "system_score", ""}));
    EXPECT_EQ(g_calls[0].second, "::");
    message = support::TakeMessage(queue);
    ASSERT_NE(message, nullptr);
    EXPECT_EQ(message->payload, Parts{"host|scenario_numa|system_score|"});
    support::TakeScore(*message);

    g_calls.clear();
    instance.Disable();
    ASSERT_EQ(g_calls.size(), 1U);
    message = support::TakeMessage(queue);
    ASSERT_NE(message, nullptr);
    EXPECT_EQ(message->payload, (Parts{"host|pmu_uncore_collector|uncore|", "scenario_numa"}));
}

INSTANTIATE_TEST_SUITE_P(Modes, ConcatOfTheHost, testing::ValuesIn(support::LOAD_MODES),
                         [](const auto& mode) { return std::string(mode.param.name); });

}  // namespace
