// SPDX-License-Identifier: MIT

#include "tools/numa_score/table_writer.h"

namespace numa_score {

void TableWriter::Begin()
{
    out.Buffer() += layout.Header();
    out.Buffer() += '\n';
    out.Commit();
}

void TableWriter::Write(const PeriodRow& row)
{
    out.Buffer() += layout.PeriodLine(row);
    out.Buffer() += '\n';
    for (const PmuRow& pmu : row.pmus) {
        out.Buffer() += layout.PmuLine(pmu, row.intervalMs);
        out.Buffer() += '\n';
    }
    out.Commit();
}

}  // namespace numa_score
