// SPDX-License-Identifier: MIT

#include "host/driven_instance.h"

#include <exception>
#include <limits>
#include <mutex>

#include "host/data_release.h"

namespace host {
namespace {

constexpr std::int64_t NS_PER_MS = 1000000;
constexpr std::int64_t NS_PER_SECOND = 1000000000;
constexpr std::int64_t NEVER = std::numeric_limits<std::int64_t>::max();

void ReleaseMessages(std::deque<std::shared_ptr<kovari::InstanceRunMessage>>& messages)
{
    for (const std::shared_ptr<kovari::InstanceRunMessage>& message : messages) {
        if (message) {
            ReleaseDataList(message->dataList);
        }
    }
    messages.clear();
}

/// An instance may push up to its own destruction, after the pump has gone: what nobody took is released
/// with the queue.
struct ReleasingQueue : RunMessageQueue {
    ReleasingQueue() = default;
    ReleasingQueue(const ReleasingQueue&) = delete;
    ReleasingQueue& operator=(const ReleasingQueue&) = delete;
    ~ReleasingQueue() { ReleaseMessages(messages); }
};

}  // namespace

void PumpContext::Say(const std::string& line) const
{
    if (reporter) {
        reporter(line);
    }
}

DrivenInstance::DrivenInstance(std::shared_ptr<kovari::Interface> driven, PumpContext& pumpContext)
    : instance(std::move(driven)),
      context(pumpContext),
      name(instance->name),
      queue(std::make_shared<ReleasingQueue>()),
      dueNs(NEVER)
{
    instance->messageQueue = queue;
}

DrivenInstance::~DrivenInstance()
{
    ReleaseMessages(taken);
}

template <typename Function>
bool DrivenInstance::Guarded(Call call, Function&& function)
{
    const std::int64_t startNs = context.clock.NowNs();
    bool good = false;
    try {
        good = function();
    } catch (const std::exception& exception) {
        Report(ThrownBy(call), remark::Threw, call, exception.what());
    } catch (...) {
        Report(ThrownBy(call), remark::ThrewUnknown, call);
    }
    const std::int64_t nowNs = context.clock.NowNs();
    stats[static_cast<std::size_t>(call)].Record(nowNs - startNs, !good);
    CheckDuration(call, nowNs - startNs, nowNs);
    return good;
}

void DrivenInstance::CheckDuration(Call call, std::int64_t elapsedNs, std::int64_t nowNs)
{
    const std::int64_t ownNs = static_cast<std::int64_t>(instance->period) * NS_PER_MS;
    const std::int64_t defaultNs = ownNs > 0 ? ownNs : DEFAULT_LIMIT_NS;
    const std::int64_t limitNs = context.slowCallNs > 0 ? context.slowCallNs : defaultNs;
    if (elapsedNs <= limitNs) {
        return;
    }
    if (slowRemarked && nowNs - lastSlowRemarkNs < NS_PER_SECOND) {
        ++untoldSlowCalls;
        return;
    }
    const char* limitName = context.slowCallNs > 0 || ownNs <= 0 ? "limit" : "period";
    context.Say(remark::SlowCall(name, call, elapsedNs, limitName, limitNs, untoldSlowCalls));
    slowRemarked = true;
    lastSlowRemarkNs = nowNs;
    untoldSlowCalls = 0;
}

bool DrivenInstance::Enable(const std::string& param)
{
    return Guarded(Call::ENABLE, [&] {
        const Result result = instance->Enable(param);
        if (result.code != 0) {
            Report(Fault::ENABLE_REFUSED, remark::Refused, Call::ENABLE, result);
        }
        return result.code == 0;
    });
}

bool DrivenInstance::OpenTopic(const kovari::Topic& topic)
{
    return Guarded(Call::OPEN_TOPIC, [&] {
        const Result result = instance->OpenTopic(topic);
        if (result.code != 0) {
            Report(Fault::OPEN_REFUSED, remark::Refused, Call::OPEN_TOPIC, result);
        }
        return result.code == 0;
    });
}

void DrivenInstance::CloseTopic(const kovari::Topic& topic)
{
    Guarded(Call::CLOSE_TOPIC, [&] {
        instance->CloseTopic(topic);
        return true;
    });
}

void DrivenInstance::UpdateData(const DataList& dataList)
{
    Guarded(Call::UPDATE_DATA, [&] {
        instance->UpdateData(dataList);
        return true;
    });
}

void DrivenInstance::Disable()
{
    Guarded(Call::DISABLE, [&] {
        instance->Disable();
        return true;
    });
}

void DrivenInstance::Run()
{
    Guarded(Call::RUN, [&] {
        instance->Run();
        return true;
    });
}

bool DrivenInstance::Take(std::shared_ptr<kovari::InstanceRunMessage>& message)
{
    // All that is queued changes hands at once: one lock for many messages, and none while they are executed.
    if (taken.empty()) {
        const std::lock_guard<std::mutex> lock(queue->mutex);
        taken.swap(queue->messages);
    }
    if (taken.empty()) {
        return false;
    }
    message = std::move(taken.front());
    taken.pop_front();
    return true;
}

bool DrivenInstance::HasMessages()
{
    if (!taken.empty()) {
        return true;
    }
    const std::lock_guard<std::mutex> lock(queue->mutex);
    return !queue->messages.empty();
}

void DrivenInstance::Schedule(std::int64_t nowNs)
{
    periodNs = static_cast<std::int64_t>(instance->period) * NS_PER_MS;
    dueNs = periodNs > 0 ? nowNs + periodNs : NEVER;
}

void DrivenInstance::AdvanceDue(std::int64_t nowNs)
{
    if (!IsDue(nowNs) || periodNs <= 0) {
        return;
    }
    const std::int64_t passed = (nowNs - dueNs) / periodNs;
    missedPeriods += static_cast<std::uint64_t>(passed);
    dueNs += (passed + 1) * periodNs;
}

void DrivenInstance::ReportTotals() const
{
    for (std::size_t i = 0; i < FAULT_COUNT; ++i) {
        const auto fault = static_cast<Fault>(i);
        const std::uint64_t total = tally.Total(fault);
        if (total != 0 && !FaultTally::IsTold(total)) {
            context.Say(remark::Total(name, fault, total));
        }
    }
}

}  // namespace host
