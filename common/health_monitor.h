// SPDX-License-Identifier: MIT

#ifndef COMMON_HEALTH_MONITOR_H
#define COMMON_HEALTH_MONITOR_H

#include <cstdint>

#include <string>
#include <unordered_map>
#include <vector>

#include "common/export.h"

/// One measured phase. Times are CLOCK_MONOTONIC in nanoseconds.
struct HealthPhase {
    std::string name;
    std::uint64_t startNs = 0;     ///< last start or resume; 0 once archived
    std::uint64_t endNs = 0;       ///< last pause or end; 0 before
    std::uint64_t durationNs = 0;  ///< measured duration
};

/// Measures how long the named phases of one tuning cycle take and renders them as a boxed report. Phases
/// come into being with their first start; the report lists those of `order` that exist, in that order.
///
/// A phase that is paused and resumed has to be closed with PausePhase: EndPhase counts the last segment
/// only. Used from one thread. Raises nothing but std::bad_alloc, and then nothing has changed.
class SCENARIO_NUMA_EXPORT HealthMonitor {
public:
    HealthMonitor();

    /// Starts a phase, or starts it anew keeping its duration. Counts as one more active phase either way.
    void StartPhase(const std::string& name);

    /// Adds the time since the last start or resume to the duration. Unknown names are ignored.
    void PausePhase(const std::string& name);

    /// Goes on measuring after a pause. For an unknown name the same as StartPhase.
    void ResumePhase(const std::string& name);

    /// Sets the duration to the time since the last start or resume; one active phase less, never below 0.
    /// Unknown names are ignored.
    void EndPhase(const std::string& name);

    /// Keeps the duration of `from` under the name `to`, which is created when absent, and marks `from` as
    /// archived (startNs 0). An unknown `from` is ignored.
    void ArchivePhase(const std::string& from, const std::string& to);

    /// Duration in nanoseconds, 0 for an unknown name.
    std::uint64_t GetDurationNs(const std::string& name) const;

    /// Forgets all phases; none is active afterwards.
    void Clear();

    /// The report: a box of lines 48 characters wide that begins with a line break.
    std::string LogAll() const;

    /// LogAll, at most once per second: empty when the last report of this function is at most 999999999 ns
    /// old.
    std::string LogAllIfNeeded();

    /// A duration as text: whole "ns" to 999, then "us", "ms" and "s" with three decimals.
    /// Locale-independent.
    static std::string LogAllHumanRead(unsigned long ns);

    std::uint32_t activeCount = 0;                        ///< phases started and not ended
    std::unordered_map<std::string, HealthPhase> phases;  ///< by name
    std::uint64_t lastReportNs = 0;  ///< time of the last LogAllIfNeeded with a report; 0: none
    std::vector<std::string> order;  ///< names in report order
};

#endif  // COMMON_HEALTH_MONITOR_H
