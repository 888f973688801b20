// SPDX-License-Identifier: MIT

#include "host/series_table.h"

#include "host/recording_line.h"

namespace host {
namespace {

constexpr std::size_t NONE = static_cast<std::size_t>(-1);

std::string PmuLabel(std::string_view prefix, std::string_view event)
{
    std::string label(PmuOfEvent(event));
    if (!label.empty() && !prefix.empty()) {
        label += ' ';
    }
    label += prefix;
    return label.empty() ? "-" : label;
}

}  // namespace

Series* SeriesTable::Find(std::string_view prefix, std::string_view event)
{
    if (!series.empty()) {
        Series& expected = series[series[previous].next];
        if (expected.event == event && expected.prefix == prefix) {
            previous = series[previous].next;
            return &expected;
        }
    }
    const std::size_t index = FindIndex(prefix, event);
    if (index == NONE) {
        return nullptr;
    }
    series[previous].next = index;
    previous = index;
    return &series[index];
}

std::size_t SeriesTable::FindIndex(std::string_view prefix, std::string_view event)
{
    key.assign(prefix);
    key += '\n';
    key += event;
    const auto known = indices.find(key);
    if (known != indices.end()) {
        return known->second;
    }
    if (series.size() == MAX_SERIES || bytes > MAX_BYTES) {
        return NONE;
    }
    Series added;
    added.prefix = Keep(prefix);
    added.event = Keep(event);
    added.pmu = Keep(PmuLabel(prefix, event));
    bytes += key.size();
    const std::size_t index = series.size();
    series.push_back(added);
    indices.emplace(key, index);
    return index;
}

std::string_view SeriesTable::Keep(std::string_view text)
{
    const auto kept = texts.emplace(text);
    if (kept.second) {
        bytes += text.size();
    }
    return *kept.first;
}

}  // namespace host
