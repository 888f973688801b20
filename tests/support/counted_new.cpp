// SPDX-License-Identifier: MIT

// Replaces operator new of the program. A source of its own, so that the compiler does not see through the
// pairs of calls.

#include "tests/support/counted_new.h"

#include <atomic>
#include <cstdlib>
#include <limits>
#include <new>

namespace {

constexpr size_t UNLIMITED = std::numeric_limits<size_t>::max();

std::atomic<size_t> allocations{0};
std::atomic<size_t> allowed{UNLIMITED};

}  // namespace

size_t support::Allocations() noexcept
{
    return allocations;
}

void support::FailAllocationsAfter(size_t count) noexcept
{
    allowed = allocations + count;
}

void support::AllowAllocations() noexcept
{
    allowed = UNLIMITED;
}

void* operator new(size_t size)
{
    if (allocations >= allowed) {
        throw std::bad_alloc();
    }
    ++allocations;
    void* block = std::malloc(size > 0 ? size : 1);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    return block;
}

void operator delete(void* block) noexcept
{
    std::free(block);
}

void operator delete(void* block, size_t /*size*/) noexcept
{
    std::free(block);
}
