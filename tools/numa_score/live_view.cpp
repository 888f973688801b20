// SPDX-License-Identifier: MIT

#include "tools/numa_score/live_view.h"

#include <algorithm>
#include <utility>

#include "tools/numa_score/text_format.h"

namespace numa_score {
namespace {

constexpr std::int64_t NS_PER_SECOND = 1000000000;

}  // namespace

LiveView::LiveView(cli::Output& output, TableLayout tableLayout, host::Clock& redrawClock,
                   SizeQuery sizeQuery)
    : out(output), layout(tableLayout), clock(redrawClock), querySize(std::move(sizeQuery))
{
}

void LiveView::Begin()
{
    nextDrawNs = clock.NowNs();
    Draw();
}

void LiveView::Write(const PeriodRow& row)
{
    periods.push_back(layout.PeriodLine(row));
    if (periods.size() > MAX_PERIODS) {
        periods.pop_front();
    }
    pmus.clear();
    for (const PmuRow& pmu : row.pmus) {
        pmus.push_back(layout.PmuLine(pmu, row.intervalMs));
    }
    pending = true;
    const std::int64_t nowNs = clock.NowNs();
    if (nowNs >= nextDrawNs) {
        nextDrawNs = nowNs + NS_PER_SECOND / REDRAWS_PER_SECOND;
        Draw();
    }
}

void LiveView::Interrupt()
{
    if (pending) {
        Draw();
    }
    drawnLines = 0;
}

void LiveView::End()
{
    if (pending) {
        Draw();
    }
}

void LiveView::Draw()
{
    const cli::TerminalSize size = querySize();
    // One line stays free for the cursor; a line as wide as the terminal would wrap on some.
    const auto lines = static_cast<std::size_t>(std::max(size.rows - 1, 2));
    const auto columns = static_cast<std::size_t>(std::max(size.columns - 1, 1));
    std::string& text = out.Buffer();
    if (drawnLines > 0) {
        text += "\r\x1b[";
        AppendUnsigned(text, std::min(drawnLines, lines));
        text += 'A';
    }
    const auto draw = [&](const std::string& line) {
        text += ClipLine(line, columns);
        text += "\x1b[K\n";
        ++drawnLines;
    };
    drawnLines = 0;
    draw(layout.Header());
    const std::size_t pmuLines = std::min(pmus.size(), lines - 2);
    const std::size_t periodLines = std::min(periods.size(), lines - 1 - pmuLines);
    for (std::size_t i = periods.size() - periodLines; i < periods.size(); ++i) {
        draw(periods[i]);
    }
    for (std::size_t i = 0; i < pmuLines; ++i) {
        draw(pmus[i]);
    }
    text += "\x1b[J";
    pending = false;
    out.WriteOut();
}

}  // namespace numa_score
