// SPDX-License-Identifier: MIT

#ifndef HOST_KERNEL_COUNTS_H
#define HOST_KERNEL_COUNTS_H

#include <cstdint>

#include <string>
#include <string_view>

namespace host {

/// What the kernel counts about the memory of one node since boot: pages that were allocated, by where they
/// were wanted and by where the asking CPU was. An allocation is no access: a page counts once, whatever is
/// done with it afterwards, and so does a huge page or another block of pages.
struct NodeCounts {
    std::uint64_t hit = 0;         ///< from this node, as was wanted
    std::uint64_t miss = 0;        ///< from this node, although another one was wanted
    std::uint64_t foreign = 0;     ///< wanted from this node, but came from another one
    std::uint64_t interleave = 0;  ///< from this node, as an interleaving policy wanted
    std::uint64_t local = 0;       ///< from this node for a CPU of this node
    std::uint64_t other = 0;       ///< from this node for a CPU of another node
};

/// What the kernel counts about faults that it provokes to see who uses which page (automatic NUMA
/// balancing), whole machine, since boot. A sample of accesses to memory that may be moved.
struct HintCounts {
    std::uint64_t faults = 0;    ///< all
    std::uint64_t local = 0;     ///< of these, by a CPU of the node that has the page
    std::uint64_t migrated = 0;  ///< pages that were moved to the node of the CPU
};

/// Counts, or one line that says what is wrong with the text. `missing`: the text is sound but lacks rows.
struct NodeCountsResult {
    NodeCounts counts;
    std::string error;
};
struct HintCountsResult {
    HintCounts counts;
    bool missing = false;
    std::string error;
};

/// Reads a node's file numastat: rows of a name and a count. Rows of other names are passed over, foreign
/// and interleave_hit may be absent; everything else has to be there once. Text of any content is safe.
NodeCountsResult ParseNodeCounts(std::string_view text);

/// Reads /proc/vmstat, in which the rows of a kernel without automatic balancing are absent.
HintCountsResult ParseHintCounts(std::string_view text);

/// What was counted from `then` to `now`. A counter that stepped back counts as unchanged.
NodeCounts CountedSince(const NodeCounts& then, const NodeCounts& now);
HintCounts CountedSince(const HintCounts& then, const HintCounts& now);

/// Sums, which stop at the largest number.
void AddTo(NodeCounts& sum, const NodeCounts& counts);
void AddTo(HintCounts& sum, const HintCounts& counts);

}  // namespace host

#endif  // HOST_KERNEL_COUNTS_H
