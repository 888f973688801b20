// SPDX-License-Identifier: MIT

#include "host/doctor.h"

#include <cerrno>

#include <algorithm>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/fake_perf.h"
#include "tests/support/sysfs_tree.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

const std::string FIXTURES = std::string(SOURCE_DIR) + "/tests/fixtures/sysfs/";

/// One check as one text.
std::string Text(const host::DoctorCheck& check)
{
    return check.name + " | " + host::VerdictName(check.verdict) + " | " + check.detail + " | " +
           check.remedy;
}

class DoctorTest : public testing::Test {
protected:
    DoctorTest()
    {
        procfs.Write("sys/kernel/osrelease", "6.6.1-test\n");
        procfs.Write("vmstat", "numa_hint_faults 3\nnuma_hint_faults_local 2\nnuma_pages_migrated 1\n");
        SetProcess("2", "000001ffffffffff");
        options.procfsRoot = procfs.Root();
    }

    void SetProcess(const std::string& paranoid, const std::string& capabilities)
    {
        procfs.Write("sys/kernel/perf_event_paranoid", paranoid + "\n");
        procfs.Write("self/status", "Name:\tx\nCapPrm:\t0\nCapEff:\t" + capabilities + "\nCapBnd:\t0\n");
    }

    std::vector<std::string> Diagnosis(const std::string& fixture)
    {
        options.live.sysfsRoot = FIXTURES + fixture;
        std::vector<std::string> lines;
        for (const host::DoctorCheck& check : host::Diagnose(options, perf)) {
            lines.push_back(Text(check));
        }
        return lines;
    }

    std::string CheckNamed(const std::string& fixture, const std::string& name)
    {
        for (const std::string& line : Diagnosis(fixture)) {
            if (line.compare(0, name.size() + 3, name + " | ") == 0) {
                return line;
            }
        }
        return "no check " + name;
    }

    support::SysfsTree procfs;
    support::FakePerf perf;
    host::DoctorOptions options;
};

TEST_F(DoctorTest, AGoodServer)
{
    const std::string pmu = ", rx_outer, rx_sccl, rx_ops_num, cpumask ";
    EXPECT_THAT(Diagnosis("two_sockets"),
                ElementsAre("kernel | OK | Linux 6.6.1-test | ", "nodes | OK | 4 NUMA nodes (0-3) | ",
                            "pmus | OK | 4 PMUs, 12 counters | ",
                            "pmu die1_hub2 | OK | type 24" + pmu + "0, counted on CPU 0 | ",
                            "pmu die1_hub10 | OK | type 25" + pmu + "0, counted on CPU 0 | ",
                            "pmu die3_hub2 | OK | type 26" + pmu + "32, counted on CPU 32 | ",
                            "pmu die3_hub10 | OK | type 27" + pmu + "32, counted on CPU 32 | ",
                            "permission | OK | perf_event_paranoid 2, CAP_PERFMON yes, CAP_SYS_ADMIN yes | ",
                            "descriptors | OK | 76 needed, soft limit 1024, hard limit 4096 | ",
                            "open | OK | 4 of 4 readers (a PMU on a CPU each) were opened and read | ",
                            "kernel counts | OK | allocated pages are counted on 4 nodes; hint faults are "
                            "counted | "));
    EXPECT_EQ(host::WorstVerdict(host::Diagnose(options, perf)), host::Verdict::OK);
    EXPECT_TRUE(perf.counters.empty());
}

TEST_F(DoctorTest, AMachineWithoutThePmus)
{
    const std::vector<std::string> lines = Diagnosis("none");
    EXPECT_THAT(
        lines,
        ElementsAre(
            "kernel | OK | Linux 6.6.1-test | ",
            "nodes | WARN | 1 NUMA node (0) | the score tells local from remote memory, which takes two "
            "nodes",
            "pmus | FAIL | no PMU below " + FIXTURES +
                "none/bus/event_source/devices can count rx_outer, rx_sccl, rx_ops_num | load the "
                "driver of the uncore PMU, or take the counts from other events with --map "
                "rx_outer=PMU/event/, numa-score list shows what there is",
            "permission | OK | perf_event_paranoid 2, CAP_PERFMON yes, CAP_SYS_ADMIN yes | ",
            "descriptors | OK | 64 needed, soft limit 1024, hard limit 4096 | ",
            "open | OK | perf_event_open works, tried with the software clock on CPU 0 | ",
            "kernel counts | OK | allocated pages are counted on 1 node; hint faults are counted | "));
    EXPECT_EQ(host::WorstVerdict(host::Diagnose(options, perf)), host::Verdict::FAIL);
    EXPECT_EQ(perf.opened.at(0).type, 1U);
    EXPECT_TRUE(perf.counters.empty());
}

TEST_F(DoctorTest, AMappingThatFailsHasItsRemedy)
{
    options.live.mappings = {{"rx_outer", "absent/event/"}};
    EXPECT_EQ(
        CheckNamed("wide_mask", "pmus"),
        "pmus | FAIL | --map rx_outer=absent/event/: no PMU 'absent', there are uncore_numa, uncore_other | "
        "correct this --map, numa-score list shows what there is");
}

TEST_F(DoctorTest, PartialPmusHaveALine)
{
    const std::string remedy =
        " | not counted by its own names; take what it lacks from elsewhere with --map";
    EXPECT_EQ(CheckNamed("partial", "pmu half"),
              "pmu half | WARN | PMU half has rx_outer, rx_ops_num but lacks rx_sccl" + remedy);
    EXPECT_EQ(CheckNamed("partial", "pmu third"),
              "pmu third | WARN | PMU third has rx_sccl but lacks rx_outer, rx_ops_num" + remedy);
}

TEST_F(DoctorTest, APmuWithoutAMaskIsAWarning)
{
    options.live.mappings = {
        {"rx_outer", "core/event=1/"}, {"rx_sccl", "core/event=2/"}, {"rx_ops_num", "software/config=0/"}};
    const std::string remedy =
        " | without a cpumask one CPU stands for all, prefer a PMU that counts a whole socket or die";
    EXPECT_EQ(CheckNamed("mapped", "pmu core"),
              "pmu core | WARN | type 4, rx_outer, rx_sccl, cpus 1-3, counted on CPU 1" + remedy);
    EXPECT_EQ(CheckNamed("mapped", "pmu software"),
              "pmu software | WARN | type 1, rx_ops_num, no cpumask, counted on CPU 0" + remedy);
    options.live.everyCpu = true;
    EXPECT_EQ(CheckNamed("mapped", "pmu core"),
              "pmu core | OK | type 4, rx_outer, rx_sccl, cpus 1-3, counted on CPU 1-3 | ");
}

TEST_F(DoctorTest, Permission)
{
    const std::string remedy =
        " | run as root, give the program CAP_PERFMON (before Linux 5.8 CAP_SYS_ADMIN) or set "
        "kernel.perf_event_paranoid below 1";
    const struct {
        const char* paranoid;
        const char* capabilities;
        std::string line;
    } cases[] = {
        {"2", "0000000000000000",
         "permission | FAIL | perf_event_paranoid 2, CAP_PERFMON no, CAP_SYS_ADMIN no" + remedy},
        {"1", "0000000000000000",
         "permission | FAIL | perf_event_paranoid 1, CAP_PERFMON no, CAP_SYS_ADMIN no" + remedy},
        {"0", "0000000000000000",
         "permission | OK | perf_event_paranoid 0, CAP_PERFMON no, CAP_SYS_ADMIN no | "},
        {"-1", "0000000000000000",
         "permission | OK | perf_event_paranoid -1, CAP_PERFMON no, CAP_SYS_ADMIN no | "},
        {"4", "0000004000000000",
         "permission | WARN | perf_event_paranoid 4, CAP_PERFMON yes, CAP_SYS_ADMIN no | kernels of Debian "
         "ask for "
         "CAP_SYS_ADMIN above 2: set kernel.perf_event_paranoid to 2"},
        {"2", "0000004000000000",
         "permission | OK | perf_event_paranoid 2, CAP_PERFMON yes, CAP_SYS_ADMIN no | "},
        {"4", "0000004000200000",
         "permission | OK | perf_event_paranoid 4, CAP_PERFMON yes, CAP_SYS_ADMIN yes | "},
        {"4", "0000000000200000",
         "permission | OK | perf_event_paranoid 4, CAP_PERFMON no, CAP_SYS_ADMIN yes | "},
        {"x", "nothing",
         "permission | WARN | perf_event_paranoid unknown, CAP_PERFMON unknown, CAP_SYS_ADMIN unknown" +
             remedy},
        {"", "",
         "permission | WARN | perf_event_paranoid unknown, CAP_PERFMON unknown, CAP_SYS_ADMIN unknown" +
             remedy},
    };
    for (const auto& row : cases) {
        SetProcess(row.paranoid, row.capabilities);
        EXPECT_EQ(CheckNamed("two_sockets", "permission"), row.line);
    }
}

TEST_F(DoctorTest, Descriptors)
{
    perf.limit = {70, 4096};
    EXPECT_EQ(
        CheckNamed("two_sockets", "descriptors"),
        "descriptors | OK | 76 needed, soft limit 70, hard limit 4096, the soft limit will be raised | ");
    perf.limit = {70, 70};
    EXPECT_EQ(
        CheckNamed("two_sockets", "descriptors"),
        "descriptors | FAIL | 76 needed, soft limit 70, hard limit 70 | raise the hard limit to 76 with "
        "ulimit -n or LimitNOFILE=");
}

TEST_F(DoctorTest, ATrialThatFailsSaysWhy)
{
    perf.onOpen = [](const host::CounterRequest&) { return EACCES; };
    const std::string why = "perf_event_open: EACCES (Permission denied); run as root";
    EXPECT_THAT(
        CheckNamed("wide_mask", "open"),
        testing::StartsWith("open | FAIL | 0 of 2 readers (a PMU on a CPU each) were opened and read: "
                            "cannot count uncore_numa/rx_outer/ on CPU 0: " +
                            why));
    EXPECT_THAT(CheckNamed("none", "open"),
                testing::StartsWith("open | FAIL | cannot count software/config=0x0/ on CPU 0: " + why));
    perf.onOpen = [](const host::CounterRequest& request) { return request.cpu == 2 ? EBUSY : 0; };
    EXPECT_THAT(
        CheckNamed("wide_mask", "open"),
        testing::StartsWith("open | WARN | 1 of 2 readers (a PMU on a CPU each) were opened and read: "
                            "cannot count uncore_numa/rx_outer/ on CPU 2: "));
}

TEST_F(DoctorTest, APmuThatCannotCountAllAtOnceIsAWarning)
{
    perf.onOpen = [](const host::CounterRequest& request) { return request.groupFd != -1 ? EINVAL : 0; };
    EXPECT_EQ(
        CheckNamed("wide_mask", "open"),
        "open | WARN | 2 of 2 readers (a PMU on a CPU each) were opened and read, 2 without a group | the "
        "PMU counts the events by turns, figures are scaled; end other profilers of this PMU");
}

TEST_F(DoctorTest, WhatTheKernelCountsIsTold)
{
    const std::string nodes = "kernel counts | OK | allocated pages are counted on 4 nodes; ";
    procfs.Write("sys/kernel/numa_balancing", "0\n");
    EXPECT_EQ(CheckNamed("two_sockets", "kernel counts"),
              nodes + "hint faults are not counted: kernel.numa_balancing is 0 | ");
    procfs.Write("sys/kernel/numa_balancing", "1\n");
    EXPECT_EQ(CheckNamed("two_sockets", "kernel counts"), nodes + "hint faults are counted | ");
    procfs.Write("vmstat", "nr_free_pages 5\n");
    EXPECT_EQ(CheckNamed("two_sockets", "kernel counts"),
              nodes + "hint faults are not counted: " + procfs.Root() +
                  "/vmstat: no row numa_hint_faults, this kernel has no automatic NUMA balancing | ");
    procfs.Write("sys/vm/numa_stat", "0\n");
    const std::string remedy =
        " | the score has no second opinion without them: see that sysfs and procfs are mounted and that "
        "vm.numa_stat is 1";
    procfs.Remove("vmstat");
    EXPECT_EQ(
        CheckNamed("two_sockets", "kernel counts"),
        "kernel counts | WARN | allocated pages are not counted: vm.numa_stat is 0; hint faults are not "
        "counted: cannot read " +
            procfs.Root() + "/vmstat: No such file or directory" + remedy);
    EXPECT_EQ(host::WorstVerdict(host::Diagnose(options, perf)), host::Verdict::WARN);
}

TEST_F(DoctorTest, MissingFilesAreWarnings)
{
    procfs.Remove("sys");
    EXPECT_EQ(CheckNamed("two_sockets", "kernel"),
              "kernel | WARN | cannot read " + procfs.Root() +
                  "/sys/kernel/osrelease: No such file or directory | mount procfs at " + procfs.Root());
    support::SysfsTree tree(FIXTURES + "two_sockets");
    tree.Remove("devices/system/node");
    options.live.sysfsRoot = tree.Root();
    EXPECT_EQ(
        Text(host::Diagnose(options, perf).at(1)),
        "nodes | WARN | cannot read " + tree.Root() +
            "/devices/system/node/online: No such file or directory | the kernel may be built without NUMA");
}

TEST_F(DoctorTest, HostileTextStaysOnOneLine)
{
    procfs.Write("sys/kernel/osrelease", "6\x1b[2J\nx\n");
    EXPECT_EQ(CheckNamed("none", "kernel"), "kernel | OK | Linux 6\\x1b[2J\\nx | ");
}

TEST(WorstVerdict, IsTheWorst)
{
    EXPECT_EQ(host::WorstVerdict({}), host::Verdict::OK);
    host::DoctorCheck warn;
    warn.verdict = host::Verdict::WARN;
    EXPECT_EQ(host::WorstVerdict({host::DoctorCheck(), warn, host::DoctorCheck()}), host::Verdict::WARN);
}

}  // namespace
