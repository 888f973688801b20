// SPDX-License-Identifier: MIT
//
// The installed plug-in in numa-score, on counters of a kernel on AArch64: events through --map, and a PMU
// that is found by the names of its events.

#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/guest/guest_machine.h"
#include "tests/guest/score_rows.h"
#include "tests/support/child_run.h"
#include "tests/support/program_run.h"
#include "tests/support/sysfs_tree.h"

namespace {

using guest::ScoreRow;
using guest::ScoreRows;
using support::ProgramResult;
using testing::HasSubstr;
using testing::SizeIs;

const std::string NUMA_SCORE = "/usr/bin/numa-score";

ProgramResult Live(const std::vector<std::string>& mappings, std::vector<std::string> rest)
{
    std::vector<std::string> command{NUMA_SCORE, "live", "--format", "csv"};
    for (const std::string& mapping : mappings) {
        command.insert(command.end(), {"--map", mapping});
    }
    command.insert(command.end(), rest.begin(), rest.end());
    return support::RunProgram(command);
}

TEST(GuestScore, IsTheMixOfEventsThatHappen)
{
    const guest::SyscallLoad load(0);
    const ProgramResult result = Live(guest::SyscallMappings(), {"--count", "30"});
    EXPECT_EQ(result.status, 0) << result.err;
    const std::vector<ScoreRow> rows = ScoreRows(result.out);
    ASSERT_THAT(rows, SizeIs(30));
    guest::ExpectTheMix(rows, 1);
}

TEST(GuestScore, OfAPmuThatIsFoundByItsEventNamesOnEveryCpuOfItsMask)
{
    const guest::Machine machine = guest::AskedFor();
    const int other = machine.cpus - 1;
    support::SysfsTree tree;
    tree.AddPmu("uncore_guest", guest::Line("/sys/bus/event_source/devices/tracepoint/type") + "\n");
    const std::string device = "devices/uncore_guest/";
    tree.Write(device + "format/config", "config:0-63\n")
        .Write(device + "cpumask", "0," + std::to_string(other) + "\n");
    const auto add = [&](const std::string& name, const std::string& event) {
        tree.Write(device + "events/" + name, "config=" + guest::TracepointId(event) + "\n");
    };
    add("rx_outer", "syscalls/sys_enter_getppid");
    add("rx_sccl", "syscalls/sys_enter_getuid");
    add("rx_ops_num", "raw_syscalls/sys_enter");
    for (const bool both : {false, true}) {
        const guest::SyscallLoad load(other);
        const auto second = both ? std::make_unique<guest::SyscallLoad>(0) : nullptr;
        const ProgramResult result = Live({}, {"--sysfs-root", tree.Root(), "--count", "30"});
        EXPECT_EQ(result.status, 0) << result.err;
        const std::vector<ScoreRow> rows = ScoreRows(result.out);
        ASSERT_THAT(rows, SizeIs(30));
        guest::ExpectTheMix(rows, 1);
    }
}

TEST(GuestScore, OfHardwareCountersOfTheCpu)
{
    // Cycles against context switches and migrations: next to nothing crosses.
    const guest::SyscallLoad load(0);
    const ProgramResult result = Live({"rx_ops_num=armv8_pmuv3/cpu_cycles/", "rx_outer=software/config=0x3/",
                                       "rx_sccl=software/config=0x4/"},
                                      {"--count", "5"});
    EXPECT_EQ(result.status, 0) << result.err;
    const std::vector<ScoreRow> rows = ScoreRows(result.out);
    ASSERT_THAT(rows, SizeIs(5));
    std::uint64_t switches = 0;
    for (const ScoreRow& row : rows) {
        EXPECT_GT(row.ops, 100000U);
        EXPECT_GT(row.score, 0.99);
        EXPECT_LE(row.score, 1.0);
        EXPECT_EQ(row.flags, "");
        switches += row.outer;
    }
    EXPECT_GT(switches, 0U);
}

TEST(GuestScore, OfEventsThatNeverHappenIsFlaggedIdle)
{
    const std::string never = guest::Tracepoint("syscalls/sys_enter_acct");
    const ProgramResult result =
        Live({"rx_ops_num=" + never, "rx_outer=" + never, "rx_sccl=" + never}, {"--count", "3"});
    EXPECT_EQ(result.status, 0) << result.err;
    for (const ScoreRow& row : ScoreRows(result.out)) {
        EXPECT_EQ(row.score, 1.0);
        EXPECT_EQ(row.flags, "idle");
    }
    EXPECT_THAT(ScoreRows(result.out), SizeIs(3));
}

TEST(GuestScore, WithoutAPmuOfItsOwnTheRemedyIsNamed)
{
    const ProgramResult result = Live({}, {"--count", "1"});
    EXPECT_EQ(result.status, 3);
    EXPECT_THAT(result.err, HasSubstr("--map rx_outer=PMU/event/"));
}

TEST(GuestScore, DoctorFindsNothingLackingWithAMapping)
{
    std::vector<std::string> command{NUMA_SCORE, "doctor"};
    for (const std::string& mapping : guest::SyscallMappings()) {
        command.insert(command.end(), {"--map", mapping});
    }
    const ProgramResult result = support::RunProgram(command);
    EXPECT_EQ(result.status, 0) << result.out << result.err;
    const ProgramResult list = support::RunProgram({NUMA_SCORE, "list"});
    EXPECT_EQ(list.status, 0);
    EXPECT_THAT(list.out, HasSubstr("armv8_pmuv3"));
}

TEST(GuestScore, OfTheDemonstrationIsThatOfX86ToTheBit)
{
    const ProgramResult result =
        support::RunProgram({NUMA_SCORE, "demo", "--speed", "max", "--quiet", "--format", "csv"});
    EXPECT_EQ(result.status, 0) << result.err;
    const std::string golden = support::FileText("/guest/golden/demo.csv");
    ASSERT_NE(golden, "");
    EXPECT_EQ(result.out, golden);
}

}  // namespace
