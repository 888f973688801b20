// SPDX-License-Identifier: MIT

#ifndef TOOLS_NUMA_SCORE_CSV_WRITER_H
#define TOOLS_NUMA_SCORE_CSV_WRITER_H

#include <string>
#include <string_view>

#include "tools/cli/output.h"
#include "tools/numa_score/row_writer.h"

namespace numa_score {

/// Comma-separated values as in RFC 4180, lines ending in LF, one line per period; beneath it, when asked
/// for, one per PMU with the PMU's name in the column "pmu". New columns are only ever added at the end.
///
/// time             seconds of recorded time with nine decimals, or UTC (ISO 8601)
/// pmu              empty for the period, else the PMU
/// score            shortest text that reads back as the same single-precision number
/// ops,sccl,outer   the three counts
/// interval_ms      time covered by the counts, as published
/// ops_per_ms, remote_share, cross_die_share    empty when there is nothing to divide by
/// running_ratio    lowest share of time in which a counter ran
/// flags            names separated by blanks
class CsvWriter : public RowWriter {
public:
    static constexpr std::string_view HEADER =
        "time,pmu,score,ops,sccl,outer,interval_ms,ops_per_ms,remote_share,cross_die_share,running_ratio,"
        "flags\n";

    explicit CsvWriter(cli::Output& output) : out(output) {}

    void Begin() override;
    void Write(const PeriodRow& row) override;
    void Interrupt() override {}
    void End() override {}

private:
    cli::Output& out;
};

/// A field of RFC 4180: in quotes when it holds a comma, a quote or a line break.
void AppendCsvField(std::string& out, std::string_view text);

}  // namespace numa_score

#endif  // TOOLS_NUMA_SCORE_CSV_WRITER_H
