// SPDX-License-Identifier: MIT

#include "tools/numa_score/runner.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "tools/numa_score/messages.h"

namespace numa_score {
namespace {

constexpr std::int64_t NS_PER_MS = 1000000;

/// A signal that arrives just before a sleep does not end it: no sleep is longer than this.
constexpr std::int64_t LONGEST_SLEEP_NS = 100 * NS_PER_MS;

/// Recorded intervals are never exact; a period is over after nine tenths of it.
bool IsWholePeriod(std::int64_t elapsedNs, std::int32_t periodMs)
{
    return elapsedNs >= periodMs * NS_PER_MS / 10 * 9;
}

std::int64_t SaturatingSum(std::int64_t a, std::int64_t b)
{
    return a > std::numeric_limits<std::int64_t>::max() - b ? std::numeric_limits<std::int64_t>::max()
                                                            : a + b;
}

}  // namespace

Runner::Runner(RunEnvironment environment, RunObserver& runObserver, RunSettings runSettings)
    : env(std::move(environment)), observer(runObserver), settings(runSettings)
{
}

RunOutcome Runner::Run(std::unique_ptr<host::CounterSource> source,
                       const std::vector<std::shared_ptr<kovari::Interface>>& instances)
{
    const bool live = source->IsLive();
    row.timeKind = live ? TimeKind::UTC : TimeKind::RECORDED;
    startNs = env.clock.NowNs();
    RunOutcome outcome;
    ScoreSession session(env.clock, [this](const std::string& line) { observer.TakeRemark(line); });
    outcome.error = session.Connect(std::move(source), instances, settings.periodMs);
    if (!outcome.error.empty()) {
        outcome.end = RunEnd::PLUGIN_FAILED;
        return outcome;
    }
    if (env.opinions != nullptr) {
        env.opinions->Start(env.clock.NowNs());
        PassOpinions();
    }
    std::optional<RunEnd> end;
    while (!end) {
        end = env.stopRequested() ? RunEnd::INTERRUPTED : live ? LiveStep(session) : ReplayStep(session);
    }
    PassRemarks(session.Collector().Source());
    if (env.opinions != nullptr) {
        env.opinions->ReadNow(env.clock.NowNs());
        PassOpinions();
    }
    session.Shutdown();
    outcome.end = *end;
    outcome.error = error;
    outcome.cost = session.Cost();
    return outcome;
}

std::optional<RunEnd> Runner::LiveStep(ScoreSession& session)
{
    if (!WaitUntil(session.NextDueNs())) {
        return RunEnd::INTERRUPTED;
    }
    session.RunDue();
    observer.Tick();
    PassRemarks(session.Collector().Source());
    if (host::CounterSource::IsOver(session.Collector().SourceStatus())) {
        return EndOfSource(session);
    }
    return TakeScores(session, false);
}

std::optional<RunEnd> Runner::ReplayStep(ScoreSession& session)
{
    host::UncoreCollector& collector = session.Collector();
    const host::CounterSource::Status status = collector.Fetch();
    observer.Tick();
    PassRemarks(collector.Source());
    if (host::CounterSource::IsOver(status)) {
        return EndOfSource(session);
    }
    if (status == host::CounterSource::Status::WAITING) {
        return std::nullopt;
    }
    const host::CounterBatch& batch = collector.Batch();
    if (settings.speed && !WaitUntil(DeadlineNs(batch.timeNs))) {
        return RunEnd::INTERRUPTED;
    }
    session.RunCollector();
    if (batch.endsPeriod && IsWholePeriod(batch.timeNs - askedNs, session.PeriodMs())) {
        return ClosePeriod(session, false);
    }
    return std::nullopt;
}

std::optional<RunEnd> Runner::EndOfSource(ScoreSession& session)
{
    host::UncoreCollector& collector = session.Collector();
    if (collector.SourceStatus() == host::CounterSource::Status::FAILED) {
        error = collector.Source().Error();
        return RunEnd::SOURCE_FAILED;
    }
    if (!collector.Source().IsLive() && session.Accumulated().Any()) {
        const bool cutShort = !IsWholePeriod(collector.Batch().timeNs - askedNs, session.PeriodMs());
        const std::optional<RunEnd> end = ClosePeriod(session, cutShort);
        if (end) {
            return end;
        }
    }
    return RunEnd::SOURCE_ENDED;
}

std::optional<RunEnd> Runner::ClosePeriod(ScoreSession& session, bool cutShort)
{
    askedNs = session.Collector().Batch().timeNs;
    session.RunPlugin();
    return TakeScores(session, cutShort);
}

std::optional<RunEnd> Runner::TakeScores(ScoreSession& session, bool cutShort)
{
    const std::uint64_t requests = session.Requests();
    std::vector<ScenarioNumaScore>& scores = session.Scores();
    if (scores.empty() && requests - answered >= SILENT_REQUESTS) {
        error = PluginSilent(session.PublisherName(), requests - answered);
        return RunEnd::PLUGIN_FAILED;
    }
    for (const ScenarioNumaScore& score : scores) {
        answered = requests;
        FillRow(session, score, cutShort);
        session.Accumulated().Reset();
        ++rows;
        if (!observer.TakeRow(row)) {
            return RunEnd::OBSERVER_STOPPED;
        }
        if (LimitReached(session)) {
            return RunEnd::LIMIT_REACHED;
        }
    }
    scores.clear();
    return std::nullopt;
}

void Runner::FillRow(ScoreSession& session, const ScenarioNumaScore& score, bool cutShort)
{
    const std::int64_t timeNs = session.Collector().Batch().timeNs;
    row.timeNs = row.timeKind == TimeKind::UTC ? env.utcNowNs() : timeNs;
    row.durationNs = std::max<std::int64_t>(timeNs - scoredNs, 0);
    scoredNs = timeNs;
    row.score = score.numaScore;
    row.traffic = {score.rxOpsNum, score.rxScclNum, score.rxOuterNum};
    row.intervalMs = static_cast<std::int64_t>(score.interval);
    Evidence evidence = session.Accumulated().Facts();
    evidence.ops = score.rxOpsNum;
    evidence.sccl = score.rxScclNum;
    evidence.outer = score.rxOuterNum;
    evidence.cutShort = cutShort;
    AskKernel(score);
    evidence.kernelDisagrees = host::IsDisagreement(row.opinion);
    row.runningRatio = evidence.runningRatio;
    row.flags = Judge(evidence);
    row.measured = score.rxOpsNum > 0;
    if (settings.perPmu) {
        session.Accumulated().FillPmus(row.pmus);
    }
}

/// Fills in what the kernel counted, when it was time to ask.
void Runner::AskKernel(const ScenarioNumaScore& score)
{
    row.kernel = nullptr;
    if (env.opinions == nullptr) {
        return;
    }
    env.opinions->AddTraffic(score.rxOpsNum, score.rxScclNum, score.rxOuterNum);
    if (env.opinions->ReadInTime(env.clock.NowNs())) {
        row.kernel = &env.opinions->LastStep();
        row.opinion = env.opinions->Window().opinion;
        PassOpinions();
    }
}

void Runner::PassOpinions()
{
    for (const std::string& remark : env.opinions->TakeRemarks()) {
        observer.TakeRemark(remark);
    }
    if (const std::optional<host::OpinionWatch::Change> change = env.opinions->TakeChange()) {
        observer.TakeRemark(*change == host::OpinionWatch::Change::BEGAN
                                ? KernelDisagrees(host::DisagreementText(env.opinions->Window()))
                                : KernelDisagreesNoMore());
    }
}

bool Runner::LimitReached(ScoreSession& session)
{
    if (settings.count && rows >= *settings.count) {
        return true;
    }
    const std::int64_t elapsedNs =
        row.timeKind == TimeKind::UTC ? env.clock.NowNs() - startNs : session.Collector().Batch().timeNs;
    return settings.durationNs && elapsedNs >= *settings.durationNs;
}

/// False when the end was asked for meanwhile.
bool Runner::WaitUntil(std::int64_t deadlineNs)
{
    for (;;) {
        if (env.stopRequested()) {
            return false;
        }
        const std::int64_t nowNs = env.clock.NowNs();
        if (nowNs >= deadlineNs) {
            return true;
        }
        observer.Tick();
        env.clock.SleepUntilNs(std::min(deadlineNs, nowNs + LONGEST_SLEEP_NS));
    }
}

/// When a moment of recorded time has come, on the clock.
std::int64_t Runner::DeadlineNs(std::int64_t timeNs) const
{
    const double paced = static_cast<double>(timeNs) / *settings.speed;
    const bool beyond = !(paced < static_cast<double>(std::numeric_limits<std::int64_t>::max()));
    return SaturatingSum(
        startNs, beyond ? std::numeric_limits<std::int64_t>::max() : static_cast<std::int64_t>(paced));
}

void Runner::PassRemarks(host::CounterSource& source)
{
    for (const std::string& remark : source.TakeRemarks()) {
        observer.TakeRemark(remark);
    }
}

}  // namespace numa_score
