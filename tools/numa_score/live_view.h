// SPDX-License-Identifier: MIT

#ifndef TOOLS_NUMA_SCORE_LIVE_VIEW_H
#define TOOLS_NUMA_SCORE_LIVE_VIEW_H

#include <cstddef>
#include <cstdint>

#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "host/clock.h"
#include "tools/cli/output.h"
#include "tools/cli/terminal.h"
#include "tools/numa_score/row_writer.h"
#include "tools/numa_score/table_layout.h"

namespace numa_score {

/// The table on a terminal: a header with the last periods beneath it, redrawn in place, and the PMUs of the
/// last period. Redraws at most REDRAWS_PER_SECOND times a second, whatever the pace of the periods.
class LiveView : public RowWriter {
public:
    static constexpr std::size_t MAX_PERIODS = 12;
    static constexpr std::int64_t REDRAWS_PER_SECOND = 20;

    using SizeQuery = std::function<cli::TerminalSize()>;

    /// `clock` and `output` must outlive the view.
    LiveView(cli::Output& output, TableLayout tableLayout, host::Clock& redrawClock, SizeQuery sizeQuery);

    void Begin() override;
    void Write(const PeriodRow& row) override;

    /// Leaves what is drawn where it is; the next redraw happens beneath.
    void Interrupt() override;
    void End() override;

private:
    void Draw();

    cli::Output& out;
    TableLayout layout;
    host::Clock& clock;
    SizeQuery querySize;
    std::deque<std::string> periods;  // lines of the last ones
    std::vector<std::string> pmus;    // lines of the last period's
    bool pending = false;             // something is not drawn yet
    std::size_t drawnLines = 0;       // above the cursor
    std::int64_t nextDrawNs = 0;
};

}  // namespace numa_score

#endif  // TOOLS_NUMA_SCORE_LIVE_VIEW_H
