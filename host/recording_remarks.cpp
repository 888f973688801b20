// SPDX-License-Identifier: MIT

#include "host/recording_remarks.h"

#include <utility>

namespace host {

void RecordingRemarks::BadLine(LineKind kind, const LinePlace& place, std::string_view separator)
{
    ++badLines;
    if (Of(kind)++ == 0) {
        remarks.push_back(BadLineMessage(kind, place, separator));
    }
}

void RecordingRemarks::NoCount(LineKind kind, const LinePlace& place, std::string_view event)
{
    if (Of(kind)++ == 0) {
        remarks.push_back(NoCountMessage(kind, place, event));
    }
}

void RecordingRemarks::Count(const LinePlace& place, const RecordingLine& line)
{
    if (line.rounded && !rounded) {
        rounded = true;
        remarks.push_back(RoundedMessage(place, line));
    }
    if (line.decimalComma && !decimalComma) {
        decimalComma = true;
        remarks.push_back(DecimalCommaMessage(place));
    }
}

void RecordingRemarks::TimeStepsBack(const LinePlace& place, std::int64_t beforeNs)
{
    if (!timeSteppedBack) {
        timeSteppedBack = true;
        remarks.push_back(TimeStepsBackMessage(place, beforeNs));
    }
}

void RecordingRemarks::MissingEvents(std::string_view file, const std::vector<std::string_view>& events)
{
    remarks.push_back(MissingEventsMessage(file, events));
}

void RecordingRemarks::Totals(std::string_view file)
{
    for (std::size_t kind = 0; kind < linesOfKind.size(); ++kind) {
        if (linesOfKind[kind] > 1) {
            remarks.push_back(TotalMessage(file, static_cast<LineKind>(kind), linesOfKind[kind]));
        }
    }
}

std::string RecordingRemarks::CauseOfNoCount(std::uint64_t lines) const
{
    if (lines == 0) {
        return "the file is empty";
    }
    // A wrong way of recording shows in its header, whatever the lines below it look like.
    if (linesOfKind[static_cast<std::size_t>(LineKind::METRIC_ONLY)] > 0) {
        return KindText(LineKind::METRIC_ONLY);
    }
    std::size_t most = 0;
    for (std::size_t kind = 0; kind < linesOfKind.size(); ++kind) {
        if (linesOfKind[kind] > linesOfKind[most]) {
            most = kind;
        }
    }
    if (linesOfKind[most] == 0) {
        return "nothing but comments and blank lines, nothing was measured";
    }
    return std::string("most are ") + KindText(static_cast<LineKind>(most));
}

std::vector<std::string> RecordingRemarks::Take()
{
    return std::exchange(remarks, {});
}

}  // namespace host
