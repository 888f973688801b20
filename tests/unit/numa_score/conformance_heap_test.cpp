// SPDX-License-Identifier: MIT
//
// The heap that tells blocks apart, and what is told of published data with it. Its blocks are taken
// directly: operator new of this program is the usual one.

#include "tools/numa_score/conformance/guarded_heap.h"

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstring>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/quiet_fork.h"
#include "tools/numa_score/conformance/ownership.h"

namespace {

using namespace conformance;
namespace heap = conformance::guarded_heap;
using heap::Form;
using heap::State;
using heap::Tag;

class GuardedHeap : public testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(heap::Start()); }

    static char* Take(std::size_t size, Form form = Form::ARRAY)
    {
        return static_cast<char*>(heap::Allocate(size, 16, form));
    }
};

/// True when a process that does this dies of SIGSEGV.
template <typename Function>
bool Dies(Function&& function)
{
    const pid_t pid = support::ForkQuietly();
    if (pid == 0) {
        static_cast<void>(signal(SIGSEGV, SIG_DFL));  // a sanitizer may have put something else there
        function();
        _exit(0);
    }
    int status = 0;
    return waitpid(pid, &status, 0) == pid && WIFSIGNALED(status) && WTERMSIG(status) == SIGSEGV;
}

TEST_F(GuardedHeap, KnowsItsBlocks)
{
    char* const block = Take(5000, Form::SINGLE);
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % 16, 0U);
    std::memset(block, 'x', 5000);
    EXPECT_EQ(heap::Find(block).state, State::LIVE);
    EXPECT_EQ(heap::Find(block).form, Form::SINGLE);
    EXPECT_EQ(heap::Find(block).size, 5000U);
    EXPECT_EQ(heap::Find(block + 1).state, State::INSIDE);
    EXPECT_EQ(heap::Find(block + 4999).state, State::INSIDE);
    const int local = 0;
    EXPECT_EQ(heap::Find(&local).state, State::UNKNOWN);
    EXPECT_EQ(heap::Find(nullptr).state, State::UNKNOWN);
    const std::size_t live = heap::LiveBlocks();
    EXPECT_TRUE(heap::Free(block, Form::SINGLE));
    EXPECT_EQ(heap::LiveBlocks(), live - 1);
    EXPECT_EQ(heap::Find(block).state, State::FREED);
    EXPECT_NE(Take(5000), block) << "nothing is handed out twice";
}

TEST_F(GuardedHeap, LeavesToOthersWhatItCannotHold)
{
    EXPECT_EQ(Take((std::size_t{1} << 30U) + 1), nullptr);
    EXPECT_EQ(heap::Allocate(8, 2 * static_cast<std::size_t>(sysconf(_SC_PAGESIZE)), Form::SINGLE), nullptr);
    int local = 0;
    EXPECT_FALSE(heap::Free(&local, Form::SINGLE));
    EXPECT_FALSE(heap::Free(nullptr, Form::SINGLE));
    EXPECT_FALSE(heap::IsInUse()) << "operator new of this program is the usual one";
}

TEST_F(GuardedHeap, ThePageBehindABlockIsNobodys)
{
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    char* const block = Take(16);
    char* const behind = block + 16;
    ASSERT_EQ(reinterpret_cast<std::uintptr_t>(behind) % page, 0U);
    const heap::Faults before = heap::FaultsSoFar();
    heap::SetTag(behind, Tag::TEXT);
    heap::MakeReadOnly(behind);
    heap::Release(behind);
    EXPECT_EQ(heap::Find(behind).state, State::UNKNOWN);
    EXPECT_TRUE(heap::Free(behind, Form::ARRAY)) << "and must not come to free()";
    EXPECT_EQ(heap::FaultsSoFar().doubleFrees, before.doubleFrees + 1);
    EXPECT_EQ(heap::Find(block).state, State::LIVE);
    EXPECT_EQ(heap::Find(block).tag, Tag::NONE);
}

TEST_F(GuardedHeap, MemoryOfOthersIsLeftAsItIs)
{
    int local = 1;
    heap::SetTag(&local, Tag::RECORD);
    heap::MakeReadOnly(&local);
    heap::Release(&local);
    local = 2;
    EXPECT_EQ(heap::Find(&local).state, State::UNKNOWN);
    EXPECT_EQ(heap::Find(&local).tag, Tag::NONE);
}

TEST_F(GuardedHeap, WhatWasGivenBackIsNotMadeReadable)
{
    char* const block = Take(8);
    heap::Release(block);
    heap::MakeReadOnly(block);
    heap::Release(block);
    EXPECT_EQ(heap::Find(block).state, State::RELEASED);
    EXPECT_TRUE(Dies([block] { static_cast<void>(*const_cast<volatile char*>(block)); }));
}

TEST_F(GuardedHeap, NamesWhatWasPublished)
{
    EXPECT_STREQ(heap::TagText(Tag::NONE), "a block that had been given back");
    EXPECT_STREQ(heap::TagText(Tag::TEXT), "a topic text that it had published");
    EXPECT_STREQ(heap::TagText(Tag::ARRAY), "a data array that it had published");
    EXPECT_STREQ(heap::TagText(Tag::RECORD), "a record that it had published");
    EXPECT_STREQ(heap::TagText(Tag::DELIVERED), "data that UpdateData had delivered");
    EXPECT_STREQ(heap::TagText(static_cast<Tag>(200)), "") << "of no tag";
}

TEST_F(GuardedHeap, HonoursAlignment)
{
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    for (std::size_t alignment = 1; alignment <= page; alignment *= 2) {
        auto* const block = static_cast<char*>(heap::Allocate(alignment + 1, alignment, Form::SINGLE));
        ASSERT_NE(block, nullptr);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % alignment, 0U);
        std::memset(block, 'x', alignment + 1);
        EXPECT_EQ(heap::Find(block).state, State::LIVE);
        EXPECT_EQ(heap::Find(block + alignment).state, State::INSIDE);
        EXPECT_TRUE(heap::Free(block, Form::SINGLE));
        EXPECT_EQ(heap::Find(block).state, State::FREED) << alignment;
    }
}

TEST_F(GuardedHeap, LeavesMappingsToOthers)
{
    std::vector<char*> blocks;
    while (char* const block = Take(1)) {
        blocks.push_back(block);
        ASSERT_LT(blocks.size(), 1000000U);
    }
    // Neighbours of one protection would be one mapping.
    std::vector<void*> others;
    for (int i = 0; i < 1000; ++i) {
        others.push_back(
            mmap(nullptr, 1, i % 2 == 0 ? PROT_READ : PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    }
    EXPECT_EQ(std::count(others.begin(), others.end(), MAP_FAILED), 0);
    for (void* const other : others) {
        munmap(other, 1);
    }
    EXPECT_GT(blocks.size(), 10000U);
    for (char* const block : blocks) {
        EXPECT_TRUE(heap::Free(block, Form::ARRAY));
    }
    char* const again = Take(1);
    EXPECT_NE(again, nullptr) << "those that were given back take no mappings";
    heap::Free(again, Form::ARRAY);
}

TEST_F(GuardedHeap, ThreadsTakeBlocksAtTheSameTime)
{
    const heap::Faults before = heap::FaultsSoFar();
    const std::size_t live = heap::LiveBlocks();
    constexpr std::size_t EACH = 2000;
    std::array<std::size_t, 4> sums{};
    std::vector<std::thread> threads;
    for (std::size_t& sum : sums) {
        threads.emplace_back([&sum] {
            for (std::size_t i = 1; i <= EACH; ++i) {
                auto* const block = reinterpret_cast<std::size_t*>(Take(sizeof(std::size_t)));
                *block = i;
                sum += heap::Find(block).size == sizeof(std::size_t) ? *block : 0;
                heap::Free(block, Form::ARRAY);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (const std::size_t sum : sums) {
        EXPECT_EQ(sum, EACH * (EACH + 1) / 2);
    }
    EXPECT_EQ(heap::LiveBlocks(), live);
    const heap::Faults after = heap::FaultsSoFar();
    EXPECT_EQ(after.doubleFrees, before.doubleFrees);
    EXPECT_EQ(after.wrongForms, before.wrongForms);
}

TEST_F(GuardedHeap, CountsFaultsOfDelete)
{
    const heap::Faults before = heap::FaultsSoFar();
    char* const wrong = Take(8);
    heap::Free(wrong, Form::SINGLE);
    EXPECT_EQ(heap::FaultsSoFar().wrongForms, before.wrongForms + 1);
    heap::Free(wrong, Form::ARRAY);
    char* const inside = Take(8);
    heap::Free(inside + 1, Form::ARRAY);
    EXPECT_EQ(heap::FaultsSoFar().doubleFrees, before.doubleFrees + 2);
    EXPECT_EQ(heap::Find(inside).state, State::LIVE);
    heap::SetTag(inside, Tag::RECORD);
    heap::Free(inside, Form::ARRAY);
    EXPECT_EQ(heap::FaultsSoFar().taggedFrees, before.taggedFrees + 1);
    EXPECT_EQ(heap::FaultsSoFar().firstTag, Tag::RECORD);
}

TEST_F(GuardedHeap, NobodyTouchesWhatWasReleased)
{
    volatile char* const block = Take(8);
    const auto read = [block] { static_cast<void>(block[0]); };
    const auto write = [block] { block[0] = 'b'; };
    write();
    EXPECT_FALSE(Dies(write));
    heap::MakeReadOnly(const_cast<char*>(block));
    EXPECT_FALSE(Dies(read));
    EXPECT_TRUE(Dies(write));
    heap::Release(const_cast<char*>(block));
    EXPECT_EQ(heap::Find(const_cast<char*>(block)).state, State::RELEASED);
    EXPECT_TRUE(Dies(read));
    volatile char* const next = Take(16);
    EXPECT_TRUE(Dies([next] { next[16] = 'b'; })) << "nor what is behind a block";
}

class Ownership : public GuardedHeap {
protected:
    static char* Text(const char* text, Form form = Form::ARRAY)
    {
        char* const copy = Take(std::strlen(text) + 1, form);
        std::memcpy(copy, text, std::strlen(text) + 1);
        return copy;
    }
    static DataList GoodList()
    {
        DataList list;
        list.topic = {Text("a"), Text("b"), Text("")};
        list.data = reinterpret_cast<void**>(Take(sizeof(void*)));
        list.data[0] = Take(40, Form::SINGLE);
        list.len = 1;
        return list;
    }
    static std::string AllFaults(const OwnershipInspector& i)
    {
        return i.textFault + i.arrayFault + i.recordFault + i.twiceFault + i.freedFault;
    }
};

TEST_F(Ownership, IsInOrderOncePerList)
{
    const DataList list = GoodList();
    OwnershipInspector first;
    first.Inspect(list);
    first.Inspect(GoodList());
    EXPECT_EQ(AllFaults(first), "");
    EXPECT_EQ(first.published, 2U);
    OwnershipInspector again;
    again.Inspect(list);
    EXPECT_EQ(AllFaults(again), "published an instance name in a block that was published already");
    ReleasePublished(list);
    EXPECT_EQ(heap::Find(list.topic.params).state, State::RELEASED);
    EXPECT_EQ(heap::Find(list.data).state, State::RELEASED);
    OwnershipInspector stale;
    stale.Inspect(list);
    EXPECT_EQ(AllFaults(stale), "published an instance name in a block that was released already");
}

TEST_F(Ownership, EveryPieceIsLookedAt)
{
    static char literal[] = "b";
    DataList list = GoodList();
    list.topic.instanceName = nullptr;
    OwnershipInspector texts;
    texts.Inspect(list);
    EXPECT_EQ(AllFaults(texts), "published an instance name that is null");

    list = GoodList();
    list.topic.topicName = literal;
    OwnershipInspector constant;
    constant.Inspect(list);
    EXPECT_EQ(AllFaults(constant),
              "published a topic name in constant or static data of conformance_heap_test");

    list = GoodList();
    list.topic.params = Text("", Form::SINGLE);
    OwnershipInspector single;
    single.Inspect(list);
    EXPECT_EQ(AllFaults(single), "published parameters in a block from new");

    list = GoodList();
    list.topic.params = Take(2);
    std::memcpy(list.topic.params, "xy", 2);
    OwnershipInspector open;
    open.Inspect(list);
    EXPECT_EQ(AllFaults(open), "published parameters without a NUL in its block of 2 bytes");

    list = GoodList();
    list.len = 2;
    OwnershipInspector small;
    small.Inspect(list);
    EXPECT_EQ(AllFaults(small), "published a data array in a block of 8 bytes");

    list = GoodList();
    list.data[0] = Take(40);
    OwnershipInspector record;
    record.Inspect(list);
    EXPECT_EQ(AllFaults(record), "published a record in a block from new[]");

    list = GoodList();
    heap::Free(list.data[0], Form::SINGLE);
    OwnershipInspector freed;
    freed.Inspect(list);
    EXPECT_EQ(AllFaults(freed), "deleted a record after the push");
}

TEST_F(Ownership, ListsThatCannotBeFollowedAreNotFollowed)
{
    DataList list = GoodList();
    list.data = nullptr;
    OwnershipInspector noArray;
    noArray.Inspect(list);
    EXPECT_EQ(AllFaults(noArray), "published a data array that is null");

    list = GoodList();
    list.len = std::uint64_t{1} << 40U;
    OwnershipInspector endless;
    endless.Inspect(list);
    EXPECT_EQ(AllFaults(endless), "") << "another rule's matter";
    EXPECT_EQ(heap::Find(list.data[0]).tag, Tag::NONE);

    list = GoodList();
    void* const record = list.data[0];
    heap::Free(list.data, Form::ARRAY);
    OwnershipInspector freed;
    freed.Inspect(list);
    EXPECT_EQ(AllFaults(freed), "deleted a data array after the push");
    EXPECT_EQ(heap::Find(record).tag, Tag::NONE);

    list = GoodList();
    list.data[0] = nullptr;
    OwnershipInspector noRecord;
    noRecord.Inspect(list);
    EXPECT_EQ(AllFaults(noRecord), "") << "another rule's matter";

    list = GoodList();
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    list.data = static_cast<void**>(mmap(nullptr, page, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    OwnershipInspector closed;
    closed.Inspect(list);
    EXPECT_EQ(AllFaults(closed), "published a data array in memory that is no block of operator new");
    munmap(list.data, page);
}

TEST_F(Ownership, WhatCanBeReachedOfAListIsReleased)
{
    DataList list = GoodList();
    const DataList whole = list;
    list.data = nullptr;
    ReleasePublished(list);
    EXPECT_EQ(heap::Find(list.topic.params).state, State::RELEASED);
    EXPECT_EQ(heap::Find(whole.data).state, State::LIVE);
    list = GoodList();
    void* const record = list.data[0];
    list.len = std::uint64_t{1} << 40U;
    ReleasePublished(list);
    EXPECT_EQ(heap::Find(list.data).state, State::RELEASED);
    EXPECT_EQ(heap::Find(record).state, State::LIVE);
}

TEST_F(Ownership, AReleasedListIsNotFollowedAgain)
{
    const DataList list = GoodList();
    ReleasePublished(list);
    DataList again = GoodList();
    again.data = list.data;
    OwnershipInspector inspector;
    inspector.Inspect(again);
    EXPECT_EQ(AllFaults(inspector), "published a data array in a block that was released already");
}

}  // namespace
