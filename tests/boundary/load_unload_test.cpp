// SPDX-License-Identifier: MIT
//
// The library comes and goes. This host links log4cplus, as the framework's server does: log4cplus starts
// four pool threads when it is loaded, so in a host without it every cycle would start and join those four,
// and the figures below would be log4cplus's and not the plug-in's.

#include <dlfcn.h>

#include <iostream>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "tests/support/plugin_library.h"
#include "tests/support/process_figures.h"
#include "tests/support/published_score.h"

namespace {

using support::PluginLibrary;
using support::ProcessFigures;

const std::string LIBRARY = PLUGIN_LIBRARY;
constexpr int WARM_UP = 500;  // tables of the C library and of what the library needs grow until then
constexpr int CYCLES = 1000;

/// Loads, runs one period through the instance, drops everything, unloads.
void UseOnce(int mode)
{
    const PluginLibrary library(LIBRARY, mode);
    PluginLibrary::Instances instances;
    library.GetInstance(instances);
    ASSERT_EQ(instances.size(), 1U);
    kovari::Interface& instance = *instances.front();
    instance.messageQueue = std::make_shared<RunMessageQueue>();

    ASSERT_EQ(instance.Enable("").code, 0);
    ASSERT_EQ(instance.OpenTopic({"scenario_numa", "system_score", ""}).code, 0);
    support::DeliverCounts(instance, 30, 20, 100, 100);
    instance.Run();
    instance.CloseTopic({"scenario_numa", "system_score", ""});
    instance.Disable();

    // A message's control block was made by the plug-in: it has to go before the code that releases it does.
    std::shared_ptr<kovari::InstanceRunMessage> message = support::TakeMessage(*instance.messageQueue);
    ASSERT_NE(message, nullptr);
    EXPECT_EQ(message->type, RunType::SUBSCRIBE);
    message = support::TakeMessage(*instance.messageQueue);
    ASSERT_NE(message, nullptr);
    ASSERT_EQ(message->type, RunType::PUBLISH_DATA);
    // The engine is part of the library: counts of an earlier cycle would show here if it had stayed.
    const support::PublishedScore score = support::TakeScore(*message);
    EXPECT_EQ(score.score, 0.5F);
    EXPECT_EQ(score.ops, 100U);
    EXPECT_EQ(score.interval, 100U);
    message = support::TakeMessage(*instance.messageQueue);
    ASSERT_NE(message, nullptr);
    EXPECT_EQ(message->type, RunType::UNSUBSCRIBE);
    EXPECT_EQ(support::TakeMessage(*instance.messageQueue), nullptr);
}

bool IsLoaded()
{
    void* handle = dlopen(LIBRARY.c_str(), RTLD_LAZY | RTLD_NOLOAD);
    if (handle != nullptr) {
        dlclose(handle);
    }
    return handle != nullptr;
}

class LoadUnload : public testing::TestWithParam<support::LoadMode> {};

TEST_P(LoadUnload, TheProbesSeeALoadedLibrary)
{
    const PluginLibrary library(LIBRARY, GetParam().flag);
    EXPECT_TRUE(IsLoaded());
    EXPECT_TRUE(support::IsMapped(LIBRARY));
}

TEST_P(LoadUnload, StartsNoThreadAndOpensNothing)
{
    const ProcessFigures before = support::ReadProcessFigures();
    const PluginLibrary library(LIBRARY, GetParam().flag);
    PluginLibrary::Instances instances;
    library.GetInstance(instances);
    const ProcessFigures after = support::ReadProcessFigures();
    EXPECT_EQ(after.threads, before.threads);
    EXPECT_EQ(after.descriptors, before.descriptors);
}

TEST_P(LoadUnload, GoesForRealEveryTimeAndLeavesNothingBehind)
{
    for (int cycle = 0; cycle < WARM_UP; ++cycle) {
        UseOnce(GetParam().flag);
    }
    const ProcessFigures before = support::ReadProcessFigures();
    for (int cycle = 0; cycle < CYCLES; ++cycle) {
        UseOnce(GetParam().flag);
        if (HasFatalFailure()) {
            return;
        }
        ASSERT_FALSE(IsLoaded()) << "after cycle " << cycle;
        ASSERT_FALSE(support::IsMapped(LIBRARY)) << "after cycle " << cycle;
    }
    const ProcessFigures after = support::ReadProcessFigures();
    EXPECT_EQ(after.threads, before.threads);
    EXPECT_EQ(after.descriptors, before.descriptors);
    // The allocators take and return whole arenas now and then, a sanitizer's most of all; a leak of one
    // block or mapping per cycle would be a thousand mappings, or sixteen thousand bytes and more.
    EXPECT_LE(after.mappings, before.mappings + 200);
    if (before.heapBytes && after.heapBytes) {
        EXPECT_LE(*after.heapBytes, *before.heapBytes + 8192);
    } else {
        std::cout << "heap growth is not compared here: the sanitizer finds leaks itself\n";
    }
}

INSTANTIATE_TEST_SUITE_P(Modes, LoadUnload, testing::ValuesIn(support::LOAD_MODES),
                         [](const auto& mode) { return std::string(mode.param.name); });

}  // namespace
