// SPDX-License-Identifier: MIT

#include "tests/fuzz/kernel_counts_checks.h"

#include <cstdint>

#include <algorithm>
#include <limits>
#include <map>
#include <string>
#include <vector>

#include "host/kernel_counts.h"
#include "tests/fuzz/require.h"

namespace fuzz {
namespace {

/// Rows by name; false when one that is `known` stands there twice or has no count.
bool PlainRows(std::string_view text, const std::vector<std::string_view>& known,
               std::map<std::string_view, std::uint64_t>& rows)
{
    constexpr std::string_view BLANKS = " \t\r\n";
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        const std::string_view line = text.substr(begin, end - begin);
        begin = end + 1;
        const std::string_view name = line.substr(0, line.find(' '));
        if (std::find(known.begin(), known.end(), name) == known.end()) {
            continue;
        }
        std::string_view digits = line.substr(name.size());
        digits.remove_prefix(std::min(digits.find_first_not_of(BLANKS), digits.size()));
        digits = digits.substr(0, digits.find_last_not_of(BLANKS) + 1);
        std::uint64_t value = 0;
        for (const char c : digits) {
            if (c < '0' || c > '9' || __builtin_mul_overflow(value, std::uint64_t{10}, &value) ||
                __builtin_add_overflow(value, static_cast<std::uint64_t>(c - '0'), &value)) {
                return false;
            }
        }
        if (digits.empty() || !rows.emplace(name, value).second) {
            return false;
        }
    }
    return true;
}

bool Has(const std::map<std::string_view, std::uint64_t>& rows, const std::vector<std::string_view>& needed)
{
    return std::all_of(needed.begin(), needed.end(),
                       [&rows](std::string_view name) { return rows.count(name) != 0; });
}

void CheckMessage(const std::string& error)
{
    Require(error.size() < 512, "a message is short");
    Require(std::none_of(error.begin(), error.end(),
                         [](char c) { return static_cast<unsigned char>(c) < ' ' || c == 0x7f; }),
            "a message is one line without control bytes");
}

std::uint64_t PlainSum(std::uint64_t left, std::uint64_t right)
{
    return left > std::numeric_limits<std::uint64_t>::max() - right
               ? std::numeric_limits<std::uint64_t>::max()
               : left + right;
}

}  // namespace

void CheckNodeCounts(std::string_view text)
{
    std::map<std::string_view, std::uint64_t> rows;
    const bool sound = PlainRows(
        text, {"numa_hit", "numa_miss", "numa_foreign", "interleave_hit", "local_node", "other_node"}, rows);
    const host::NodeCountsResult result = host::ParseNodeCounts(text);
    CheckMessage(result.error);
    Require(
        result.error.empty() == (sound && Has(rows, {"numa_hit", "numa_miss", "local_node", "other_node"})),
        "the plain reader agrees about what counts of a node are");
    if (!result.error.empty()) {
        return;
    }
    const host::NodeCounts& counts = result.counts;
    Require(counts.hit == rows["numa_hit"] && counts.miss == rows["numa_miss"] &&
                counts.foreign == rows["numa_foreign"] && counts.interleave == rows["interleave_hit"] &&
                counts.local == rows["local_node"] && counts.other == rows["other_node"],
            "each count is that of its row");
    host::NodeCounts then;
    then.hit = counts.miss;
    then.miss = counts.hit;
    const host::NodeCounts since = host::CountedSince(then, counts);
    Require(
        since.hit == (counts.hit > counts.miss ? counts.hit - counts.miss : 0) && since.local == counts.local,
        "a counter that stepped back counts as unchanged");
    host::AddTo(then, counts);
    Require(then.hit == PlainSum(counts.hit, counts.miss) && then.other == counts.other,
            "sums stop at the largest");
}

void CheckHintCounts(std::string_view text)
{
    std::map<std::string_view, std::uint64_t> rows;
    const bool sound =
        PlainRows(text, {"numa_hint_faults", "numa_hint_faults_local", "numa_pages_migrated"}, rows);
    const bool whole = Has(rows, {"numa_hint_faults", "numa_hint_faults_local"});
    const host::HintCountsResult result = host::ParseHintCounts(text);
    CheckMessage(result.error);
    Require(result.error.empty() == (sound && whole), "the plain reader agrees about what hint faults are");
    Require(result.missing == (sound && !whole), "a sound text without the rows is told from a bad one");
    if (result.error.empty()) {
        Require(result.counts.faults == rows["numa_hint_faults"] &&
                    result.counts.local == rows["numa_hint_faults_local"] &&
                    result.counts.migrated == rows["numa_pages_migrated"],
                "each count is that of its row");
    }
}

}  // namespace fuzz
