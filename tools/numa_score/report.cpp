// SPDX-License-Identifier: MIT

#include "tools/numa_score/report.h"

#include "tools/numa_score/text_format.h"

namespace numa_score {
namespace {

constexpr std::int64_t LONGEST_BUFFERING_NS = 100000000;

}  // namespace

Report::Report(Parts reportParts, host::Clock& reportClock)
    : parts(reportParts), clock(reportClock), nextWriteNs(reportClock.NowNs() + LONGEST_BUFFERING_NS)
{
}

void Report::Begin()
{
    if (!begun && parts.writer != nullptr) {
        parts.writer->Begin();
    }
    begun = true;
}

void Report::End(bool complete)
{
    if (complete) {
        Begin();
    }
    if (parts.progress != nullptr) {
        parts.progress->Clear();
    }
    if (begun && parts.writer != nullptr) {
        parts.writer->End();
    }
}

bool Report::TakeRow(const PeriodRow& row)
{
    Begin();
    parts.scores->Add(row);
    if (parts.writer != nullptr) {
        parts.writer->Write(row);
    }
    return parts.output == nullptr || parts.output->GetState() == cli::Output::State::GOOD;
}

void Report::TakeRemark(const std::string& line)
{
    if (parts.talk == nullptr) {
        return;
    }
    if (parts.talk->RemarkShows()) {
        if (parts.progress != nullptr) {
            parts.progress->Clear();
        }
        if (parts.writer != nullptr) {
            parts.writer->Interrupt();
        }
    }
    parts.talk->Remark(line);
}

void Report::Tick()
{
    WriteOutInTime();
    if (parts.progress != nullptr && parts.replay != nullptr && parts.progress->IsDue()) {
        parts.progress->Show(parts.replay->Progress());
    }
}

void Report::WriteOutInTime()
{
    const std::int64_t nowNs = clock.NowNs();
    if (nowNs >= nextWriteNs && parts.output != nullptr) {
        nextWriteNs = nowNs + LONGEST_BUFFERING_NS;
        parts.output->WriteOut();
    }
}

std::string CostText(const PluginCost& cost)
{
    constexpr double NS_PER_US = 1000;
    std::string text = "plug-in      ";
    AppendUnsigned(text, cost.calls);
    text += cost.calls == 1 ? " call, " : " calls, ";
    const double calls = cost.calls > 0 ? static_cast<double>(cost.calls) : 1;
    AppendFixed(text, static_cast<double>(cost.totalNs) / calls / NS_PER_US, 1);
    text += " us on average, longest ";
    AppendFixed(text, static_cast<double>(cost.longestNs) / NS_PER_US, 1);
    text += " us (";
    text += host::CallName(cost.longestCall);
    text += ")";
    if (cost.missedPeriods > 0) {
        text += ", ";
        AppendUnsigned(text, cost.missedPeriods);
        text += cost.missedPeriods == 1 ? " period missed" : " periods missed";
    }
    return text + "\n";
}

}  // namespace numa_score
