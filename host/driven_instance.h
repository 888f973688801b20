// SPDX-License-Identifier: MIT

#ifndef HOST_DRIVEN_INSTANCE_H
#define HOST_DRIVEN_INSTANCE_H

#include <cstddef>
#include <cstdint>

#include <array>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <unordered_set>
#include <utility>

#include "host/call_stats.h"
#include "host/clock.h"
#include "host/pump_remarks.h"
#include "scenario/framework.h"

namespace host {

/// What all instances of one pump share.
struct PumpContext {
    Clock& clock;
    std::function<void(const std::string& line)> reporter;  ///< may be empty
    std::int64_t slowCallNs = 0;                            ///< 0: the instance's own period
    std::uint64_t wrongMessages = 0;                        ///< of all instances

    void Say(const std::string& line) const;
};

/// One instance with the queue that it pushes on, its faults and its due times. Every call of the instance
/// goes through here: it is timed, and an exception ends in a remark. No lock is held meanwhile. For the
/// pump's thread only; the instance itself may push from any thread.
class DrivenInstance {
public:
    /// Period of an instance that has none, as far as slow calls are concerned.
    static constexpr std::int64_t DEFAULT_LIMIT_NS = 100000000;

    /// Stores a queue in `instance`, which is not null. `context` must outlive this object.
    DrivenInstance(std::shared_ptr<kovari::Interface> driven, PumpContext& pumpContext);
    DrivenInstance(const DrivenInstance&) = delete;
    DrivenInstance& operator=(const DrivenInstance&) = delete;

    /// Releases the messages that were taken from the queue and not executed.
    ~DrivenInstance();

    const std::string& Name() const { return name; }
    const kovari::Interface& Instance() const { return *instance; }
    const CallStats& Stats(Call call) const { return stats[static_cast<std::size_t>(call)]; }

    /// False when the call raised an exception or answered with a code other than 0.
    bool Enable(const std::string& param);
    bool OpenTopic(const kovari::Topic& topic);
    void CloseTopic(const kovari::Topic& topic);
    void UpdateData(const DataList& dataList);
    void Disable();
    void Run();

    /// Takes the oldest message of the queue. False when there is none. The message may be null.
    bool Take(std::shared_ptr<kovari::InstanceRunMessage>& message);
    bool HasMessages();

    /// Starts the series of due times: `nowNs` + n * period.
    void Schedule(std::int64_t nowNs);
    bool IsDue(std::int64_t nowNs) const { return nowNs >= dueNs; }

    /// Moves the due time past `nowNs`; periods that were passed over are counted as missed.
    void AdvanceDue(std::int64_t nowNs);
    std::int64_t DueNs() const { return dueNs; }
    std::uint64_t MissedPeriods() const { return missedPeriods; }

    /// Counts a fault and tells it if it is the first of its kind, the tenth, ... `line` is called, with the
    /// instance's name, only then.
    template <typename Line, typename... Facts>
    void Report(Fault fault, Line&& line, Facts&&... facts)
    {
        const std::uint64_t total = tally.Count(fault);
        if (FaultTally::IsTold(total)) {
            context.Say(remark::Repeated(line(name, std::forward<Facts>(facts)...), total));
        }
    }

    /// Tells the totals of the faults whose last occurrence was not told.
    void ReportTotals() const;

    std::unordered_set<std::string> subscriptions;  ///< keys of the topics that it subscribed to

private:
    template <typename Function>
    bool Guarded(Call call, Function&& function);
    void CheckDuration(Call call, std::int64_t elapsedNs, std::int64_t nowNs);

    std::shared_ptr<kovari::Interface> instance;
    PumpContext& context;
    const std::string name;  // as it was when added; the instance could change its own later
    std::shared_ptr<RunMessageQueue> queue;
    std::deque<std::shared_ptr<kovari::InstanceRunMessage>> taken;
    std::array<CallStats, CALL_COUNT> stats{};
    FaultTally tally;
    std::int64_t periodNs = 0;
    std::int64_t dueNs;
    std::uint64_t missedPeriods = 0;
    std::uint64_t untoldSlowCalls = 0;
    std::int64_t lastSlowRemarkNs = 0;
    bool slowRemarked = false;
};

}  // namespace host

#endif  // HOST_DRIVEN_INSTANCE_H
