// SPDX-License-Identifier: MIT

#ifndef HOST_RECORDING_REMARKS_H
#define HOST_RECORDING_REMARKS_H

#include <cstddef>
#include <cstdint>

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "host/recording_line.h"
#include "host/recording_messages.h"

namespace host {

/// Keeps count of the lines of a recording that gave no count, and words a remark for the first of each kind.
class RecordingRemarks {
public:
    /// Counts a bad line.
    void BadLine(LineKind kind, const LinePlace& place, std::string_view separator);

    /// Counts a line that says that its event has no count.
    void NoCount(LineKind kind, const LinePlace& place, std::string_view event);

    /// Remarks on the way in which a count was written.
    void Count(const LinePlace& place, const RecordingLine& line);

    /// Remarks the first stamp that is older than the one before it without a header between them.
    void TimeStepsBack(const LinePlace& place, std::int64_t beforeNs);

    void MissingEvents(std::string_view file, const std::vector<std::string_view>& events);

    /// One remark for each kind of which there was more than one line.
    void Totals(std::string_view file);

    std::uint64_t BadLines() const { return badLines; }

    /// Why there is no count, in one clause: what most lines were.
    std::string CauseOfNoCount(std::uint64_t lines) const;

    std::vector<std::string> Take();

private:
    std::uint64_t& Of(LineKind kind) { return linesOfKind[static_cast<std::size_t>(kind)]; }

    std::array<std::uint64_t, LINE_KINDS> linesOfKind{};
    std::uint64_t badLines = 0;
    bool rounded = false;
    bool decimalComma = false;
    bool timeSteppedBack = false;
    std::vector<std::string> remarks;
};

}  // namespace host

#endif  // HOST_RECORDING_REMARKS_H
