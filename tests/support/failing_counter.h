// SPDX-License-Identifier: MIT

#ifndef TESTS_SUPPORT_FAILING_COUNTER_H
#define TESTS_SUPPORT_FAILING_COUNTER_H

#include <atomic>
#include <cstddef>

#include "tests/support/failing_memory.h"

namespace support {

/// Decides which requests fail. Constant-initialised: allocations begin before any constructor runs.
class FailingCounter {
public:
    void Fail(std::size_t nth, Failing which) noexcept
    {
        all = which == Failing::ALL_FROM;
        failed = 0;
        seen = 0;
        chosen = nth;
    }

    std::size_t Allow() noexcept
    {
        chosen = 0;
        return failed;
    }

    /// Whether this request is to fail.
    bool Refuse() noexcept
    {
        if (paused.load(std::memory_order_relaxed)) {
            return false;
        }
        const std::size_t wanted = chosen.load(std::memory_order_relaxed);
        const std::size_t number = ++seen;
        if (wanted == 0) {
            return false;
        }
        const bool refuse = number == wanted || (number > wanted && all);
        failed += refuse ? 1 : 0;
        return refuse;
    }

    std::size_t Requests() const noexcept { return seen; }

    std::atomic<long> live{0};
    std::atomic<bool> paused{false};

private:
    std::atomic<std::size_t> chosen{0};  // 0: none
    std::atomic<std::size_t> seen{0};
    std::atomic<std::size_t> failed{0};
    std::atomic<bool> all{false};
};

/// The program's own, in failing_memory.cpp.
extern FailingCounter memoryCounter;

}  // namespace support

#endif  // TESTS_SUPPORT_FAILING_COUNTER_H
