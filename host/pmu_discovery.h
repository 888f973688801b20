// SPDX-License-Identifier: MIT

#ifndef HOST_PMU_DISCOVERY_H
#define HOST_PMU_DISCOVERY_H

#include <cstdint>

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "host/cpu_list.h"
#include "host/pmu_terms.h"

namespace host {

/// The three events that the score is made of, by the names under which sysfs shows them.
constexpr std::array<std::string_view, 3> UNCORE_EVENTS = {"rx_outer", "rx_sccl", "rx_ops_num"};

/// How a PMU says on which CPUs its counters are opened.
enum class CpuScope {
    MASK,  ///< file cpumask: one reader for each socket or die
    CPUS,  ///< file cpus: a core PMU, counts on each of these CPUs by itself
    NONE,  ///< neither
};

/// Where a PMU is found and on which CPUs it counts. Both may change while the system runs.
struct PmuFacts {
    std::uint32_t type = 0;  ///< number of the PMU for perf_event_open; differs from boot to boot
    CpuScope scope = CpuScope::NONE;
    std::vector<std::uint32_t> cpus;  ///< of the file cpumask or cpus; empty with scope NONE
    std::string error;                ///< one line; empty when everything could be read
};

/// One PMU below bus/event_source/devices.
struct Pmu {
    std::string name;
    std::string directory;  ///< canonical path, inside the tree
    PmuFacts facts;
    std::vector<std::string> events;   ///< names in its events directory, natural order
    std::vector<std::string> missing;  ///< events that were asked for and that it lacks
    std::string error;                 ///< why it cannot be used; empty when it can
};

/// All PMUs of a tree, in natural order of the names.
struct PmuScan {
    std::vector<std::string> names;  ///< every PMU, with or without the events
    std::vector<Pmu> usable;         ///< has all events that were asked for and can be read
    std::vector<Pmu> unusable;       ///< has some of them, or has all but cannot be read: see missing, error
    std::vector<std::string> remarks;  ///< entries that were passed over, one line each, bounded
    std::string error;                 ///< why the tree could not be searched; empty otherwise
};

/// Looks for PMUs that have `eventNames`, below `sysfsRoot`. PMUs are known by the names of their events,
/// never by their own names or by the model of the CPU. Entries may be symbolic links, but what leads out of
/// the tree is passed over. Nothing that lies there can make this fail otherwise than by a message.
PmuScan ScanPmus(const std::string& sysfsRoot, const std::vector<std::string>& eventNames);

/// The PMUs that `name` stands for: the one with exactly this name, or else its instances, `name` followed by
/// a number or by '_' and a number. Empty when there are none.
std::vector<std::string> MatchPmus(const std::vector<std::string>& names, std::string_view name);

/// One PMU by its exact name. `error` says why not.
Pmu ReadPmu(const std::string& sysfsRoot, const std::string& name);

/// Type and CPUs of a PMU anew.
PmuFacts ReadPmuFacts(const std::string& directory);

/// Every file of the format directory; files that could not be understood carry an error. A PMU without that
/// directory has none.
std::vector<FormatTerm> ReadFormats(const Pmu& pmu);

/// Content of the event file `event` of a PMU; errors name the file.
EventTermsResult ReadEvent(const Pmu& pmu, const std::string& event);

/// CPUs that are online, below `sysfsRoot`.
CpuListResult ReadOnlineCpus(const std::string& sysfsRoot);

/// NUMA nodes that are online; the same grammar.
CpuListResult ReadOnlineNodes(const std::string& sysfsRoot);

/// NUMA nodes that have CPUs; memory on an expander or beside the processor may be a node without any.
CpuListResult ReadNodesWithCpus(const std::string& sysfsRoot);

}  // namespace host

#endif  // HOST_PMU_DISCOVERY_H
