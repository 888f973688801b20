// SPDX-License-Identifier: MIT

#ifndef COMMON_LAST_WORDS_H
#define COMMON_LAST_WORDS_H

#include <signal.h>

#include <atomic>
#include <exception>
#include <string>
#include <thread>

#include "common/logger_ctl.h"

namespace runtime {

/// Blocks the signals that are sent to the process while it exists, so that a thread created meanwhile never
/// runs the program's signal handlers. Signals that a fault of the thread itself raises stay open.
class AsyncSignalsBlocked {
public:
    AsyncSignalsBlocked();
    ~AsyncSignalsBlocked();

    AsyncSignalsBlocked(const AsyncSignalsBlocked&) = delete;
    AsyncSignalsBlocked& operator=(const AsyncSignalsBlocked&) = delete;

private:
    sigset_t previous{};
};

/// Calls the channel's ordinary function, if it has one.
void Say(const Log& log, LogLevel level, const std::string& text);

/// Logs one line from a thread of its own, so that a log that hangs does not hold its creator up. The line is
/// left out when no thread or no memory can be had. The destructor waits for the line.
class SideLine {
public:
    SideLine(const Log& log, LogLevel level, const char* text);
    ~SideLine();

    SideLine(const SideLine&) = delete;
    SideLine& operator=(const SideLine&) = delete;

    /// Cleans up after a line that is through, without waiting. Throws what the log function threw, if it
    /// did.
    void Reap();

    /// Waits for the line.
    void Join();

private:
    std::exception_ptr failure;
    std::atomic<bool> through{false};
    std::thread thread;
};

/// Attempts to log two lines at ERROR, the second one also when the first hangs, and returns after at most
/// 180 ms whatever the log does; at once when no thread can be created. Threads that hang are left behind: to
/// be called only by who ends the process next.
void LogLastWords(const Log& log, const std::string& first, const std::string& second);

}  // namespace runtime

#endif  // COMMON_LAST_WORDS_H
