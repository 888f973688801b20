// SPDX-License-Identifier: MIT

#ifndef HOST_RECORDING_MESSAGES_H
#define HOST_RECORDING_MESSAGES_H

#include <cstdint>

#include <string>
#include <string_view>
#include <vector>

#include "host/recording_line.h"

namespace host {

/// A line of a recording, for messages about it.
struct LinePlace {
    std::string_view file;  ///< as it is to be called
    std::uint64_t number = 0;
    std::string_view text;
};

/// What a line that was passed over is, in a few words; for the kinds that IsBadLine, and for the two that
/// say that there is no count.
const char* KindText(LineKind kind);

/// First line of its kind that could not be used. `separator`: what the fields are thought to be separated
/// by, or empty.
std::string BadLineMessage(LineKind kind, const LinePlace& place, std::string_view separator);

/// First line that says that an event has no count.
std::string NoCountMessage(LineKind kind, const LinePlace& place, std::string_view event);

std::string RoundedMessage(const LinePlace& place, const RecordingLine& line);

/// `place` is older than the line before it, which has the stamp `beforeNs`, and no header stands between.
std::string TimeStepsBackMessage(const LinePlace& place, std::int64_t beforeNs);

std::string DecimalCommaMessage(const LinePlace& place);
std::string TotalMessage(std::string_view file, LineKind kind, std::uint64_t lines);

/// No event of the first interval has these texts in its name.
std::string MissingEventsMessage(std::string_view file, const std::vector<std::string_view>& events);

/// The whole recording gave no count; `cause` is one clause.
std::string NoCountAtAllMessage(std::string_view file, std::uint64_t lines, std::string_view cause);

std::string CannotOpenMessage(std::string_view file, int errorNumber);
std::string CannotReadMessage(std::string_view file, int errorNumber);

/// `kind`: what it is instead of a file, with its article.
std::string NotAFileMessage(std::string_view file, std::string_view kind);
std::string NoWriterMessage(std::string_view file, int milliseconds);
std::string OtherFormatMessage(std::string_view file, std::string_view format, std::string_view remedy);
std::string BadSeparatorMessage(std::string_view separator);

}  // namespace host

#endif  // HOST_RECORDING_MESSAGES_H
