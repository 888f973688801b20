// SPDX-License-Identifier: MIT

#include "tools/numa_score/table_layout.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>

#include "host/escape.h"
#include "tools/numa_score/text_format.h"

namespace numa_score {
namespace {

constexpr std::size_t TIME_WIDTH = 12;
constexpr std::size_t BAR_CELLS = 10;

constexpr std::string_view RED = "\x1b[31m";
constexpr std::string_view GREEN = "\x1b[32m";
constexpr std::string_view YELLOW = "\x1b[33m";
constexpr std::string_view FAINT = "\x1b[2m";
constexpr std::string_view PLAIN = "\x1b[0m";

void AppendColumn(std::string& line, const std::string& text, std::size_t width)
{
    line += "  ";
    AppendRight(line, text, width);
}

std::string PercentOrDash(std::optional<double> share)
{
    std::string text;
    if (!share) {
        return "-";
    }
    AppendPercent(text, *share);
    return text;
}

void TrimRight(std::string& line)
{
    line.erase(line.find_last_not_of(' ') + 1);
}

std::string FlagText(const PeriodRow& row)
{
    std::string text;
    for (std::size_t i = 0; i < QUALITY_COUNT; ++i) {
        const auto flag = static_cast<Quality>(i);
        if (!row.flags.Has(flag)) {
            continue;
        }
        text += text.empty() ? "" : ",";
        text += QUALITY_NAMES[i];
        if (flag == Quality::MULTIPLEXED) {
            text += '(';
            AppendFixed(text, row.runningRatio, 2);
            text += ')';
        }
    }
    return text;
}

}  // namespace

std::string TableLayout::Header() const
{
    std::string line;
    AppendRight(line, style.timeKind == TimeKind::UTC ? "UTC" : "TIME/s", TIME_WIDTH);
    line += "   SCORE  LOCALITY     OPS/MS   REMOTE  CROSS-DIE  FLAGS";
    return line;
}

std::string TableLayout::PeriodLine(const PeriodRow& row) const
{
    std::string time;
    if (row.timeKind == TimeKind::UTC) {
        AppendUtcTimeOfDay(time, row.timeNs);
    } else {
        AppendSeconds(time, row.timeNs, 3);
    }
    std::string line;
    AppendRight(line, time, TIME_WIDTH);
    AppendFigures(line, row.score, row.traffic, row.intervalMs, row.measured);
    if (!row.flags.None()) {
        line += "  ";
        line += style.color ? YELLOW : "";
        line += FlagText(row);
        line += style.color ? PLAIN : "";
    }
    TrimRight(line);
    return line;
}

std::string TableLayout::PmuLine(const PmuRow& pmu, std::int64_t intervalMs) const
{
    std::string line(TIME_WIDTH, ' ');
    AppendFigures(line, pmu.score, pmu.traffic, intervalMs, pmu.traffic.ops > 0);
    line += "  ";
    line += host::EscapeText(pmu.name, 64);
    return line;
}

void TableLayout::AppendFigures(std::string& line, float score, const Traffic& traffic,
                                std::int64_t intervalMs, bool measured) const
{
    if (style.color) {
        line += !measured ? FAINT : score < style.threshold ? RED : GREEN;
    }
    std::string text;
    AppendFixed(text, static_cast<double>(score), 4);
    AppendColumn(line, text, 6);
    line += "  ";
    // Without operations there is no locality to draw.
    line += measured ? Bar(score, BAR_CELLS, style.utf8) : std::string(BAR_CELLS, ' ');
    if (style.color) {
        line += PLAIN;
    }
    text.clear();
    const std::optional<double> rate = OpsPerMs(traffic, intervalMs);
    if (rate) {
        AppendScaled(text, *rate);
    } else {
        text += '-';
    }
    AppendColumn(line, text, 7);
    AppendColumn(line, PercentOrDash(RemoteShare(traffic)), 7);
    AppendColumn(line, PercentOrDash(CrossDieShare(traffic)), 9);
}

std::string Bar(float score, std::size_t cells, bool utf8)
{
    const double filled = std::clamp(static_cast<double>(score), 0.0, 1.0) * static_cast<double>(cells);
    std::string bar;
    if (!utf8) {
        const auto full = static_cast<std::size_t>(std::lround(filled));
        bar.assign(full, '#');
        bar.append(cells - full, '.');
        return bar;
    }
    constexpr std::array<std::string_view, 8> EIGHTHS = {"",       "\u258f", "\u258e", "\u258d",
                                                         "\u258c", "\u258b", "\u258a", "\u2589"};
    const auto eighths = static_cast<std::size_t>(std::lround(filled * 8));
    for (std::size_t i = 0; i < eighths / 8; ++i) {
        bar += "\u2588";
    }
    bar += EIGHTHS[eighths % 8];
    const std::size_t drawn = eighths / 8 + (eighths % 8 != 0 ? 1 : 0);
    bar.append(cells - drawn, ' ');
    return bar;
}

std::string ClipLine(std::string_view line, std::size_t columns)
{
    std::string clipped;
    std::size_t column = 0;
    for (std::size_t i = 0; i < line.size();) {
        std::size_t length = 1;
        if (line[i] == '\x1b') {
            const std::size_t end = line.find('m', i);
            length = (end == std::string_view::npos ? line.size() : end + 1) - i;
            clipped += line.substr(i, length);
        } else {
            while (i + length < line.size() &&
                   (static_cast<unsigned char>(line[i + length]) & 0xC0U) == 0x80U) {
                ++length;
            }
            if (column < columns) {
                clipped += line.substr(i, length);
            }
            ++column;
        }
        i += length;
    }
    return clipped;
}

}  // namespace numa_score
