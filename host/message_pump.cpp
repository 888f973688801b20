// SPDX-License-Identifier: MIT

#include "host/message_pump.h"

#include <algorithm>
#include <limits>
#include <new>
#include <utility>
#include <vector>

#include "host/data_release.h"
#include "host/driven_instance.h"
#include "host/message_executor.h"
#include "host/pump_remarks.h"
#include "host/topic_table.h"

namespace host {
namespace {

/// Releases the data of a message when its execution ends, however it ends.
class DataGuard {
public:
    explicit DataGuard(DataList& guarded) : dataList(guarded) {}
    DataGuard(const DataGuard&) = delete;
    DataGuard& operator=(const DataGuard&) = delete;
    ~DataGuard() { ReleaseDataList(dataList); }

private:
    DataList& dataList;
};

/// True during its life; for the one flag that tells a nested call from an outer one.
class FlagGuard {
public:
    explicit FlagGuard(bool& guarded) : flag(guarded) { flag = true; }
    FlagGuard(const FlagGuard&) = delete;
    FlagGuard& operator=(const FlagGuard&) = delete;
    ~FlagGuard() { flag = false; }

private:
    bool& flag;
};

std::string KeyOf(const kovari::Topic& topic)
{
    return kovari::Concat({topic.instanceName, topic.topicName, topic.params}, "::");
}

}  // namespace

struct MessagePump::State {
    enum class Phase { RUNNING, CLOSING, DOWN };

    State(Clock& clock, Reporter reporter) : context{clock, std::move(reporter)}, executor(context, topics) {}

    DrivenInstance* Find(const kovari::Interface& instance) const;
    void ClaimTopics(DrivenInstance& driven, const std::vector<kovari::Topic>& supported);

    void Deliver();
    std::size_t DeliverRound(std::size_t limit);
    void Run(DrivenInstance& driven);
    void Shutdown();
    void CloseTopics();
    void ReportNeverPublished();

    PumpContext context;
    std::vector<std::unique_ptr<DrivenInstance>> instances;  // in the order of Add
    TopicTable topics;
    MessageExecutor executor;
    Phase phase = Phase::RUNNING;
    bool delivering = false;
    bool shutdownWanted = false;
};

DrivenInstance* MessagePump::State::Find(const kovari::Interface& instance) const
{
    for (const std::unique_ptr<DrivenInstance>& driven : instances) {
        if (&driven->Instance() == &instance) {
            return driven.get();
        }
    }
    return nullptr;
}

void MessagePump::State::ClaimTopics(DrivenInstance& driven, const std::vector<kovari::Topic>& supported)
{
    for (const kovari::Topic& topic : supported) {
        const std::string key = KeyOf(topic);
        TopicEntry& entry = topics.Obtain(key);
        if (entry.publisher != nullptr) {
            context.Say(remark::TopicTaken(driven.Name(), key, entry.publisher->Name()));
            continue;
        }
        entry.publisher = &driven;
        entry.topic = topic;
        if (!entry.subscribers.empty()) {
            entry.Open();
        }
    }
}

void MessagePump::State::Deliver()
{
    if (delivering) {
        return;
    }
    {
        const FlagGuard guard(delivering);
        std::size_t executed = 0;
        std::size_t round = 0;
        do {
            round = DeliverRound(DELIVERY_LIMIT - executed);
            executed += round;
        } while (round != 0 && executed < DELIVERY_LIMIT && !shutdownWanted);
        for (std::size_t i = 0; executed == DELIVERY_LIMIT && i < instances.size(); ++i) {
            if (instances[i]->HasMessages()) {
                instances[i]->Report(Fault::ENDLESS_MESSAGES, remark::EndlessMessages, DELIVERY_LIMIT);
            }
        }
    }
    if (shutdownWanted) {
        shutdownWanted = false;
        Shutdown();
    }
}

/// One message of each instance; returns how many there were. By index: a listener may add an instance.
std::size_t MessagePump::State::DeliverRound(std::size_t limit)
{
    std::size_t executed = 0;
    for (std::size_t i = 0; i < instances.size() && executed < limit; ++i) {
        DrivenInstance& sender = *instances[i];
        std::shared_ptr<kovari::InstanceRunMessage> message;
        if (!sender.Take(message)) {
            continue;
        }
        ++executed;
        if (!message) {
            executor.RefuseNull(sender);
            continue;
        }
        const DataGuard guard(message->dataList);
        if (phase != Phase::DOWN) {
            executor.Execute(sender, *message);
        }
    }
    return executed;
}

void MessagePump::State::Run(DrivenInstance& driven)
{
    // A subscription that waits in a queue must not miss what this call publishes.
    Deliver();
    driven.Run();
    Deliver();
}

void MessagePump::State::Shutdown()
{
    if (phase != Phase::RUNNING) {
        return;
    }
    if (delivering) {
        shutdownWanted = true;
        return;
    }
    phase = Phase::CLOSING;
    executor.BeginClosing();
    ReportNeverPublished();
    CloseTopics();
    for (auto driven = instances.rbegin(); driven != instances.rend(); ++driven) {
        (*driven)->Disable();
    }
    Deliver();
    phase = Phase::DOWN;
    for (const std::unique_ptr<DrivenInstance>& driven : instances) {
        driven->ReportTotals();
    }
}

void MessagePump::State::CloseTopics()
{
    for (TopicEntry& entry : topics.Entries()) {
        entry.RemoveListeners();
        if (entry.subscribers.empty()) {
            entry.Close();
        }
    }
    // Instances answer the closing of their topics by unsubscribing from others, which closes these in turn.
    Deliver();
    for (TopicEntry& entry : topics.Entries()) {
        entry.Close();
    }
    Deliver();
}

void MessagePump::State::ReportNeverPublished()
{
    for (const TopicEntry& entry : topics.Entries()) {
        for (const std::unique_ptr<Subscriber>& subscriber : entry.subscribers) {
            if (entry.publisher == nullptr) {
                context.Say(remark::NeverPublished(subscriber->instance->Name(), entry.key));
            }
        }
    }
}

MessagePump::MessagePump(Clock& clock, Reporter reporter)
    : state(std::make_unique<State>(clock, std::move(reporter)))
{
}

MessagePump::~MessagePump()
{
    try {
        state->Shutdown();
    } catch (const std::bad_alloc&) {
        // No memory to close everything or to tell of it; what is queued is released all the same.
    }
}

bool MessagePump::Add(std::shared_ptr<kovari::Interface> instance, const std::string& param)
{
    if (!instance) {
        state->context.Say(remark::NullInstance());
        return false;
    }
    const std::string& name = instance->name;
    if (name.empty()) {
        state->context.Say(remark::NamelessInstance());
        return false;
    }
    if (state->phase != State::Phase::RUNNING) {
        state->context.Say(remark::AfterShutdown(name));
        return false;
    }
    for (const std::unique_ptr<DrivenInstance>& driven : state->instances) {
        if (driven->Name() == name) {
            state->context.Say(remark::NameTaken(name));
            return false;
        }
    }
    auto driven = std::make_unique<DrivenInstance>(std::move(instance), state->context);
    if (!driven->Enable(param)) {
        return false;
    }
    driven->Schedule(state->context.clock.NowNs());
    state->instances.push_back(std::move(driven));
    DrivenInstance& added = *state->instances.back();
    state->ClaimTopics(added, added.Instance().supportTopics);
    return true;
}

bool MessagePump::Listen(const kovari::Topic& topic, Listener listener)
{
    const std::string key = KeyOf(topic);
    TopicEntry* const entry = state->topics.Find(key);
    if (state->phase != State::Phase::RUNNING || entry == nullptr || entry->publisher == nullptr) {
        state->context.Say(remark::NoPublisher(key));
        return false;
    }
    if (!entry->Open()) {
        return false;
    }
    entry->subscribers.push_back(std::make_unique<Subscriber>(Subscriber{nullptr, std::move(listener)}));
    return true;
}

void MessagePump::Deliver()
{
    state->Deliver();
}

void MessagePump::RunInstance(kovari::Interface& instance)
{
    DrivenInstance* const driven = state->Find(instance);
    if (driven == nullptr) {
        state->context.Say(remark::NotDriven(instance.name));
        return;
    }
    if (state->phase == State::Phase::RUNNING) {
        state->Run(*driven);
    }
}

void MessagePump::RunDue()
{
    const std::int64_t nowNs = state->context.clock.NowNs();
    for (std::size_t i = 0; i < state->instances.size() && state->phase == State::Phase::RUNNING; ++i) {
        DrivenInstance& driven = *state->instances[i];
        if (driven.IsDue(nowNs)) {
            driven.AdvanceDue(nowNs);
            state->Run(driven);
        }
    }
    state->Deliver();
}

std::int64_t MessagePump::NextDueNs() const
{
    std::int64_t next = std::numeric_limits<std::int64_t>::max();
    if (state->phase == State::Phase::RUNNING) {
        for (const std::unique_ptr<DrivenInstance>& driven : state->instances) {
            next = std::min(next, driven->DueNs());
        }
    }
    return next;
}

void MessagePump::Shutdown()
{
    state->Shutdown();
}

void MessagePump::SetSlowCallNs(std::int64_t limitNs)
{
    state->context.slowCallNs = limitNs;
}

CallStats MessagePump::Stats(const kovari::Interface& instance, Call call) const
{
    const DrivenInstance* const driven = state->Find(instance);
    return driven == nullptr ? CallStats() : driven->Stats(call);
}

std::uint64_t MessagePump::MissedPeriods(const kovari::Interface& instance) const
{
    const DrivenInstance* const driven = state->Find(instance);
    return driven == nullptr ? 0 : driven->MissedPeriods();
}

std::uint64_t MessagePump::Faults() const
{
    return state->context.wrongMessages;
}

}  // namespace host
