// SPDX-License-Identifier: MIT

#include "tools/numa_score/kernel_text.h"

#include <cstdint>

#include <string>

#include <gtest/gtest.h>

namespace {

constexpr std::int64_t SECOND = 1000000000;

/// Ten seconds on two nodes, of 20,000 pages 15,000 for CPUs of the other node.
host::OpinionReading Reading()
{
    host::OpinionReading now;
    now.timeNs = 10 * SECOND;
    now.pmu = {1e9, 0, 1e6};
    now.kernel.nodesOnline = 2;
    now.kernel.nodesCounted = true;
    now.kernel.hintsCounted = true;
    now.kernel.nodes = {{0, {4900, 100, 7, 12, 5000, 0}, true}, {1, {15000, 0, 0, 0, 0, 15000}, true}};
    now.kernel.hints = {500, 120, 33};
    return now;
}

std::string Text(const host::OpinionReading& now)
{
    return numa_score::KernelText(host::CompareOpinions({}, now));
}

const std::string NODES =
    "node 0       hit 4900, miss 100, foreign 7, interleave 12, local 5000, other 0\n"
    "node 1       hit 15000, miss 0, foreign 0, interleave 0, local 0, other 15000\n";
const std::string ALL = "kernel       other node 75.00% of 20000 pages allocated, misses 0.50%";
const std::string HINTS = "hint faults  local 120, remote 380, pages migrated 33";
const std::string DOUBT =
    "opinion      the PMU calls the traffic local (0.10% crossed), the kernel does not: 75.00% of 20000 "
    "pages were allocated on another node than the CPU's\n";

TEST(KernelText, ShowsEachNodeAndTheDisagreement)
{
    EXPECT_EQ(Text(Reading()), ALL + "\n" + NODES + HINTS + "\n" + DOUBT);
}

TEST(KernelText, MarksANodeWithoutCpus)
{
    host::OpinionReading now = Reading();
    now.kernel.nodes[1].cpus = false;
    EXPECT_NE(Text(now).find("local 0, other 15000 (no CPUs, not judged)\n"), std::string::npos);
    EXPECT_EQ(Text(now).find("other node 0.00% of 5000 pages allocated"), 13U);
}

TEST(KernelText, OfNoDisagreementAndOfNothingToJudge)
{
    host::OpinionReading now = Reading();
    now.pmu.outer = 7e8;
    EXPECT_EQ(Text(now), ALL + "\n" + NODES + HINTS +
                             "\nopinion      PMU and kernel do not clearly disagree over the whole run\n");
    now.timeNs = SECOND;
    EXPECT_EQ(Text(now), ALL + "\n" + NODES + HINTS + "\nopinion      none: less than 3 s were observed\n");
    now.kernel.nodes.clear();
    now.kernel.hints = {};
    EXPECT_EQ(Text(now),
              "kernel       no page allocated\nhint faults  local 0, remote 0, pages migrated 0\n"
              "opinion      none: less than 3 s were observed\n");
}

TEST(KernelText, WhatIsNotCountedIsNotZero)
{
    host::OpinionReading now = Reading();
    now.kernel.nodesCounted = false;
    now.kernel.nodesProblem = "vm.numa_stat is 0";
    now.kernel.hintsCounted = false;
    now.kernel.hintsProblem = "kernel.numa_balancing is 0";
    EXPECT_EQ(Text(now),
              "kernel       allocated pages not counted: vm.numa_stat is 0\n"
              "hint faults  not counted: kernel.numa_balancing is 0\n"
              "opinion      none: the kernel's counts are not to be had, or incomplete\n");
}

TEST(KernelText, WhatVanishedWhileItRanIsToldOf)
{
    host::OpinionReading now = Reading();
    now.kernel.nodes[1].online = false;
    now.kernel.nodesProblem = "node lost";
    now.kernel.hintsProblem = "vmstat lost";
    EXPECT_EQ(Text(now),
              ALL + "; incomplete: node lost\n" + NODES.substr(0, NODES.size() - 1) + " (gone)\n" + HINTS +
                  "; incomplete: vmstat lost\nopinion      none: the kernel's counts are not to be had, or "
                  "incomplete\n");
}

}  // namespace
