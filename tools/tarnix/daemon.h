// SPDX-License-Identifier: MIT

#ifndef TOOLS_TARNIX_DAEMON_H
#define TOOLS_TARNIX_DAEMON_H

#include <cstdint>

#include <functional>
#include <string>
#include <vector>

#include "common/health_monitor.h"
#include "common/logger_ctl.h"
#include "common/passive_watchdog.h"
#include "config/conf_ctl.h"
#include "host/clock.h"
#include "host/opinion_watch.h"
#include "tools/tarnix/own_cost.h"
#include "tools/tarnix/period_recorder.h"
#include "tools/tarnix/service_notifier.h"
#include "tools/tarnix/uncore_feed.h"

namespace tarnix {

/// What the daemon works with. Everything has to outlive it.
struct DaemonParts {
    Conf& conf;                   ///< settings; a reload changes them
    ConfCtl& control;             ///< that filled `conf`
    const std::string& yamlPath;  ///< file of a reload
    UncoreFeed& feed;
    PeriodRecorder& recorder;
    PassiveWatchdog& watchdog;  ///< gets the heartbeats; started and stopped by the caller
    ServiceNotifier& notifier;
    host::Clock& clock;
    std::function<bool()> stopAsked;
    host::OpinionWatch* opinions = nullptr;  ///< the kernel's counts beside live ones; null: none
};

/// The observing loop. Every sampling interval the counters are read; every `samplingTimes` intervals a tune
/// period is closed. The waits between are cut so short that heartbeat and pings are never late, whatever the
/// interval. Belongs to one thread.
class Daemon {
public:
    explicit Daemon(const DaemonParts& daemonParts);

    /// Runs until an end is asked for or the source has ended. The state of the source then.
    UncoreFeed::State Run();

private:
    UncoreFeed::State Sample();
    void ClosePeriod();
    void AskKernel();
    void TellOpinions();
    void LogPeriod();
    void LogKernel();
    std::string StatusLine() const;
    void WaitUntil(std::int64_t deadlineNs);
    void Reload();
    void Tell(const std::vector<Remark>& remarks);

    DaemonParts parts;
    Log& log;
    HealthMonitor health;
    OwnCost cost;
    UncoreMetrics lastUncore;      ///< of the last period
    host::OpinionReading logged;   ///< the kernel's counts that were logged last
    std::int64_t passStartNs = 0;  ///< of the pass that is running
    std::uint64_t periods = 0;
    std::uint32_t samples = 0;  ///< in the current period
};

}  // namespace tarnix

#endif  // TOOLS_TARNIX_DAEMON_H
