// SPDX-License-Identifier: MIT

#ifndef HOST_RECORDING_LINE_H
#define HOST_RECORDING_LINE_H

#include <cstddef>
#include <cstdint>

#include <string_view>

namespace host {

/// What a line of a recording is. Everything from JSON on could not be used.
enum class LineKind : std::uint8_t {
    COUNT,          ///< one event of one interval
    NOT_COUNTED,    ///< the event did not get a counter in the interval
    NOT_SUPPORTED,  ///< the machine, or the permission, does not have the event
    SUMMARY,        ///< total of the whole run, which would count everything twice
    METRIC,         ///< a further metric of the event before it, without a count
    BLANK,
    COMMENT,
    STARTED,  ///< "# started on ...": a run begins
    JSON,
    METRIC_ONLY,      ///< header of a recording made with --metric-only
    FOR_PEOPLE,       ///< columns made with blanks: recorded without a separator
    NO_TIME,          ///< a count without time stamp: recorded without -I, or a summary
    OTHER_TEXT,       ///< nothing that perf stat writes
    BAD_TIME,         ///< a time stamp beyond 292 years
    BAD_COUNT,        ///< neither a number nor one of the two words that stand for none
    COUNT_TOO_LARGE,  ///< beyond 64 bits
    BAD_NAME,         ///< event name or prefix that is empty, too long or not printable ASCII
    NO_RUNNING_TIME,  ///< no running time and percentage behind the event: cut off, or another separator
    TOO_LONG,         ///< longer than a line may be; given by the reader of lines
    CUT_OFF,          ///< the last line, without line break and not complete; given by the reader of lines
    TOO_MANY_NAMES,   ///< one name more than are kept; given by the reader of the recording
};

constexpr std::size_t LINE_KINDS = static_cast<std::size_t>(LineKind::TOO_MANY_NAMES) + 1;

constexpr bool IsBadLine(LineKind kind)
{
    return kind >= LineKind::JSON;
}

/// The fields of a COUNT, NOT_COUNTED or NOT_SUPPORTED line. The texts are parts of the line.
struct RecordingLine {
    std::int64_t timeNs = 0;  ///< end of the interval, since the start of the run
    std::string_view prefix;  ///< what the counts are aggregated by ("S0", "CPU1", "sleep-12"), or empty
    std::string_view event;   ///< printable ASCII, at most MAX_EVENT bytes
    std::string_view value;   ///< the count as it stands in the line
    std::uint64_t count = 0;  ///< 0 unless COUNT
    std::uint32_t runningHundredths = 0;  ///< share of time in which the event counted, in 1/100 %
    bool rounded = false;                 ///< the count was a fraction and is rounded to the nearest integer
    bool decimalComma = false;            ///< numbers were written with a decimal comma
};

constexpr std::size_t MAX_EVENT = 1024;
constexpr std::size_t MAX_PREFIX = 64;
constexpr std::size_t MAX_SEPARATOR = 8;

/// Takes one line of `perf stat -I N -x SEP` apart, without its line break. `out` is meaningful for the first
/// three kinds only. Pure: allocates nothing, keeps nothing, any bytes will do. With an empty separator every
/// kind but those that need one is recognised.
LineKind ParseRecordingLine(std::string_view line, std::string_view separator, RecordingLine& out);

/// The separator of a line that is a data line with it, as a part of that line, at most MAX_SEPARATOR bytes;
/// empty when there is none. Letters, digits, dots and line breaks separate nothing.
std::string_view DetectSeparator(std::string_view line);

/// PMU of an event name: "pmu" of "pmu/event/" and of "event [pmu]"; empty when the name does not tell.
std::string_view PmuOfEvent(std::string_view event);

}  // namespace host

#endif  // HOST_RECORDING_LINE_H
