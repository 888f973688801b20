// SPDX-License-Identifier: MIT

#include "tools/numa_score/conformance/actor.h"

#include <chrono>
#include <exception>
#include <mutex>
#include <system_error>
#include <utility>

#include "host/escape.h"

namespace conformance {
namespace {

constexpr std::size_t MOST_EXCEPTIONS = 16;
constexpr std::size_t MOST_MESSAGES = 100000;
constexpr int PERIODS = 3;

std::int64_t NowNs()
{
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

}  // namespace

Actor::Actor(std::shared_ptr<kovari::Interface> examined, const Notes& examinersNotes, bool withQueue,
             TimePoint until)
    : instance(std::move(examined)),
      notes(examinersNotes),
      queue(withQueue ? std::make_shared<RunMessageQueue>() : nullptr),
      quoted("\"" + host::EscapeText(instance->name, 64) + "\""),
      repeatUntil(until)
{
    instance->messageQueue = queue;
}

/// The exception object may live in the library's memory: only its text leaves this function.
template <typename Function>
CallOutcome Actor::Guarded(const char* call, Function&& function)
{
    notes.At(std::string(call) + " of " + quoted);
    CallOutcome outcome;
    outcome.call = call;
    if (before) {
        before();
    }
    const std::int64_t startNs = NowNs();
    try {
        function(outcome.answer);
    } catch (const std::system_error& error) {
        outcome.threw = true;
        outcome.notPermitted = error.code() == std::errc::operation_not_permitted;
        outcome.thrown = "std::system_error: " + host::EscapeText(error.what());
    } catch (const std::exception& exception) {
        outcome.threw = true;
        outcome.thrown = "an exception: " + host::EscapeText(exception.what());
    } catch (...) {
        outcome.threw = true;
        outcome.thrown = "an exception of unknown type";
    }
    outcome.elapsedNs = NowNs() - startNs;
    if (after) {
        after();
    }
    if (outcome.threw && exceptions.size() < MOST_EXCEPTIONS) {
        exceptions.push_back(outcome);
    }
    Take();
    return outcome;
}

CallOutcome Actor::Enable(const std::string& param)
{
    CallOutcome outcome = Guarded("Enable", [&](Result& answer) { answer = instance->Enable(param); });
    enabled = !outcome.threw && outcome.answer.code == 0;
    return outcome;
}

CallOutcome Actor::OpenTopic(const kovari::Topic& topic)
{
    opened = true;
    return Guarded("OpenTopic", [&](Result& answer) { answer = instance->OpenTopic(topic); });
}

CallOutcome Actor::CloseTopic(const kovari::Topic& topic)
{
    return Guarded("CloseTopic", [&](Result& /*answer*/) { instance->CloseTopic(topic); });
}

CallOutcome Actor::UpdateData(const DataList& dataList)
{
    return Guarded("UpdateData", [&](Result& /*answer*/) { instance->UpdateData(dataList); });
}

CallOutcome Actor::Disable()
{
    enabled = false;
    return Guarded("Disable", [&](Result& /*answer*/) { instance->Disable(); });
}

CallOutcome Actor::Run()
{
    return Guarded("Run", [&](Result& /*answer*/) { instance->Run(); });
}

void Actor::RunPeriod()
{
    if (instance->period > 0) {
        Run();
    }
}

void Actor::OpenAll()
{
    phase = Phase::OPEN;
    for (const kovari::Topic& topic : instance->supportTopics) {
        OpenTopic(topic);
    }
}

void Actor::CloseAll()
{
    for (const kovari::Topic& topic : instance->supportTopics) {
        CloseTopic(topic);
    }
    phase = Phase::CLOSED;
    opened = false;
}

void Actor::Finish()
{
    if (!instance || !enabled) {
        return;
    }
    if (opened) {
        CloseAll();
    }
    phase = Phase::DISABLED;
    Disable();
}

void Actor::FeedAll()
{
    const std::set<std::string> now = subscriptions;
    for (const std::string& key : now) {
        std::unique_ptr<Delivery>& kept = reused[key];
        if (!kept || !reuseDeliveries) {
            static_cast<void>(kept.release());  // see FeedAll's declaration
            kept = KnownInput(key);
        }
        if (kept) {
            UpdateData(kept->List());
        }
    }
}

void Actor::Take()
{
    if (!queue) {
        return;
    }
    std::deque<std::shared_ptr<kovari::InstanceRunMessage>> taken;
    {
        const std::lock_guard<std::mutex> lock(queue->mutex);
        taken.swap(queue->messages);
    }
    for (std::shared_ptr<kovari::InstanceRunMessage>& message : taken) {
        if (inbox.size() >= MOST_MESSAGES) {
            return;
        }
        inbox.push_back({phase, std::move(message)});
        const Sent& sent = inbox.back();
        if (sent.message && !sent.message->payload.empty()) {
            const std::string& key = sent.message->payload[0];
            if (sent.message->type == RunType::SUBSCRIBE) {
                subscriptions.insert(key);
            } else if (sent.message->type == RunType::UNSUBSCRIBE) {
                subscriptions.erase(key);
            }
        }
        if (hook) {
            hook(sent);
        }
    }
}

Actor::~Actor()
{
    hook = nullptr;
    Finish();
    for (auto& [key, delivery] : reused) {
        static_cast<void>(delivery.release());
    }
}

void Actor::Drop()
{
    Finish();
    phase = Phase::GONE;
    notes.At("the destructor of " + quoted);
    instance.reset();
    Take();
}

void LiveOrdinarily(Actor& actor)
{
    actor.Enable("");
    if (!actor.IsEnabled()) {
        return;
    }
    for (int round = 0; round == 0 || (round < 2 && actor.HasTime()); ++round) {
        actor.RunPeriod();
        actor.OpenAll();
        actor.OpenAll();
        for (int period = 0; period == 0 || (period < PERIODS && actor.HasTime()); ++period) {
            actor.FeedAll();
            actor.RunPeriod();
        }
        actor.CloseAll();
        actor.RunPeriod();
    }
    actor.Finish();
}

}  // namespace conformance
