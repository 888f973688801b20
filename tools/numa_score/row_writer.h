// SPDX-License-Identifier: MIT

#ifndef TOOLS_NUMA_SCORE_ROW_WRITER_H
#define TOOLS_NUMA_SCORE_ROW_WRITER_H

#include "tools/numa_score/period_row.h"

namespace numa_score {

/// Puts periods into one format, onto an Output. The order of calls: Begin, any number of Write and
/// Interrupt, End.
class RowWriter {
public:
    RowWriter() = default;
    RowWriter(const RowWriter&) = delete;
    RowWriter& operator=(const RowWriter&) = delete;
    virtual ~RowWriter() = default;

    /// What stands before the first period.
    virtual void Begin() = 0;

    virtual void Write(const PeriodRow& row) = 0;

    /// Somebody else is about to write on the same terminal.
    virtual void Interrupt() = 0;

    /// The last period is written; a summary may follow.
    virtual void End() = 0;
};

}  // namespace numa_score

#endif  // TOOLS_NUMA_SCORE_ROW_WRITER_H
