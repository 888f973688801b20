// SPDX-License-Identifier: MIT

#include "host/doctor.h"

#include <linux/perf_event.h>

#include <cstdint>

#include <algorithm>
#include <charconv>
#include <optional>

#include "host/counter_plan.h"
#include "host/cpu_list.h"
#include "host/escape.h"
#include "host/kernel_check.h"
#include "host/perf_events.h"
#include "host/text_file.h"

namespace host {
namespace {

constexpr unsigned CAP_SYS_ADMIN_BIT = 21;
constexpr unsigned CAP_PERFMON_BIT = 38;
constexpr std::uint64_t OTHER_DESCRIPTORS = 64;  // what the rest of the process may need
constexpr std::size_t MAX_PMU_CHECKS = 256;

DoctorCheck Check(std::string name, Verdict verdict, std::string detail, std::string remedy = "")
{
    return {std::move(name), verdict, std::move(detail), std::move(remedy)};
}

DoctorCheck CheckKernel(const std::string& procfs)
{
    const TextFile file = ReadTextFile(procfs + "/sys/kernel/osrelease");
    if (!file.error.empty()) {
        return Check("kernel", Verdict::WARN, file.error, "mount procfs at " + EscapeText(procfs));
    }
    return Check("kernel", Verdict::OK, "Linux " + EscapeText(TrimText(file.text), 128));
}

DoctorCheck CheckNodes(const std::string& sysfs)
{
    const CpuListResult nodes = ReadOnlineNodes(sysfs);
    if (!nodes.error.empty()) {
        return Check("nodes", Verdict::WARN, nodes.error, "the kernel may be built without NUMA");
    }
    const std::string detail = std::to_string(nodes.cpus.size()) +
                               (nodes.cpus.size() == 1 ? " NUMA node (" : " NUMA nodes (") +
                               FormatCpuList(nodes.cpus) + ")";
    if (nodes.cpus.size() < 2) {
        return Check("nodes", Verdict::WARN, detail,
                     "the score tells local from remote memory, which takes two nodes");
    }
    return Check("nodes", Verdict::OK, detail);
}

std::string ScopeText(const PlannedPmu& pmu)
{
    switch (pmu.facts.scope) {
        case CpuScope::MASK:
            return "cpumask " + FormatCpuList(pmu.facts.cpus);
        case CpuScope::CPUS:
            return "cpus " + FormatCpuList(pmu.facts.cpus);
        case CpuScope::NONE:
            break;
    }
    return "no cpumask";
}

DoctorCheck CheckPmu(const PlannedPmu& pmu, bool everyCpu)
{
    std::string events;
    for (const std::string& event : pmu.eventNames) {
        events += (events.empty() ? "" : ", ") + event;
    }
    const std::string detail = "type " + std::to_string(pmu.facts.type) + ", " + events + ", " +
                               ScopeText(pmu) + ", counted on CPU " + FormatCpuList(pmu.cpus);
    if (pmu.facts.scope == CpuScope::MASK || everyCpu) {
        return Check("pmu " + EscapeText(pmu.name, 96), Verdict::OK, detail);
    }
    return Check("pmu " + EscapeText(pmu.name, 96), Verdict::WARN, detail,
                 "without a cpumask one CPU stands for all, prefer a PMU that counts a whole socket or die");
}

void CheckPmus(const DoctorOptions& options, const CounterPlan& plan, std::vector<DoctorCheck>& checks)
{
    if (!plan.error.empty()) {
        checks.push_back(Check("pmus", Verdict::FAIL, plan.error, plan.remedy));
    } else {
        const std::size_t counters = plan.CounterCount();
        checks.push_back(Check("pmus", Verdict::OK,
                               std::to_string(plan.pmus.size()) +
                                   (plan.pmus.size() == 1 ? " PMU, " : " PMUs, ") + std::to_string(counters) +
                                   (counters == 1 ? " counter" : " counters")));
    }
    for (const PlannedPmu& pmu : plan.pmus) {
        if (checks.size() < MAX_PMU_CHECKS) {
            checks.push_back(CheckPmu(pmu, options.live.everyCpu));
        }
    }
    // PMUs with some of the events are worth a line whatever the mappings say.
    const std::vector<std::string> events(UNCORE_EVENTS.begin(), UNCORE_EVENTS.end());
    for (const Pmu& pmu : ScanPmus(options.live.sysfsRoot, events).unusable) {
        if (checks.size() >= MAX_PMU_CHECKS) {
            break;
        }
        const std::string name = "pmu " + EscapeText(pmu.name, 96);
        if (pmu.missing.empty()) {
            checks.push_back(Check(name, Verdict::WARN, pmu.error, "not counted until this is mended"));
        } else {
            checks.push_back(
                Check(name, Verdict::WARN, PartialPmuMessage(pmu, events),
                      "not counted by its own names; take what it lacks from elsewhere with --map"));
        }
    }
}

/// Effective capabilities of this process.
std::optional<std::uint64_t> EffectiveCapabilities(const std::string& procfs)
{
    const TextFile file = ReadTextFile(procfs + "/self/status");
    constexpr std::string_view LABEL = "\nCapEff:";
    const std::size_t at = file.text.find(LABEL);
    if (at == std::string::npos) {
        return std::nullopt;
    }
    std::string_view line = std::string_view(file.text).substr(at + LABEL.size());
    line = TrimText(line.substr(0, line.find('\n')));
    std::uint64_t bits = 0;
    const auto [end, code] = std::from_chars(line.data(), line.data() + line.size(), bits, 16);
    if (code != std::errc() || end != line.data() + line.size()) {
        return std::nullopt;
    }
    return bits;
}

std::optional<int> Paranoid(const std::string& procfs)
{
    const TextFile file = ReadTextFile(procfs + "/sys/kernel/perf_event_paranoid");
    const std::string_view text = TrimText(file.text);
    int level = 0;
    const auto [end, code] = std::from_chars(text.data(), text.data() + text.size(), level);
    if (code != std::errc() || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return level;
}

DoctorCheck CheckPermission(const std::string& procfs)
{
    const std::optional<int> paranoid = Paranoid(procfs);
    const std::optional<std::uint64_t> capabilities = EffectiveCapabilities(procfs);
    const bool perfmon = capabilities && (*capabilities >> CAP_PERFMON_BIT & 1U) != 0;
    const bool admin = capabilities && (*capabilities >> CAP_SYS_ADMIN_BIT & 1U) != 0;
    const std::string detail = "perf_event_paranoid " +
                               (paranoid ? std::to_string(*paranoid) : std::string("unknown")) +
                               ", CAP_PERFMON " +
                               (!capabilities ? "unknown"
                                : perfmon     ? "yes"
                                              : "no") +
                               ", CAP_SYS_ADMIN " +
                               (!capabilities ? "unknown"
                                : admin       ? "yes"
                                              : "no");
    if (perfmon && !admin && paranoid && *paranoid > 2) {
        return Check("permission", Verdict::WARN, detail,
                     "kernels of Debian ask for CAP_SYS_ADMIN above 2: set kernel.perf_event_paranoid "
                     "to 2");
    }
    if (perfmon || admin || (paranoid && *paranoid < 1)) {
        return Check("permission", Verdict::OK, detail);
    }
    const std::string remedy =
        "run as root, give the program CAP_PERFMON (before Linux 5.8 CAP_SYS_ADMIN) or set "
        "kernel.perf_event_paranoid below 1";
    return Check("permission", capabilities && paranoid ? Verdict::FAIL : Verdict::WARN, detail, remedy);
}

DoctorCheck CheckDescriptors(const CounterPlan& plan, PerfApi& api)
{
    const DescriptorLimit limit = api.Limit();
    const std::uint64_t need = plan.CounterCount() + OTHER_DESCRIPTORS;
    const std::string detail = std::to_string(need) + " needed, soft limit " + std::to_string(limit.soft) +
                               ", hard limit " + std::to_string(limit.hard);
    if (need <= limit.soft) {
        return Check("descriptors", Verdict::OK, detail);
    }
    if (need <= limit.hard) {
        return Check("descriptors", Verdict::OK, detail + ", the soft limit will be raised");
    }
    return Check("descriptors", Verdict::FAIL, detail,
                 "raise the hard limit to " + std::to_string(need) + " with ulimit -n or LimitNOFILE=");
}

DoctorCheck TryClock(const std::string& sysfs, PerfApi& api)
{
    const std::uint32_t cpu = OnlineCpusOrFirst(sysfs).front();
    CounterEvent event;
    event.label = "software/config=0x0/";
    event.config.words[0] = PERF_COUNT_SW_CPU_CLOCK;
    CounterSet counters(api);
    std::vector<CounterReading> readings;
    std::string problem = counters.Open(PERF_TYPE_SOFTWARE, cpu, {event});
    if (problem.empty()) {
        problem = counters.Read(readings);
    }
    if (!problem.empty()) {
        return Check("open", Verdict::FAIL, problem, "see permission");
    }
    return Check("open", Verdict::OK,
                 "perf_event_open works, tried with the software clock on CPU " + std::to_string(cpu));
}

DoctorCheck TryCounters(const CounterPlan& plan, PerfApi& api)
{
    std::size_t sets = 0;
    std::size_t failures = 0;
    std::size_t singles = 0;
    std::string firstProblem;
    std::vector<std::unique_ptr<CounterSet>> open;  // all at once, as in a measurement
    std::vector<CounterReading> readings;
    for (const PlannedPmu& pmu : plan.pmus) {
        for (const std::uint32_t cpu : pmu.cpus) {
            ++sets;
            auto counters = std::make_unique<CounterSet>(api);
            std::string problem = counters->Open(pmu.facts.type, cpu, pmu.events);
            if (problem.empty()) {
                problem = counters->Read(readings);
            }
            if (!problem.empty()) {
                ++failures;
                firstProblem = firstProblem.empty() ? problem : firstProblem;
                continue;
            }
            singles += !counters->IsGroup() && pmu.events.size() > 1 ? 1 : 0;
            open.push_back(std::move(counters));
        }
    }
    const std::string detail = std::to_string(sets - failures) + " of " + std::to_string(sets) +
                               " readers (a PMU on a CPU each) were opened and read";
    if (failures > 0) {
        return Check("open", failures == sets ? Verdict::FAIL : Verdict::WARN, detail + ": " + firstProblem,
                     "mend what the message names");
    }
    if (singles > 0) {
        return Check(
            "open", Verdict::WARN, detail + ", " + std::to_string(singles) + " without a group",
            "the PMU counts the events by turns, figures are scaled; end other profilers of this PMU");
    }
    return Check("open", Verdict::OK, detail);
}

}  // namespace

const char* VerdictName(Verdict verdict)
{
    switch (verdict) {
        case Verdict::OK:
            return "OK";
        case Verdict::WARN:
            return "WARN";
        case Verdict::FAIL:
            break;
    }
    return "FAIL";
}

std::vector<DoctorCheck> Diagnose(const DoctorOptions& options, PerfApi& api)
{
    const CounterPlan plan = PlanCounters(options.live);
    std::vector<DoctorCheck> checks;
    checks.push_back(CheckKernel(options.procfsRoot));
    checks.push_back(CheckNodes(options.live.sysfsRoot));
    CheckPmus(options, plan, checks);
    checks.push_back(CheckPermission(options.procfsRoot));
    checks.push_back(CheckDescriptors(plan, api));
    checks.push_back(plan.pmus.empty() ? TryClock(options.live.sysfsRoot, api) : TryCounters(plan, api));
    checks.push_back(CheckKernelCounts(options.live.sysfsRoot, options.procfsRoot));
    return checks;
}

Verdict WorstVerdict(const std::vector<DoctorCheck>& checks)
{
    Verdict worst = Verdict::OK;
    for (const DoctorCheck& check : checks) {
        worst = std::max(worst, check.verdict);
    }
    return worst;
}

}  // namespace host
