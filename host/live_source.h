// SPDX-License-Identifier: MIT

#ifndef HOST_LIVE_SOURCE_H
#define HOST_LIVE_SOURCE_H

#include <memory>
#include <string>
#include <vector>

#include "host/counter_source.h"

namespace host {

class Clock;
class PerfApi;

/// Counts of one of the three events taken from another PMU event, as the user writes it: "PMU/event/" or
/// "PMU/term=value,.../", for example rx_ops_num = "software/config=0x0/". A PMU that comes in instances may
/// be named without their numbers: "hub/event/" counts on hub_0, hub_1 and so on.
struct EventMapping {
    std::string eventName;  ///< "rx_outer", "rx_sccl" or "rx_ops_num"
    std::string target;     ///< PMU and event that is counted instead
};

struct LiveOptions {
    std::string sysfsRoot = "/sys";      ///< tree that is searched for PMUs
    std::string mapSetting = "--map";    ///< how the user gives mappings, for messages
    std::vector<EventMapping> mappings;  ///< empty: every PMU that has the three events under their own names

    /// PMUs without a cpumask (core and software PMUs) are counted on every CPU that they have, instead of on
    /// the first one alone. What such a PMU counts decides which is right: events that each CPU has for
    /// itself need all of them, a count that every CPU sees alike would be multiplied.
    bool everyCpu = false;
};

/// A source, or one line that says why there is none (what, where, the value, the remedy).
struct SourceResult {
    std::unique_ptr<CounterSource> source;
    std::string error;
};

/// Opens counters with perf_event_open on every PMU below `sysfsRoot` that has all of rx_outer, rx_sccl and
/// rx_ops_num among its events, or on what `mappings` name. Events without a mapping are looked up by their
/// own names, on PMUs that have all of those. Event names given to the plug-in read "<pmu>/<event>/"; with a
/// mapping "<pmu>/<event>/" too, <event> being the name that is mapped.
///
/// The events of one PMU on one CPU are one group, read at one instant. A PMU is counted on each CPU of its
/// cpumask and nowhere else; a PMU without one on its first CPU that is online, see LiveOptions::everyCpu. A
/// batch has one sample for each event of each PMU, summed over the CPUs, counted since the read before (the
/// first: since opening). Counts of counters that had to share the hardware are scaled to the whole interval.
///
/// CPUs and PMUs may come and go: counters that fail are opened again, the cpumask is read anew after a
/// failure and every minute. The source fails when no counter is left. May raise the process's soft limit of
/// open descriptors.
SourceResult OpenLiveSource(const LiveOptions& options);

/// The same on another kernel interface and clock, both of which must outlive the source.
SourceResult OpenLiveSource(const LiveOptions& options, PerfApi& api, Clock& clock);

}  // namespace host

#endif  // HOST_LIVE_SOURCE_H
