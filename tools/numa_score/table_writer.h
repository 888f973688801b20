// SPDX-License-Identifier: MIT

#ifndef TOOLS_NUMA_SCORE_TABLE_WRITER_H
#define TOOLS_NUMA_SCORE_TABLE_WRITER_H

#include "tools/cli/output.h"
#include "tools/numa_score/row_writer.h"
#include "tools/numa_score/table_layout.h"

namespace numa_score {

/// The table as plain lines, for files, pipes and terminals that cannot redraw.
class TableWriter : public RowWriter {
public:
    TableWriter(cli::Output& output, TableLayout tableLayout) : out(output), layout(tableLayout) {}

    void Begin() override;
    void Write(const PeriodRow& row) override;
    void Interrupt() override { out.WriteOut(); }
    void End() override {}

private:
    cli::Output& out;
    TableLayout layout;
};

}  // namespace numa_score

#endif  // TOOLS_NUMA_SCORE_TABLE_WRITER_H
