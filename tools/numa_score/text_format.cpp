// SPDX-License-Identifier: MIT

#include "tools/numa_score/text_format.h"

#include <time.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

namespace numa_score {
namespace {

constexpr std::int64_t NS_PER_SECOND = 1000000000;
constexpr std::int64_t NS_PER_MS = 1000000;
constexpr std::array<std::int64_t, 10> POWERS_OF_TEN = {1,      10,      100,      1000,      10000,
                                                        100000, 1000000, 10000000, 100000000, 1000000000};

template <class T, class... Format>
void AppendChars(std::string& out, T value, Format... format)
{
    std::array<char, 352> text;  // the longest: -DBL_MAX in fixed notation with nine places
    const std::to_chars_result end = std::to_chars(text.data(), text.data() + text.size(), value, format...);
    out.append(text.data(), end.ptr);
}

void AppendPadded(std::string& out, std::int64_t value, int digits)
{
    for (int digit = digits - 1; digit >= 0; --digit) {
        out += static_cast<char>('0' + value / POWERS_OF_TEN[static_cast<std::size_t>(digit)] % 10);
    }
}

/// Calendar time of a moment, with what is left of the second in `milliseconds`.
tm UtcOf(std::int64_t epochNs, std::int64_t& milliseconds)
{
    std::int64_t seconds = epochNs / NS_PER_SECOND;
    std::int64_t rest = epochNs % NS_PER_SECOND;
    if (rest < 0) {
        rest += NS_PER_SECOND;
        --seconds;
    }
    milliseconds = rest / NS_PER_MS;
    const time_t moment = seconds;
    tm parts{};
    gmtime_r(&moment, &parts);
    return parts;
}

void AppendTimeOfDay(std::string& out, const tm& parts, std::int64_t milliseconds)
{
    AppendPadded(out, parts.tm_hour, 2);
    out += ':';
    AppendPadded(out, parts.tm_min, 2);
    out += ':';
    AppendPadded(out, parts.tm_sec, 2);
    out += '.';
    AppendPadded(out, milliseconds, 3);
}

}  // namespace

void AppendUnsigned(std::string& out, std::uint64_t value)
{
    AppendChars(out, value);
}

void AppendSigned(std::string& out, std::int64_t value)
{
    AppendChars(out, value);
}

void AppendFixed(std::string& out, double value, int decimals)
{
    AppendChars(out, value, std::chars_format::fixed, decimals);
}

void AppendShortest(std::string& out, float value)
{
    AppendChars(out, value);
}

void AppendShortest(std::string& out, double value)
{
    AppendChars(out, value);
}

double WithDigitsOf(float value)
{
    std::string text;
    AppendShortest(text, value);
    double result = 0;
    std::from_chars(text.data(), text.data() + text.size(), result);
    return result;
}

void AppendSeconds(std::string& out, std::int64_t ns, int decimals)
{
    if (ns < 0) {
        out += '-';
    }
    const std::int64_t seconds = ns / NS_PER_SECOND;
    const std::int64_t rest = ns % NS_PER_SECOND;
    AppendUnsigned(out, static_cast<std::uint64_t>(std::abs(seconds)));
    if (decimals > 0) {
        out += '.';
        AppendPadded(out, std::abs(rest) / POWERS_OF_TEN[static_cast<std::size_t>(9 - decimals)], decimals);
    }
}

void AppendUtc(std::string& out, std::int64_t epochNs)
{
    std::int64_t milliseconds = 0;
    const tm parts = UtcOf(epochNs, milliseconds);
    AppendPadded(out, parts.tm_year + 1900, 4);
    out += '-';
    AppendPadded(out, parts.tm_mon + 1, 2);
    out += '-';
    AppendPadded(out, parts.tm_mday, 2);
    out += 'T';
    AppendTimeOfDay(out, parts, milliseconds);
    out += 'Z';
}

void AppendUtcTimeOfDay(std::string& out, std::int64_t epochNs)
{
    std::int64_t milliseconds = 0;
    const tm parts = UtcOf(epochNs, milliseconds);
    AppendTimeOfDay(out, parts, milliseconds);
}

void AppendScaled(std::string& out, double value)
{
    if (!(std::fabs(value) >= 9999.95)) {
        AppendFixed(out, value, 1);
        return;
    }
    constexpr std::string_view SUFFIXES = "kMGTPE";
    std::size_t suffix = 0;
    value /= 1000;
    while (std::fabs(value) >= 999.95 && suffix + 1 < SUFFIXES.size()) {
        value /= 1000;
        ++suffix;
    }
    AppendFixed(out, value, std::fabs(value) < 99.995 ? 2 : 1);
    out += SUFFIXES[suffix];
}

void AppendPercent(std::string& out, double share)
{
    AppendFixed(out, share * 100, 2);
    out += '%';
}

void AppendRight(std::string& out, std::string_view text, std::size_t width)
{
    out.append(width - std::min(width, text.size()), ' ');
    out += text;
}

}  // namespace numa_score
