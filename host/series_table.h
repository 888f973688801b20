// SPDX-License-Identifier: MIT

#ifndef HOST_SERIES_TABLE_H
#define HOST_SERIES_TABLE_H

#include <cstddef>
#include <cstdint>

#include <deque>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

namespace host {

/// One event with one prefix of a recording: what gives one count per interval.
struct Series {
    std::string_view prefix;
    std::string_view event;     ///< NUL-terminated
    std::string_view pmu;       ///< for the breakdown: the event's PMU, a blank, the prefix; "-" without both
    std::uint64_t segment = 0;  ///< run in which it was seen last
    std::uint64_t interval = 0;  ///< interval in which it was seen last
    std::size_t next = 0;        ///< what followed it when it was seen last
};

/// The series of a recording, each kept once, with texts that stay where they are. Bounded in number and in
/// bytes, whatever the recording says. Equal event names share one text.
class SeriesTable {
public:
    static constexpr std::size_t MAX_SERIES = 65536;
    static constexpr std::size_t MAX_BYTES = 16777216;

    SeriesTable() = default;
    SeriesTable(const SeriesTable&) = delete;
    SeriesTable& operator=(const SeriesTable&) = delete;

    /// The series, added when it is new; null when the table is full. Recordings repeat themselves, so that
    /// what followed last time is tried first. Neither text may hold a line break.
    Series* Find(std::string_view prefix, std::string_view event);

    std::size_t Size() const { return series.size(); }

private:
    std::size_t FindIndex(std::string_view prefix, std::string_view event);
    std::string_view Keep(std::string_view text);

    std::deque<Series> series;
    std::unordered_map<std::string, std::size_t> indices;  // by prefix, line break, event
    std::unordered_set<std::string> texts;
    std::size_t bytes = 0;
    std::size_t previous = 0;
    std::string key;  // kept for its memory
};

}  // namespace host

#endif  // HOST_SERIES_TABLE_H
