// SPDX-License-Identifier: MIT
//
// The metrics file at its own path with all the nodes of this machine, and what the installed tnstat makes of
// it.

#include <signal.h>
#include <sys/stat.h>

#include <cmath>
#include <sstream>
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

using support::ProgramResult;
using testing::HasSubstr;

const std::string TNSTAT = "/usr/bin/tnstat";

class GuestMetrics : public testing::Test {
protected:
    void SetUp() override
    {
        mkdir("/var/log/tarnix", 0755);
        ASSERT_TRUE(metrics.Init(true));
        ASSERT_EQ(metrics.path, "/var/log/tarnix/metrics.bin");
        UncoreMetrics uncore;
        uncore.interval = 1000;
        uncore.rxOpsNum = 100000;
        uncore.rxOuterNum = 10000;
        uncore.rxScclNum = 5000;
        uncore.numaScore = 0.85F;
        MemMetrics memory;
        for (int node = 0; node < machine.nodes; ++node) {
            memory.freeMemKb[node] = static_cast<std::uint32_t>(GetNumaFreeMem(node));
            memory.giveUpKb[node] = static_cast<std::uint32_t>(7000 + node);
            memory.migrateMatrix[node][machine.nodes - 1 - node] = static_cast<std::uint32_t>(900 + node);
        }
        metrics.UpdateUncoreMetrics(uncore);
        metrics.UpdateMemMetrics(memory);
        metrics.UpdateLoopCnt(3);
        written = metrics.metrics;
        metrics.Dump();
    }

    const guest::Machine machine = guest::AskedFor();
    Metrics metrics;
    SystemMetrics written;
};

/// The last line of `text` that begins with `label`, split at blanks, without the label.
std::vector<std::string> Columns(const std::string& text, const std::string& label)
{
    std::vector<std::string> columns;
    const std::size_t at = text.rfind(label);
    if (at == std::string::npos) {
        return columns;
    }
    std::istringstream rest(
        text.substr(at + label.size(), text.find('\n', at + label.size()) - at - label.size()));
    for (std::string word; rest >> word;) {
        columns.push_back(word);
    }
    return columns;
}

TEST_F(GuestMetrics, KnowEveryNodeAndComeBackFromTheFile)
{
    EXPECT_EQ(metrics.metrics.numaNum, machine.nodes);
    EXPECT_EQ(metrics.metrics.pageSizeKb, 4);
    SystemMetrics read;
    ASSERT_TRUE(metrics.GetMetricsFromFile(read));
    EXPECT_EQ(GetSystemMetricsReport(read), GetSystemMetricsReport(written));
    EXPECT_EQ(read.numaNum, machine.nodes);
    EXPECT_EQ(read.mem.freeMemKb[machine.nodes - 1], written.mem.freeMemKb[machine.nodes - 1]);
    EXPECT_GT(read.mem.freeMemKb[machine.nodes - 1], 0U);
    EXPECT_EQ(metrics.metrics.uncore.rxOpsNum, 0U) << "a dump begins anew";
}

TEST_F(GuestMetrics, ReportHasAColumnForEachNode)
{
    const ProgramResult result = support::RunProgram({TNSTAT});
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(result.out, HasSubstr("  numa num: " + std::to_string(machine.nodes) + "\n"));
    EXPECT_THAT(result.out, HasSubstr("  rx ops num  (ops/ms): 100\n"));
    const std::vector<std::string> ids = Columns(result.out, "NUMA ID:");
    const std::vector<std::string> given = Columns(result.out, "Give up migrate memory(kB):");
    const std::vector<std::string> free = Columns(result.out, "Free memory(MB):");
    const auto nodes = static_cast<std::size_t>(machine.nodes);
    ASSERT_EQ(ids.size(), nodes) << result.out;
    ASSERT_EQ(given.size(), nodes) << result.out;
    ASSERT_EQ(free.size(), nodes) << result.out;
    for (std::size_t node = 0; node < nodes; ++node) {
        EXPECT_EQ(ids[node], std::to_string(node));
        EXPECT_EQ(given[node], std::to_string(7000 + node));
        EXPECT_NEAR(std::stof(free[node]), static_cast<float>(written.mem.freeMemKb[node]) / 1024.0F, 0.5F);
        const std::vector<std::string> row = Columns(result.out, "\n        " + std::to_string(node) + " ");
        ASSERT_EQ(row.size(), nodes) << node;
        for (std::size_t target = 0; target < nodes; ++target) {
            EXPECT_EQ(row[target], target == nodes - 1 - node ? std::to_string(900 + node) : "0");
        }
    }
}

TEST_F(GuestMetrics, AreServedForEachNode)
{
    const support::Exporter exporter(TNSTAT, "127.0.0.1");
    ASSERT_NE(exporter.port, 0U) << exporter.program->Err();
    const support::HttpReply reply = exporter.Get("/metrics");
    ASSERT_EQ(reply.status, 200);
    const support::ExpositionText text = support::ParseExposition(reply.body);
    EXPECT_EQ(text.fault, "");
    EXPECT_EQ(text["tarnix_up"], 1.0);
    EXPECT_EQ(text["tarnix_numa_nodes"], machine.nodes);
    EXPECT_NEAR(text["tarnix_numa_score_ratio"], 0.85, 1e-6);
    for (int node = 0; node < machine.nodes; ++node) {
        const std::string label = "{node=\"" + std::to_string(node) + "\"}";
        EXPECT_EQ(text["tarnix_node_memory_free_bytes" + label], 1024.0 * written.mem.freeMemKb[node]);
        const std::string cell = "tarnix_mem_migrated_node_bytes{source_node=\"" + std::to_string(node) +
                                 "\",target_node=\"" + std::to_string(machine.nodes - 1 - node) + "\"}";
        EXPECT_EQ(text[cell], 1024.0 * (900 + node)) << cell;
    }
    const std::string beyond =
        "tarnix_node_memory_free_bytes{node=\"" + std::to_string(machine.nodes) + "\"}";
    EXPECT_TRUE(std::isnan(text[beyond]));
    EXPECT_EQ(exporter.Get("/").status, 200);
    exporter.program->Signal(SIGTERM);
    EXPECT_EQ(exporter.program->Wait().status, 0);
}

}  // namespace
