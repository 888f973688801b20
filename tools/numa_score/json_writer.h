// SPDX-License-Identifier: MIT

#ifndef TOOLS_NUMA_SCORE_JSON_WRITER_H
#define TOOLS_NUMA_SCORE_JSON_WRITER_H

#include "tools/cli/output.h"
#include "tools/numa_score/row_writer.h"

namespace numa_score {

/// One JSON object per line and period, with the names and meanings of the CSV columns; "time" is a number of
/// seconds or a UTC text, "flags" a list of names, what cannot be computed null. With PMUs an object has a
/// list "pmus" besides; periods after which the kernel was asked have an object "kernel".
class JsonWriter : public RowWriter {
public:
    /// `perPmu`: whether objects have "pmus".
    JsonWriter(cli::Output& output, bool perPmu) : out(output), withPmus(perPmu) {}

    void Begin() override {}
    void Write(const PeriodRow& row) override;
    void Interrupt() override {}
    void End() override {}

private:
    cli::Output& out;
    bool withPmus;
};

}  // namespace numa_score

#endif  // TOOLS_NUMA_SCORE_JSON_WRITER_H
