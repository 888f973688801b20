// SPDX-License-Identifier: MIT

#include "host/recording_fields.h"

#include <charconv>
#include <limits>
#include <system_error>

namespace host {
namespace {

constexpr std::int64_t NS_PER_SECOND = 1000000000;

}  // namespace

void SplitFields(std::string_view line, std::string_view separator, Fields& fields)
{
    fields.count = 0;
    const char* begin = line.data();
    const char* const end = begin + line.size();
    if (separator.size() == 1) {
        const char mark = separator.front();
        for (const char* at = begin; at != end; ++at) {
            if (*at == mark) {
                fields.Add(begin, at);
                if (fields.count == MAX_FIELDS) {
                    return;
                }
                begin = at + 1;
            }
        }
        fields.Add(begin, end);
        return;
    }
    std::size_t from = 0;
    while (fields.count < MAX_FIELDS) {
        const std::size_t at = line.find(separator, from);
        fields.Add(begin + from, at == std::string_view::npos ? end : begin + at);
        if (at == std::string_view::npos) {
            return;
        }
        from = at + separator.size();
    }
}

bool IsDigits(std::string_view text)
{
    for (const char c : text) {
        if (!IsDigit(c)) {
            return false;
        }
    }
    return !text.empty();
}

std::string_view LeadingDigits(std::string_view text)
{
    std::size_t digits = 0;
    while (digits < text.size() && IsDigit(text[digits])) {
        ++digits;
    }
    return text.substr(0, digits);
}

std::string_view SkipBlanks(std::string_view text)
{
    std::size_t blanks = 0;
    while (blanks < text.size() && text[blanks] == ' ') {
        ++blanks;
    }
    return text.substr(blanks);
}

bool IsNumber(std::string_view text)
{
    const std::string_view whole = LeadingDigits(text);
    if (whole.empty()) {
        return false;
    }
    const std::string_view rest = text.substr(whole.size());
    return rest.empty() || ((rest.front() == '.' || rest.front() == ',') && IsDigits(rest.substr(1)));
}

bool IsPercentage(std::string_view text)
{
    const std::string_view whole = LeadingDigits(text);
    return !whole.empty() && whole.size() <= 3 && text.size() == whole.size() + 3 &&
           (text[whole.size()] == '.' || text[whole.size()] == ',') &&
           IsDigits(text.substr(whole.size() + 1));
}

TimeForm ParseTime(std::string_view text, std::int64_t& timeNs)
{
    const std::string_view whole = LeadingDigits(text);
    if (whole.empty() || whole.size() == text.size() || text[whole.size()] != '.') {
        return TimeForm::NONE;
    }
    const std::string_view fraction = text.substr(whole.size() + 1);
    if (!IsDigits(fraction) || fraction.size() > 9) {
        return TimeForm::NONE;
    }
    std::int64_t seconds = 0;
    const auto parsed = std::from_chars(whole.data(), whole.data() + whole.size(), seconds);
    if (parsed.ec != std::errc() || seconds >= std::numeric_limits<std::int64_t>::max() / NS_PER_SECOND) {
        return TimeForm::TOO_LARGE;
    }
    std::int64_t nanoseconds = 0;
    std::from_chars(fraction.data(), fraction.data() + fraction.size(), nanoseconds);
    for (std::size_t digits = fraction.size(); digits < 9; ++digits) {
        nanoseconds *= 10;
    }
    timeNs = seconds * NS_PER_SECOND + nanoseconds;
    return TimeForm::GOOD;
}

}  // namespace host
