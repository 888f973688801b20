// SPDX-License-Identifier: MIT
//
// What the probes tell of memory: free memory of each node, where a process has its pages, and the switch of
// automatic NUMA balancing.

#include <numa.h>
#include <numaif.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <functional>
#include <numeric>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "common/probes.h"
#include "tests/guest/guest_machine.h"
#include "tests/support/child_run.h"

namespace {

constexpr std::size_t MB = 1024 * 1024;
constexpr unsigned PAGE_KB = 4;

/// As the kernel tells it, read without the probe.
unsigned long FreeKb(int node)
{
    std::istringstream lines(
        guest::Line("/sys/devices/system/node/node" + std::to_string(node) + "/meminfo"));
    std::string word;
    while (lines >> word && word != "MemFree:") {
    }
    unsigned long kb = 0;
    lines >> kb;
    return kb;
}

/// Memory of one node that is really there.
class NodeMemory {
public:
    NodeMemory(int node, std::size_t bytes) : size(bytes)
    {
        area = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        const unsigned long mask = 1UL << node;
        isBound = area != MAP_FAILED && madvise(area, size, MADV_NOHUGEPAGE) == 0 &&
                  mbind(area, size, MPOL_BIND, &mask, sizeof mask * 8, 0) == 0;
        if (isBound) {
            std::memset(area, 1, size);
        }
    }
    NodeMemory(const NodeMemory&) = delete;
    NodeMemory& operator=(const NodeMemory&) = delete;
    ~NodeMemory() { munmap(area, size); }

    bool isBound = false;

private:
    std::size_t size;
    void* area;
};

/// A process of this test that holds memory until the end.
class Holder {
public:
    /// `body` runs in the process; false from it means that it could not do its part.
    explicit Holder(const std::function<bool()>& body)
        : child(support::Fork([this, &body] {
              *state = body() ? 1 : -1;
              pause();
              return 0;
          }))
    {
        for (int i = 0; i < 3000 && *state == 0; ++i) {
            usleep(10000);
        }
    }

    bool IsReady() const { return *state == 1; }
    pid_t Pid() const { return child.Pid(); }

    std::vector<unsigned> Pages(int nodes) const
    {
        std::vector<unsigned> pages;
        EXPECT_TRUE(ProcessGetMemDistribution(Pid(), pages, nodes));
        EXPECT_EQ(pages.size(), static_cast<std::size_t>(nodes));
        return pages;
    }

private:
    support::SharedValue<std::atomic<int>> state;
    support::Child child;
};

TEST(GuestFreeMemory, IsTheKernelsFigureForEveryNode)
{
    const guest::Machine machine = guest::AskedFor();
    for (int node = 0; node < machine.nodes; ++node) {
        const unsigned long before = FreeKb(node);
        const unsigned long told = GetNumaFreeMem(node);
        const unsigned long after = FreeKb(node);
        ASSERT_GT(before, 0U) << node;
        // The node is in use meanwhile.
        EXPECT_GE(told, std::min(before, after) - 2048) << node;
        EXPECT_LE(told, std::max(before, after) + 2048) << node;
        EXPECT_LE(told, static_cast<unsigned long>(machine.nodeMb) * 1024);
    }
    EXPECT_EQ(GetNumaFreeMem(machine.nodes), 0U);
    EXPECT_EQ(GetNumaFreeMem(-1), 0U);
}

TEST(GuestFreeMemory, FallsOnTheNodeThatIsTakenFromAndNowhereElse)
{
    const guest::Machine machine = guest::AskedFor();
    const int node = machine.nodes - 1;
    std::vector<unsigned long> before;
    for (int i = 0; i < machine.nodes; ++i) {
        before.push_back(GetNumaFreeMem(i));
    }
    const NodeMemory memory(node, 32 * MB);
    ASSERT_TRUE(memory.isBound);
    for (int i = 0; i < machine.nodes; ++i) {
        const unsigned long after = GetNumaFreeMem(i);
        if (i == node) {
            EXPECT_LE(after + 30 * 1024, before[static_cast<std::size_t>(i)]);
        } else {
            EXPECT_GE(after + 8 * 1024, before[static_cast<std::size_t>(i)]) << i;
        }
    }
}

TEST(GuestProcessMemory, OfAProcessBoundToOneNodeLiesThere)
{
    const guest::Machine machine = guest::AskedFor();
    for (const int node : {1, machine.nodes - 1}) {
        constexpr std::size_t SIZE = 24 * MB;
        constexpr unsigned PAGES = SIZE / 1024 / PAGE_KB;
        const Holder holder([node] {
            const unsigned long mask = 1UL << node;
            void* const area =
                mmap(nullptr, SIZE, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
            if (set_mempolicy(MPOL_BIND, &mask, sizeof mask * 8) != 0 || area == MAP_FAILED ||
                madvise(area, SIZE, MADV_NOHUGEPAGE) != 0) {
                return false;
            }
            std::memset(area, 1, SIZE);
            return true;
        });
        ASSERT_TRUE(holder.IsReady());
        const std::vector<unsigned> pages = holder.Pages(machine.nodes);
        const unsigned all = std::accumulate(pages.begin(), pages.end(), 0U);
        const unsigned there = pages[static_cast<std::size_t>(node)];
        EXPECT_GE(there, PAGES) << node;
        // The rest is the program itself and its libraries.
        EXPECT_LT(all - there, PAGES / 2) << node;
    }
}

TEST(GuestProcessMemory, FollowsAProcessThatIsMoved)
{
    const guest::Machine machine = guest::AskedFor();
    constexpr std::size_t SIZE = 16 * MB;
    constexpr unsigned PAGES = SIZE / 1024 / PAGE_KB;
    const int from = 1;
    const int to = machine.nodes - 1;
    const Holder holder([] { return NodeMemory(from, 1).isBound && (new NodeMemory(from, SIZE))->isBound; });
    ASSERT_TRUE(holder.IsReady());
    const std::vector<unsigned> before = holder.Pages(machine.nodes);
    EXPECT_GE(before[from], PAGES);
    EXPECT_LT(before[static_cast<std::size_t>(to)], PAGES / 2);
    const unsigned long fromMask = 1UL << from;
    const unsigned long toMask = 1UL << to;
    ASSERT_GE(migrate_pages(holder.Pid(), sizeof fromMask * 8, &fromMask, &toMask), 0);
    const std::vector<unsigned> after = holder.Pages(machine.nodes);
    EXPECT_LT(after[from], PAGES / 2);
    EXPECT_GE(after[static_cast<std::size_t>(to)], PAGES);
}

TEST(GuestProcessMemory, SplitOverTwoNodesIsToldOfBoth)
{
    const guest::Machine machine = guest::AskedFor();
    const int last = machine.nodes - 1;
    const Holder holder(
        [last] { return (new NodeMemory(0, 12 * MB))->isBound && (new NodeMemory(last, 20 * MB))->isBound; });
    ASSERT_TRUE(holder.IsReady());
    const std::vector<unsigned> pages = holder.Pages(machine.nodes);
    EXPECT_GE(pages[0], 12 * 1024 / PAGE_KB);
    EXPECT_GE(pages[static_cast<std::size_t>(last)], 20 * 1024 / PAGE_KB);
    // Asked for fewer nodes, the probe leaves the others out.
    const std::vector<unsigned> fewer = holder.Pages(1);
    EXPECT_GE(fewer[0], 12 * 1024 / PAGE_KB);
}

TEST(GuestBalancing, SwitchIsReadAndWritten)
{
    const std::string path = "/proc/sys/kernel/numa_balancing";
    const std::string before = guest::Line(path);
    ASSERT_EQ(before, "1") << "with more than one node the kernel starts with it on";
    EXPECT_TRUE(ProcfsIsNbEnable());
    ProcfsChangeNbState(false);
    EXPECT_EQ(guest::Line(path), "0");
    EXPECT_FALSE(ProcfsIsNbEnable());
    // 2 moves pages between kinds of memory: another thing than balancing.
    std::ofstream(path) << "2";
    EXPECT_EQ(guest::Line(path), "2");
    EXPECT_FALSE(ProcfsIsNbEnable());
    ProcfsChangeNbState(true);
    EXPECT_EQ(guest::Line(path), "1");
    EXPECT_TRUE(ProcfsIsNbEnable());
}

}  // namespace
