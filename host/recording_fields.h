// SPDX-License-Identifier: MIT

#ifndef HOST_RECORDING_FIELDS_H
#define HOST_RECORDING_FIELDS_H

#include <cstddef>
#include <cstdint>

#include <array>
#include <string_view>

namespace host {

/// More fields than perf writes for any event whose name holds no more than some fifty commas.
constexpr std::size_t MAX_FIELDS = 64;

/// Parts of a line. The arrays are filled up to `count` and left as they are behind that: clearing them would
/// cost more than the rest of the parsing.
struct Fields {
    std::array<const char*, MAX_FIELDS> begin;
    std::array<std::size_t, MAX_FIELDS> size;
    std::size_t count;

    void Add(const char* from, const char* to)
    {
        begin[count] = from;
        size[count] = static_cast<std::size_t>(to - from);
        ++count;
    }

    /// Fields behind the last one read as empty.
    std::string_view operator[](std::size_t index) const
    {
        return index < count ? std::string_view(begin[index], size[index]) : std::string_view();
    }
};

/// Takes a line apart; what is behind the last of MAX_FIELDS separators is left out. `separator` is not
/// empty.
void SplitFields(std::string_view line, std::string_view separator, Fields& fields);

inline bool IsDigit(char c)
{
    return c >= '0' && c <= '9';
}

inline bool IsLetter(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

inline bool StartsWith(std::string_view text, std::string_view head)
{
    return text.substr(0, head.size()) == head;
}

/// One digit or more, nothing else.
bool IsDigits(std::string_view text);

std::string_view LeadingDigits(std::string_view text);
std::string_view SkipBlanks(std::string_view text);

/// Digits, and perhaps a fraction behind a dot, or behind a comma where the recording's locale has one.
bool IsNumber(std::string_view text);

/// One to three digits, a dot or a comma, two digits: "100.00".
bool IsPercentage(std::string_view text);

enum class TimeForm { NONE, GOOD, TOO_LARGE };

/// Seconds, a dot, up to nine digits of fraction, nothing else.
TimeForm ParseTime(std::string_view text, std::int64_t& timeNs);

}  // namespace host

#endif  // HOST_RECORDING_FIELDS_H
