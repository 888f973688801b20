// SPDX-License-Identifier: MIT

#include "host/pmu_discovery.h"

#include <sys/stat.h>

#include <filesystem>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/sysfs_tree.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

const std::string FIXTURES = std::string(SOURCE_DIR) + "/tests/fixtures/sysfs/";
const std::vector<std::string> THREE = {"rx_outer", "rx_sccl", "rx_ops_num"};

std::vector<std::string> Names(const std::vector<host::Pmu>& pmus)
{
    std::vector<std::string> names;
    for (const host::Pmu& pmu : pmus) {
        names.push_back(pmu.name);
    }
    return names;
}

TEST(PmuScan, FindsEveryInstanceInNaturalOrder)
{
    const host::PmuScan scan = host::ScanPmus(FIXTURES + "two_sockets", THREE);
    EXPECT_EQ(scan.error, "");
    EXPECT_THAT(scan.names, ElementsAre("die1_hub2", "die1_hub10", "die1_mem0", "die3_hub2", "die3_hub10"));
    EXPECT_THAT(Names(scan.usable), ElementsAre("die1_hub2", "die1_hub10", "die3_hub2", "die3_hub10"));
    EXPECT_THAT(scan.unusable, IsEmpty());
    EXPECT_THAT(scan.remarks, IsEmpty());
    EXPECT_EQ(scan.usable[0].facts.type, 24U);
    EXPECT_EQ(scan.usable[0].facts.scope, host::CpuScope::MASK);
    EXPECT_THAT(scan.usable[2].facts.cpus, ElementsAre(32));
}

TEST(PmuScan, ReportsWhatAPartialPmuLacks)
{
    const host::PmuScan scan = host::ScanPmus(FIXTURES + "partial", THREE);
    EXPECT_THAT(scan.usable, IsEmpty());
    ASSERT_THAT(Names(scan.unusable), ElementsAre("half", "third"));
    EXPECT_THAT(scan.unusable[0].missing, ElementsAre("rx_sccl"));
    EXPECT_THAT(scan.unusable[1].missing, ElementsAre("rx_outer", "rx_ops_num"));
}

TEST(PmuScan, AskedForFewerEventsFindsMorePmus)
{
    EXPECT_THAT(Names(host::ScanPmus(FIXTURES + "partial", {"rx_outer", "rx_ops_num"}).usable),
                ElementsAre("half"));
}

TEST(PmuScan, PmusWithoutTheEventsAreNamedOnly)
{
    const host::PmuScan scan = host::ScanPmus(FIXTURES + "none", THREE);
    EXPECT_THAT(scan.names, ElementsAre("breakpoint"));
    EXPECT_THAT(scan.usable, IsEmpty());
    EXPECT_THAT(scan.unusable, IsEmpty());
    EXPECT_EQ(scan.error, "");
}

TEST(PmuScan, SaysThatThereIsNoTree)
{
    EXPECT_EQ(
        host::ScanPmus("/nowhere/at\nall", THREE).error,
        "cannot read /nowhere/at\\nall/bus/event_source/devices: No such file or directory; expected the "
        "PMUs of the kernel there, mount sysfs or give another --sysfs-root");
}

TEST(PmuScan, BrokenFilesMakeAPmuUnusableWithAReason)
{
    const struct {
        const char* file;
        std::string text;
        std::string error;
    } cases[] = {
        {"type", "", ":1: PMU type '': expected a number below 4294967296"},
        {"type", "4294967296\n", ":1: PMU type '4294967296': expected a number below 4294967296"},
        {"type", "-1\n", ":1: PMU type '-1': expected a number below 4294967296"},
        {"type", "7 8\n", ":1: PMU type '7 8': expected a number below 4294967296"},
        {"cpumask", "0-\n",
         ":1: CPU list '0-': expected a number at column 3; a list reads like 0-3,8,10-11"},
        {"cpumask", "\n", ":1: names no CPU, expected at least one to read the counters from"},
        {"cpus", "\n", ":1: names no CPU, expected at least one to read the counters from"},
    };
    for (const auto& row : cases) {
        support::SysfsTree tree;
        tree.AddPmu("p", "9\n").AddEvents("p");
        tree.Write("devices/p/" + std::string(row.file), row.text);
        const host::PmuScan scan = host::ScanPmus(tree.Root(), THREE);
        EXPECT_THAT(scan.usable, IsEmpty());
        ASSERT_THAT(scan.unusable, SizeIs(1));
        EXPECT_THAT(scan.unusable[0].missing, IsEmpty());
        EXPECT_EQ(scan.unusable[0].error, tree.Device("p") + "/" + row.file + row.error);
    }
}

TEST(PmuScan, AMissingTypeIsAReason)
{
    support::SysfsTree tree;
    tree.AddPmu("p", "9\n").AddEvents("p");
    tree.Remove("devices/p/type");
    const host::PmuScan scan = host::ScanPmus(tree.Root(), THREE);
    ASSERT_THAT(scan.unusable, SizeIs(1));
    EXPECT_EQ(scan.unusable[0].error, "cannot read " + tree.Device("p") + "/type: No such file or directory");
}

TEST(PmuScan, AFifoInPlaceOfAFileDoesNotHang)
{
    support::SysfsTree tree;
    tree.AddPmu("p", "9\n").AddEvents("p");
    ASSERT_EQ(mkfifo((tree.Device("p") + "/cpumask").c_str(), 0600), 0);
    const host::PmuScan scan = host::ScanPmus(tree.Root(), THREE);
    ASSERT_THAT(scan.unusable, SizeIs(1));
    EXPECT_EQ(scan.unusable[0].error, "cannot read " + tree.Device("p") + "/cpumask: it is no regular file");
}

TEST(PmuScan, NeverLeavesTheTree)
{
    support::SysfsTree outside;
    outside.AddPmu("p", "9\n").AddEvents("p");
    support::SysfsTree tree;
    tree.AddPmu("good", "8\n").AddEvents("good");
    std::filesystem::create_directory_symlink(outside.Device("p"), tree.Entries() + "/away");
    std::filesystem::create_directory_symlink("nothing", tree.Entries() + "/broken");
    std::filesystem::create_symlink("self", tree.Entries() + "/self");
    std::filesystem::create_directory_symlink(tree.Root(), tree.Entries() + "/root");
    tree.Write("bus/event_source/devices/file", "");
    tree.Write("bus/event_source/devices/a b\n/type", "1");
    const host::PmuScan scan = host::ScanPmus(tree.Root(), THREE);
    EXPECT_THAT(Names(scan.usable), ElementsAre("good"));
    const std::string list = "; numa-score list shows the PMUs of this machine";
    EXPECT_THAT(scan.remarks,
                ElementsAre(tree.Entries() + ": 'a b\\n' cannot be the name of a PMU, passed over",
                            tree.Entries() + "/away: leads out of the tree, passed over",
                            "no PMU at " + tree.Entries() + "/broken" + list,
                            "no PMU at " + tree.Entries() + "/file" + list,
                            tree.Entries() + "/root: leads out of the tree, passed over",
                            "no PMU at " + tree.Entries() + "/self" + list));
}

TEST(PmuScan, DirectoriesOfEventsAreNoLinks)
{
    support::SysfsTree outside;
    outside.AddPmu("p", "9\n").AddEvents("p");
    support::SysfsTree tree;
    tree.AddPmu("p", "9\n");
    std::filesystem::create_directory_symlink(outside.Device("p") + "/events", tree.Device("p") + "/events");
    EXPECT_THAT(host::ScanPmus(tree.Root(), THREE).usable, IsEmpty());
}

TEST(PmuScan, RemarksAreBounded)
{
    support::SysfsTree tree;
    for (int i = 0; i < 100; ++i) {
        tree.Write("bus/event_source/devices/f" + std::to_string(i), "");
    }
    EXPECT_THAT(host::ScanPmus(tree.Root(), THREE).remarks, SizeIs(16));
}

TEST(PmuScan, TakesNoMoreThanSoManyEntries)
{
    support::SysfsTree tree;
    for (int i = 0; i < 4097; ++i) {
        std::filesystem::create_directory(tree.Entries() + "/p" + std::to_string(i));
    }
    const host::PmuScan scan = host::ScanPmus(tree.Root(), THREE);
    EXPECT_THAT(scan.names, SizeIs(4096));
    EXPECT_THAT(scan.remarks, ElementsAre(tree.Entries() + ": more than 4096 entries, the rest is not used"));
}

TEST(PmuFacts, CpumaskThenCpusThenNeither)
{
    support::SysfsTree tree;
    tree.AddPmu("p", "7\n");
    EXPECT_EQ(host::ReadPmuFacts(tree.Device("p")).scope, host::CpuScope::NONE);
    tree.Write("devices/p/cpus", "4-5\n");
    EXPECT_EQ(host::ReadPmuFacts(tree.Device("p")).scope, host::CpuScope::CPUS);
    EXPECT_THAT(host::ReadPmuFacts(tree.Device("p")).cpus, ElementsAre(4, 5));
    tree.Write("devices/p/cpumask", "0,2\n");
    EXPECT_EQ(host::ReadPmuFacts(tree.Device("p")).scope, host::CpuScope::MASK);
    EXPECT_THAT(host::ReadPmuFacts(tree.Device("p")).cpus, ElementsAre(0, 2));
    EXPECT_EQ(host::ReadPmuFacts(tree.Device("p")).type, 7U);
}

TEST(ReadPmu, FilesBesideEventsAreNoEvents)
{
    const host::Pmu pmu = host::ReadPmu(FIXTURES + "mapped", "mesh_0");
    EXPECT_EQ(pmu.error, "");
    EXPECT_THAT(pmu.events, ElementsAre("by_node", "remote"));
}

TEST(ReadPmu, RefusesNamesThatLeadElsewhere)
{
    const std::string root = FIXTURES + "mapped";
    const std::string entries = root + "/bus/event_source/devices";
    EXPECT_EQ(host::ReadPmu(root, "../devices/mesh_0").error,
              entries + ": '../devices/mesh_0' cannot be the name of a PMU, passed over");
    EXPECT_EQ(host::ReadPmu(root, "..").error, entries + ": '..' cannot be the name of a PMU, passed over");
    EXPECT_EQ(host::ReadPmu(root, "absent").error,
              "no PMU at " + entries + "/absent; numa-score list shows the PMUs of this machine");
}

TEST(ReadFormats, KeepsTheFaultOfAFileForWhoeverNeedsIt)
{
    const host::Pmu pmu = host::ReadPmu(FIXTURES + "mapped", "mesh_0");
    const std::vector<host::FormatTerm> formats = host::ReadFormats(pmu);
    ASSERT_THAT(formats, SizeIs(4));
    EXPECT_EQ(formats[0].name, "event");
    EXPECT_EQ(formats[0].mask, 0xf000000ffU);
    EXPECT_EQ(formats[1].name, "far");
    EXPECT_EQ(formats[1].error,
              pmu.directory +
                  "/format/far:1: format 'config3:0-7': expected config, config1 or config2 "
                  "and ':'; a format reads like config:0-7,32-35");
    EXPECT_EQ(formats[2].mask, 0xffff0000U);
    EXPECT_EQ(formats[3].word, 1U);
}

TEST(ReadEvent, NamesTheFile)
{
    support::SysfsTree tree;
    tree.AddPmu("p", "9\n")
        .Write("devices/p/events/bad", "event=zz\n")
        .Write("devices/p/events/good", "x=3\n");
    const host::Pmu pmu = host::ReadPmu(tree.Root(), "p");
    EXPECT_EQ(host::ReadEvent(pmu, "good").terms[0].value, 3U);
    EXPECT_EQ(host::ReadEvent(pmu, "bad").error,
              tree.Device("p") +
                  "/events/bad:1: event 'event=zz': term 'event=zz': expected a number of at most 64 bits, "
                  "decimal or after 0x hexadecimal");
    EXPECT_EQ(host::ReadEvent(pmu, "absent").error,
              "cannot read " + tree.Device("p") + "/events/absent: No such file or directory");
}

TEST(MatchPmus, ExactNameFirstThenInstances)
{
    const std::vector<std::string> names = {"hub",     "mesh_0", "mesh_1", "mesh_a",
                                            "mesh_10", "mesh2",  "meshes", "mesh_"};
    EXPECT_THAT(host::MatchPmus(names, "hub"), ElementsAre("hub"));
    EXPECT_THAT(host::MatchPmus(names, "mesh_1"), ElementsAre("mesh_1"));
    EXPECT_THAT(host::MatchPmus(names, "mesh"), ElementsAre("mesh_0", "mesh_1", "mesh_10", "mesh2"));
    EXPECT_THAT(host::MatchPmus(names, "me"), IsEmpty());
    EXPECT_THAT(host::MatchPmus(names, "absent"), IsEmpty());
}

TEST(OnlineLists, AreReadFromTheTree)
{
    EXPECT_THAT(host::ReadOnlineCpus(FIXTURES + "wide_mask").cpus, ElementsAre(0, 1, 2, 3));
    EXPECT_THAT(host::ReadOnlineNodes(FIXTURES + "two_sockets").cpus, ElementsAre(0, 1, 2, 3));
    support::SysfsTree tree;
    EXPECT_EQ(host::ReadOnlineCpus(tree.Root()).error,
              "cannot read " + tree.Root() + "/devices/system/cpu/online: No such file or directory");
    tree.Write("devices/system/cpu/online", "0-1;\n");
    EXPECT_EQ(host::ReadOnlineCpus(tree.Root()).error,
              tree.Root() +
                  "/devices/system/cpu/online:1: CPU list '0-1;': expected ',' or the end at column "
                  "4; a list reads like 0-3,8,10-11");
}

}  // namespace
