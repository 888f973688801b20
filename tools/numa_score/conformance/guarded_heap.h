// SPDX-License-Identifier: MIT

#ifndef TOOLS_NUMA_SCORE_CONFORMANCE_GUARDED_HEAP_H
#define TOOLS_NUMA_SCORE_CONFORMANCE_GUARDED_HEAP_H

#include <cstddef>
#include <cstdint>

/// A heap for the processes that examine plug-ins: every block of operator new has pages of its own, at whose
/// end it stands, with a page that nobody may touch behind it; its form is remembered; what was given back is
/// never handed out again and may not be touched any more. operator new and delete of the program are laid on
/// it by guarded_new.cpp. Until Start nothing of it is there. Any thread may call any of this.
namespace conformance::guarded_heap {

/// Which operator a block came from.
enum class Form : std::uint8_t { SINGLE, ARRAY };

/// What a block is to the host, when it is anything.
enum class Tag : std::uint8_t { NONE, TEXT, ARRAY, RECORD, DELIVERED };

enum class State : std::uint8_t {
    UNKNOWN,  ///< no block of this heap
    INSIDE,   ///< within a block, not at its beginning
    LIVE,
    FREED,     ///< by operator delete
    RELEASED,  ///< by Release
};

struct Block {
    State state = State::UNKNOWN;
    Form form = Form::SINGLE;
    Tag tag = Tag::NONE;
    std::size_t size = 0;
};

/// Blocks of operator new have a place here from now on, for the rest of the process. False when the address
/// space for it is not to be had.
bool Start() noexcept;

/// True when operator new of this program does use this heap and has found room in it for every block so far.
/// Once it is false nothing can be said of addresses that are no block of this heap.
bool IsInUse();

/// A block on a multiple of `alignment`, a power of two, and of 16. Null when the heap was not started, is
/// full, the block is above 1 GiB or `alignment` above a page: then it comes from elsewhere. Full is a heap
/// with so many live blocks, or blocks so far, that the kernel would soon have no more mappings for the
/// process.
void* Allocate(std::size_t size, std::size_t alignment, Form form) noexcept;

/// Gives a block back for operator delete. False when it is none of this heap. A block that is tagged, was
/// given back before or came from the other form of new is counted among the faults.
bool Free(void* block, Form form) noexcept;

/// What stands at `address`.
Block Find(const void* address) noexcept;
void SetTag(const void* block, Tag tag) noexcept;

/// The host's own giving back: no fault, and the tag stays.
void Release(const void* block) noexcept;

/// A live block may be read and no longer written.
void MakeReadOnly(const void* block) noexcept;

/// Blocks with a tag that operator delete was called with, and blocks that were given back twice or with the
/// other form of delete, since the start.
struct Faults {
    std::size_t taggedFrees = 0;
    Tag firstTag = Tag::NONE;  ///< of the first of these
    std::size_t doubleFrees = 0;
    std::size_t wrongForms = 0;
};
Faults FaultsSoFar() noexcept;

/// Blocks that are live.
std::size_t LiveBlocks() noexcept;

/// What a tagged block is called, for example "the topic text"; a constant. For signal handlers too.
const char* TagText(Tag tag) noexcept;

}  // namespace conformance::guarded_heap

#endif  // TOOLS_NUMA_SCORE_CONFORMANCE_GUARDED_HEAP_H
