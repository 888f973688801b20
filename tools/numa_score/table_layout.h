// SPDX-License-Identifier: MIT

#ifndef TOOLS_NUMA_SCORE_TABLE_LAYOUT_H
#define TOOLS_NUMA_SCORE_TABLE_LAYOUT_H

#include <cstddef>

#include <string>
#include <string_view>

#include "tools/numa_score/period_row.h"

namespace numa_score {

struct TableStyle {
    bool color = false;
    bool utf8 = false;         ///< bars of block characters; otherwise of ASCII
    float threshold = 0.955F;  ///< scores below it stand out
    TimeKind timeKind = TimeKind::RECORDED;
};

/// The columns of the table for people. Lines come without line break and without blanks at their end.
class TableLayout {
public:
    explicit TableLayout(TableStyle tableStyle) : style(tableStyle) {}

    std::string Header() const;
    std::string PeriodLine(const PeriodRow& row) const;

    /// A line beneath the period's: the figures of one PMU, its name where the flags stand.
    std::string PmuLine(const PmuRow& pmu, std::int64_t intervalMs) const;

private:
    void AppendFigures(std::string& line, float score, const Traffic& traffic, std::int64_t intervalMs,
                       bool measured) const;

    TableStyle style;
};

/// A score as a bar of `cells` characters' width: full at 1, empty at 0.
std::string Bar(float score, std::size_t cells, bool utf8);

/// The first `columns` characters of a line; colour sequences take no column and stay, whole and all.
std::string ClipLine(std::string_view line, std::size_t columns);

}  // namespace numa_score

#endif  // TOOLS_NUMA_SCORE_TABLE_LAYOUT_H
