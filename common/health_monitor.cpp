// SPDX-License-Identifier: MIT

#include "common/health_monitor.h"

#include <iomanip>
#include <locale>
#include <sstream>
#include <utility>

#include "common/monotonic_ns.h"

namespace {

constexpr std::uint64_t REPORT_PAUSE_NS = 999999999;

std::string Fixed3(double value, const char* unit)
{
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text.exceptions(std::ios::badbit);  // memory that runs out is told, rather than cutting the text off
    text << std::fixed << std::setprecision(3) << value << unit;
    return text.str();
}

/// The phase of that name, with its name: made whole or, when memory runs out, not at all.
HealthPhase& PhaseOf(std::unordered_map<std::string, HealthPhase>& phases, const std::string& name)
{
    const auto found = phases.find(name);
    if (found != phases.end()) {
        return found->second;
    }
    HealthPhase phase;
    phase.name = name;
    return phases.emplace(name, std::move(phase)).first->second;
}

}  // namespace

HealthMonitor::HealthMonitor()
    : order{"tarnix_cycle_time", "tune_decision_interval", "collection",     "update_data", "pmu_read",
            "run_stat",          "update_collection",      "tune_algorithm", "migrate",     "MigrateThread",
            "MigratePage"}
{
}

void HealthMonitor::StartPhase(const std::string& name)
{
    HealthPhase& phase = PhaseOf(phases, name);
    phase.startNs = runtime::MonotonicNs();
    ++activeCount;
}

void HealthMonitor::PausePhase(const std::string& name)
{
    const auto found = phases.find(name);
    if (found == phases.end()) {
        return;
    }
    HealthPhase& phase = found->second;
    phase.endNs = runtime::MonotonicNs();
    phase.durationNs += phase.endNs - phase.startNs;
}

void HealthMonitor::ResumePhase(const std::string& name)
{
    const auto found = phases.find(name);
    if (found == phases.end()) {
        StartPhase(name);
        return;
    }
    found->second.startNs = runtime::MonotonicNs();
}

void HealthMonitor::EndPhase(const std::string& name)
{
    const auto found = phases.find(name);
    if (found == phases.end()) {
        return;
    }
    HealthPhase& phase = found->second;
    phase.endNs = runtime::MonotonicNs();
    phase.durationNs = phase.endNs - phase.startNs;
    if (activeCount > 0) {
        --activeCount;
    }
}

void HealthMonitor::ArchivePhase(const std::string& from, const std::string& to)
{
    const auto found = phases.find(from);
    if (found == phases.end()) {
        return;
    }
    HealthPhase& source = found->second;  // stays valid when the map grows
    HealthPhase& target = PhaseOf(phases, to);
    target.durationNs = source.durationNs;
    source.startNs = 0;
}

std::uint64_t HealthMonitor::GetDurationNs(const std::string& name) const
{
    const auto found = phases.find(name);
    return found == phases.end() ? 0 : found->second.durationNs;
}

void HealthMonitor::Clear()
{
    phases.clear();
    activeCount = 0;
}

std::string HealthMonitor::LogAll() const
{
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text.exceptions(std::ios::badbit);
    const auto row = [&text](const std::string& left, const std::string& right) {
        text << "| " << std::left << std::setw(26) << left << " | " << std::setw(15) << right << " |\n";
    };
    text << "\n+============ Health Monitor Report ===========+\n";
    row("Phase", "Duration");
    text << std::string(48, '-') << '\n';
    for (const std::string& name : order) {
        const auto found = phases.find(name);
        if (found != phases.end()) {
            row(name, LogAllHumanRead(found->second.durationNs));
        }
    }
    text << "+==============================================+\n";
    return text.str();
}

std::string HealthMonitor::LogAllIfNeeded()
{
    const std::uint64_t now = runtime::MonotonicNs();
    if (lastReportNs != 0 && now - lastReportNs <= REPORT_PAUSE_NS) {
        return "";
    }
    std::string report = LogAll();
    lastReportNs = now;
    return report;
}

std::string HealthMonitor::LogAllHumanRead(unsigned long ns)
{
    if (ns <= 999) {
        return std::to_string(ns) + " ns";
    }
    if (ns <= 999999) {
        return Fixed3(static_cast<double>(ns) / 1000.0, " us");
    }
    if (ns <= 999999999) {
        return Fixed3(static_cast<double>(ns) / 1e6, " ms");
    }
    return Fixed3(static_cast<double>(ns) / 1e9, " s");
}
