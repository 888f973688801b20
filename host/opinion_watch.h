// SPDX-License-Identifier: MIT

#ifndef HOST_OPINION_WATCH_H
#define HOST_OPINION_WATCH_H

#include <cstdint>

#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "host/kernel_numa.h"
#include "host/second_opinion.h"

namespace host {

/// Sets the kernel's counts beside those of a live PMU while it runs: reads the kernel once a second,
/// judges the last WINDOW_NS again and again, and tells when a disagreement begins and ends. Belongs to one
/// thread; times are those of one monotonic clock.
class OpinionWatch {
public:
    static constexpr std::int64_t READ_NS = 1000000000;
    static constexpr std::int64_t EARLY_NS = 20000000;  ///< callers that come once a second may be early
    static constexpr std::int64_t WINDOW_NS = 10000000000;

    OpinionWatch(const std::string& sysfsRoot, const std::string& procfsRoot);

    /// Takes the first reading, with which everything begins.
    void Start(std::int64_t nowNs);

    /// Adds what the PMU counted since the last call.
    void AddTraffic(std::uint64_t ops, std::uint64_t sccl, std::uint64_t outer);

    /// Reads the kernel when a second has passed since it was last read. True when it did.
    bool ReadInTime(std::int64_t nowNs);

    /// Reads the kernel now, for the end.
    void ReadNow(std::int64_t nowNs);

    /// What was counted between the last two readings, and over the window that ends with the last one. The
    /// window reaches back to the latest reading that is WINDOW_NS old, or to the first one.
    const OpinionReport& LastStep() const { return lastStep; }
    const OpinionReport& Window() const { return window; }

    /// From the first reading to the last.
    OpinionReport Whole() const { return CompareOpinions(first, readings.back()); }

    const OpinionReading& LastReading() const { return readings.back(); }

    /// A disagreement that has begun lasts until the window has shown none for WINDOW_NS.
    bool Disagrees() const { return disagrees; }

    enum class Change { BEGAN, ENDED };

    /// What became of the disagreement since the last call, if anything.
    std::optional<Change> TakeChange();

    /// See KernelNuma::TakeRemarks.
    std::vector<std::string> TakeRemarks() { return kernel.TakeRemarks(); }

private:
    OpinionReading Reading(std::int64_t nowNs);
    void Judge(std::int64_t nowNs);

    KernelNuma kernel;
    PmuTraffic traffic;
    OpinionReading first;
    std::deque<OpinionReading> readings;  // the window's, oldest first
    OpinionReport lastStep;
    OpinionReport window;
    std::int64_t disagreedNs = 0;  // when the window last showed a disagreement
    bool disagrees = false;
    std::optional<Change> change;
};

}  // namespace host

#endif  // HOST_OPINION_WATCH_H
