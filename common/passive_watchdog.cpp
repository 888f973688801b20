// SPDX-License-Identifier: MIT

#include "common/passive_watchdog.h"

#include <pthread.h>
#include <unistd.h>

#include <new>
#include <string>
#include <system_error>

#include "common/last_words.h"
#include "common/monotonic_ns.h"

namespace {

constexpr int EXIT_STATUS = 4;
constexpr useconds_t POLL_US = 100;
constexpr std::int64_t NS_PER_MS = 1000000;

std::int64_t NowNs()
{
    return static_cast<std::int64_t>(runtime::MonotonicNs());
}

std::string StartedText(std::int64_t timeoutMs)
{
    return "Watchdog started with timeout: " + std::to_string(timeoutMs / 1000) + " seconds";
}

std::string AlreadyStartedText(std::int64_t timeoutMs)
{
    return "Watchdog is already started with a timeout of " + std::to_string(timeoutMs) +
           " ms and goes on with it: call Stop before Start";
}

std::string NoThreadText(const std::error_code& error)
{
    return "Watchdog not started, the main loop is not guarded: cannot create its thread (errno " +
           std::to_string(error.value()) +
           (error == std::errc::not_enough_memory ? "), free some memory" : "), raise the limit of threads");
}

std::string TimeoutText(std::int64_t ageMs)
{
    return "Heartbeat timeout detected - " + std::to_string(ageMs) + " ms since last heartbeat";
}

}  // namespace

PassiveWatchdog::PassiveWatchdog()
    : log(LoggerCtl::GetInstance().GetLog(LogType::RUNTIME)), lastHeartbeat(NowNs())
{
}

PassiveWatchdog::~PassiveWatchdog()
{
    Stop();
}

void PassiveWatchdog::Start(std::chrono::milliseconds timeout)
{
    if (thread.joinable()) {
        runtime::Say(log, LogLevel::ERROR, AlreadyStartedText(timeoutMs));
        return;
    }
    const std::string startedText = StartedText(timeout.count());
    timeoutMs = timeout.count();
    Heartbeat();
    running = true;
    try {
        const runtime::AsyncSignalsBlocked blocked;
        thread = std::thread(&PassiveWatchdog::MonitorThreadFunc, this);
    } catch (const std::system_error& error) {
        running = false;
        runtime::Say(log, LogLevel::ERROR, NoThreadText(error.code()));
        return;
    } catch (const std::bad_alloc&) {
        running = false;
        runtime::Say(log, LogLevel::ERROR, NoThreadText(std::make_error_code(std::errc::not_enough_memory)));
        return;
    }
    runtime::Say(log, LogLevel::INFO, startedText);
}

void PassiveWatchdog::Heartbeat()
{
    lastHeartbeat.store(NowNs());
}

std::int64_t PassiveWatchdog::GetLastHeartbeat() const
{
    return HeartbeatAgeMs();
}

void PassiveWatchdog::Stop()
{
    {
        const std::lock_guard<std::mutex> lock(mutex);
        running = false;
    }
    stopped.notify_all();
    if (thread.joinable()) {
        thread.join();
    }
}

std::int64_t PassiveWatchdog::HeartbeatAgeMs() const
{
    // The clock first: when this thread is held up between the two, a younger heartbeat must not look old.
    const std::int64_t now = NowNs();
    return (now - lastHeartbeat.load()) / NS_PER_MS;
}

void PassiveWatchdog::MonitorThreadFunc()
{
    pthread_setname_np(pthread_self(), "tn-watchdog");
    try {
        // Beside the watch, not before it: the loop may be hanging in its very first log write.
        runtime::SideLine started(log, LogLevel::INFO, "Watchdog monitor thread started");
        while (running) {
            started.Reap();
            const std::int64_t ageMs = HeartbeatAgeMs();
            if (ageMs > timeoutMs) {
                EndProcess(ageMs);
            }
            usleep(POLL_US);
        }
        started.Join();
        runtime::Say(log, LogLevel::DEBUG, "Watchdog monitor thread stopped");
    } catch (...) {
        running = false;
        try {
            runtime::Say(log, LogLevel::ERROR, "Exception in monitor thread");
        } catch (...) {
            // Nobody left to tell.
        }
    }
}

void PassiveWatchdog::EndProcess(std::int64_t ageMs)
{
    try {
        runtime::LogLastWords(log, TimeoutText(ageMs), "tarnix exit due to heartbeat timeout");
    } catch (...) {
        // No memory or no thread for the lines: the process ends without them.
    }
    running = false;
    _exit(EXIT_STATUS);
}
