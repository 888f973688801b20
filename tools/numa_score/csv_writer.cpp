// SPDX-License-Identifier: MIT

#include "tools/numa_score/csv_writer.h"

#include <optional>

#include "host/escape.h"
#include "tools/numa_score/text_format.h"

namespace numa_score {
namespace {

void AppendTime(std::string& line, const PeriodRow& row)
{
    if (row.timeKind == TimeKind::UTC) {
        AppendUtc(line, row.timeNs);
    } else {
        AppendSeconds(line, row.timeNs, 9);
    }
}

void AppendOptional(std::string& line, std::optional<double> value, int decimals)
{
    if (value) {
        AppendFixed(line, *value, decimals);
    }
}

/// Score to running ratio: what period and PMU have in common.
void AppendFigures(std::string& line, float score, const Traffic& traffic, std::int64_t intervalMs,
                   double runningRatio)
{
    AppendShortest(line, score);
    line += ',';
    AppendUnsigned(line, traffic.ops);
    line += ',';
    AppendUnsigned(line, traffic.sccl);
    line += ',';
    AppendUnsigned(line, traffic.outer);
    line += ',';
    AppendSigned(line, intervalMs);
    line += ',';
    AppendOptional(line, OpsPerMs(traffic, intervalMs), 3);
    line += ',';
    AppendOptional(line, RemoteShare(traffic), 6);
    line += ',';
    AppendOptional(line, CrossDieShare(traffic), 6);
    line += ',';
    AppendFixed(line, runningRatio, 4);
    line += ',';
}

}  // namespace

void CsvWriter::Begin()
{
    out.Buffer() += HEADER;
    out.Commit();
}

void CsvWriter::Write(const PeriodRow& row)
{
    std::string& line = out.Buffer();
    AppendTime(line, row);
    line += ",,";
    AppendFigures(line, row.score, row.traffic, row.intervalMs, row.runningRatio);
    AppendFlags(line, row.flags, " ");
    line += '\n';
    for (const PmuRow& pmu : row.pmus) {
        AppendTime(line, row);
        line += ',';
        AppendCsvField(line, host::EscapeText(pmu.name));
        line += ',';
        AppendFigures(line, pmu.score, pmu.traffic, row.intervalMs, pmu.runningRatio);
        line += '\n';
    }
    out.Commit();
}

void AppendCsvField(std::string& out, std::string_view text)
{
    if (text.find_first_of(",\"\r\n") == std::string_view::npos) {
        out += text;
        return;
    }
    out += '"';
    for (const char c : text) {
        out += c;
        if (c == '"') {
            out += '"';
        }
    }
    out += '"';
}

}  // namespace numa_score
