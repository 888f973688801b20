// SPDX-License-Identifier: MIT

// Replaces malloc and its kin for the whole process, glibc's own calls included. Not for builds with a
// sanitizer, whose allocator has that place.

#include <cerrno>
#include <cstddef>

#include "tests/support/failing_counter.h"

extern "C" {

// glibc's own, for programs that put something in front.
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void __libc_free(void* block);

// Seen by the libraries, whatever the build hides.
#define FOR_ALL __attribute__((visibility("default")))
FOR_ALL void* malloc(std::size_t size);
FOR_ALL void* calloc(std::size_t count, std::size_t size);
FOR_ALL void* realloc(void* block, std::size_t size);
FOR_ALL void free(void* block);
#undef FOR_ALL
}

namespace {

support::FailingCounter& counter = support::memoryCounter;

bool Refuse()
{
    if (counter.Refuse()) {
        errno = ENOMEM;
        return true;
    }
    return false;
}

void* Counted(void* block)
{
    counter.live += block != nullptr ? 1 : 0;
    return block;
}

}  // namespace

const char* support::MemoryKind() noexcept
{
    return "malloc";
}

void* malloc(std::size_t size)
{
    return Refuse() ? nullptr : Counted(__libc_malloc(size));
}

void* calloc(std::size_t count, std::size_t size)
{
    return Refuse() ? nullptr : Counted(__libc_calloc(count, size));
}

void* realloc(void* block, std::size_t size)
{
    if (Refuse()) {
        return nullptr;
    }
    void* const moved = __libc_realloc(block, size);
    return block == nullptr ? Counted(moved) : moved;
}

void free(void* block)
{
    counter.live -= block != nullptr ? 1 : 0;
    __libc_free(block);
}
