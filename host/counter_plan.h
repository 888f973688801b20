// SPDX-License-Identifier: MIT

#ifndef HOST_COUNTER_PLAN_H
#define HOST_COUNTER_PLAN_H

#include <string>
#include <vector>

#include "host/live_source.h"
#include "host/perf_events.h"
#include "host/pmu_discovery.h"

namespace host {

/// One PMU with the events that are counted on it.
struct PlannedPmu {
    std::string name;
    std::string directory;  ///< canonical path in sysfs
    PmuFacts facts;
    std::vector<std::uint32_t> cpus;      ///< where the counters are opened, at least one
    std::vector<std::string> eventNames;  ///< of the three, in their order
    std::vector<CounterEvent> events;     ///< label "<pmu>/<event>/", side by side with eventNames
};

/// What a live measurement opens, or one line that says why there is nothing to open.
struct CounterPlan {
    std::vector<PlannedPmu> pmus;      ///< natural order of the names
    std::vector<std::string> remarks;  ///< PMUs that are left out, counts that cover one CPU; bounded
    std::string error;
    std::string remedy;  ///< what helps against `error`; empty when the error says it itself

    std::size_t CounterCount() const;
};

/// Finds PMUs, events and CPUs for `options`. Opens nothing, changes nothing.
CounterPlan PlanCounters(const LiveOptions& options);

/// CPUs on which the counters of a PMU are opened: every one of a cpumask; for other PMUs the first of their
/// CPUs that is online, or all of these with `everyCpu`. Empty when none is online.
std::vector<std::uint32_t> ChooseCpus(const PmuFacts& facts, const std::vector<std::uint32_t>& online,
                                      bool everyCpu);

/// CPUs that are online; CPU 0 when the tree does not say.
std::vector<std::uint32_t> OnlineCpusOrFirst(const std::string& sysfsRoot);

/// One line for a PMU that lacks some of the events: which it has and which it lacks.
std::string PartialPmuMessage(const Pmu& pmu, const std::vector<std::string>& wanted);

}  // namespace host

#endif  // HOST_COUNTER_PLAN_H
