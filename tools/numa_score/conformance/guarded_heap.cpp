// SPDX-License-Identifier: MIT

#include "tools/numa_score/conformance/guarded_heap.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdlib>

namespace conformance::guarded_heap {
namespace {

// In pages: a block takes two of them at least, whatever their size.
constexpr std::size_t ARENA_PAGES = std::size_t{1} << 21U;
constexpr std::size_t BIGGEST_BLOCK = std::size_t{1} << 30U;
constexpr std::size_t LEAST_ALIGNMENT = 16;
constexpr std::size_t USUAL_MOST_MAPPINGS = 65530;

/// What is known of a page: of its block when it is the first of one, otherwise how far back that is.
struct PageNote {
    std::uint32_t size;  ///< of the block, or pages back
    Form form;
    State state;
    Tag tag;
    std::uint8_t alignmentBits;  ///< the block stands on a multiple of 1 << alignmentBits
};
static_assert(sizeof(PageNote) == 8, "there is one for each page");

// Zero at the start of the program, before any constructor has run: operator new is called that early.
std::atomic<char*> g_arena{nullptr};
std::atomic_flag g_lock = ATOMIC_FLAG_INIT;
PageNote* g_pages = nullptr;
std::size_t g_pageSize = 0;
std::size_t g_nextPage = 0;
std::size_t g_liveBlocks = 0;
std::size_t g_mostLive = 0;
bool g_incomplete = false;  // some block comes from elsewhere, or could not be closed
Faults g_faults;

class Locked {
public:
    Locked() noexcept
    {
        while (g_lock.test_and_set(std::memory_order_acquire)) {
        }
    }
    Locked(const Locked&) = delete;
    Locked& operator=(const Locked&) = delete;
    ~Locked() { g_lock.clear(std::memory_order_release); }
};

std::size_t RoundedUp(std::size_t value, std::size_t unit)
{
    return (value + unit - 1) / unit * unit;
}

bool IsInArena(const void* address)
{
    const char* const arena = g_arena.load(std::memory_order_acquire);
    const char* const at = static_cast<const char*>(address);
    return arena != nullptr && at >= arena && at < arena + ARENA_PAGES * g_pageSize;
}

/// How many mappings the kernel lets a process have. Without memory of its own.
std::size_t MostMappings()
{
    std::array<char, 32> text{};
    const int fd = open("/proc/sys/vm/max_map_count", O_RDONLY | O_CLOEXEC);
    const ssize_t got = fd < 0 ? 0 : read(fd, text.data(), text.size() - 1);
    if (fd >= 0) {
        close(fd);
    }
    const long number = got > 0 ? std::strtol(text.data(), nullptr, 10) : 0;
    return number > 0 ? static_cast<std::size_t>(number) : USUAL_MOST_MAPPINGS;
}

std::uint8_t BitsOf(std::size_t alignment)
{
    std::uint8_t bits = 0;
    while ((std::size_t{1} << bits) < alignment) {
        ++bits;
    }
    return bits;
}

/// The block around an address of the arena, and where it stands.
struct Found {
    PageNote* note = nullptr;
    char* firstPage = nullptr;
    std::size_t pages = 0;
    char* begin = nullptr;
};

std::size_t PagesOf(std::size_t size)
{
    return RoundedUp(std::max<std::size_t>(size, 1), g_pageSize) / g_pageSize;
}

/// Blocks stand at the end of their pages, as far as their alignment lets them: what runs over the end is
/// caught.
Found FindBlock(const void* address)
{
    char* const arena = g_arena.load(std::memory_order_acquire);
    std::size_t page = static_cast<std::size_t>(static_cast<const char*>(address) - arena) / g_pageSize;
    if (g_pages[page].state == State::INSIDE) {
        page -= g_pages[page].size;
    }
    Found found;
    if (g_pages[page].state == State::UNKNOWN) {
        return found;
    }
    found.note = &g_pages[page];
    found.firstPage = arena + page * g_pageSize;
    found.pages = PagesOf(found.note->size);
    found.begin =
        found.firstPage + found.pages * g_pageSize -
        RoundedUp(std::max<std::size_t>(found.note->size, 1), std::size_t{1} << found.note->alignmentBits);
    return found;
}

void Close(const Found& found, State state)
{
    found.note->state = state;
    --g_liveBlocks;
    madvise(found.firstPage, found.pages * g_pageSize, MADV_DONTNEED);
    g_incomplete |= mprotect(found.firstPage, found.pages * g_pageSize, PROT_NONE) != 0;
}

}  // namespace

bool Start() noexcept
{
    const Locked locked;
    if (g_arena.load(std::memory_order_relaxed) != nullptr) {
        return true;
    }
    g_pageSize = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    constexpr int FLAGS = MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE;
    const std::size_t arenaBytes = ARENA_PAGES * g_pageSize;
    void* const arena = mmap(nullptr, arenaBytes, PROT_NONE, FLAGS, -1, 0);
    if (arena == MAP_FAILED) {
        return false;
    }
    void* const pages = mmap(nullptr, ARENA_PAGES * sizeof(PageNote), PROT_READ | PROT_WRITE, FLAGS, -1, 0);
    if (pages == MAP_FAILED) {
        munmap(arena, arenaBytes);
        return false;
    }
    // A live block has two mappings, itself and what is behind it; a quarter of all is left to the plug-in.
    g_mostLive = MostMappings() / 8 * 3;
    g_pages = static_cast<PageNote*>(pages);
    g_arena.store(static_cast<char*>(arena), std::memory_order_release);
    return true;
}

bool IsInUse()
{
    // A block that the compiler cannot leave out.
    void* const block = ::operator new(1);
    const bool found = Find(block).state == State::LIVE;
    ::operator delete(block);
    const Locked locked;
    return found && !g_incomplete;
}

void* Allocate(std::size_t size, std::size_t alignment, Form form) noexcept
{
    char* const arena = g_arena.load(std::memory_order_acquire);
    if (arena == nullptr) {
        return nullptr;
    }
    const Locked locked;
    const std::size_t pages = PagesOf(size <= BIGGEST_BLOCK ? size : 0);
    if (size > BIGGEST_BLOCK || alignment > g_pageSize || g_liveBlocks >= g_mostLive ||
        g_nextPage + pages + 1 > ARENA_PAGES ||
        mprotect(arena + g_nextPage * g_pageSize, pages * g_pageSize, PROT_READ | PROT_WRITE) != 0) {
        g_incomplete = true;
        return nullptr;
    }
    const std::size_t first = g_nextPage;
    g_pages[first] = {static_cast<std::uint32_t>(size), form, State::LIVE, Tag::NONE,
                      BitsOf(std::max(alignment, LEAST_ALIGNMENT))};
    for (std::size_t i = 1; i < pages; ++i) {
        g_pages[first + i] = {static_cast<std::uint32_t>(i), form, State::INSIDE, Tag::NONE, 0};
    }
    g_nextPage += pages + 1;
    ++g_liveBlocks;
    return FindBlock(arena + first * g_pageSize).begin;
}

bool Free(void* block, Form form) noexcept
{
    if (!IsInArena(block)) {
        return false;
    }
    const Locked locked;
    const Found found = FindBlock(block);
    if (found.note == nullptr) {
        ++g_faults.doubleFrees;
        return true;
    }
    if (found.note->tag != Tag::NONE) {
        g_faults.firstTag = g_faults.taggedFrees == 0 ? found.note->tag : g_faults.firstTag;
        ++g_faults.taggedFrees;
    } else if (found.note->state != State::LIVE || found.begin != block) {
        ++g_faults.doubleFrees;
    }
    if (found.note->state != State::LIVE || found.begin != block) {
        return true;
    }
    g_faults.wrongForms += found.note->form != form ? 1 : 0;
    Close(found, State::FREED);
    return true;
}

Block Find(const void* address) noexcept
{
    if (!IsInArena(address)) {
        return {};
    }
    const Locked locked;
    const Found found = FindBlock(address);
    if (found.note == nullptr) {
        return {};
    }
    const State state = found.begin == address ? found.note->state : State::INSIDE;
    return {state, found.note->form, found.note->tag, found.note->size};
}

void SetTag(const void* block, Tag tag) noexcept
{
    if (IsInArena(block)) {
        const Locked locked;
        const Found found = FindBlock(block);
        if (found.note != nullptr) {
            found.note->tag = tag;
        }
    }
}

void Release(const void* block) noexcept
{
    if (IsInArena(block)) {
        const Locked locked;
        const Found found = FindBlock(block);
        if (found.note != nullptr && found.note->state == State::LIVE) {
            Close(found, State::RELEASED);
        }
    }
}

void MakeReadOnly(const void* block) noexcept
{
    if (IsInArena(block)) {
        const Locked locked;
        const Found found = FindBlock(block);
        if (found.note != nullptr && found.note->state == State::LIVE) {
            g_incomplete |= mprotect(found.firstPage, found.pages * g_pageSize, PROT_READ) != 0;
        }
    }
}

Faults FaultsSoFar() noexcept
{
    const Locked locked;
    return g_faults;
}

std::size_t LiveBlocks() noexcept
{
    const Locked locked;
    return g_liveBlocks;
}

const char* TagText(Tag tag) noexcept
{
    switch (tag) {
        case Tag::NONE:
            return "a block that had been given back";
        case Tag::TEXT:
            return "a topic text that it had published";
        case Tag::ARRAY:
            return "a data array that it had published";
        case Tag::RECORD:
            return "a record that it had published";
        case Tag::DELIVERED:
            return "data that UpdateData had delivered";
    }
    return "";
}

}  // namespace conformance::guarded_heap
