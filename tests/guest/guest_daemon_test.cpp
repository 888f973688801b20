// SPDX-License-Identifier: MIT
//
// The installed tarnix and tnstat together, with their own paths: on live counters, on the demonstration,
// through a reload, through a CPU that goes offline, to the end.

#include <signal.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "common/metrics.h"
#include "common/probes.h"
#include "tests/guest/guest_machine.h"
#include "tests/support/exporter.h"
#include "tests/support/exposition_text.h"
#include "tests/support/program_run.h"

namespace {

using support::Eventually;
using support::Program;
using support::ProgramResult;
using testing::EndsWith;
using testing::HasSubstr;

const std::string TARNIX = "/usr/sbin/tarnix";
const std::string TNSTAT = "/usr/bin/tnstat";
const std::string SETTINGS = "/etc/tarnix.yaml";
const std::string METRICS = "/var/log/tarnix/metrics.bin";

/// Calls that count as going beyond the node in a period that saw the load: three of its rounds.
constexpr std::uint64_t LOAD_IS_THERE = 300;

class GuestDaemon : public testing::Test {
protected:
    void SetUp() override
    {
        for (const char* name :
             {"TARNIX_SOURCE", "TARNIX_MAP", "TARNIX_METRICS_FILE", "TARNIX_RUNTIME_DIR"}) {
            unsetenv(name);
        }
        unlink(METRICS.c_str());
        Settings("sampling-times: 3\n");
    }

    static void Settings(const std::string& text) { std::ofstream(SETTINGS) << text; }

    static void CountSystemCalls()
    {
        std::string map;
        for (const std::string& mapping : guest::SyscallMappings()) {
            map += mapping + " ";
        }
        setenv("TARNIX_MAP", map.c_str(), 1);
    }

    /// Zeros before the first dump.
    static SystemMetrics Written()
    {
        Metrics reader;
        reader.path = METRICS;
        SystemMetrics record;
        return reader.GetMetricsFromFile(record) ? record : SystemMetrics();
    }

    static bool Reaches(std::uint64_t loops)
    {
        return Eventually([loops] { return Written().loopCnt >= loops; });
    }

    /// The first record from now on that saw the load do something, which has to show its mix: how much of it
    /// a period sees is up to the emulator, and may be nothing. Only the load's calls count as going beyond
    /// the node; the others are everybody's on that CPU.
    static SystemMetrics WithTheMix(const Program& daemon, const guest::SyscallLoad& load)
    {
        SystemMetrics record;
        EXPECT_TRUE(Eventually([&record] {
            record = Written();
            return record.uncore.rxOuterNum > LOAD_IS_THERE;
        })) << "load made "
            << load.Calls() << " calls\n"
            << daemon.Out();
        EXPECT_NEAR(record.uncore.numaScore, guest::SYSCALL_LOAD_SCORE, 0.05) << record.uncore.rxOpsNum;
        return record;
    }

    const guest::Machine machine = guest::AskedFor();
};

TEST_F(GuestDaemon, MeasuresLiveCountersAndEveryNode)
{
    CountSystemCalls();
    const guest::SyscallLoad load(0);
    Program daemon({TARNIX});
    ASSERT_TRUE(Reaches(4)) << daemon.Out();
    const SystemMetrics record = WithTheMix(daemon, load);
    EXPECT_EQ(record.numaNum, machine.nodes);
    EXPECT_GE(record.uncore.interval, 250U);
    for (int node = 0; node < machine.nodes; ++node) {
        EXPECT_NEAR(static_cast<double>(record.mem.freeMemKb[node]),
                    static_cast<double>(GetNumaFreeMem(node)), 16384.0)
            << node;
    }
    const ProgramResult report = support::RunProgram({TNSTAT});
    EXPECT_EQ(report.status, 0) << report.err;
    EXPECT_THAT(report.out, HasSubstr("  numa num: " + std::to_string(machine.nodes) + "\n"));
    ASSERT_TRUE(Eventually(
        [] { return support::RunProgram({TNSTAT}).out.find("  numa score: 0.") != std::string::npos; }));
    const ProgramResult csv = support::RunProgram({TNSTAT, "-e", "csv"});
    EXPECT_EQ(csv.status, 0) << csv.err;
    EXPECT_EQ(std::count(csv.out.begin(), csv.out.end(), '\n'), 2);
    EXPECT_THAT(csv.out, HasSubstr("," + std::to_string(machine.nodes) + ",4,"));
    const support::Exporter exporter(TNSTAT, "127.0.0.1");
    ASSERT_NE(exporter.port, 0U) << exporter.program->Err();
    const auto scrape = [&exporter] { return support::ParseExposition(exporter.Get("/metrics").body); };
    const support::ExpositionText first = scrape();
    EXPECT_EQ(first.fault, "");
    EXPECT_EQ(first["tarnix_up"], 1.0);
    support::ExpositionText counted;
    ASSERT_TRUE(Eventually([&] {
        counted = scrape();
        return counted["tarnix_uncore_rx_outer"] > static_cast<double>(LOAD_IS_THERE);
    }));
    EXPECT_NEAR(counted["tarnix_numa_score_ratio"], guest::SYSCALL_LOAD_SCORE, 0.05);
    EXPECT_GT(first["tarnix_node_memory_free_bytes{node=\"" + std::to_string(machine.nodes - 1) + "\"}"],
              1e6);
    EXPECT_EQ(first["tarnix_score_quality_flags{flag=\"no_interval\"}"], 0.0);
    EXPECT_TRUE(Eventually([&] { return scrape()["tarnix_loops_total"] > first["tarnix_loops_total"]; }));
    exporter.program->Signal(SIGTERM);
    EXPECT_EQ(exporter.program->Wait().status, 0);
    daemon.Signal(SIGTERM);
    const ProgramResult result = daemon.Wait();
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_THAT(result.out, HasSubstr("[INFO] counting: live: "));
    EXPECT_THAT(result.out, EndsWith(" tune periods\n"));
}

TEST_F(GuestDaemon, TakesNewSettingsAtAReload)
{
    setenv("TARNIX_SOURCE", "demo", 1);
    Settings("sampling-times: 2\nlog-level: warn\n");
    Program daemon({TARNIX});
    ASSERT_TRUE(Reaches(2)) << daemon.Out();
    EXPECT_GT(Written().uncore.numaScore, 0.5F);
    const ProgramResult second = support::RunProgram({TARNIX});
    EXPECT_EQ(second.status, 1);
    EXPECT_THAT(second.err,
                HasSubstr("another tarnix runs already, process " + std::to_string(daemon.Pid())));
    Settings("sampling-times: 2\nlog-level: debug\n");
    const ProgramResult reload = support::RunProgram({TARNIX, "--reload"});
    EXPECT_EQ(reload.status, 0) << reload.err;
    EXPECT_TRUE(Eventually([&daemon] {
        return daemon.Out().find("[INFO] reloaded: log-level is debug\n") != std::string::npos;
    })) << daemon.Out();
    EXPECT_TRUE(Reaches(Written().loopCnt + 2));
    EXPECT_THAT(daemon.Out(), HasSubstr("[DEBUG] period "));
    daemon.Signal(SIGTERM);
    EXPECT_EQ(daemon.Wait().status, 0);
    const ProgramResult nobody = support::RunProgram({TARNIX, "--reload"});
    EXPECT_EQ(nobody.status, 1);
    EXPECT_THAT(nobody.err, HasSubstr("no tarnix runs that could be reloaded"));
}

TEST_F(GuestDaemon, GoesOnWhileCpusComeAndGo)
{
    CountSystemCalls();
    const guest::SyscallLoad first(0);
    const guest::SyscallLoad second(1);
    Program daemon({TARNIX});
    ASSERT_TRUE(Reaches(2)) << daemon.Out();
    {
        const guest::CpuOffline away(0);
        const guest::CpuOffline another(machine.cpus - 1);
        EXPECT_TRUE(Eventually([&daemon] {
            return daemon.Out().find("CPUs that it is read from changed from 0 to 1") != std::string::npos;
        })) << daemon.Out();
        const std::uint64_t then = Written().loopCnt;
        EXPECT_TRUE(Reaches(then + 3)) << daemon.Out();
        WithTheMix(daemon, second);
        EXPECT_THAT(daemon.Out(), HasSubstr("[ERROR] Error parsing line for CPU "));
    }
    const std::uint64_t then = Written().loopCnt;
    EXPECT_TRUE(Reaches(then + 3)) << daemon.Out();
    const SystemMetrics record = Written();
    EXPECT_GE(record.uncore.numaScore, 0.0F);
    EXPECT_LE(record.uncore.numaScore, 1.0F);
    daemon.Signal(SIGINT);
    const ProgramResult result = daemon.Wait();
    EXPECT_EQ(result.status, 0) << result.out;
    EXPECT_THAT(result.out, EndsWith(" tune periods\n"));
}

TEST_F(GuestDaemon, WithoutAPmuTheNodesAreStillWatched)
{
    Program daemon({TARNIX});
    ASSERT_TRUE(Reaches(2)) << daemon.Out();
    const SystemMetrics record = Written();
    EXPECT_EQ(record.uncore.interval, 0U);
    EXPECT_EQ(record.numaNum, machine.nodes);
    EXPECT_GT(record.mem.freeMemKb[machine.nodes - 1], 0U);
    daemon.Signal(SIGTERM);
    const ProgramResult result = daemon.Wait();
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.out, HasSubstr("[WARN] no score, everything else goes on: "));
}

}  // namespace
