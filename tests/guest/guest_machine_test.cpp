// SPDX-License-Identifier: MIT
//
// The emulated machine is the one that was asked for: otherwise nothing that passes in it says anything.

#include <numa.h>
#include <unistd.h>

#include <string>

#include <gtest/gtest.h>

#include "common/probes.h"
#include "tests/guest/guest_machine.h"

namespace {

const std::string CPU = "/sys/devices/system/cpu/cpu";
const std::string NODE = "/sys/devices/system/node/node";

TEST(GuestMachine, HasTheNodesAndCpusThatWereAskedFor)
{
    const guest::Machine machine = guest::AskedFor();
    ASSERT_EQ(numa_available(), 0);
    EXPECT_EQ(numa_num_configured_nodes(), machine.nodes);
    EXPECT_EQ(sysconf(_SC_NPROCESSORS_CONF), machine.cpus);
    EXPECT_EQ(sysconf(_SC_NPROCESSORS_ONLN), machine.cpus);
    for (int cpu = 0; cpu < machine.cpus; ++cpu) {
        EXPECT_EQ(numa_node_of_cpu(cpu), machine.NodeOfCpu(cpu)) << cpu;
    }
}

TEST(GuestMachine, HasTheDistancesThatWereAskedFor)
{
    const guest::Machine machine = guest::AskedFor();
    for (int from = 0; from < machine.nodes; ++from) {
        for (int to = 0; to < machine.nodes; ++to) {
            EXPECT_EQ(numa_distance(from, to), machine.Distance(from, to)) << from << " to " << to;
        }
    }
}

TEST(GuestMachine, IsAnAarch64ThatRunsAsRoot)
{
    EXPECT_EQ(getuid(), 0U);
#ifndef __aarch64__
    FAIL() << "these tests are meant for AArch64";
#endif
}

TEST(GuestProbe, TellsTheCpuType)
{
    EXPECT_EQ(ProcfsGetCpuType(), guest::AskedFor().cpuType) << guest::Line("/proc/cpuinfo").substr(0, 400);
}

TEST(GuestProbe, TellsThePackageOfEveryCpu)
{
    const guest::Machine machine = guest::AskedFor();
    for (int cpu = 0; cpu < machine.cpus; ++cpu) {
        EXPECT_EQ(GetCpuPhyPacketId(static_cast<unsigned>(cpu)), machine.SocketOfCpu(cpu)) << cpu;
    }
    EXPECT_EQ(GetCpuPhyPacketId(static_cast<unsigned>(machine.cpus)), -1);
}

TEST(GuestProbe, KnowsThatNoCpuHasASecondThread)
{
    EXPECT_EQ(guest::Line("/sys/devices/system/cpu/smt/active"), "0");
    EXPECT_FALSE(IsSmtEnable());
}

TEST(GuestProbe, TellsTheKernel)
{
    const std::string version = guest::Line("/proc/sys/kernel/osrelease");
    ASSERT_NE(version, "");
    EXPECT_EQ(GetKernelVersion(), version.substr(0, version.find('.', version.find('.') + 1)));
    EXPECT_EQ(GetPageSizeKb(), 4);
}

}  // namespace
