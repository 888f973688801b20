// SPDX-License-Identifier: MIT

#ifndef HOST_LIVE_SOURCE_H
#define HOST_LIVE_SOURCE_H

#include <memory>
#include <string>
#include <vector>

#include "host/counter_source.h"

namespace host {

/// Counts of one of the three events taken from another PMU event, as the user writes it: "PMU/event/" or
/// "PMU/term=value,.../", for example rx_ops_num = "software/config=0x0/".
struct EventMapping {
    std::string eventName;  ///< "rx_outer", "rx_sccl" or "rx_ops_num"
    std::string target;     ///< PMU and event that is counted instead
};

struct LiveOptions {
    std::string sysfsRoot = "/sys";      ///< tree that is searched for PMUs
    std::vector<EventMapping> mappings;  ///< empty: every PMU that has the three events under their own names
};

/// A source, or one line that says why there is none (what, where, the value, the remedy).
struct SourceResult {
    std::unique_ptr<CounterSource> source;
    std::string error;
};

/// Opens counters with perf_event_open on every PMU below `sysfsRoot` that has all of rx_outer, rx_sccl and
/// rx_ops_num among its events, or on what `mappings` name. Event names given to the plug-in read
/// "<pmu>/<event>/"; with a mapping "<pmu>/<event>/" too, <event> being the name that is mapped.
SourceResult OpenLiveSource(const LiveOptions& options);

}  // namespace host

#endif  // HOST_LIVE_SOURCE_H
