// SPDX-License-Identifier: MIT

#include "host/second_opinion.h"

#include <cstdint>

#include <limits>
#include <string>

#include <gtest/gtest.h>

namespace {

using host::Opinion;
using host::OpinionReading;
using host::OpinionReport;

constexpr std::int64_t SECOND = 1000000000;

/// What happened between two readings, ten seconds apart unless the case says otherwise.
struct Case {
    double outer = 0;  ///< of 1000 operations a second
    double sccl = 0;
    std::uint64_t local = 0;  ///< pages
    std::uint64_t other = 0;
    std::uint64_t hintLocal = 0;
    std::uint64_t hintRemote = 0;
};

/// The second of the two readings; the first one is empty but for the nodes.
OpinionReading Later(const Case& what, double seconds = 10)
{
    OpinionReading now;
    now.timeNs = static_cast<std::int64_t>(seconds * static_cast<double>(SECOND));
    now.pmu = {1e6, what.sccl * 1e6, what.outer * 1e6};
    now.kernel.nodesOnline = 2;
    now.kernel.nodesCounted = true;
    now.kernel.hintsCounted = true;
    now.kernel.nodes = {{0, {what.local + what.other, 0, 0, 0, what.local, 0}, true},
                        {1, {0, 0, 0, 0, 0, what.other}, true}};
    now.kernel.hints = {what.hintLocal + what.hintRemote, what.hintLocal, 0};
    return now;
}

OpinionReport Report(const OpinionReading& now)
{
    return host::CompareOpinions({}, now);
}

Opinion Judged(const Case& what)
{
    return Report(Later(what)).opinion;
}

TEST(KernelShares, OfWhatWasCounted)
{
    host::KernelTotals totals;
    totals.nodesCounted = true;
    totals.hintsCounted = true;
    totals.nodes = {{0, {90, 10, 7, 0, 60, 20}, true}, {1, {100, 0, 0, 0, 100, 20}, false}};
    totals.hints = {400, 300, 5};
    const host::KernelShares shares = host::SharesOf(totals);
    EXPECT_EQ(shares.allocations, 200U);
    EXPECT_DOUBLE_EQ(shares.remoteAllocations.value(), 0.2);
    EXPECT_DOUBLE_EQ(shares.misses.value(), 0.05);
    EXPECT_EQ(shares.hintFaults, 400U);
    EXPECT_DOUBLE_EQ(shares.remoteHintFaults.value(), 0.25);
}

TEST(KernelShares, LeaveOutNodesThatNoCpuBelongsTo)
{
    host::KernelTotals totals;
    totals.nodesCounted = true;
    totals.nodes = {{0, {90, 10, 0, 0, 75, 25}, true, true}, {2, {0, 1000, 0, 0, 0, 1000}, true, false}};
    EXPECT_EQ(host::SharesOf(totals).allocations, 100U);
    EXPECT_DOUBLE_EQ(host::SharesOf(totals).remoteAllocations.value(), 0.25);
    EXPECT_DOUBLE_EQ(host::SharesOf(totals).misses.value(), 0.1);
}

TEST(KernelShares, AreAbsentWithoutEventsAndWhereNothingIsCounted)
{
    host::KernelTotals totals;
    totals.nodesCounted = true;
    totals.hintsCounted = true;
    EXPECT_FALSE(host::SharesOf(totals).remoteAllocations);
    EXPECT_FALSE(host::SharesOf(totals).misses);
    EXPECT_FALSE(host::SharesOf(totals).remoteHintFaults);
    totals.nodes = {{0, {90, 10, 7, 0, 60, 20}, true}};
    totals.hints = {400, 300, 5};
    totals.nodesCounted = false;
    totals.hintsCounted = false;
    EXPECT_FALSE(host::SharesOf(totals).remoteAllocations);
    EXPECT_FALSE(host::SharesOf(totals).misses);
    EXPECT_FALSE(host::SharesOf(totals).remoteHintFaults);
}

TEST(KernelShares, StayWithinBounds)
{
    constexpr std::uint64_t MOST = std::numeric_limits<std::uint64_t>::max();
    host::KernelTotals totals;
    totals.nodesCounted = true;
    totals.hintsCounted = true;
    totals.nodes = {{0, {MOST, MOST, 0, 0, MOST, MOST}, true}};
    totals.hints = {10, 12, 0};  // read while it was counted on
    const host::KernelShares shares = host::SharesOf(totals);
    EXPECT_EQ(shares.allocations, MOST);
    EXPECT_DOUBLE_EQ(shares.remoteAllocations.value(), 0.5);
    EXPECT_DOUBLE_EQ(shares.misses.value(), 0.5);
    EXPECT_DOUBLE_EQ(shares.remoteHintFaults.value(), 0.0);
}

TEST(SecondOpinion, ThePmuCallsLocalWhatTheKernelSeesRemote)
{
    const Opinion doubt = Opinion::PMU_LOCAL_KERNEL_REMOTE;
    const Opinion none = Opinion::NO_DISAGREEMENT;
    const struct {
        const char* what;
        Case counts;
        Opinion opinion;
    } cases[] = {
        {"allocations alone", {0.00, 0.00, 1000, 99000, 0, 0}, doubt},
        {"both", {0.00, 0.00, 1000, 99000, 100, 9900}, doubt},
        {"hint faults alone", {0.00, 0.00, 10, 10, 100, 9900}, doubt},
        {"hint faults, some allocations", {0.00, 0.00, 80000, 20000, 100, 9900}, doubt},
        {"allocations, some hint faults", {0.00, 0.00, 1000, 99000, 8000, 2000}, doubt},
        {"hint faults say the opposite", {0.00, 0.00, 1000, 99000, 9900, 100}, none},
        {"allocations say the opposite", {0.00, 0.00, 99000, 1000, 100, 9900}, none},
        {"too few hint faults to contradict", {0.00, 0.00, 1000, 99000, 999, 0}, doubt},
        {"at the bounds", {0.03, 0.02, 50000, 50000, 0, 0}, doubt},
        {"the kernel below its bound", {0.00, 0.00, 50100, 49900, 0, 0}, none},
        {"the PMU above its bound", {0.03, 0.021, 1000, 99000, 0, 0}, none},
        {"the PMU sees it between dies", {0.00, 0.60, 1000, 99000, 0, 0}, none},
        {"both see it", {0.60, 0.00, 1000, 99000, 100, 9900}, none},
    };
    for (const auto& row : cases) {
        EXPECT_EQ(Judged(row.counts), row.opinion) << row.what;
    }
}

TEST(SecondOpinion, ThePmuCallsRemoteWhatTheKernelSeesLocal)
{
    const Opinion doubt = Opinion::PMU_REMOTE_KERNEL_LOCAL;
    const Opinion none = Opinion::NO_DISAGREEMENT;
    const struct {
        const char* what;
        Case counts;
        Opinion opinion;
    } cases[] = {
        {"both measures", {0.90, 0.00, 99000, 1000, 9900, 100}, doubt},
        {"hint faults, hardly any allocation", {0.90, 0.00, 10, 90, 9900, 100}, doubt},
        {"at the bounds", {0.50, 0.00, 95000, 5000, 9500, 500}, doubt},
        {"local allocations prove nothing", {0.90, 0.00, 99000, 1000, 0, 0}, none},
        {"too few hint faults", {0.90, 0.00, 99000, 1000, 999, 0}, none},
        {"some allocations are remote", {0.90, 0.00, 90000, 10000, 9900, 100}, none},
        {"some hint faults are remote", {0.90, 0.00, 99000, 1000, 9400, 600}, none},
        {"the PMU below its bound", {0.49, 0.00, 99000, 1000, 9900, 100}, none},
        {"dies may be within a node", {0.00, 0.90, 99000, 1000, 9900, 100}, none},
        {"more remote than there were", {1.10, 0.00, 99000, 1000, 9900, 100}, doubt},
    };
    for (const auto& row : cases) {
        EXPECT_EQ(Judged(row.counts), row.opinion) << row.what;
    }
}

TEST(SecondOpinion, WhatIsTooLittleToJudge)
{
    const Case remote{0, 0, 1000, 99000, 100, 9900};
    ASSERT_EQ(Report(Later(remote)).undecided, "");
    const auto undecided = [](const OpinionReading& now) {
        const OpinionReport report = Report(now);
        EXPECT_EQ(report.opinion, Opinion::UNDECIDED);
        EXPECT_EQ(host::DisagreementText(report), "");
        return report.undecided;
    };
    EXPECT_EQ(undecided(Later({0, 0, 100, 9899, 99, 900})),
              "too little happened: 9999 of 10000 pages allocated, 999 of 1000 hint faults");
    EXPECT_EQ(Judged({0, 0, 100, 9900, 0, 0}), Opinion::PMU_LOCAL_KERNEL_REMOTE);
    EXPECT_EQ(Judged({0, 0, 0, 0, 0, 1000}), Opinion::PMU_LOCAL_KERNEL_REMOTE);
    EXPECT_EQ(undecided(Later(remote, 2.999)), "less than 3 s were observed");
    EXPECT_EQ(Report(Later(remote, 3)).undecided, "");

    OpinionReading now = Later(remote);
    now.pmu.ops = 999;
    EXPECT_EQ(undecided(now), "the PMU counted no operations, or hardly any");
    now.pmu.ops = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(undecided(now), "the PMU counted no operations, or hardly any");

    now = Later(remote);
    now.kernel.nodesOnline = 1;
    EXPECT_EQ(undecided(now), "with fewer than two nodes the kernel has nothing to tell apart");

    now = Later(remote);
    now.kernel.nodesProblem = "a node cannot be read";
    now.kernel.hintsCounted = false;
    now.kernel.hintsProblem = "switched off";
    EXPECT_EQ(undecided(now), "the kernel's counts are not to be had, or incomplete");
}

TEST(SecondOpinion, AnIncompleteReadingOfNodesIsNotJudged)
{
    OpinionReading now = Later({0, 0, 1000, 99000, 0, 0});
    now.kernel.nodesProblem = "a node cannot be read";
    EXPECT_EQ(Report(now).opinion, Opinion::UNDECIDED);
    now = Later({0, 0, 1000, 99000, 100, 9900});
    now.kernel.nodesProblem = "a node cannot be read";
    EXPECT_EQ(Report(now).opinion, Opinion::PMU_LOCAL_KERNEL_REMOTE);
    EXPECT_TRUE(Report(now).byHintFaults);
}

TEST(SecondOpinion, OnlyWhatHappenedBetweenTheReadingsCounts)
{
    const OpinionReading then = Later({0.9, 0, 500000, 0, 50000, 0});
    OpinionReading now = then;
    now.timeNs += 10 * SECOND;
    now.pmu.ops += 1e6;
    now.kernel.nodes[1].counts.other += 20000;
    const OpinionReport report = host::CompareOpinions(then, now);
    EXPECT_EQ(report.spanNs, 10 * SECOND);
    EXPECT_EQ(report.shares.allocations, 20000U);
    EXPECT_EQ(report.opinion, Opinion::PMU_LOCAL_KERNEL_REMOTE);
}

TEST(SecondOpinion, SaysWhatEachSideSays)
{
    EXPECT_EQ(host::DisagreementText(Report(Later({0.001, 0.0002, 1000, 99000, 0, 0}))),
              "the PMU calls the traffic local (0.12% crossed), the kernel does not: 99.00% of 100000 pages "
              "were allocated on another node than the CPU's");
    EXPECT_EQ(host::DisagreementText(Report(Later({0, 0, 0, 0, 1000, 9000}))),
              "the PMU calls the traffic local (0.00% crossed), the kernel does not: 90.00% of 10000 hint "
              "faults were on memory of another node");
    EXPECT_EQ(host::DisagreementText(Report(Later({0.75, 0.2, 99000, 1000, 9900, 100}))),
              "the PMU calls the traffic remote (75.00% from another socket), the kernel does not: 1.00% of "
              "10000 hint faults were on memory of another node");
    EXPECT_EQ(host::DisagreementText(Report(Later({0.2, 0, 99000, 1000, 9900, 100}))), "");
}

TEST(SecondOpinion, NamesOfOpinions)
{
    EXPECT_STREQ(host::OpinionName(Opinion::UNDECIDED), "undecided");
    EXPECT_STREQ(host::OpinionName(Opinion::NO_DISAGREEMENT), "no_disagreement");
    EXPECT_STREQ(host::OpinionName(Opinion::PMU_LOCAL_KERNEL_REMOTE), "pmu_local_kernel_remote");
    EXPECT_STREQ(host::OpinionName(Opinion::PMU_REMOTE_KERNEL_LOCAL), "pmu_remote_kernel_local");
}

}  // namespace
