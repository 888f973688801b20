// SPDX-License-Identifier: MIT

#include "common/log_stamp.h"

namespace runtime {

bool LogStamp::Matches(time_t second) const
{
    return valid && cachedSecond == second && zoneOffset == timezone && zoneDaylight == daylight &&
           zoneNames[0] == tzname[0] && zoneNames[1] == tzname[1];
}

void LogStamp::Remember(time_t second)
{
    cachedSecond = second;
    zoneOffset = timezone;
    zoneDaylight = daylight;
    zoneNames[0] = tzname[0];
    zoneNames[1] = tzname[1];
    valid = true;
}

std::string_view LogStamp::Format(const timespec& now)
{
    if (!Matches(now.tv_sec)) {
        tm local{};
        secondsLength = localtime_r(&now.tv_sec, &local) == nullptr
                            ? 0
                            : strftime(text, SECONDS_SIZE, "%m/%d/%y %H:%M:%S", &local);
        Remember(now.tv_sec);
    }
    const auto milliseconds = static_cast<unsigned>(now.tv_nsec / 1000000);
    char* const end = text + secondsLength;
    end[0] = '.';
    end[1] = static_cast<char>('0' + milliseconds / 100);
    end[2] = static_cast<char>('0' + milliseconds / 10 % 10);
    end[3] = static_cast<char>('0' + milliseconds % 10);
    return {text, secondsLength + 4};
}

}  // namespace runtime
