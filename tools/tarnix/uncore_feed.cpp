// SPDX-License-Identifier: MIT

#include "tools/tarnix/uncore_feed.h"

#include <utility>

#include "scenario/numa_scenario.h"
#include "tools/tarnix/messages.h"

namespace tarnix {

using Status = host::CounterSource::Status;

UncoreFeed::UncoreFeed(Opener open) : opener(std::move(open))
{
    NumaScenario::GetInstance().ResetScoreParam();
}

UncoreFeed::UncoreFeed(std::unique_ptr<host::CounterSource> opened) : source(std::move(opened))
{
    NumaScenario::GetInstance().ResetScoreParam();
}

UncoreFeed::State UncoreFeed::Sample(std::int64_t nowNs)
{
    if (source == nullptr && opener && nowNs >= retryNs) {
        TryToOpen(nowNs);
    }
    if (source != nullptr && !announced) {
        Announce(nowNs);
    }
    if (source != nullptr) {
        ReadUntil(nowNs);
    }
    return state;
}

void UncoreFeed::TryToOpen(std::int64_t nowNs)
{
    host::SourceResult result = opener();
    source = std::move(result.source);
    if (source == nullptr) {
        retryNs = nowNs + RETRY_NS;
        if (!failureTold) {
            remarks.push_back({LogLevel::WARN, messages::NoSource(result.error)});
            failureTold = true;
        }
    }
}

void UncoreFeed::Announce(std::int64_t nowNs)
{
    state = State::COUNTING;
    announced = true;
    startNs = nowNs;
    remarks.push_back({LogLevel::INFO, messages::Counting(source->Describe())});
}

void UncoreFeed::ReadUntil(std::int64_t nowNs)
{
    const bool live = source->IsLive();
    while (source != nullptr && ReadBatch(nowNs)) {
        if (!live && batch.timeNs > nowNs - startNs) {
            return;
        }
        FeedBatch();
        batchPending = false;
        if (live && batch.endsPeriod) {
            return;
        }
    }
}

/// True when there is a batch in `batch`.
bool UncoreFeed::ReadBatch(std::int64_t nowNs)
{
    if (batchPending) {
        return true;
    }
    const Status status = source->Read(batch);
    for (std::string& text : source->TakeRemarks()) {
        remarks.push_back({LogLevel::WARN, std::move(text)});
    }
    batchPending = status == Status::BATCH;
    if (status == Status::END) {
        remarks.push_back({LogLevel::INFO, messages::RecordingEnded()});
        state = State::ENDED;
        source = nullptr;
    } else if (status == Status::FAILED) {
        NoteFailure(nowNs);
    }
    return batchPending;
}

void UncoreFeed::NoteFailure(std::int64_t nowNs)
{
    if (opener) {
        remarks.push_back({LogLevel::WARN, messages::SourceLost(source->Error())});
        state = State::NO_SOURCE;
        retryNs = nowNs + RETRY_NS;
    } else {
        remarks.push_back({LogLevel::ERROR, source->Error()});
        state = State::FAILED;
    }
    failureTold = true;
    announced = false;
    source = nullptr;
}

void UncoreFeed::FeedBatch()
{
    records.clear();
    records.reserve(batch.samples.size());
    for (const host::CounterSample& sample : batch.samples) {
        PmuData record{};
        record.eventName = sample.eventName;
        record.count = sample.count;
        records.push_back(record);
    }
    NumaScenario::GetInstance().UpdateScoreParam(static_cast<int>(records.size()), records.data(),
                                                 batch.intervalMs);
}

UncoreMetrics UncoreFeed::ClosePeriod()
{
    ScenarioNumaScore score;
    NumaScenario::GetInstance().GetNumaScore(score);
    NumaScenario::GetInstance().ResetScoreParam();
    UncoreMetrics uncore;
    uncore.interval = score.interval;
    uncore.rxOpsNum = score.rxOpsNum;
    uncore.rxOuterNum = score.rxOuterNum;
    uncore.rxScclNum = score.rxScclNum;
    uncore.numaScore = score.numaScore;
    return uncore;
}

std::vector<Remark> UncoreFeed::TakeRemarks()
{
    return std::exchange(remarks, {});
}

}  // namespace tarnix
