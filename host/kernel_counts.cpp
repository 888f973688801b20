// SPDX-License-Identifier: MIT

#include "host/kernel_counts.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>
#include <optional>

#include "host/escape.h"
#include "host/text_file.h"

namespace host {
namespace {

/// A row that is looked for, and where its count goes.
template <class Counts>
struct Row {
    std::string_view name;
    std::uint64_t Counts::*member;
    bool needed;
};

constexpr std::array<Row<NodeCounts>, 6> NODE_ROWS = {{{"numa_hit", &NodeCounts::hit, true},
                                                       {"numa_miss", &NodeCounts::miss, true},
                                                       {"numa_foreign", &NodeCounts::foreign, false},
                                                       {"interleave_hit", &NodeCounts::interleave, false},
                                                       {"local_node", &NodeCounts::local, true},
                                                       {"other_node", &NodeCounts::other, true}}};

constexpr std::array<Row<HintCounts>, 3> HINT_ROWS = {
    {{"numa_hint_faults", &HintCounts::faults, true},
     {"numa_hint_faults_local", &HintCounts::local, true},
     {"numa_pages_migrated", &HintCounts::migrated, false}}};

std::optional<std::uint64_t> ParseCount(std::string_view text)
{
    std::uint64_t count = 0;
    const auto [end, code] = std::from_chars(text.data(), text.data() + text.size(), count);
    if (text.empty() || code != std::errc() || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return count;
}

std::string BadRowMessage(std::string_view line)
{
    return "row '" + EscapeText(line, 64) + "', expected a name, a blank and a count below 2^64";
}

std::string RowTwiceMessage(std::string_view name)
{
    return "row " + std::string(name) + " stands there twice, expected it once";
}

std::string NoRowMessage(std::string_view name)
{
    return "no row " + std::string(name);
}

/// Reads the rows that are known. Empty, or what is wrong; `missing` names the first needed row that is not
/// there.
template <class Counts, std::size_t SIZE>
std::string ReadRows(std::string_view text, const std::array<Row<Counts>, SIZE>& rows, Counts& counts,
                     std::string_view& missing)
{
    std::array<bool, SIZE> seen{};
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        const std::string_view line = text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));
        const std::size_t blank = std::min(line.find(' '), line.size());
        const std::string_view name = line.substr(0, blank);
        const auto row =
            std::find_if(rows.begin(), rows.end(), [name](const auto& known) { return known.name == name; });
        if (row == rows.end()) {
            continue;
        }
        bool& known = seen[static_cast<std::size_t>(row - rows.begin())];
        if (known) {
            return RowTwiceMessage(name);
        }
        known = true;
        const std::optional<std::uint64_t> count = ParseCount(TrimText(line.substr(blank)));
        if (!count) {
            return BadRowMessage(line);
        }
        counts.*(row->member) = *count;
    }
    for (std::size_t i = 0; i < SIZE; ++i) {
        if (rows[i].needed && !seen[i]) {
            missing = rows[i].name;
            break;
        }
    }
    return {};
}

template <class Counts, std::size_t SIZE>
Counts Difference(const std::array<Row<Counts>, SIZE>& rows, const Counts& then, const Counts& now)
{
    Counts counted;
    for (const Row<Counts>& row : rows) {
        const std::uint64_t before = then.*(row.member);
        counted.*(row.member) = now.*(row.member) - std::min(before, now.*(row.member));
    }
    return counted;
}

template <class Counts, std::size_t SIZE>
void Add(const std::array<Row<Counts>, SIZE>& rows, Counts& sum, const Counts& counts)
{
    for (const Row<Counts>& row : rows) {
        std::uint64_t& total = sum.*(row.member);
        total += std::min(counts.*(row.member), std::numeric_limits<std::uint64_t>::max() - total);
    }
}

}  // namespace

NodeCountsResult ParseNodeCounts(std::string_view text)
{
    NodeCountsResult result;
    std::string_view missing;
    result.error = ReadRows(text, NODE_ROWS, result.counts, missing);
    if (result.error.empty() && !missing.empty()) {
        result.error = NoRowMessage(missing);
    }
    return result;
}

HintCountsResult ParseHintCounts(std::string_view text)
{
    HintCountsResult result;
    std::string_view missing;
    result.error = ReadRows(text, HINT_ROWS, result.counts, missing);
    if (result.error.empty() && !missing.empty()) {
        result.missing = true;
        result.error = NoRowMessage(missing);
    }
    return result;
}

NodeCounts CountedSince(const NodeCounts& then, const NodeCounts& now)
{
    return Difference(NODE_ROWS, then, now);
}

HintCounts CountedSince(const HintCounts& then, const HintCounts& now)
{
    return Difference(HINT_ROWS, then, now);
}

void AddTo(NodeCounts& sum, const NodeCounts& counts)
{
    Add(NODE_ROWS, sum, counts);
}

void AddTo(HintCounts& sum, const HintCounts& counts)
{
    Add(HINT_ROWS, sum, counts);
}

}  // namespace host
