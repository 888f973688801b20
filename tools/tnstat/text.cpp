// SPDX-License-Identifier: MIT

#include "tools/tnstat/text.h"

#include <time.h>

#include <array>
#include <charconv>

namespace tnstat {
namespace {

constexpr std::int64_t NS_PER_SECOND = 1000000000;
constexpr std::int64_t NS_PER_MS = 1000000;

std::string Padded(std::int64_t value, std::size_t width)
{
    const std::string digits = std::to_string(value);
    return std::string(width > digits.size() ? width - digits.size() : 0, '0') + digits;
}

}  // namespace

std::string UtcTime(std::int64_t ns)
{
    std::int64_t seconds = ns / NS_PER_SECOND;
    std::int64_t rest = ns % NS_PER_SECOND;
    if (rest < 0) {
        rest += NS_PER_SECOND;
        --seconds;
    }
    const time_t stamp = seconds;
    struct tm parts = {};
    gmtime_r(&stamp, &parts);
    return Padded(parts.tm_year + 1900, 4) + "-" + Padded(parts.tm_mon + 1, 2) + "-" +
           Padded(parts.tm_mday, 2) + "T" + Padded(parts.tm_hour, 2) + ":" + Padded(parts.tm_min, 2) + ":" +
           Padded(parts.tm_sec, 2) + "." + Padded(rest / NS_PER_MS, 3) + "Z";
}

std::string ShortestFloat(float value)
{
    std::array<char, 64> digits;
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value);
    return {digits.data(), end.ptr};
}

double DecimalDouble(float value)
{
    const std::string digits = ShortestFloat(value);
    double result = value;
    std::from_chars(digits.data(), digits.data() + digits.size(), result);
    return result;
}

}  // namespace tnstat
