// SPDX-License-Identifier: MIT

#include "common/last_words.h"

#include <array>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <new>
#include <system_error>
#include <utility>

namespace runtime {
namespace {

/// How long the first line may take before the second is attempted beside it, and how long both then get.
/// Twice this stays under the 200 ms within which the process must end, with room for a busy machine.
constexpr std::chrono::milliseconds PATIENCE{90};

/// Shared by the thread that waits and by those that log, whichever lives longer.
class TwoLines {
public:
    TwoLines(const Log& channel, const std::string& first, const std::string& second)
        : log(channel), texts{first, second}
    {
    }

    /// Logs the lines from `index` on that nobody has begun.
    void LogFrom(std::size_t index)
    {
        for (; index < texts.size(); ++index) {
            if (!begun[index].exchange(true)) {
                LogOne(texts[index]);
            }
        }
    }

    /// Whether both lines are through by `deadline`.
    bool WaitUntil(std::chrono::steady_clock::time_point deadline)
    {
        std::unique_lock<std::mutex> lock(mutex);
        return changed.wait_until(lock, deadline, [this] { return through == texts.size(); });
    }

private:
    void LogOne(const std::string& text)
    {
        try {
            Say(log, LogLevel::ERROR, text);
        } catch (...) {
            // The line is lost; what it announces happens all the same.
        }
        const std::lock_guard<std::mutex> lock(mutex);
        ++through;
        changed.notify_all();
    }

    const Log& log;
    const std::array<std::string, 2> texts;
    std::array<std::atomic<bool>, 2> begun{};
    std::mutex mutex;
    std::condition_variable changed;
    std::size_t through = 0;
};

}  // namespace

void Say(const Log& log, LogLevel level, const std::string& text)
{
    if (log.logFunc) {
        log.logFunc(level, text);
    }
}

AsyncSignalsBlocked::AsyncSignalsBlocked()
{
    sigset_t blocked;
    sigfillset(&blocked);
    for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS, SIGABRT}) {
        sigdelset(&blocked, fault);
    }
    pthread_sigmask(SIG_SETMASK, &blocked, &previous);
}

AsyncSignalsBlocked::~AsyncSignalsBlocked()
{
    pthread_sigmask(SIG_SETMASK, &previous, nullptr);
}

SideLine::SideLine(const Log& log, LogLevel level, const char* text)
{
    try {
        thread = std::thread([this, &log, level, line = std::string(text)] {
            try {
                Say(log, level, line);
            } catch (...) {
                failure = std::current_exception();
            }
            through.store(true);
        });
    } catch (const std::system_error&) {
        // Logging from here instead could hang, and the creator has more important things to do.
    } catch (const std::bad_alloc&) {
        // The same.
    }
}

SideLine::~SideLine()
{
    Join();
}

void SideLine::Reap()
{
    if (!through.load(std::memory_order_relaxed)) {
        return;
    }
    Join();
    if (failure != nullptr) {
        std::rethrow_exception(std::exchange(failure, nullptr));
    }
}

void SideLine::Join()
{
    if (thread.joinable()) {
        thread.join();
    }
}

void LogLastWords(const Log& log, const std::string& first, const std::string& second)
{
    const auto start = std::chrono::steady_clock::now();
    const auto lines = std::make_shared<TwoLines>(log, first, second);
    std::thread([lines] { lines->LogFrom(0); }).detach();
    if (lines->WaitUntil(start + PATIENCE)) {
        return;
    }
    std::thread([lines] { lines->LogFrom(1); }).detach();
    lines->WaitUntil(start + 2 * PATIENCE);
}

}  // namespace runtime
