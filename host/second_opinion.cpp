// SPDX-License-Identifier: MIT

#include "host/second_opinion.h"

#include <algorithm>
#include <charconv>

namespace host {
namespace {

constexpr std::int64_t NS_PER_S = 1000000000;

/// 0.01234 as "1.23%", whatever the locale.
std::string Percent(double share)
{
    char buffer[64];
    const auto [end, code] =
        std::to_chars(buffer, buffer + sizeof buffer, 100 * share, std::chars_format::fixed, 2);
    return code == std::errc() ? std::string(buffer, end) + "%" : "?%";
}

std::optional<double> ShareOf(std::uint64_t part, std::uint64_t rest)
{
    const double whole = static_cast<double>(part) + static_cast<double>(rest);
    if (whole <= 0) {
        return std::nullopt;
    }
    return static_cast<double>(part) / whole;
}

/// What one of the kernel's two measures has to say.
enum class Says { NOTHING, HARDLY, SOME, MUCH };

Says WhatSays(const std::optional<double>& share, std::uint64_t events, std::uint64_t enough)
{
    if (!share || events < enough) {
        return Says::NOTHING;
    }
    return *share >= MUCH_REMOTE ? Says::MUCH : *share <= HARDLY_REMOTE ? Says::HARDLY : Says::SOME;
}

double CrossedShare(const PmuTraffic& pmu)
{
    return (pmu.outer + pmu.sccl) / pmu.ops;
}

double OuterShare(const PmuTraffic& pmu)
{
    return pmu.outer / pmu.ops;
}

Opinion Judge(const PmuTraffic& pmu, Says allocations, Says hints)
{
    const bool muchRemote = (allocations == Says::MUCH && hints != Says::HARDLY) ||
                            (hints == Says::MUCH && allocations != Says::HARDLY);
    if (CrossedShare(pmu) <= HARDLY_REMOTE && muchRemote) {
        return Opinion::PMU_LOCAL_KERNEL_REMOTE;
    }
    const bool hardlyRemote =
        hints == Says::HARDLY && (allocations == Says::HARDLY || allocations == Says::NOTHING);
    if (OuterShare(pmu) >= MUCH_REMOTE && hardlyRemote) {
        return Opinion::PMU_REMOTE_KERNEL_LOCAL;
    }
    return Opinion::NO_DISAGREEMENT;
}

/// Why there is nothing to judge; empty when there is.
std::string WhyUndecided(const OpinionReport& report, bool enoughEvents)
{
    const KernelTotals& kernel = report.kernel;
    if (kernel.nodesOnline < 2) {
        return "with fewer than two nodes the kernel has nothing to tell apart";
    }
    if (!kernel.nodesProblem.empty() && !kernel.hintsProblem.empty()) {
        return "the kernel's counts are not to be had, or incomplete";
    }
    if (report.spanNs < MIN_SPAN_NS) {
        return "less than " + std::to_string(MIN_SPAN_NS / NS_PER_S) + " s were observed";
    }
    if (!(report.pmu.ops >= MIN_OPERATIONS)) {
        return "the PMU counted no operations, or hardly any";
    }
    if (!enoughEvents) {
        return "too little happened: " + std::to_string(report.shares.allocations) + " of " +
               std::to_string(MIN_ALLOCATIONS) + " pages allocated, " +
               std::to_string(report.shares.hintFaults) + " of " + std::to_string(MIN_HINT_FAULTS) +
               " hint faults";
    }
    return {};
}

}  // namespace

const char* OpinionName(Opinion opinion)
{
    switch (opinion) {
        case Opinion::NO_DISAGREEMENT:
            return "no_disagreement";
        case Opinion::PMU_LOCAL_KERNEL_REMOTE:
            return "pmu_local_kernel_remote";
        case Opinion::PMU_REMOTE_KERNEL_LOCAL:
            return "pmu_remote_kernel_local";
        case Opinion::UNDECIDED:
            break;
    }
    return "undecided";
}

KernelShares SharesOf(const KernelTotals& totals)
{
    KernelShares shares;
    if (totals.nodesCounted) {
        // Every page of a node without CPUs counts as another node's, however near it lies.
        NodeCounts all;
        for (const NodeTotals& node : totals.nodes) {
            AddTo(all, node.cpus ? node.counts : NodeCounts{});
        }
        shares.allocations = all.local + std::min(all.other, ~all.local);
        shares.remoteAllocations = ShareOf(all.other, all.local);
        shares.misses = ShareOf(all.miss, all.hit);
    }
    if (totals.hintsCounted) {
        // The kernel counts on while it adds up: more local ones than all are possible.
        const std::uint64_t local = std::min(totals.hints.local, totals.hints.faults);
        shares.hintFaults = totals.hints.faults;
        shares.remoteHintFaults = ShareOf(totals.hints.faults - local, local);
    }
    return shares;
}

OpinionReport CompareOpinions(const OpinionReading& then, const OpinionReading& now)
{
    OpinionReport report;
    report.spanNs = now.timeNs - then.timeNs;
    report.pmu = {now.pmu.ops - then.pmu.ops, now.pmu.sccl - then.pmu.sccl, now.pmu.outer - then.pmu.outer};
    report.kernel = TotalsSince(then.kernel, now.kernel);
    report.shares = SharesOf(report.kernel);
    const KernelShares& shares = report.shares;
    // Where a node is missing the rest may say anything.
    const Says allocations = now.kernel.nodesProblem.empty()
                                 ? WhatSays(shares.remoteAllocations, shares.allocations, MIN_ALLOCATIONS)
                                 : Says::NOTHING;
    const Says hints = WhatSays(shares.remoteHintFaults, shares.hintFaults, MIN_HINT_FAULTS);
    report.undecided = WhyUndecided(report, allocations != Says::NOTHING || hints != Says::NOTHING);
    if (!report.undecided.empty()) {
        return report;
    }
    report.opinion = Judge(report.pmu, allocations, hints);
    report.byHintFaults = report.opinion == Opinion::PMU_REMOTE_KERNEL_LOCAL ||
                          (IsDisagreement(report.opinion) && allocations != Says::MUCH);
    return report;
}

std::string DisagreementText(const OpinionReport& report)
{
    if (!IsDisagreement(report.opinion)) {
        return {};
    }
    const std::string kernel =
        report.byHintFaults
            ? Percent(*report.shares.remoteHintFaults) + " of " + std::to_string(report.shares.hintFaults) +
                  " hint faults were on memory of another node"
            : Percent(*report.shares.remoteAllocations) + " of " + std::to_string(report.shares.allocations) +
                  " pages were allocated on another node than the CPU's";
    return report.opinion == Opinion::PMU_LOCAL_KERNEL_REMOTE
               ? "the PMU calls the traffic local (" + Percent(CrossedShare(report.pmu)) +
                     " crossed), the kernel does not: " + kernel
               : "the PMU calls the traffic remote (" + Percent(OuterShare(report.pmu)) +
                     " from another socket), the kernel does not: " + kernel;
}

}  // namespace host
