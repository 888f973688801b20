// SPDX-License-Identifier: MIT

#include <atomic>
#include <chrono>
#include <string>

#include "common/passive_watchdog.h"
#include "tests/faults/operation.h"

namespace faults {
namespace {

/// No test of faults waits for this long.
constexpr std::chrono::milliseconds NEVER = std::chrono::hours(1);

/// Whether a watchdog has said at ERROR that it could not start.
std::atomic<bool> g_saidNotStarted{false};

/// The watchdog's lines go nowhere else meanwhile.
struct Listening {
    Listening() : channel(LoggerCtl::GetInstance().GetLog(LogType::RUNTIME))
    {
        const LogFunction listen = [](LogLevel level, const std::string& text) {
            if (level == LogLevel::ERROR && text.compare(0, 20, "Watchdog not started") == 0) {
                g_saidNotStarted = true;
            }
        };
        LoggerCtl::GetInstance().SetLogFunc(LogType::RUNTIME, listen, listen);
    }
    Listening(const Listening&) = delete;
    Listening& operator=(const Listening&) = delete;
    ~Listening() { LoggerCtl::GetInstance().SetLogFunc(LogType::RUNTIME, channel.logFunc, channel.snapFunc); }

    Log channel;
};

struct Guard {
    Listening listening;
    PassiveWatchdog watchdog;
    bool returned = false;
};

std::string GuardText(const Guard& guard)
{
    return std::string(guard.watchdog.running ? "running" : "stopped") +
           (guard.watchdog.thread.joinable() ? " with its thread " : " without a thread ") +
           std::to_string(guard.watchdog.timeoutMs) + (guard.returned ? " returned" : "") +
           (g_saidNotStarted ? " said" : "");
}

Operation OnWatchdog(std::string name, Memory memory, bool started,
                     std::function<void(PassiveWatchdog&)> call,
                     std::function<bool(const std::string&, const std::string&)> documented = nullptr)
{
    return {"PassiveWatchdog::" + name, memory,
            [started, call] {
                g_saidNotStarted = false;
                auto guard = std::make_shared<Guard>();
                if (started) {
                    guard->watchdog.Start(NEVER);
                }
                return Trial{[guard, call] {
                                 g_saidNotStarted = false;
                                 guard->returned = false;
                                 call(guard->watchdog);
                                 guard->returned = true;
                             },
                             [guard] { return GuardText(*guard); }};
            },
            std::move(documented)};
}

}  // namespace

Operations WatchdogOperations()
{
    return {
        Returning("PassiveWatchdog::PassiveWatchdog", Memory::NONE,
                  [] { return PassiveWatchdog().running.load(); }),
        Returning("PassiveWatchdog::~PassiveWatchdog", Memory::NONE,
                  [] { return PassiveWatchdog().running.load(); }),
        OnWatchdog(
            "Start", Memory::THROWS, false, [](PassiveWatchdog& watchdog) { watchdog.Start(NEVER); },
            // One that comes back without a watch says so; where there is no memory for that, it throws.
            [](const std::string& state, const std::string& /*before*/) {
                return state == "stopped without a thread 3600000 returned said" ||
                       state == "stopped without a thread 3600000";
            }),
        OnWatchdog("Heartbeat", Memory::NONE, false, [](PassiveWatchdog& watchdog) { watchdog.Heartbeat(); }),
        OnWatchdog("GetLastHeartbeat", Memory::NONE, false,
                   [](PassiveWatchdog& watchdog) { watchdog.GetLastHeartbeat(); }),
        // The line at the end may be lost, the end may not.
        OnWatchdog("Stop", Memory::REPORTS, true, [](PassiveWatchdog& watchdog) { watchdog.Stop(); }),
    };
}

}  // namespace faults
