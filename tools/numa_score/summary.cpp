// SPDX-License-Identifier: MIT

#include "tools/numa_score/summary.h"

#include "tools/numa_score/text_format.h"

namespace numa_score {
namespace {

/// Share of time; of periods where the source knows no time.
double ShareOf(std::int64_t partNs, std::int64_t wholeNs, std::uint64_t part, std::uint64_t whole)
{
    return wholeNs > 0 ? static_cast<double>(partNs) / static_cast<double>(wholeNs)
                       : static_cast<double>(part) / static_cast<double>(whole);
}

/// Begins a line: its label in a column of its own.
void AppendLabel(std::string& out, const std::string& label)
{
    constexpr std::size_t COLUMN = 13;
    out += label;
    out.append(label.size() < COLUMN ? COLUMN - label.size() : 1, ' ');
}

void AppendCount(std::string& out, std::uint64_t count, const char* one)
{
    AppendUnsigned(out, count);
    out += ' ';
    out += one;
    if (count != 1) {
        out += 's';
    }
}

void AppendScoreLine(std::string& out, const Summary& summary)
{
    AppendLabel(out, "score");
    if (!summary.minimum || !summary.percentile5 || !summary.median) {
        out += "no period with operations\n";
        return;
    }
    out += "minimum ";
    AppendFixed(out, *summary.minimum, 4);
    out += ", 5th percentile ";
    AppendFixed(out, *summary.percentile5, 4);
    out += ", median ";
    AppendFixed(out, *summary.median, 4);
    out += " (";
    AppendCount(out, summary.measured, "measured period");
    out += ")\n";
}

void AppendTrafficLine(std::string& out, const Summary& summary)
{
    if (!summary.remoteShare || !summary.crossDieShare) {
        return;
    }
    AppendLabel(out, "traffic");
    out += "remote ";
    AppendPercent(out, *summary.remoteShare);
    out += ", cross-die ";
    AppendPercent(out, *summary.crossDieShare);
    out += " of ";
    AppendScaled(out, summary.ops);
    out += " operations";
    if (summary.opsPerMs) {
        out += " (";
        AppendScaled(out, *summary.opsPerMs);
        out += " per ms)";
    }
    out += '\n';
}

void AppendQualityLine(std::string& out, const Summary& summary)
{
    std::string flags;
    for (std::size_t i = 0; i < QUALITY_COUNT; ++i) {
        if (static_cast<Quality>(i) != Quality::IDLE && summary.flagged[i] > 0) {
            flags += flags.empty() ? "" : ", ";
            flags += QUALITY_NAMES[i];
            flags += ' ';
            AppendUnsigned(flags, summary.flagged[i]);
        }
    }
    if (!flags.empty()) {
        AppendLabel(out, "quality");
        out += flags;
        out += " (periods with the flag)\n";
    }
}

}  // namespace

void SummaryCollector::Add(const PeriodRow& row)
{
    ++totals.periods;
    totals.durationNs += row.durationNs;
    totals.ops += static_cast<double>(row.traffic.ops);
    sccl += static_cast<double>(row.traffic.sccl);
    outer += static_cast<double>(row.traffic.outer);
    for (std::size_t i = 0; i < QUALITY_COUNT; ++i) {
        totals.flagged[i] += row.flags.Has(static_cast<Quality>(i)) ? 1 : 0;
    }
    if (row.flags.Has(Quality::IDLE)) {
        ++totals.idle;
        idleNs += row.durationNs;
        return;
    }
    if (!row.measured) {
        ++totals.unmeasured;
        return;
    }
    ++totals.measured;
    measuredNs += row.durationNs;
    scores.Add(row.score);
    if (row.score < static_cast<float>(threshold)) {
        ++below;
        belowNs += row.durationNs;
    }
}

Summary SummaryCollector::Finish() const
{
    Summary summary = totals;
    summary.threshold = threshold;
    if (summary.measured > 0) {
        summary.minimum = scores.Minimum();
        summary.percentile5 = scores.Percentile(0.05);
        summary.median = scores.Percentile(0.5);
        summary.belowShare = ShareOf(belowNs, measuredNs, below, summary.measured);
    }
    if (summary.periods > 0) {
        summary.idleShare = ShareOf(idleNs, summary.durationNs, summary.idle, summary.periods);
    }
    if (summary.durationNs > 0) {
        summary.opsPerMs = summary.ops / (static_cast<double>(summary.durationNs) / 1e6);
    }
    if (summary.ops > 0) {
        summary.remoteShare = outer / summary.ops;
        summary.crossDieShare = sccl / summary.ops;
    }
    return summary;
}

bool NothingMeasured(const Summary& summary)
{
    return summary.periods > 0 && summary.unmeasured == summary.periods;
}

std::string SummaryText(const Summary& summary)
{
    std::string out;
    AppendLabel(out, "summary");
    AppendCount(out, summary.periods, "period");
    out += ", ";
    AppendSeconds(out, summary.durationNs, 3);
    out += " s\n";
    if (summary.periods == 0) {
        return out;
    }
    AppendScoreLine(out, summary);
    if (summary.belowShare) {
        std::string label = "below ";
        AppendShortest(label, summary.threshold);
        AppendLabel(out, label);
        AppendPercent(out, *summary.belowShare);
        out += " of the measured time\n";
    }
    AppendLabel(out, "idle");
    AppendPercent(out, *summary.idleShare);
    out += " of the time (";
    AppendCount(out, summary.idle, "period");
    out += ")\n";
    if (summary.unmeasured > 0) {
        AppendLabel(out, "unmeasured");
        AppendCount(out, summary.unmeasured, "period");
        out += " in which operations were not counted\n";
    }
    AppendTrafficLine(out, summary);
    AppendQualityLine(out, summary);
    return out;
}

}  // namespace numa_score
