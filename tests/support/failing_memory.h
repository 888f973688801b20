// SPDX-License-Identifier: MIT

#ifndef TESTS_SUPPORT_FAILING_MEMORY_H
#define TESTS_SUPPORT_FAILING_MEMORY_H

#include <cstddef>

/// Memory that runs out on request, and a count of what is held. Besides failing_memory.cpp one of two
/// sources belongs to the program: failing_new.cpp replaces operator new, failing_malloc.cpp malloc and its
/// kin, which takes in the C library and every other one. Counts the requests of all threads.
namespace support {

enum class Failing {
    ONE,       ///< the chosen request alone: memory is back at once
    ALL_FROM,  ///< the chosen request and all after it
};

/// Fails the `nth` request from now on, counted from 1.
void FailMemory(std::size_t nth, Failing which) noexcept;

/// Ends that. How many requests have failed.
std::size_t AllowMemory() noexcept;

/// Requests between the two are neither failed nor counted.
void PauseMemory(bool pause) noexcept;

/// Requests since FailMemory; 0 as `nth` counts and fails none.
std::size_t MemoryRequests() noexcept;

/// Blocks handed out and not released.
long LiveBlocks() noexcept;

/// What the source replaces, for messages.
const char* MemoryKind() noexcept;

}  // namespace support

#endif  // TESTS_SUPPORT_FAILING_MEMORY_H
