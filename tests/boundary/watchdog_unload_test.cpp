// SPDX-License-Identifier: MIT
//
// The library is unloaded while its watchdog runs: the destructor stops and joins, so nothing of the library
// is left running when its code goes.

#include <dlfcn.h>

#include <chrono>
#include <new>
#include <string>

#include <gtest/gtest.h>

#include "common/passive_watchdog.h"
#include "tests/support/plugin_library.h"
#include "tests/support/process_figures.h"

namespace {

constexpr int WARM_UP = 20;
constexpr int CYCLES = 1000;

/// The exported function behind a mangled name.
template <typename Function>
Function Exported(const support::PluginLibrary& library, const char* name)
{
    void* symbol = library.Symbol(name);
    EXPECT_NE(symbol, nullptr) << name;
    return reinterpret_cast<Function>(symbol);
}

void RunWatchdogOnce()
{
    const support::PluginLibrary library(PLUGIN_LIBRARY, RTLD_NOW);
    auto* const instance = Exported<LoggerCtl& (*)()>(library, "_ZN9LoggerCtl11GetInstanceEv");
    auto* const setLogFile = Exported<bool (*)(LoggerCtl*, const std::string&)>(
        library, "_ZN9LoggerCtl10SetLogFileERKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE");
    auto* const construct = Exported<void (*)(void*)>(library, "_ZN15PassiveWatchdogC1Ev");
    auto* const destroy = Exported<void (*)(void*)>(library, "_ZN15PassiveWatchdogD1Ev");
    auto* const start = Exported<void (*)(void*, std::chrono::milliseconds)>(
        library, "_ZN15PassiveWatchdog5StartENSt6chrono8durationIlSt5ratioILl1ELl1000EEEE");
    ASSERT_TRUE(setLogFile(&instance(), "/dev/null"));

    alignas(PassiveWatchdog) unsigned char storage[sizeof(PassiveWatchdog)];
    construct(storage);
    start(storage, std::chrono::seconds(60));
    EXPECT_TRUE(std::launder(reinterpret_cast<PassiveWatchdog*>(storage))->running);
    destroy(storage);
}

TEST(WatchdogUnload, AThousandTimesWithoutAThreadLeft)
{
    for (int i = 0; i < WARM_UP; ++i) {
        RunWatchdogOnce();
    }
    const support::ProcessFigures before = support::ReadProcessFigures();
    for (int i = 0; i < CYCLES; ++i) {
        RunWatchdogOnce();
        ASSERT_FALSE(support::IsMapped(PLUGIN_LIBRARY));
    }
    const support::ProcessFigures after = support::ReadProcessFigures();
    EXPECT_EQ(after.threads, before.threads);
    EXPECT_EQ(after.descriptors, before.descriptors);
    EXPECT_LE(after.mappings, before.mappings + 500) << "a mapping left per cycle would be a thousand";
}

}  // namespace
