// SPDX-License-Identifier: MIT

#include "host/recording_messages.h"

#include <system_error>

#include "host/escape.h"

namespace host {
namespace {

constexpr std::size_t SHOWN = 80;  // bytes of a line that a message shows

std::string Quoted(std::string_view text)
{
    return "\"" + EscapeText(text, SHOWN) + "\"";
}

std::string At(const LinePlace& place)
{
    return EscapeText(place.file) + ":" + std::to_string(place.number) + ": ";
}

std::string OfFile(std::string_view file)
{
    return EscapeText(file) + ": ";
}

std::string SystemText(int errorNumber)
{
    return std::generic_category().message(errorNumber);
}

/// What was expected of a line and what helps.
std::string Remedy(LineKind kind, std::string_view separator)
{
    switch (kind) {
        case LineKind::JSON:
            return "expected fields with a separator, record with -x, instead of -j";
        case LineKind::METRIC_ONLY:
            return "expected counts, record without --metric-only";
        case LineKind::FOR_PEOPLE:
            return "expected fields with a separator, record with -x,";
        case LineKind::NO_TIME:
            return "expected a time stamp first, record with -I 100 and without --no-csv-summary";
        case LineKind::OTHER_TEXT:
            return separator.empty()
                       ? "expected a time stamp first, record with -o FILE to keep other output out"
                       : "expected a time stamp and " + Quoted(separator) +
                             " first, record with -o FILE to keep other output out";
        case LineKind::BAD_TIME:
            return "expected less than 9223372036 seconds";
        case LineKind::BAD_COUNT:
            return "expected digits, <not counted> or <not supported>";
        case LineKind::COUNT_TOO_LARGE:
            return "expected at most 18446744073709551615";
        case LineKind::BAD_NAME:
            return "expected 1 to " + std::to_string(MAX_EVENT) +
                   " printable ASCII characters, record with the term name=";
        case LineKind::NO_RUNNING_TIME:
            return separator.empty()
                       ? "expected fields with one separator, name it if it is an unusual one"
                       : "expected two fields as \"100100\" and \"100.00\" behind the event, separated by " +
                             Quoted(separator);
        case LineKind::TOO_LONG:
            return "expected at most 65536 bytes up to the line break";
        case LineKind::CUT_OFF:
            return "expected a whole line, the recording was cut while it was written or copied";
        case LineKind::TOO_MANY_NAMES:
            return "expected at most 65536 different events, record fewer at once";
        default:
            return "expected a count";
    }
}

}  // namespace

const char* KindText(LineKind kind)
{
    switch (kind) {
        case LineKind::NOT_COUNTED:
            return "<not counted>";
        case LineKind::NOT_SUPPORTED:
            return "<not supported>";
        case LineKind::JSON:
            return "JSON";
        case LineKind::METRIC_ONLY:
            return "header of --metric-only";
        case LineKind::FOR_PEOPLE:
            return "columns made for people";
        case LineKind::NO_TIME:
            return "count without a time stamp";
        case LineKind::OTHER_TEXT:
            return "nothing that perf stat -I writes";
        case LineKind::BAD_TIME:
            return "time stamp too large";
        case LineKind::BAD_COUNT:
            return "count is no number";
        case LineKind::COUNT_TOO_LARGE:
            return "count beyond 64 bits";
        case LineKind::BAD_NAME:
            return "event name or prefix that cannot be used";
        case LineKind::NO_RUNNING_TIME:
            return "no running time";
        case LineKind::TOO_LONG:
            return "line too long";
        case LineKind::CUT_OFF:
            return "line cut off";
        case LineKind::TOO_MANY_NAMES:
            return "too many different events";
        default:
            return "no count";
    }
}

std::string BadLineMessage(LineKind kind, const LinePlace& place, std::string_view separator)
{
    return At(place) + KindText(kind) + ": " + Quoted(place.text) + "; " + Remedy(kind, separator);
}

std::string NoCountMessage(LineKind kind, const LinePlace& place, std::string_view event)
{
    const std::string head = At(place) + KindText(kind) + ": event " + Quoted(event);
    if (kind == LineKind::NOT_COUNTED) {
        return head + " got no counter in this interval, or nothing ran; record fewer events at once";
    }
    const bool forUserOnly = event.size() > 2 && event.back() == 'u' &&
                             (event[event.size() - 2] == ':' || event[event.size() - 2] == '/');
    if (forUserOnly) {
        return head + " was cut down to user mode for want of permission; record as root or with CAP_PERFMON";
    }
    return head + " does not exist on the machine that recorded; see perf list there";
}

std::string RoundedMessage(const LinePlace& place, const RecordingLine& line)
{
    return At(place) + "count is a fraction: " + Quoted(line.value) + " of event " + Quoted(line.event) +
           " is taken as " + std::to_string(line.count) + "; expected an event that perf does not scale";
}

std::string TimeStepsBackMessage(const LinePlace& place, std::int64_t beforeNs)
{
    constexpr std::int64_t NS_PER_SECOND = 1000000000;
    const std::string fraction = std::to_string(beforeNs % NS_PER_SECOND);
    return At(place) + "time steps back: " + Quoted(place.text) + " after " +
           std::to_string(beforeNs / NS_PER_SECOND) + "." + std::string(9 - fraction.size(), '0') + fraction +
           " s is taken as the begin of another run; expected a line \"# started on\" before it, keep "
           "the lines as perf wrote them";
}

std::string DecimalCommaMessage(const LinePlace& place)
{
    return At(place) + "decimal comma: " + Quoted(place.text) + " is read that way; record with LC_ALL=C";
}

std::string TotalMessage(std::string_view file, LineKind kind, std::uint64_t lines)
{
    return OfFile(file) + std::to_string(lines) + " lines in all: " + KindText(kind);
}

std::string MissingEventsMessage(std::string_view file, const std::vector<std::string_view>& events)
{
    std::string list;
    for (const std::string_view event : events) {
        list += list.empty() ? "" : ", ";
        list += event;
    }
    return OfFile(file) + "the first interval has no event with " + list +
           " in its name, so that scores come out too good; record that too, or give another event such a "
           "name with "
           "the term name=";
}

std::string NoCountAtAllMessage(std::string_view file, std::uint64_t lines, std::string_view cause)
{
    return OfFile(file) + "not one count in " + std::to_string(lines) +
           (lines == 1 ? " line: " : " lines: ") + std::string(cause) +
           "; record with: perf stat -a -I 100 -x, -o FILE -e PMU/rx_outer/ -e PMU/rx_sccl/ -e "
           "PMU/rx_ops_num/";
}

std::string CannotOpenMessage(std::string_view file, int errorNumber)
{
    return OfFile(file) + "cannot be opened: " + SystemText(errorNumber) +
           "; expected a recording of perf stat -I, or - for standard input";
}

std::string CannotReadMessage(std::string_view file, int errorNumber)
{
    return OfFile(file) + "cannot be read: " + SystemText(errorNumber) +
           "; copy the recording to a sound disk";
}

std::string NotAFileMessage(std::string_view file, std::string_view kind)
{
    return OfFile(file) + "is " + std::string(kind) + "; expected a recording of perf stat -I, or a pipe";
}

std::string NoWriterMessage(std::string_view file, int milliseconds)
{
    return OfFile(file) + "nothing was written to this FIFO for " + std::to_string(milliseconds) +
           " ms; start perf stat -o FIFO first";
}

std::string OtherFormatMessage(std::string_view file, std::string_view format, std::string_view remedy)
{
    return OfFile(file) + "is " + std::string(format) + "; expected text of perf stat -I, " +
           std::string(remedy);
}

std::string BadSeparatorMessage(std::string_view separator)
{
    return "separator " + Quoted(separator) + ": expected 1 to " + std::to_string(MAX_SEPARATOR) +
           " characters, none of them a letter, a digit, a dot or a line break; leave it out to have it "
           "found";
}

}  // namespace host
