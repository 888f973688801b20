// SPDX-License-Identifier: MIT

#ifndef CONFIG_VALIDATION_LIMITS_H
#define CONFIG_VALIDATION_LIMITS_H

#include <cstdint>

#include <limits>

// The ranges that validation enforces and help prints, both ends included.

constexpr std::uint32_t MIN_SAMPLING_INTERVAL = 100;
constexpr std::uint32_t MAX_SAMPLING_INTERVAL = 100000;  ///< milliseconds
constexpr std::uint32_t MIN_SAMPLING_TIMES = 1;
constexpr std::uint32_t MAX_SAMPLING_TIMES = 1000;
constexpr std::uint32_t MIN_WATCHDOG_TIMEOUT = 1;
constexpr std::uint32_t MAX_WATCHDOG_TIMEOUT = 200;  ///< seconds
constexpr std::uint32_t MIN_SPE_PERIOD = 1;
constexpr std::uint32_t MAX_SPE_PERIOD = std::numeric_limits<std::uint32_t>::max();
constexpr std::uint32_t MIN_PAGE_RESERVE = 0;
constexpr std::uint32_t MAX_PAGE_RESERVE = std::numeric_limits<std::uint32_t>::max();
constexpr std::uint32_t MAX_NUMA_SCORE = 1000;
constexpr std::uint32_t MAX_NUMA_RATIO = 100;
constexpr std::uint32_t KOVARI_INTERVAL_STEP = 100;  ///< milliseconds

/// Printed only: any interval is accepted.
constexpr std::uint32_t MIN_SNAPSHOT_INTERVAL = 0;
constexpr std::uint32_t MAX_SNAPSHOT_INTERVAL = 86400;  ///< tune periods

#endif  // CONFIG_VALIDATION_LIMITS_H
