// SPDX-License-Identifier: MIT

#ifndef TOOLS_NUMA_SCORE_PERIOD_ROW_H
#define TOOLS_NUMA_SCORE_PERIOD_ROW_H

#include <cstdint>

#include <optional>
#include <string_view>
#include <vector>

#include "host/second_opinion.h"
#include "tools/numa_score/quality.h"

namespace numa_score {

/// The three counts over some time.
struct Traffic {
    std::uint64_t ops = 0;    ///< operations received
    std::uint64_t sccl = 0;   ///< of these, from another die of the same socket
    std::uint64_t outer = 0;  ///< of these, from another socket
};

/// Part of `traffic` that came from another socket; absent without operations. Above 1 when the counts
/// contradict each other.
inline std::optional<double> RemoteShare(const Traffic& traffic)
{
    if (traffic.ops == 0) {
        return std::nullopt;
    }
    return static_cast<double>(traffic.outer) / static_cast<double>(traffic.ops);
}

/// Part of `traffic` that came from another die of the same socket.
inline std::optional<double> CrossDieShare(const Traffic& traffic)
{
    if (traffic.ops == 0) {
        return std::nullopt;
    }
    return static_cast<double>(traffic.sccl) / static_cast<double>(traffic.ops);
}

inline std::optional<double> OpsPerMs(const Traffic& traffic, std::int64_t intervalMs)
{
    if (intervalMs <= 0) {
        return std::nullopt;
    }
    return static_cast<double>(traffic.ops) / static_cast<double>(intervalMs);
}

/// Share of one PMU in a period.
struct PmuRow {
    std::string_view name;  ///< as the source has it; the accumulator keeps it alive
    Traffic traffic;
    float score = 1.0F;         ///< by the rule of the published score, for this PMU alone
    double runningRatio = 1.0;  ///< lowest of the PMU's counters
};

enum class TimeKind {
    RECORDED,  ///< nanoseconds from the start of the recording
    UTC,       ///< nanoseconds since 1970
};

/// All that is shown about one period.
struct PeriodRow {
    TimeKind timeKind = TimeKind::RECORDED;
    std::int64_t timeNs = 0;      ///< end of the period
    std::int64_t durationNs = 0;  ///< on the source's time line
    float score = 1.0F;           ///< as published
    Traffic traffic;              ///< as published
    std::int64_t intervalMs = 0;  ///< as published: sum over the period's batches
    double runningRatio = 1.0;    ///< lowest of all counters in the period
    QualityFlags flags;
    bool measured = true;      ///< false when there were no operations or none were counted: no verdict
    std::vector<PmuRow> pmus;  ///< in the order in which the PMUs first appeared

    /// What the kernel counted, in the first period after it was read: since it was read before. Null
    /// otherwise. The runner's watch keeps it alive until the next period.
    const host::OpinionReport* kernel = nullptr;
    host::Opinion opinion = host::Opinion::UNDECIDED;  ///< of the window that ends there
};

}  // namespace numa_score

#endif  // TOOLS_NUMA_SCORE_PERIOD_ROW_H
