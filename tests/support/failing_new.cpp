// SPDX-License-Identifier: MIT

// Replaces operator new of the program. A source of its own, so that the compiler does not see through the
// pairs of calls.

#include <cstdlib>
#include <new>

#include "tests/support/failing_counter.h"

namespace {

support::FailingCounter& counter = support::memoryCounter;

}  // namespace

const char* support::MemoryKind() noexcept
{
    return "operator new";
}

namespace {

void* Block(std::size_t size) noexcept
{
    void* const block = counter.Refuse() ? nullptr : std::malloc(size > 0 ? size : 1);
    if (block != nullptr) {
        ++counter.live;
    }
    return block;
}

void* BlockOrThrow(std::size_t size)
{
    void* const block = Block(size);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    return block;
}

void Release(void* block) noexcept
{
    if (block != nullptr) {
        --counter.live;
        std::free(block);
    }
}

}  // namespace

// Every form: where a sanitizer brings forms of its own, they do not come to these.

void* operator new(std::size_t size)
{
    return BlockOrThrow(size);
}

void* operator new[](std::size_t size)
{
    return BlockOrThrow(size);
}

void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept
{
    return Block(size);
}

void* operator new[](std::size_t size, const std::nothrow_t& /*tag*/) noexcept
{
    return Block(size);
}

void operator delete(void* block) noexcept
{
    Release(block);
}

void operator delete[](void* block) noexcept
{
    Release(block);
}

void operator delete(void* block, std::size_t /*size*/) noexcept
{
    Release(block);
}

void operator delete[](void* block, std::size_t /*size*/) noexcept
{
    Release(block);
}

void operator delete(void* block, const std::nothrow_t& /*tag*/) noexcept
{
    Release(block);
}

void operator delete[](void* block, const std::nothrow_t& /*tag*/) noexcept
{
    Release(block);
}
