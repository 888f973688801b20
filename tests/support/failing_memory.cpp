// SPDX-License-Identifier: MIT

#include "tests/support/failing_memory.h"

#include "tests/support/failing_counter.h"

support::FailingCounter support::memoryCounter;

void support::FailMemory(std::size_t nth, Failing which) noexcept
{
    memoryCounter.Fail(nth, which);
}

std::size_t support::AllowMemory() noexcept
{
    return memoryCounter.Allow();
}

void support::PauseMemory(bool pause) noexcept
{
    memoryCounter.paused = pause;
}

std::size_t support::MemoryRequests() noexcept
{
    return memoryCounter.Requests();
}

long support::LiveBlocks() noexcept
{
    return memoryCounter.live;
}
