// SPDX-License-Identifier: MIT

#ifndef COMMON_PASSIVE_WATCHDOG_H
#define COMMON_PASSIVE_WATCHDOG_H

#include <cstdint>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "common/export.h"
#include "common/logger_ctl.h"

/// Ends the process with exit status 4 when its main loop no longer calls Heartbeat.
///
/// The loop calls Heartbeat once per cycle. A thread named "tn-watchdog" looks at the age of the last
/// heartbeat every 100 us; when it exceeds the timeout, it logs two lines at ERROR and calls _exit(4): no
/// destructors, no exit handlers, no flushing. The lines are written by another thread, which gets at most
/// 200 ms, so a log that hangs (a full pipe, a stalled disk, the loop itself inside a log write) does not
/// keep the process alive.
///
/// The age is taken from the monotonic clock, which runs on while the process is stopped (SIGSTOP, a
/// debugger, a paused guest): a process continued after longer than the timeout may be ended before its loop
/// runs again.
///
/// Threads: Start, Stop and the destructor belong to the owner; Heartbeat and GetLastHeartbeat may be called
/// from any thread. The watchdog's threads take no signals and handle none. A forked child has no monitor
/// thread: it must end with exec or _exit.
class SCENARIO_NUMA_EXPORT PassiveWatchdog {
public:
    PassiveWatchdog();

    /// Stops.
    ~PassiveWatchdog();

    PassiveWatchdog(const PassiveWatchdog&) = delete;
    PassiveWatchdog& operator=(const PassiveWatchdog&) = delete;

    /// Counts as a heartbeat and starts watching. Ages above `timeout` are fatal, so 0 allows less than one
    /// millisecond and a negative timeout is fatal at once.
    /// A second Start without Stop changes nothing and is logged at ERROR; so is a thread that cannot be
    /// created, for want of memory too, which leaves the watchdog stopped.
    /// Throws std::bad_alloc where there is no memory for the text of a line, and what the log function
    /// throws. `running` tells then whether the watch goes on: it does once its thread is there.
    void Start(std::chrono::milliseconds timeout);

    /// The loop is alive. One clock read and one atomic store.
    void Heartbeat();

    /// Whole milliseconds since the last heartbeat, or since the construction.
    std::int64_t GetLastHeartbeat() const;

    /// Ends the watch and waits for the thread. Does nothing when there is none.
    void Stop();

    Log& log;                                 ///< the channel LogType::RUNTIME
    std::thread thread;                       ///< the monitor; empty until Start and after Stop
    std::atomic<bool> running{false};         ///< the monitor goes on
    std::int64_t timeoutMs = 5000;            ///< largest age that is not fatal, milliseconds
    std::atomic<std::int64_t> lastHeartbeat;  ///< monotonic clock, nanoseconds
    std::mutex mutex;                         ///< of `stopped`
    std::condition_variable stopped;          ///< notified by Stop

private:
    void MonitorThreadFunc();
    std::int64_t HeartbeatAgeMs() const;
    [[noreturn]] void EndProcess(std::int64_t ageMs);
};

#endif  // COMMON_PASSIVE_WATCHDOG_H
