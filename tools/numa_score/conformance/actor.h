// SPDX-License-Identifier: MIT

#ifndef TOOLS_NUMA_SCORE_CONFORMANCE_ACTOR_H
#define TOOLS_NUMA_SCORE_CONFORMANCE_ACTOR_H

#include <cstdint>

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "scenario/framework.h"
#include "tools/numa_score/conformance/known_input.h"
#include "tools/numa_score/conformance/notes.h"

namespace conformance {

/// How one call of an instance went.
struct CallOutcome {
    const char* call = "";
    Result answer;  ///< of Enable and OpenTopic
    bool threw = false;
    bool notPermitted = false;  ///< what it threw is the std::system_error of a missing queue
    std::string thrown;         ///< what it threw, escaped
    std::int64_t elapsedNs = 0;
};

/// Where in the course of calls a message came.
enum class Phase { ENABLED, OPEN, CLOSED, DISABLED, GONE };

/// A message with the phase in which it was taken.
struct Sent {
    Phase phase;
    std::shared_ptr<kovari::InstanceRunMessage> message;  ///< may be null
};

/// One instance under examination. Each call is noted, timed and kept from throwing; afterwards what the
/// instance pushed is taken from its queue and kept. Nothing that came with the messages is released.
class Actor {
public:
    using MessageHook = std::function<void(const Sent& sent)>;

    using TimePoint = std::chrono::steady_clock::time_point;

    /// `notes` must outlive the actor. Without a queue, `messageQueue` stays empty. After `repeatUntil` calls
    /// that may be left out are left out.
    Actor(std::shared_ptr<kovari::Interface> examined, const Notes& notes, bool withQueue,
          TimePoint repeatUntil);
    Actor(const Actor&) = delete;
    Actor& operator=(const Actor&) = delete;

    /// Closes and disables what was opened and enabled, without the hook: a host does not drop an instance
    /// that runs.
    ~Actor();

    CallOutcome Enable(const std::string& param);
    CallOutcome OpenTopic(const kovari::Topic& topic);
    CallOutcome CloseTopic(const kovari::Topic& topic);
    CallOutcome UpdateData(const DataList& dataList);
    CallOutcome Disable();
    CallOutcome Run();

    /// Run, unless the instance has no period: a host never calls Run of such a one.
    void RunPeriod();

    /// OpenTopic or CloseTopic for each supported topic.
    void OpenAll();
    void CloseAll();

    /// UpdateData for each subscription whose records are known. The data is made anew each time and never
    /// given back, so that a plug-in that keeps or deletes it fails the rule about that and no other; or,
    /// after ReuseDeliveries, made once.
    void FeedAll();
    void ReuseDeliveries() { reuseDeliveries = true; }

    bool IsEnabled() const { return enabled; }
    bool HasTime() const { return std::chrono::steady_clock::now() < repeatUntil; }

    /// CloseTopic for what is open and Disable, if it is enabled.
    void Finish();

    /// Takes what waits in the queue.
    void Take();

    /// Called before each call of the instance, and after it before anything is taken.
    void SetAround(std::function<void()> beforeCall, std::function<void()> afterCall)
    {
        before = std::move(beforeCall);
        after = std::move(afterCall);
    }

    /// Called for each message when it is taken.
    void SetHook(MessageHook messageHook) { hook = std::move(messageHook); }

    /// Finish, lets go of the instance, and takes what it pushed meanwhile.
    void Drop();

    const kovari::Interface& Instance() const { return *instance; }

    /// The instance's name as it may stand in a message, in quotes.
    const std::string& Quoted() const { return quoted; }
    const std::vector<Sent>& Inbox() const { return inbox; }
    const std::set<std::string>& Subscriptions() const { return subscriptions; }

    /// Calls that raised an exception so far.
    const std::vector<CallOutcome>& Exceptions() const { return exceptions; }

    /// Forgets the messages, which hold code of the library.
    void ClearInbox() { inbox.clear(); }

    Phase phase = Phase::ENABLED;

private:
    template <typename Function>
    CallOutcome Guarded(const char* call, Function&& function);

    std::shared_ptr<kovari::Interface> instance;
    const Notes& notes;
    std::shared_ptr<RunMessageQueue> queue;
    std::string quoted;
    std::vector<Sent> inbox;
    std::set<std::string> subscriptions;
    std::vector<CallOutcome> exceptions;
    MessageHook hook;
    std::function<void()> before;
    std::function<void()> after;
    std::map<std::string, std::unique_ptr<Delivery>> reused;
    bool reuseDeliveries = false;
    bool enabled = false;
    bool opened = false;
    TimePoint repeatUntil;
};

/// The ordinary life of an instance, with what a host may do besides: Run before anything is open, OpenTopic
/// twice, three periods with data of what it subscribed to, CloseTopic, a Run, and all of it again, Disable.
/// When there is no more time, one period and once.
void LiveOrdinarily(Actor& actor);

}  // namespace conformance

#endif  // TOOLS_NUMA_SCORE_CONFORMANCE_ACTOR_H
