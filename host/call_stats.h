// SPDX-License-Identifier: MIT

#ifndef HOST_CALL_STATS_H
#define HOST_CALL_STATS_H

#include <cstddef>
#include <cstdint>

namespace host {

/// The operations of an instance whose time is measured.
enum class Call { OPEN_TOPIC, CLOSE_TOPIC, UPDATE_DATA, ENABLE, DISABLE, RUN };

constexpr std::size_t CALL_COUNT = 6;

/// Name of a call as it stands in remarks, for example "UpdateData".
const char* CallName(Call call);

/// Time spent in one operation of one instance.
struct CallStats {
    std::uint64_t calls = 0;
    std::int64_t totalNs = 0;
    std::int64_t longestNs = 0;
    std::uint64_t failures = 0;  ///< calls that raised an exception or answered with a code other than 0

    void Record(std::int64_t elapsedNs, bool failed);
};

}  // namespace host

#endif  // HOST_CALL_STATS_H
