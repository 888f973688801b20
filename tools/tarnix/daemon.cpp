// SPDX-License-Identifier: MIT

#include "tools/tarnix/daemon.h"

#include <algorithm>

#include "config/conf_enums.h"
#include "tools/tarnix/log_gate.h"
#include "tools/tarnix/messages.h"
#include "tools/tarnix/settings_log.h"

namespace tarnix {
namespace {

constexpr std::int64_t NS_PER_MS = 1000000;

/// Longest wait without a heartbeat: half of the shortest timeout that can be set.
constexpr std::int64_t MAX_WAIT_NS = 500 * NS_PER_MS;

const char* const CYCLE = "tarnix_cycle_time";
const char* const COLLECTION = "collection";
const char* const PMU_READ = "pmu_read";

}  // namespace

Daemon::Daemon(const DaemonParts& daemonParts)
    : parts(daemonParts), log(logger->GetLog(LogType::TOOL)), cost(daemonParts.clock.NowNs())
{
}

UncoreFeed::State Daemon::Run()
{
    const std::int64_t intervalNs = parts.conf.samplingInterval * NS_PER_MS;
    std::int64_t next = parts.clock.NowNs();
    health.StartPhase(CYCLE);
    UncoreFeed::State state = Sample();
    samples = 0;  // the first one only starts the counting
    if (parts.opinions != nullptr) {
        parts.opinions->Start(parts.clock.NowNs());
        logged = parts.opinions->LastReading();
        TellOpinions();
    }
    if (state == UncoreFeed::State::ENDED) {
        ClosePeriod();  // a recording of one moment
    }
    parts.notifier.Ready(StatusLine());
    const auto goesOn = [](UncoreFeed::State now) {
        return now == UncoreFeed::State::COUNTING || now == UncoreFeed::State::NO_SOURCE;
    };
    while (goesOn(state) && !parts.stopAsked()) {
        next += intervalNs;
        if (next < parts.clock.NowNs()) {  // the machine slept: no rush to catch up
            next = parts.clock.NowNs() + intervalNs;
        }
        WaitUntil(next);
        if (parts.stopAsked()) {
            break;
        }
        passStartNs = parts.clock.NowNs();
        state = Sample();
        if (samples >= parts.conf.samplingTimes || !goesOn(state)) {
            ClosePeriod();
        }
        cost.NotePass(parts.clock.NowNs() - passStartNs);
    }
    parts.notifier.Stopping();
    log.logFunc(LogLevel::INFO, messages::Ended(periods));
    return state;
}

UncoreFeed::State Daemon::Sample()
{
    health.ResumePhase(PMU_READ);
    const UncoreFeed::State state = parts.feed.Sample(parts.clock.NowNs());
    health.PausePhase(PMU_READ);
    ++samples;
    Tell(parts.feed.TakeRemarks());
    return state;
}

void Daemon::ClosePeriod()
{
    ++periods;
    samples = 0;
    health.StartPhase(COLLECTION);
    lastUncore = parts.feed.ClosePeriod();
    parts.recorder.Record(periods, lastUncore, health);
    AskKernel();
    health.EndPhase(COLLECTION);
    health.EndPhase(CYCLE);
    Tell(parts.recorder.TakeRemarks());
    LogPeriod();
    logger->snapshot.UpdateInterval(1);
    parts.notifier.Status(StatusLine());
    health.Clear();
    health.StartPhase(CYCLE);
}

std::string Daemon::StatusLine() const
{
    return messages::Status(periods, parts.feed.GetState() != UncoreFeed::State::NO_SOURCE, lastUncore);
}

void Daemon::AskKernel()
{
    if (parts.opinions == nullptr) {
        return;
    }
    parts.opinions->AddTraffic(lastUncore.rxOpsNum, lastUncore.rxScclNum, lastUncore.rxOuterNum);
    if (parts.opinions->ReadInTime(parts.clock.NowNs())) {
        TellOpinions();
    }
}

void Daemon::TellOpinions()
{
    for (const std::string& remark : parts.opinions->TakeRemarks()) {
        log.logFunc(LogLevel::INFO, remark);
    }
    const std::optional<host::OpinionWatch::Change> change = parts.opinions->TakeChange();
    if (change == host::OpinionWatch::Change::BEGAN) {
        log.logFunc(LogLevel::WARN, messages::KernelDisagrees(parts.opinions->Window()));
    } else if (change == host::OpinionWatch::Change::ENDED) {
        log.logFunc(LogLevel::INFO, messages::KernelDisagreesNoMore());
    }
}

void Daemon::LogKernel()
{
    if (parts.opinions == nullptr || parts.opinions->LastReading().timeNs == logged.timeNs) {
        return;
    }
    const host::OpinionReading& now = parts.opinions->LastReading();
    log.snapFunc(LogLevel::DEBUG, messages::PeriodKernel(host::CompareOpinions(logged, now)));
    logged = now;
}

void Daemon::LogPeriod()
{
    const bool snapshot = logger->snapshot.ShouldSnap();
    if (snapshot || logger->IsEnabled(LogLevel::DEBUG)) {
        log.snapFunc(LogLevel::DEBUG, messages::PeriodScore(periods, lastUncore));
        log.snapFunc(LogLevel::DEBUG, messages::PeriodCpu(parts.recorder.Cpus()));
        log.snapFunc(LogLevel::DEBUG, messages::PeriodMemory(parts.recorder.Last()));
        LogKernel();
        log.snapFunc(LogLevel::DEBUG, health.LogAll());
    }
    if (snapshot) {
        const std::int64_t now = parts.clock.NowNs();
        cost.NotePass(now - passStartNs);
        log.logFunc(LogLevel::INFO, messages::OwnCost(cost.Take(now)));
    }
}

void Daemon::WaitUntil(std::int64_t deadlineNs)
{
    const std::int64_t ping = parts.notifier.PingIntervalNs();
    const std::int64_t slice = ping > 0 ? std::min(MAX_WAIT_NS, ping / 2) : MAX_WAIT_NS;
    for (std::int64_t now = parts.clock.NowNs(); !parts.stopAsked(); now = parts.clock.NowNs()) {
        parts.watchdog.Heartbeat();
        parts.notifier.Alive(now);
        if (logger->NeedReloadLog()) {
            Reload();
        }
        if (now >= deadlineNs) {
            return;
        }
        parts.clock.SleepUntilNs(std::min(deadlineNs, now + slice));
    }
}

void Daemon::Reload()
{
    parts.notifier.Reloading(parts.clock.NowNs());
    RenewLogFile();
    Conf reloaded = parts.conf;
    const TnResult result = parts.control.ParseYaml(parts.yamlPath, false, true, reloaded);
    if (result.code == 0) {
        parts.conf = reloaded;
        logger->SetLevel(static_cast<LogLevel>(reloaded.logLevel));
        log.logFunc(LogLevel::INFO, messages::Reloaded(g_logLevelMap.at(reloaded.logLevel)));
        LogSettings(parts.conf);
    } else {
        log.logFunc(LogLevel::WARN, messages::ReloadFailed(result.message));
    }
    parts.watchdog.Heartbeat();
    for (const std::string& fault : FileFaults(parts.yamlPath)) {
        log.logFunc(LogLevel::WARN, fault);
    }
    parts.notifier.Ready(StatusLine());
}

void Daemon::Tell(const std::vector<Remark>& remarks)
{
    for (const Remark& remark : remarks) {
        log.logFunc(remark.level, remark.text);
    }
}

}  // namespace tarnix
