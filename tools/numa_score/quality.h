// SPDX-License-Identifier: MIT

#ifndef TOOLS_NUMA_SCORE_QUALITY_H
#define TOOLS_NUMA_SCORE_QUALITY_H

#include <cstddef>
#include <cstdint>

#include <array>
#include <string>
#include <string_view>

namespace numa_score {

/// What a reader has to know about a score before believing it. Flags stand beside the score and never change
/// it. The order is the order of the bits and of the names in every output.
enum class Quality : std::uint32_t {
    IDLE,         ///< operations were counted and there were none: the score 1.0 says nothing about locality
    MULTIPLEXED,  ///< a counter did not run all the time; its count is an extrapolation
    NOT_COUNTED,  ///< a counter did not run at all in the period
    PARTIAL,      ///< a counter gave nothing, an event of the three is absent, or the period was cut short
    CLAMPED,    ///< more remote than all operations: the counts contradict each other, the score was cut to 0
    STALE,      ///< no counts arrived since the period before
    DISAGREES,  ///< the kernel's own counts contradict the score, over the last ten seconds or so
};

constexpr std::size_t QUALITY_COUNT = 7;

/// Names as they stand in every output, in the order of Quality.
constexpr std::array<std::string_view, QUALITY_COUNT> QUALITY_NAMES = {
    "idle", "multiplexed", "not_counted", "partial", "clamped", "stale", "disagrees"};

/// Counters that ran for less than this share of a period are called multiplexed. A little is lost whenever
/// a group of counters is switched on, without any multiplexing.
constexpr double FULL_RUNNING_RATIO = 0.999;

class QualityFlags {
public:
    void Set(Quality flag) { bits |= Bit(flag); }
    bool Has(Quality flag) const { return (bits & Bit(flag)) != 0; }
    bool None() const { return bits == 0; }
    bool operator==(const QualityFlags& other) const { return bits == other.bits; }

private:
    static std::uint32_t Bit(Quality flag) { return 1U << static_cast<std::uint32_t>(flag); }

    std::uint32_t bits = 0;
};

/// What is known about a period.
struct Evidence {
    std::uint64_t ops = 0;  ///< the three counts as published
    std::uint64_t sccl = 0;
    std::uint64_t outer = 0;
    std::uint64_t samples = 0;     ///< counts that arrived
    std::uint64_t notCounted = 0;  ///< counters that did not run
    std::uint64_t missing = 0;     ///< counters that gave nothing
    bool sawOps = false;           ///< a count of the event arrived
    bool sawSccl = false;
    bool sawOuter = false;
    bool cutShort = false;  ///< the source ended within the period
    bool kernelDisagrees = false;
    double runningRatio = 1.0;  ///< lowest of all counters
};

QualityFlags Judge(const Evidence& evidence);

/// Names of the flags that are set, with `separator` between them.
void AppendFlags(std::string& out, QualityFlags flags, std::string_view separator);

}  // namespace numa_score

#endif  // TOOLS_NUMA_SCORE_QUALITY_H
