// SPDX-License-Identifier: MIT

#ifndef TESTS_UNIT_COMMON_WATCHDOG_FIXTURE_H
#define TESTS_UNIT_COMMON_WATCHDOG_FIXTURE_H

#include <sched.h>

#include <cstdint>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <mutex>
#include <string>
#include <vector>

#include "common/logger_ctl.h"
#include "common/monotonic_ns.h"
#include "tests/unit/common/logger_fixture.h"

#if defined(__SANITIZE_THREAD__)
#define THREAD_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define THREAD_SANITIZER 1
#endif
#endif

#ifdef THREAD_SANITIZER
// By default it takes a second of its own to end a process. A program includes this header once.
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_options();
extern "C" const char* __tsan_default_options()
{
    return "atexit_sleep_ms=0";
}
#endif

/// A timeout that is never reached.
constexpr std::chrono::milliseconds LONG_TIMEOUT{3600000};

inline std::atomic<std::uint64_t> g_handNs{0};
inline std::atomic<std::uint64_t> g_handReads{0};

inline std::uint64_t HandClock()
{
    ++g_handReads;
    return g_handNs;
}

/// Lets the watchdog read a clock that the test moves.
class HandMovedClock {
public:
    HandMovedClock() : previous(runtime::monotonicSource)
    {
        g_handNs = 1000000000000U;
        runtime::monotonicSource = HandClock;
    }
    ~HandMovedClock() { runtime::monotonicSource = previous; }

    HandMovedClock(const HandMovedClock&) = delete;
    HandMovedClock& operator=(const HandMovedClock&) = delete;

    static void Advance(std::uint64_t nanoseconds) { g_handNs += nanoseconds; }

    /// Returns when the monitor has looked at the present time at least once.
    static void AwaitPoll()
    {
        const std::uint64_t reads = g_handReads;
        while (g_handReads < reads + 3) {
            sched_yield();
        }
    }

private:
    std::uint64_t (*previous)();
};

/// The lines that went through channel 0 since its construction.
class Recorder {
public:
    Recorder()
    {
        LoggerCtl::GetInstance().SetLogFunc(
            LogType::RUNTIME,
            [this](LogLevel level, const std::string& text) {
                const std::lock_guard<std::mutex> lock(mutex);
                lines.push_back(LoggerCtl::GetInstance().levelNames.at(level) + " " + text);
            },
            [](LogLevel, const std::string&) {});
    }

    std::vector<std::string> Lines() const
    {
        const std::lock_guard<std::mutex> lock(mutex);
        return lines;
    }

    bool Has(const std::string& line) const
    {
        const std::vector<std::string> all = Lines();
        return std::find(all.begin(), all.end(), line) != all.end();
    }

private:
    mutable std::mutex mutex;
    std::vector<std::string> lines;
};

#endif  // TESTS_UNIT_COMMON_WATCHDOG_FIXTURE_H
