// SPDX-License-Identifier: MIT
//
// The library is unloaded while its watchdog runs: the destructor stops and joins, so nothing of the library
// is left running when its code goes.

#include <dlfcn.h>

#include <chrono>
#include <new>
#include <string>
#include <thread>

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

/// A joined thread is off the list of tasks only when the kernel, or an emulator, has put it away: a moment
/// later.
std::size_t ThreadsOnceSettled(std::size_t expected)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    std::size_t threads = support::ReadProcessFigures().threads;
    while (threads != expected && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        threads = support::ReadProcessFigures().threads;
    }
    return threads;
}

TEST(WatchdogUnload, AThousandTimesWithoutAThreadLeft)
{
    const std::size_t threadsBefore = support::ReadProcessFigures().threads;
    for (int i = 0; i < WARM_UP; ++i) {
        RunWatchdogOnce();
    }
    const support::ProcessFigures before = support::ReadProcessFigures();
    for (int i = 0; i < CYCLES; ++i) {
        RunWatchdogOnce();
        ASSERT_FALSE(support::IsMapped(PLUGIN_LIBRARY));
    }
    const support::ProcessFigures after = support::ReadProcessFigures();
    EXPECT_EQ(ThreadsOnceSettled(threadsBefore), threadsBefore);
    EXPECT_EQ(after.descriptors, before.descriptors);
    EXPECT_LE(after.mappings, before.mappings + 500) << "a mapping left per cycle would be a thousand";
}

}  // namespace
