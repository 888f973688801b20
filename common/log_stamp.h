// SPDX-License-Identifier: MIT

#ifndef COMMON_LOG_STAMP_H
#define COMMON_LOG_STAMP_H

#include <time.h>

#include <cstddef>

#include <string_view>

namespace runtime {

/// The time stamp of log lines: local time as "%m/%d/%y %H:%M:%S", ".", three digits of milliseconds.
///
/// Whole seconds are formatted once per second and time zone; a zone that tzset or localtime changed shows at
/// once. Not thread-safe. Constant-initialised, so a function-local static one needs no guard.
class LogStamp {
public:
    constexpr LogStamp() = default;

    /// The stamp of `now`, valid until the next call.
    std::string_view Format(const timespec& now);

private:
    bool Matches(time_t second) const;
    void Remember(time_t second);

    static constexpr std::size_t SECONDS_SIZE = 80;
    char text[SECONDS_SIZE + 4] = {};  // the seconds, then the dot and the milliseconds
    std::size_t secondsLength = 0;
    bool valid = false;
    time_t cachedSecond = 0;
    // The zone that the text was made in; the library keeps the names of a zone for good, so pointers will
    // do.
    long zoneOffset = 0;
    int zoneDaylight = 0;
    const char* zoneNames[2] = {};
};

}  // namespace runtime

#endif  // COMMON_LOG_STAMP_H
