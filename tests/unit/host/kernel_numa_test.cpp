// SPDX-License-Identifier: MIT

#include "host/kernel_numa.h"

#include <sys/stat.h>

#include <filesystem>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/kernel_tree.h"

namespace {

using host::KernelNuma;
using host::KernelTotals;
using support::KernelTree;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

std::string Text(const host::NodeTotals& node)
{
    const host::NodeCounts& counts = node.counts;
    return std::to_string(node.node) + ": " + std::to_string(counts.hit) + " " + std::to_string(counts.miss) +
           " " + std::to_string(counts.foreign) + " " + std::to_string(counts.interleave) + " " +
           std::to_string(counts.local) + " " + std::to_string(counts.other) + (node.online ? "" : " gone");
}

std::vector<std::string> Text(const KernelTotals& totals)
{
    std::vector<std::string> lines;
    for (const host::NodeTotals& node : totals.nodes) {
        lines.push_back(Text(node));
    }
    const host::HintCounts& hints = totals.hints;
    lines.push_back(std::to_string(hints.faults) + " " + std::to_string(hints.local) + " " +
                    std::to_string(hints.migrated));
    return lines;
}

class KernelNumaTest : public testing::Test {
protected:
    void SetOnline(const std::string& list) const
    {
        KernelTree::Put(tree.Sysfs() + "/devices/system/node/online", list + "\n");
    }

    std::vector<std::string> Read()
    {
        tree.Write();
        kernel.Read();
        return Text(kernel.Totals());
    }

    KernelTree tree{2};
    KernelNuma kernel{tree.Sysfs(), tree.Procfs()};
};

TEST_F(KernelNumaTest, CountsSinceTheFirstReading)
{
    tree.nodes[0] = {100, 1, 2, 3, 90, 11};
    EXPECT_THAT(Read(), ElementsAre("0: 0 0 0 0 0 0", "1: 0 0 0 0 0 0", "0 0 0"));
    tree.nodes[0] = {105, 2, 4, 6, 94, 12};
    tree.Allocate(1, 20, 30);
    tree.Fault(7, 8);
    tree.migrated += 3;
    EXPECT_THAT(Read(), ElementsAre("0: 5 1 2 3 4 1", "1: 50 0 0 0 20 30", "15 7 3"));
    tree.Allocate(0, 1, 0);
    EXPECT_THAT(Read(), ElementsAre("0: 6 1 2 3 5 1", "1: 50 0 0 0 20 30", "15 7 3"));
    EXPECT_TRUE(kernel.Totals().nodesCounted);
    EXPECT_TRUE(kernel.Totals().hintsCounted);
    EXPECT_EQ(kernel.Totals().nodesOnline, 2U);
    EXPECT_EQ(kernel.Totals().nodesProblem + kernel.Totals().hintsProblem, "");
    EXPECT_THAT(kernel.TakeRemarks(), IsEmpty());
}

TEST_F(KernelNumaTest, ACounterThatStepsBackStandsStillAndGoesOn)
{
    tree.nodes[0] = {100, 0, 0, 0, 100, 0};
    Read();
    tree.nodes[0] = {10, 0, 0, 0, 10, 0};
    tree.hintFaults = 5;
    EXPECT_THAT(Read(), ElementsAre("0: 0 0 0 0 0 0", "1: 0 0 0 0 0 0", "0 0 0"));
    tree.Allocate(0, 3, 4);
    tree.hintFaults += 6;
    EXPECT_THAT(Read(), ElementsAre("0: 7 0 0 0 3 4", "1: 0 0 0 0 0 0", "6 0 0"));
}

TEST_F(KernelNumaTest, ANodeThatVanishesKeepsWhatItHad)
{
    Read();
    tree.Allocate(1, 5, 5);
    Read();
    SetOnline("0");
    EXPECT_THAT(Read(), ElementsAre("0: 0 0 0 0 0 0", "1: 10 0 0 0 5 5 gone", "0 0 0"));
    EXPECT_EQ(kernel.Totals().nodesOnline, 1U);
    EXPECT_EQ(kernel.Totals().nodesProblem, "");
    EXPECT_THAT(kernel.TakeRemarks(), ElementsAre("nodes that are online changed from 0-1 to 0"));
    SetOnline("0-1");
    tree.Allocate(1, 1, 0);
    EXPECT_THAT(Read(), ElementsAre("0: 0 0 0 0 0 0", "1: 11 0 0 0 6 5", "0 0 0"));
    EXPECT_THAT(kernel.TakeRemarks(), ElementsAre("nodes that are online changed from 0 to 0-1"));
}

TEST_F(KernelNumaTest, ANodeThatAppearsCountsFromThenOn)
{
    Read();
    tree.nodes.push_back({1000, 0, 0, 0, 900, 100});
    SetOnline("0-2");
    EXPECT_THAT(Read(), ElementsAre("0: 0 0 0 0 0 0", "1: 0 0 0 0 0 0", "2: 0 0 0 0 0 0", "0 0 0"));
    tree.Allocate(2, 1, 2);
    EXPECT_THAT(Read(), ElementsAre("0: 0 0 0 0 0 0", "1: 0 0 0 0 0 0", "2: 3 0 0 0 1 2", "0 0 0"));
}

TEST_F(KernelNumaTest, NodesThatComeAndGoAreToldOfABoundedNumberOfTimes)
{
    Read();
    for (int i = 0; i < 40; ++i) {
        SetOnline(i % 2 == 0 ? "0" : "0-1");
        Read();
    }
    EXPECT_THAT(kernel.TakeRemarks(), SizeIs(8));
}

TEST_F(KernelNumaTest, WithoutNumaNothingIsCountedAndThatIsSaidOnce)
{
    std::filesystem::remove_all(tree.Sysfs());
    std::filesystem::remove(tree.Procfs() + "/vmstat");
    const std::string nodes =
        "cannot read " + tree.Sysfs() + "/devices/system/node/online: No such file or directory";
    const std::string hints = "cannot read " + tree.Procfs() + "/vmstat: No such file or directory";
    kernel.Read();
    kernel.Read();
    EXPECT_FALSE(kernel.Totals().nodesCounted);
    EXPECT_FALSE(kernel.Totals().hintsCounted);
    EXPECT_EQ(kernel.Totals().nodesProblem, nodes);
    EXPECT_EQ(kernel.Totals().hintsProblem, hints);
    EXPECT_THAT(kernel.TakeRemarks(),
                ElementsAre("the kernel's counts of allocated pages are not to be had: " + nodes,
                            "hint faults are not counted: " + hints));
    EXPECT_THAT(kernel.TakeRemarks(), IsEmpty());
}

TEST_F(KernelNumaTest, HintFaultsOfAKernelWithoutBalancing)
{
    KernelTree::Put(tree.Procfs() + "/vmstat", "nr_free_pages 1\n");
    kernel.Read();
    EXPECT_FALSE(kernel.Totals().hintsCounted);
    EXPECT_THAT(kernel.TakeRemarks(),
                ElementsAre("hint faults are not counted: " + tree.Procfs() +
                            "/vmstat: no row numa_hint_faults, this kernel has no automatic NUMA balancing"));
}

TEST_F(KernelNumaTest, HintFaultsWhileBalancingIsSwitchedOff)
{
    const std::string path = tree.Procfs() + "/sys/kernel/numa_balancing";
    KernelTree::Put(path, "0\n");
    Read();
    EXPECT_FALSE(kernel.Totals().hintsCounted);
    EXPECT_EQ(kernel.Totals().hintsProblem, "kernel.numa_balancing is 0");
    EXPECT_THAT(kernel.TakeRemarks(), ElementsAre("hint faults are not counted: kernel.numa_balancing is 0"));
    KernelTree::Put(path, "1\n");
    tree.Fault(2, 2);
    EXPECT_EQ(Read().back(), "4 2 0");
    EXPECT_TRUE(kernel.Totals().hintsCounted);
    EXPECT_EQ(kernel.Totals().hintsProblem, "");
    KernelTree::Put(path, "3\n");  // both modes
    Read();
    EXPECT_EQ(kernel.Totals().hintsProblem, "");
    KernelTree::Put(path, "neither\n");
    Read();
    EXPECT_EQ(kernel.Totals().hintsProblem, "");
}

TEST_F(KernelNumaTest, HintFaultsOfSlowMemoryAloneAreNoSample)
{
    KernelTree::Put(tree.Procfs() + "/sys/kernel/numa_balancing", "2\n");
    Read();
    EXPECT_FALSE(kernel.Totals().hintsCounted);
    EXPECT_EQ(kernel.Totals().hintsProblem, "kernel.numa_balancing is 2");
}

TEST_F(KernelNumaTest, NodesWithoutCpusAreKnown)
{
    const auto withCpus = [this] {
        Read();
        return std::vector<bool>{kernel.Totals().nodes.at(0).cpus, kernel.Totals().nodes.at(1).cpus};
    };
    EXPECT_THAT(withCpus(), ElementsAre(true, true));  // nothing tells that one has none
    const std::string path = tree.Sysfs() + "/devices/system/node/has_cpu";
    KernelTree::Put(path, "0\n");
    EXPECT_THAT(withCpus(), ElementsAre(true, false));
    KernelTree::Put(path, "0-1\n");
    EXPECT_THAT(withCpus(), ElementsAre(true, true));
}

TEST_F(KernelNumaTest, CountersThatAreSwitchedOffAreNotTakenForZero)
{
    KernelTree::Put(tree.Procfs() + "/sys/vm/numa_stat", "0\n");
    EXPECT_THAT(Read(), ElementsAre("0 0 0"));
    EXPECT_FALSE(kernel.Totals().nodesCounted);
    EXPECT_EQ(kernel.Totals().nodesOnline, 2U);
    EXPECT_THAT(kernel.TakeRemarks(),
                ElementsAre("the kernel's counts of allocated pages are not to be had: vm.numa_stat is 0"));
}

TEST_F(KernelNumaTest, AFileThatVanishesWhileItRunsIsAGapAndNotZero)
{
    Read();
    tree.Allocate(0, 10, 0);
    tree.Allocate(1, 0, 10);
    Read();
    std::filesystem::rename(tree.NumastatOf(1), tree.NumastatOf(1) + ".away");
    kernel.Read();
    EXPECT_THAT(Text(kernel.Totals()), ElementsAre("0: 10 0 0 0 10 0", "1: 10 0 0 0 0 10", "0 0 0"));
    const std::string problem = "cannot read " + tree.NumastatOf(1) + ": No such file or directory";
    EXPECT_EQ(kernel.Totals().nodesProblem, problem);
    EXPECT_THAT(kernel.TakeRemarks(),
                ElementsAre("the kernel's counts of allocated pages are not to be had: " + problem));
    tree.Allocate(1, 0, 5);
    EXPECT_THAT(Read(), ElementsAre("0: 10 0 0 0 10 0", "1: 15 0 0 0 0 15", "0 0 0"));
    EXPECT_EQ(kernel.Totals().nodesProblem, "");
}

TEST_F(KernelNumaTest, HostileFilesAreRefusedWithoutWaiting)
{
    Read();
    std::filesystem::remove(tree.NumastatOf(0));
    ASSERT_EQ(mkfifo(tree.NumastatOf(0).c_str(), 0600), 0);
    KernelTree::Put(tree.NumastatOf(1), "numa_hit 1\x1b[31m\n");
    KernelTree::Put(tree.Procfs() + "/vmstat", std::string(100000, 'x'));
    kernel.Read();
    EXPECT_EQ(
        kernel.Totals().nodesProblem,
        tree.NumastatOf(1) + ": row 'numa_hit 1\\x1b[31m', expected a name, a blank and a count below 2^64");
    EXPECT_EQ(kernel.Totals().hintsProblem,
              "cannot read " + tree.Procfs() + "/vmstat: it is longer than 65536 bytes");
    KernelTree::Put(tree.NumastatOf(1), "numa_hit 1\nnuma_miss 0\nlocal_node 1\nother_node 0\n");
    kernel.Read();
    EXPECT_EQ(kernel.Totals().nodesProblem, "cannot read " + tree.NumastatOf(0) + ": it is no regular file");
}

TEST_F(KernelNumaTest, ListsOfNodesAreBounded)
{
    SetOnline("0-1,3-9x");
    kernel.Read();
    EXPECT_THAT(kernel.Totals().nodesProblem,
                StartsWith(tree.Sysfs() + "/devices/system/node/online:1: CPU list "));
    SetOnline("");
    kernel.Read();
    EXPECT_EQ(kernel.Totals().nodesProblem, "no node is online");
    EXPECT_EQ(kernel.Totals().nodesOnline, 0U);
    SetOnline("0-65535");
    kernel.Read();
    EXPECT_EQ(kernel.Totals().nodesOnline, 65536U);
    EXPECT_THAT(kernel.Totals().nodes, SizeIs(2)) << "two nodes have files, 62 were tried besides";
    SetOnline("0-1,100-200");
    kernel.Read();
    EXPECT_THAT(kernel.Totals().nodes, SizeIs(2));
    EXPECT_THAT(kernel.Totals().nodesProblem, StartsWith("cannot read "));
}

TEST_F(KernelNumaTest, MoreNodesThanAreReadIsAProblemOfItsOwn)
{
    KernelTree wide(70);
    KernelNuma many(wide.Sysfs(), wide.Procfs());
    many.Read();
    EXPECT_THAT(many.Totals().nodes, SizeIs(KernelNuma::MAX_NODES));
    EXPECT_EQ(many.Totals().nodesProblem, "70 nodes are online, the first 64 of them are read");
    KernelTree::Put(wide.Sysfs() + "/devices/system/node/online", "0-62,65\n");
    many.Read();
    EXPECT_EQ(many.Totals().nodesProblem, "node 65 came after 64 others and is not read");
}

TEST_F(KernelNumaTest, DifferencesOfTwoStates)
{
    Read();
    tree.Allocate(0, 10, 0);
    Read();
    const KernelTotals then = kernel.Totals();
    tree.nodes.push_back({});
    SetOnline("0-2");
    Read();
    tree.Allocate(0, 5, 0);
    tree.Allocate(2, 0, 7);
    tree.Fault(1, 1);
    Read();
    const KernelTotals since = host::TotalsSince(then, kernel.Totals());
    EXPECT_THAT(Text(since), ElementsAre("0: 5 0 0 0 5 0", "1: 0 0 0 0 0 0", "2: 7 0 0 0 0 7", "2 1 0"));
}

}  // namespace
