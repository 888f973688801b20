// SPDX-License-Identifier: MIT

#ifndef HOST_KERNEL_NUMA_H
#define HOST_KERNEL_NUMA_H

#include <cstddef>
#include <cstdint>

#include <map>
#include <string>
#include <vector>

#include "host/kernel_counts.h"

namespace host {

/// One node since the first reading.
struct NodeTotals {
    std::uint32_t node = 0;
    NodeCounts counts;
    bool online = true;  ///< at the last reading
    bool cpus = true;    ///< has CPUs, or nothing tells that it has none
};

/// What the kernel counted since the first reading. What it does not count is unknown and never 0.
struct KernelTotals {
    std::vector<NodeTotals> nodes;  ///< every node that was ever online, ascending
    HintCounts hints;
    std::size_t nodesOnline = 0;  ///< at the last reading; 0 where that cannot be told
    bool nodesCounted = false;    ///< a reading of nodes has succeeded
    bool hintsCounted = false;    ///< a reading of hint faults has succeeded while they were counted
    std::string nodesProblem;     ///< why the last reading of nodes lacks something; empty when it does not
    std::string hintsProblem;     ///< the same of hint faults
};

/// The kernel's own counts of where memory came from, read from DIR/devices/system/node/node*/numastat below
/// the sysfs root and from vmstat below the procfs root, as sums since the first reading. Nodes may come and
/// go. Belongs to one thread.
class KernelNuma {
public:
    /// So many nodes are read.
    static constexpr std::size_t MAX_NODES = 64;

    KernelNuma(std::string sysfsRoot, std::string procfsRoot);

    /// Reads everything once: five files, and one for each node.
    void Read();

    const KernelTotals& Totals() const { return totals; }

    /// What came up since the last call, each one line: what is not counted, each kind once; nodes that came
    /// or went, the first MAX_REMARKS times.
    std::vector<std::string> TakeRemarks();

private:
    static constexpr std::size_t MAX_REMARKS = 8;

    struct Node {
        NodeCounts last;  // as the kernel shows them
        NodeCounts sum;
        bool read = false;  // `last` is filled
        bool online = true;
        bool cpus = true;
    };

    void ReadNodes();
    void ReadNode(std::uint32_t number, Node& node);
    void NoteCpus();
    void ReadHints();
    void NoteNodes(const std::vector<std::uint32_t>& online);

    std::string sysfs;
    std::string procfs;
    KernelTotals totals;
    std::map<std::uint32_t, Node> nodes;
    HintCounts lastHints;
    bool hintsRead = false;  // `lastHints` is filled
    bool nodesTold = false;
    bool hintsTold = false;
    std::size_t nodeRemarks = 0;
    std::vector<std::uint32_t> lastOnline;
    std::vector<std::string> remarks;
};

/// Node by node and counter by counter what `now` has more than `then`, an earlier state of the same object.
/// The problems are those of `now`.
KernelTotals TotalsSince(const KernelTotals& then, const KernelTotals& now);

}  // namespace host

#endif  // HOST_KERNEL_NUMA_H
