// SPDX-License-Identifier: MIT
//
// Replaces operator new of the whole process by one that counts, and that fails when told to. Include it in
// one file of a test program only. Counts are those of the calling thread: libraries have threads of their
// own.

#ifndef TESTS_UNIT_SCENARIO_COUNTING_NEW_H
#define TESTS_UNIT_SCENARIO_COUNTING_NEW_H

#include <cstddef>
#include <cstdlib>

#include <new>

namespace counting_new {

inline thread_local std::size_t allocations = 0;
inline thread_local long untilFailure = -1;  ///< below 0: never

/// Heap blocks that `action` takes.
template <class Action>
std::size_t Allocations(Action&& action)
{
    const std::size_t before = allocations;
    action();
    return allocations - before;
}

/// Runs `action` with its allocation number `index` (from 0) failing; true when it got that far.
template <class Action>
bool FailsAt(long index, Action&& action)
{
    untilFailure = index;
    bool failed = false;
    try {
        action();
    } catch (const std::bad_alloc&) {
        failed = true;
    } catch (...) {
        untilFailure = -1;
        throw;
    }
    untilFailure = -1;
    return failed;
}

inline void* Allocate(std::size_t size)
{
    if (untilFailure == 0) {
        throw std::bad_alloc();
    }
    if (untilFailure > 0) {
        --untilFailure;
    }
    ++allocations;
    void* block = std::malloc(size == 0 ? 1 : size);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    return block;
}

}  // namespace counting_new

// GCC takes the calls to free in an inlined operator delete for a mismatch with operator new.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
#endif

void* operator new(std::size_t size)
{
    return counting_new::Allocate(size);
}
void* operator new[](std::size_t size)
{
    return counting_new::Allocate(size);
}
void operator delete(void* block) noexcept
{
    std::free(block);
}
void operator delete[](void* block) noexcept
{
    std::free(block);
}
void operator delete(void* block, std::size_t /*size*/) noexcept
{
    std::free(block);
}
void operator delete[](void* block, std::size_t /*size*/) noexcept
{
    std::free(block);
}

#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic pop
#endif

#endif  // TESTS_UNIT_SCENARIO_COUNTING_NEW_H
