// SPDX-License-Identifier: MIT

#include "host/recording_line.h"

#include <charconv>
#include <limits>
#include <system_error>

#include "host/recording_fields.h"

namespace host {
namespace {

constexpr std::string_view NOT_COUNTED_TEXT = "<not counted>";
constexpr std::string_view NOT_SUPPORTED_TEXT = "<not supported>";

/// True when `word` is the whole first field; with an unknown separator, when it ends there.
bool IsFirstField(std::string_view text, std::string_view word, std::string_view separator)
{
    if (!StartsWith(text, word) || text.size() == word.size()) {
        return false;
    }
    const char next = text[word.size()];
    return separator.empty() ? !IsLetter(next) && !IsDigit(next) && next != ' '
                             : StartsWith(text.substr(word.size()), separator);
}

bool IsValue(std::string_view text)
{
    return IsNumber(text) || text == NOT_COUNTED_TEXT || text == NOT_SUPPORTED_TEXT;
}

/// "0.09%", as it stands before the running time when a run was repeated.
bool IsVariance(std::string_view text)
{
    return text.size() > 1 && text.back() == '%' && IsNumber(text.substr(0, text.size() - 1));
}

/// "09%", the part of a variance behind a decimal comma that was taken for a separator.
bool IsVarianceTail(std::string_view text)
{
    return text.size() == 3 && text.back() == '%' && IsDigits(text.substr(0, 2));
}

std::uint32_t Hundredths(std::string_view whole, std::string_view fraction)
{
    std::uint32_t value = 0;
    for (const char c : whole) {
        value = value * 10 + static_cast<std::uint32_t>(c - '0');
    }
    for (const char c : fraction) {
        value = value * 10 + static_cast<std::uint32_t>(c - '0');
    }
    return value;
}

bool IsPrintable(std::string_view text)
{
    for (const char c : text) {
        if (c < ' ' || c > '~') {
            return false;
        }
    }
    return true;
}

bool IsName(std::string_view text, std::size_t limit)
{
    return !text.empty() && text.size() <= limit && IsPrintable(text);
}

LineKind ParseCount(std::string_view whole, std::string_view fraction, RecordingLine& out)
{
    const auto parsed = std::from_chars(whole.data(), whole.data() + whole.size(), out.count);
    if (parsed.ec != std::errc()) {
        return LineKind::COUNT_TOO_LARGE;
    }
    for (const char c : fraction) {
        out.rounded = out.rounded || c != '0';
    }
    if (!fraction.empty() && fraction.front() >= '5') {
        if (out.count == std::numeric_limits<std::uint64_t>::max()) {
            return LineKind::COUNT_TOO_LARGE;
        }
        ++out.count;
    }
    return LineKind::COUNT;
}

/// Where the fields behind the event stand.
struct Tail {
    std::size_t running = 0;  // index of the running time; 0: not found
    bool split = false;       // the percentage's decimal comma was taken for a separator
};

/// Event names are not quoted, so that one with commas spans fields: it ends where a running time and a
/// percentage follow.
Tail FindTail(const Fields& fields, std::size_t event, bool commaSeparates)
{
    for (std::size_t i = event + 1; i + 1 < fields.count; ++i) {
        if (IsDigits(fields[i]) && IsPercentage(fields[i + 1])) {
            return {i, false};
        }
    }
    for (std::size_t i = event + 1; commaSeparates && i + 2 < fields.count; ++i) {
        if (IsDigits(fields[i]) && IsDigits(fields[i + 1]) && fields[i + 1].size() <= 3 &&
            IsDigits(fields[i + 2]) && fields[i + 2].size() == 2) {
            return {i, true};
        }
    }
    return {};
}

void ReadPercentage(const Fields& fields, const Tail& tail, RecordingLine& out)
{
    const std::string_view text = fields[tail.running + 1];
    if (tail.split) {
        out.runningHundredths = Hundredths(text, fields[tail.running + 2]);
        out.decimalComma = true;
        return;
    }
    const std::string_view whole = LeadingDigits(text);
    out.runningHundredths = Hundredths(whole, text.substr(whole.size() + 1));
    out.decimalComma = text[whole.size()] == ',';
}

/// The event's text: the fields from `first` to the running time, without the variance before that.
std::string_view EventText(const Fields& fields, std::size_t first, const Tail& tail)
{
    std::size_t last = tail.running - 1;
    if (tail.split && last > first + 1 && IsVarianceTail(fields[last]) && IsDigits(fields[last - 1])) {
        last -= 2;
    } else if (last > first && IsVariance(fields[last])) {
        --last;
    }
    const char* const begin = fields[first].data();
    const char* const end = fields[last].data() + fields[last].size();
    return {begin, static_cast<std::size_t>(end - begin)};
}

/// Parts of the line behind the prefix, from the count on.
LineKind ParseFromValue(const Fields& fields, std::size_t value, bool commaSeparates, RecordingLine& out)
{
    const std::string_view text = fields[value];
    if (text.empty() && fields[value + 1].empty() && fields[value + 2].empty() && fields.count > value + 3) {
        return LineKind::METRIC;
    }
    const Tail tail = FindTail(fields, value + 2, commaSeparates);
    if (tail.running == 0) {
        return LineKind::NO_RUNNING_TIME;
    }
    if (!IsValue(text)) {
        return LineKind::BAD_COUNT;
    }
    ReadPercentage(fields, tail, out);
    out.value = text;
    const std::string_view whole = LeadingDigits(text);
    std::string_view fraction;
    std::size_t event = value + 2;
    if (whole.size() < text.size() && !whole.empty()) {
        // A comma that is not the recording's decimal mark may group thousands.
        if ((text[whole.size()] == ',') != out.decimalComma || tail.split) {
            return LineKind::BAD_COUNT;
        }
        fraction = text.substr(whole.size() + 1);
    } else if (tail.split && !whole.empty() && fields[value + 1].size() == 2 && IsDigits(fields[value + 1])) {
        fraction = fields[value + 1];
        out.value = {text.data(), text.size() + 1 + fraction.size()};
        ++event;
    }
    if (event >= tail.running || fields[event].empty()) {
        return LineKind::BAD_NAME;
    }
    out.event = EventText(fields, event, tail);
    if (!IsName(out.event, MAX_EVENT)) {
        return LineKind::BAD_NAME;
    }
    if (whole.empty()) {
        return text == NOT_COUNTED_TEXT ? LineKind::NOT_COUNTED : LineKind::NOT_SUPPORTED;
    }
    return ParseCount(whole, fraction, out);
}

/// "S0,2," and "N0,2," have the number of CPUs behind them, "CPU0," and "comm-pid," have not. A unit is never
/// a number, so two numbers in a row are the number of CPUs and the count.
bool HasCpuNumber(const Fields& fields, std::size_t prefix)
{
    const std::string_view text = fields[prefix];
    const std::size_t next = prefix + 1;
    if (text.size() < 2 || (text[0] != 'S' && text[0] != 'N') || !IsDigit(text[1]) ||
        !IsDigits(fields[next])) {
        return false;
    }
    return IsValue(fields[next + 1]) || (fields[next + 1].empty() && fields[next + 2].empty());
}

/// A field before the count is a prefix; what is no count and no prefix is a bad count.
bool IsPrefix(const Fields& fields, std::size_t index)
{
    return IsValue(fields[index + 1]) || (fields[index + 1].empty() && fields[index + 2].empty());
}

/// Everything behind the time stamp, that is from field `first` on.
LineKind ParseBody(const Fields& fields, std::size_t first, bool commaSeparates, RecordingLine& out)
{
    if (fields[first].empty() || IsValue(fields[first])) {
        return ParseFromValue(fields, first, commaSeparates, out);
    }
    if (!IsPrefix(fields, first)) {
        const bool complete = FindTail(fields, first + 2, commaSeparates).running != 0;
        return complete ? LineKind::BAD_COUNT : LineKind::NO_RUNNING_TIME;
    }
    out.prefix = fields[first];
    if (!IsName(out.prefix, MAX_PREFIX)) {
        return LineKind::BAD_NAME;
    }
    const std::size_t value = HasCpuNumber(fields, first) ? first + 2 : first + 1;
    return ParseFromValue(fields, value, commaSeparates, out);
}

bool IsDataLine(LineKind kind)
{
    return kind <= LineKind::NOT_SUPPORTED;
}

/// A line whose first field is no time stamp: perhaps a count without one.
LineKind ParseWithoutTime(const Fields& fields, bool commaSeparates)
{
    const std::string_view first = fields[0];
    const bool mayBegin = IsValue(first) || (!first.empty() && IsLetter(first.front()));
    RecordingLine ignored;
    return mayBegin && IsDataLine(ParseBody(fields, 0, commaSeparates, ignored)) ? LineKind::NO_TIME
                                                                                 : LineKind::OTHER_TEXT;
}

/// A line of a recording whose separator is not known.
LineKind ParseWithoutSeparator(std::string_view text)
{
    std::size_t length = 0;
    while (length < text.size() && (IsDigit(text[length]) || text[length] == '.')) {
        ++length;
    }
    std::int64_t timeNs = 0;
    if (ParseTime(text.substr(0, length), timeNs) == TimeForm::NONE) {
        return LineKind::OTHER_TEXT;
    }
    const std::string_view rest = text.substr(length);
    return StartsWith(rest, "  ") ? LineKind::FOR_PEOPLE : LineKind::NO_RUNNING_TIME;
}

/// Lines that are known by how they begin; COUNT when it is none of them.
LineKind KindByFirstField(std::string_view text, std::string_view separator)
{
    if (text.empty()) {
        return LineKind::BLANK;
    }
    switch (text.front()) {
        case '#':
            return StartsWith(text, "# started on") ? LineKind::STARTED : LineKind::COMMENT;
        case '{':
            return LineKind::JSON;
        case 's':
            return IsFirstField(text, "summary", separator) ? LineKind::SUMMARY : LineKind::COUNT;
        case 't':
            return IsFirstField(text, "time", separator) ? LineKind::METRIC_ONLY : LineKind::COUNT;
        default:
            return LineKind::COUNT;
    }
}

}  // namespace

LineKind ParseRecordingLine(std::string_view line, std::string_view separator, RecordingLine& out)
{
    out = RecordingLine();
    if (!line.empty() && line.back() == '\r') {
        line.remove_suffix(1);
    }
    const std::string_view text = SkipBlanks(line);
    const LineKind special = KindByFirstField(text, separator);
    if (special != LineKind::COUNT) {
        return special;
    }
    if (separator.empty()) {
        return ParseWithoutSeparator(text);
    }
    Fields fields;
    SplitFields(text, separator, fields);
    const bool commaSeparates = separator == ",";
    switch (ParseTime(fields[0], out.timeNs)) {
        case TimeForm::NONE:
            return ParseWithoutTime(fields, commaSeparates);
        case TimeForm::TOO_LARGE:
            return LineKind::BAD_TIME;
        case TimeForm::GOOD:
            break;
    }
    return ParseBody(fields, 1, commaSeparates, out);
}

std::string_view DetectSeparator(std::string_view line)
{
    const std::string_view text = SkipBlanks(line);
    std::size_t first = 0;
    if (!text.empty() && text.front() == '<') {
        first = StartsWith(text, NOT_COUNTED_TEXT) ? NOT_COUNTED_TEXT.size() : NOT_SUPPORTED_TEXT.size();
    }
    while (first < text.size() && (IsDigit(text[first]) || text[first] == '.')) {
        ++first;
    }
    if (first == 0 || first >= text.size()) {
        return {};
    }
    std::size_t longest = 0;
    while (longest < MAX_SEPARATOR && first + longest < text.size()) {
        const char c = text[first + longest];
        if (IsDigit(c) || IsLetter(c) || c == '.' || c == '\n') {
            break;
        }
        ++longest;
    }
    RecordingLine ignored;
    for (std::size_t length = longest; length > 0; --length) {
        const std::string_view candidate = text.substr(first, length);
        const LineKind kind = ParseRecordingLine(line, candidate, ignored);
        if (IsDataLine(kind) || kind == LineKind::NO_TIME) {
            return candidate;
        }
    }
    return {};
}

std::string_view PmuOfEvent(std::string_view event)
{
    const std::size_t slash = event.find('/');
    if (slash != std::string_view::npos) {
        return event.substr(0, slash);
    }
    const std::size_t bracket = event.rfind(" [");
    if (bracket != std::string_view::npos && event.back() == ']') {
        return event.substr(bracket + 2, event.size() - bracket - 3);
    }
    return {};
}

}  // namespace host
