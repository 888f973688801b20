// SPDX-License-Identifier: MIT
//
// The heap that tells blocks apart where room runs out: address space, its own pages, descriptors and
// mappings. Each in a child that has not started it yet.

#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <fstream>
#include <functional>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/child_run.h"
#include "tests/support/sanitized.h"
#include "tools/numa_score/conformance/guarded_heap.h"
#include "tools/numa_score/conformance/ownership.h"

namespace {

namespace heap = conformance::guarded_heap;
using heap::Form;
using heap::State;
using support::SANITIZED;

constexpr std::size_t PAGES = std::size_t{1} << 21U;

constexpr int SKIPPED = 77;

/// The expectations of `body`, met in a child.
void ExpectInChild(const std::function<void()>& body)
{
    const support::ChildResult result = support::RunInChild([&body] {
        body();
        return testing::Test::HasFailure() ? 1 : testing::Test::IsSkipped() ? SKIPPED : 0;
    });
    if (result.status == SKIPPED) {
        GTEST_SKIP() << result.out;
    }
    EXPECT_EQ(result.status, 0) << result.out << result.err;
}

/// A soft limit, until the end of the scope.
class Limited {
public:
    Limited(int limitOf, rlim_t value) : what(static_cast<decltype(what)>(limitOf))
    {
        getrlimit(what, &before);
        const rlimit lower{value, before.rlim_max};
        EXPECT_EQ(setrlimit(what, &lower), 0);
    }
    Limited(const Limited&) = delete;
    Limited& operator=(const Limited&) = delete;
    ~Limited() { setrlimit(what, &before); }

private:
    decltype(RLIMIT_AS) what;
    rlimit before{};
};

std::size_t PageSize()
{
    return static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

/// Bytes of address space that this process has.
std::size_t AddressSpace()
{
    std::ifstream file("/proc/self/statm");
    std::size_t pages = 0;
    file >> pages;
    return pages * PageSize();
}

/// Live blocks that the heap takes, all of them given back.
std::size_t MostLiveBlocks()
{
    std::vector<void*> blocks;
    while (void* const block = heap::Allocate(1, 1, Form::SINGLE)) {
        blocks.push_back(block);
    }
    for (void* const block : blocks) {
        heap::Free(block, Form::SINGLE);
    }
    return blocks.size();
}

TEST(GuardedHeapLimits, WithoutAddressSpaceThereIsNone)
{
    if (SANITIZED) {
        GTEST_SKIP() << "a sanitizer needs more address space than the test leaves";
    }
    ExpectInChild([] {
        const std::size_t arena = PAGES * PageSize();
        const std::size_t none = AddressSpace() + arena / 2;
        const std::size_t noNotes = AddressSpace() + arena + (std::size_t{4} << 20U);
        for (const std::size_t limit : {none, noNotes}) {
            const Limited limited(RLIMIT_AS, limit);
            EXPECT_FALSE(heap::Start()) << limit;
            EXPECT_EQ(heap::Allocate(1, 1, Form::SINGLE), nullptr);
        }
        EXPECT_LT(AddressSpace(), arena) << "what was had of it is given back";
        EXPECT_TRUE(heap::Start());
        EXPECT_NE(heap::Allocate(1, 1, Form::SINGLE), nullptr);
    });
}

TEST(GuardedHeapLimits, StartsOnce)
{
    ExpectInChild([] {
        EXPECT_TRUE(heap::Start());
        void* const block = heap::Allocate(1, 1, Form::SINGLE);
        EXPECT_TRUE(heap::Start());
        EXPECT_EQ(heap::Find(block).state, State::LIVE);
        EXPECT_EQ(heap::LiveBlocks(), 1U);
    });
}

TEST(GuardedHeapLimits, WhereTheKernelsLimitCannotBeReadTheUsualOneHolds)
{
    ExpectInChild([] {
        {
            const Limited limited(RLIMIT_NOFILE, 0);
            ASSERT_TRUE(heap::Start());
        }
        EXPECT_EQ(MostLiveBlocks(), 65530U / 8 * 3);
    });
}

TEST(GuardedHeapLimits, PagesAreUsedOnce)
{
    ExpectInChild([] {
        ASSERT_TRUE(heap::Start());
        constexpr std::size_t GIB = std::size_t{1} << 30U;
        const std::size_t bytes = PAGES * PageSize();
        std::size_t blocks = 0;
        while (void* const block = heap::Allocate(GIB, 1, Form::SINGLE)) {
            ++blocks;
            EXPECT_TRUE(heap::Free(block, Form::SINGLE));
            ASSERT_LT(blocks, bytes / GIB + 1);
        }
        EXPECT_EQ(blocks, bytes / GIB - 1) << "the page behind each is no block's";
        EXPECT_EQ(heap::LiveBlocks(), 0U);
        void* const small = heap::Allocate(1, 1, Form::SINGLE);
        EXPECT_EQ(heap::Find(small).state, State::LIVE) << "what is left of them";
    });
}

TEST(GuardedHeapLimits, WithoutMappingsBlocksComeFromElsewhere)
{
    if (SANITIZED) {
        GTEST_SKIP() << "a sanitizer needs mappings of its own";
    }
    ExpectInChild([] {
        ASSERT_TRUE(heap::Start());
        // The first stands next to the heap's own notes and makes one mapping with them.
        ASSERT_NE(heap::Allocate(1, 1, Form::SINGLE), nullptr);
        std::vector<void*> mappings;
        mappings.reserve(2000000);
        for (;;) {
            // Neighbours of one protection would be one mapping.
            void* const one = mmap(nullptr, 1, mappings.size() % 2 == 0 ? PROT_READ : PROT_NONE,
                                   MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
            if (one == MAP_FAILED || mappings.size() == mappings.capacity()) {
                break;
            }
            mappings.push_back(one);
        }
        void* const block = heap::Allocate(1, 1, Form::SINGLE);
        for (void* const mapping : mappings) {
            munmap(mapping, 1);
        }
        if (mappings.size() == mappings.capacity()) {
            GTEST_SKIP() << "the kernel gives a process more mappings than the test makes";
        }
        EXPECT_EQ(block, nullptr);
        EXPECT_EQ(heap::LiveBlocks(), 1U);
        EXPECT_NE(heap::Allocate(1, 1, Form::SINGLE), nullptr);
    });
}

TEST(GuardedHeapFaults, OfWhatWasPublishedTheFirstIsNamedAtTheEnd)
{
    ExpectInChild([] {
        ASSERT_TRUE(heap::Start());
        conformance::OwnershipInspector inspector;
        DataList list;
        list.data = static_cast<void**>(heap::Allocate(sizeof(void*), 8, Form::ARRAY));
        list.data[0] = heap::Allocate(8, 8, Form::SINGLE);
        list.len = 1;
        inspector.Inspect(list);
        inspector.Conclude();
        EXPECT_EQ(inspector.freedFault, "");
        heap::Free(list.data, Form::ARRAY);
        inspector.Conclude();
        EXPECT_EQ(inspector.freedFault, "called operator delete on a data array that it had published");
    });
}

}  // namespace
