// SPDX-License-Identifier: MIT

#include "host/kernel_check.h"

#include "host/kernel_numa.h"

namespace host {
namespace {

std::string NodesText(const KernelTotals& totals)
{
    if (!totals.nodesProblem.empty()) {
        return "allocated pages are not counted: " + totals.nodesProblem;
    }
    return "allocated pages are counted on " + std::to_string(totals.nodesOnline) +
           (totals.nodesOnline == 1 ? " node" : " nodes");
}

std::string HintsText(const KernelTotals& totals)
{
    return totals.hintsProblem.empty() ? "hint faults are counted"
                                       : "hint faults are not counted: " + totals.hintsProblem;
}

}  // namespace

DoctorCheck CheckKernelCounts(const std::string& sysfsRoot, const std::string& procfsRoot)
{
    KernelNuma kernel(sysfsRoot, procfsRoot);
    kernel.Read();
    const KernelTotals& totals = kernel.Totals();
    DoctorCheck check;
    check.name = "kernel counts";
    check.detail = NodesText(totals) + "; " + HintsText(totals);
    if (!totals.nodesProblem.empty()) {
        check.verdict = Verdict::WARN;
        check.remedy =
            "the score has no second opinion without them: see that sysfs and procfs are mounted "
            "and that vm.numa_stat is 1";
    }
    return check;
}

}  // namespace host
