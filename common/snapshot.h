// SPDX-License-Identifier: MIT

#ifndef COMMON_SNAPSHOT_H
#define COMMON_SNAPSHOT_H

#include <cstdint>

#include "common/export.h"

/// The gate that lets messages below the level threshold through once per period.
///
/// Time is whatever the caller reports to UpdateInterval, in the unit of `interval`; the gate reads no clock.
/// Takes no lock: one thread updates it, and no other thread logs through the gate meanwhile.
struct SCENARIO_NUMA_EXPORT Snapshot {
    /// Sets both values and starts a period: `elapsed` 0, `forced` false. Always true.
    bool Init(bool enable, unsigned period);

    /// Adds `delta` to `elapsed` (unsigned, modulo 2^32) and wraps it to 0 once it reaches `interval`. A
    /// disabled gate ignores the call.
    void UpdateInterval(int delta);

    /// Whether a low-level message passes now: in an enabled gate when `elapsed` is 0 or `forced` is set.
    bool ShouldSnap() const;

    bool enabled = false;              ///< snapshot logging is on
    std::uint32_t interval = 6000000;  ///< length of one period, in the unit of UpdateInterval
    std::uint32_t elapsed = 0;         ///< time reported in the current period
    bool forced = false;               ///< passes messages in the middle of a period too; the caller sets it
};

#endif  // COMMON_SNAPSHOT_H
