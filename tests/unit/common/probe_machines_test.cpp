// SPDX-License-Identifier: MIT

// Every probe and the sampler on whole machines, captured and composed (tests/fixtures/machines).

#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "common/logger_ctl.h"
#include "common/probes.h"
#include "common/stat.h"
#include "tests/support/probe_tree.h"

namespace {

struct Machine {
    const char* name;
    int cpus;
    int nodes;
    int cpuType;
    const char* kernel;
    bool smt;
    bool balancing;
    int lastPackage;
    int ethNode;
    int offline;  // -1: all CPUs are online
};

/// Pages of the captured process: grep -o ' N0=[0-9]*' numa_maps | cut -d= -f2 | paste -sd+ | bc
constexpr unsigned CAPTURED_PAGES = 452;

const Machine MACHINES[] = {
    {"captured-2cpu", 2, 1, 4, "6.18", false, false, 0, -1, -1},
    {"smt-8cpu", 8, 1, 4, "6.1", true, false, 0, 0, -1},
    {"aarch64-128cpu", 128, 4, 0, "5.10", false, true, 1, 3, -1},
    {"aarch64-320cpu", 320, 16, 1, "6.6", false, true, 3, 15, -1},
    {"aarch64-offline", 8, 2, 2, "6.6-rc1", false, false, 1, 1, 3},
    {"aarch64-unknown-part", 2, 1, 4, "4.19", false, false, 0, 0, -1},
    {"aarch64-other-maker", 4, 1, 4, "", false, true, 0, 0, -1},
};

std::string RootOf(const Machine& machine)
{
    return std::string(SOURCE_DIR "/tests/fixtures/machines/") + machine.name;
}

class OnMachine : public testing::TestWithParam<Machine> {
protected:
    const Machine& machine = GetParam();
    support::ProbeRoot root{RootOf(machine)};
};

TEST_P(OnMachine, HasAReadmeThatSaysWhereItComesFrom)
{
    std::string word;
    ASSERT_TRUE(ReadStrFromFile(RootOf(machine) + "/README", word));
    EXPECT_TRUE(word == "Captured" || word == "Composed") << word;
}

TEST_P(OnMachine, ProbesTheSystem)
{
    EXPECT_EQ(ProcfsGetCpuType(), machine.cpuType);
    EXPECT_EQ(GetKernelVersion(), machine.kernel);
    EXPECT_EQ(IsSmtEnable(), machine.smt);
    EXPECT_EQ(ProcfsIsNbEnable(), machine.balancing);
    EXPECT_EQ(GetNetIntfNode("eth0"), machine.ethNode);
    EXPECT_EQ(GetNetIntfNode("veth0"), -1);
    EXPECT_EQ(GetNetIntfNode("lo"), -1);
}

TEST_P(OnMachine, ProbesEveryCpu)
{
    for (int cpu = 0; cpu < machine.cpus; ++cpu) {
        const int expected = cpu == machine.offline ? -1 : cpu * (machine.lastPackage + 1) / machine.cpus;
        EXPECT_EQ(GetCpuPhyPacketId(static_cast<unsigned>(cpu)), expected) << cpu;
    }
    EXPECT_EQ(GetCpuPhyPacketId(static_cast<unsigned>(machine.cpus)), -1);
}

TEST_P(OnMachine, ProbesEveryNode)
{
    for (int node = 0; node < machine.nodes; ++node) {
        if (std::string(machine.name).rfind("captured", 0) == 0) {
            EXPECT_GT(GetNumaFreeMem(node), 1000U);
        } else {
            EXPECT_EQ(GetNumaFreeMem(node), 1000000U + static_cast<unsigned>(node));
        }
    }
    EXPECT_EQ(GetNumaFreeMem(machine.nodes), 0U);
}

TEST_P(OnMachine, ProbesAProcess)
{
    const bool captured = std::string(machine.name).rfind("captured", 0) == 0;
    ProcStatus status;
    ASSERT_TRUE(GetProcStatus(4242, status));
    EXPECT_EQ(status.name, captured ? "sleep" : "redis-server");
    EXPECT_EQ(status.ppid, captured ? 13136U : 17U);
    EXPECT_EQ(ProcfsGetComm(4242), captured ? "sleep" : "redis-server");
    EXPECT_EQ(GetCmdline(4242), captured ? "sleep 600" : "/usr/bin/redis-server --port 6379");
    std::vector<unsigned> pages;
    ASSERT_TRUE(ProcessGetMemDistribution(4242, pages, machine.nodes));
    if (captured) {
        EXPECT_EQ(pages, std::vector<unsigned>{CAPTURED_PAGES});
        return;
    }
    std::vector<unsigned> expected;
    for (unsigned node = 0; node < static_cast<unsigned>(machine.nodes); ++node) {
        expected.push_back(node == 0 ? 20 : 10 + node);
    }
    EXPECT_EQ(pages, expected);
}

TEST_P(OnMachine, SamplesEveryCpu)
{
    std::vector<std::string> log;
    const auto keep = [&log](LogLevel, const std::string& message) { log.push_back(message); };
    LoggerCtl::GetInstance().SetLogFunc(LogType::RUNTIME, keep, keep);
    Stat stat;
    ASSERT_TRUE(stat.Init());
    stat.cpuNum = machine.cpus;
    stat.counters.assign(static_cast<size_t>(machine.cpus) + 1, {});
    stat.rates.assign(static_cast<size_t>(machine.cpus) + 1, {});
    stat.Run();
    LoggerCtl::GetInstance().SetLogFunc(LogType::RUNTIME, DefaultLogFunc, DefaultSnapFunc);
    const int listed = machine.offline < 0 ? machine.cpus : machine.cpus - 1;
    if (machine.offline < 0) {
        EXPECT_EQ(log, std::vector<std::string>{});
    } else {
        EXPECT_EQ(log, std::vector<std::string>{"Error parsing line for CPU " + std::to_string(listed)});
    }
    for (int entry = 0; entry <= machine.cpus; ++entry) {
        const bool read = entry < listed || entry == machine.cpus;
        float sum = 0;
        for (const Stat::Type type : stat.types) {
            const float rate = stat.GetCpuUtilRate(entry, type);
            EXPECT_TRUE(rate >= 0 && rate <= 100) << rate;
            sum += rate;
        }
        EXPECT_NEAR(sum, read ? 100 : 0, 0.001) << entry;
    }
    if (std::string(machine.name).rfind("captured", 0) != 0) {
        EXPECT_EQ(stat.counters[1].at(Stat::Type::USER), 1001U);
        EXPECT_EQ(stat.counters[1].at(Stat::Type::IDLE), 90001U);
        const unsigned last = static_cast<unsigned>(machine.cpus) - 1;
        EXPECT_EQ(stat.counters[static_cast<size_t>(listed) - 1].at(Stat::Type::NICE), 10 + last);
    }
}

INSTANTIATE_TEST_SUITE_P(Fixtures, OnMachine, testing::ValuesIn(MACHINES),
                         [](const testing::TestParamInfo<Machine>& given) {
                             std::string name = given.param.name;
                             for (char& c : name) {
                                 c = c == '-' ? '_' : c;
                             }
                             return name;
                         });

TEST(Machines, AreAllListedHere)
{
    size_t directories = 0;
    for (const auto& entry : std::filesystem::directory_iterator(SOURCE_DIR "/tests/fixtures/machines")) {
        directories += entry.is_directory() ? 1 : 0;
    }
    EXPECT_EQ(directories, std::size(MACHINES));
}

}  // namespace
