// SPDX-License-Identifier: MIT

#include "tools/numa_score/kernel_text.h"

#include <cstdint>

#include <algorithm>

#include "tools/numa_score/text_format.h"

namespace numa_score {
namespace {

void AppendLabel(std::string& out, const std::string& label)
{
    constexpr std::size_t COLUMN = 13;
    out += label;
    out.append(label.size() < COLUMN ? COLUMN - label.size() : 1, ' ');
}

void AppendField(std::string& out, const char* name, std::uint64_t value)
{
    out += name;
    AppendUnsigned(out, value);
}

void AppendAllocations(std::string& out, const host::OpinionReport& report)
{
    AppendLabel(out, "kernel");
    if (!report.kernel.nodesCounted) {
        out += "allocated pages not counted: " + report.kernel.nodesProblem + "\n";
        return;
    }
    if (report.shares.remoteAllocations) {
        out += "other node ";
        AppendPercent(out, *report.shares.remoteAllocations);
        AppendField(out, " of ", report.shares.allocations);
        out += " pages allocated";
    } else {
        out += "no page allocated";
    }
    if (report.shares.misses) {
        out += ", misses ";
        AppendPercent(out, *report.shares.misses);
    }
    out += report.kernel.nodesProblem.empty() ? "\n" : "; incomplete: " + report.kernel.nodesProblem + "\n";
    for (const host::NodeTotals& node : report.kernel.nodes) {
        std::string label = "node ";
        AppendUnsigned(label, node.node);
        AppendLabel(out, label);
        AppendField(out, "hit ", node.counts.hit);
        AppendField(out, ", miss ", node.counts.miss);
        AppendField(out, ", foreign ", node.counts.foreign);
        AppendField(out, ", interleave ", node.counts.interleave);
        AppendField(out, ", local ", node.counts.local);
        AppendField(out, ", other ", node.counts.other);
        out += node.cpus ? "" : " (no CPUs, not judged)";
        out += node.online ? "\n" : " (gone)\n";
    }
}

void AppendHints(std::string& out, const host::OpinionReport& report)
{
    AppendLabel(out, "hint faults");
    if (!report.kernel.hintsCounted) {
        out += "not counted: " + report.kernel.hintsProblem + "\n";
        return;
    }
    const host::HintCounts& hints = report.kernel.hints;
    AppendField(out, "local ", hints.local);
    AppendField(out, ", remote ", hints.faults - std::min(hints.local, hints.faults));
    AppendField(out, ", pages migrated ", hints.migrated);
    out += report.kernel.hintsProblem.empty() ? "\n" : "; incomplete: " + report.kernel.hintsProblem + "\n";
}

void AppendOpinion(std::string& out, const host::OpinionReport& report)
{
    AppendLabel(out, "opinion");
    if (report.opinion == host::Opinion::UNDECIDED) {
        out += "none: " + report.undecided;
    } else if (report.opinion == host::Opinion::NO_DISAGREEMENT) {
        out += "PMU and kernel do not clearly disagree over the whole run";
    } else {
        out += host::DisagreementText(report);
    }
    out += '\n';
}

}  // namespace

std::string KernelText(const host::OpinionReport& report)
{
    std::string out;
    AppendAllocations(out, report);
    AppendHints(out, report);
    AppendOpinion(out, report);
    return out;
}

}  // namespace numa_score
