// SPDX-License-Identifier: MIT

#ifndef HOST_SECOND_OPINION_H
#define HOST_SECOND_OPINION_H

#include <cstdint>

#include <optional>
#include <string>

#include "host/kernel_numa.h"

namespace host {

/// The kernel's counts beside those of the PMU, and whether the two contradict each other.
///
/// They do not count the same. The PMU counts operations on memory. The kernel counts pages when they are
/// allocated, and hint faults, a sample of accesses to memory that automatic balancing may move. So a
/// disagreement is a hint that a counter, its mapping or its name is wrong, and no proof; only a clear one is
/// told of: one side says that at least MUCH_REMOTE crossed, the other that at most HARDLY_REMOTE did.
///
/// The kernel says much, the PMU hardly any: a page that is allocated for a CPU of another node is at least
/// cleared from there, and so is a remote access. Either of allocations and hint faults is enough, unless the
/// other one, too, says hardly any. The PMU is taken at its highest reading, other sockets and other dies
/// together, since a node may be a socket or a die.
///
/// The PMU says much, the kernel hardly any: only hint faults can show it. That allocations are local says
/// nothing about accesses to memory that two nodes share, and these are what the score is there to find. The
/// PMU is taken at its lowest reading, other sockets alone.
///
/// Misses (pages that came from another node than was wanted) are shown and not judged: they tell that a node
/// was full, not where accesses went.

/// "Much" is more than half, what an even spread over two nodes would give; "hardly any" is a tenth of that,
/// about where the shipped alert on the score starts (0.955).
constexpr double MUCH_REMOTE = 0.5;
constexpr double HARDLY_REMOTE = 0.05;

/// Fewer events are not judged. 10,000 pages of 4 KiB are 40 MiB: less is what the machine does by itself,
/// and comes in bursts of one process. Hint faults come one by one.
constexpr std::uint64_t MIN_ALLOCATIONS = 10000;
constexpr std::uint64_t MIN_HINT_FAULTS = 1000;
constexpr double MIN_OPERATIONS = 1000;

/// A shorter time is not judged: both sides are read at moments that lie up to a period apart.
constexpr std::int64_t MIN_SPAN_NS = 3000000000;

/// What the PMU counted; the shares alone count.
struct PmuTraffic {
    double ops = 0;
    double sccl = 0;   ///< of these, from another die
    double outer = 0;  ///< of these, from another socket
};

/// Both sides at one moment, as sums since the first reading.
struct OpinionReading {
    std::int64_t timeNs = 0;
    PmuTraffic pmu;
    KernelTotals kernel;
};

/// The kernel's figures in shares. Absent without events, or where they are not counted.
struct KernelShares {
    std::uint64_t allocations = 0;            ///< pages
    std::optional<double> remoteAllocations;  ///< other / (local + other)
    std::optional<double> misses;             ///< miss / (hit + miss)
    std::uint64_t hintFaults = 0;
    std::optional<double> remoteHintFaults;  ///< 1 - local / all
};

enum class Opinion {
    UNDECIDED,        ///< one side has too little to say, see OpinionReport::undecided
    NO_DISAGREEMENT,  ///< no clear one
    PMU_LOCAL_KERNEL_REMOTE,
    PMU_REMOTE_KERNEL_LOCAL,
};

/// "undecided", "no_disagreement", "pmu_local_kernel_remote", "pmu_remote_kernel_local".
const char* OpinionName(Opinion opinion);

inline bool IsDisagreement(Opinion opinion)
{
    return opinion == Opinion::PMU_LOCAL_KERNEL_REMOTE || opinion == Opinion::PMU_REMOTE_KERNEL_LOCAL;
}

/// What both sides say about some time.
struct OpinionReport {
    std::int64_t spanNs = 0;
    PmuTraffic pmu;
    KernelTotals kernel;
    KernelShares shares;
    Opinion opinion = Opinion::UNDECIDED;
    std::string undecided;      ///< why, one line; empty otherwise
    bool byHintFaults = false;  ///< which of the kernel's shares disagrees; the allocations' otherwise
};

KernelShares SharesOf(const KernelTotals& totals);

/// Judges the time between two readings of the same objects.
OpinionReport CompareOpinions(const OpinionReading& then, const OpinionReading& now);

/// A disagreement in one line: what each side says, "the PMU calls ... local (0.12% crossed), the kernel
/// ...". Empty for every other report.
std::string DisagreementText(const OpinionReport& report);

}  // namespace host

#endif  // HOST_SECOND_OPINION_H
