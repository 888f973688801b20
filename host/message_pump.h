// SPDX-License-Identifier: MIT

#ifndef HOST_MESSAGE_PUMP_H
#define HOST_MESSAGE_PUMP_H

#include <cstddef>
#include <cstdint>

#include <functional>
#include <memory>
#include <string>

#include "host/call_stats.h"
#include "host/clock.h"
#include "scenario/framework.h"

namespace host {

/// Drives instances of the framework: stores a message queue in each, executes their SUBSCRIBE, UNSUBSCRIBE
/// and PUBLISH_DATA requests, routes published data by topic key to the subscribers, and releases it.
///
/// Every instance gets a queue of its own, so that a faulty message can be laid at its sender's door.
/// Instances may push from threads of their own; everything else happens on the one thread that calls this
/// object. An instance that raises an exception or sends nonsense is reported with its name and goes on: the
/// first time that something of a kind happens, the tenth, the hundredth and so on, and with the total at the
/// end. A message that is wrong in any way is not executed. What came with a message is released exactly
/// once, whatever becomes of the message.
///
/// A subscription to a topic that nobody publishes waits until an instance that does is added.
///
/// The pump shares the instances and holds messages made by their library's code: it goes before the Plugin
/// that they came from.
class MessagePump {
public:
    /// Takes one line about something that an instance did wrong or slowly. Called on the pump's thread.
    using Reporter = std::function<void(const std::string& line)>;

    /// Receives published data; valid during the call only. Called from within Deliver, between calls of
    /// instances; may use the pump (a Deliver or Shutdown inside it takes effect when the outer one ends).
    /// An exception that it raises leaves the pump's call; the data is released.
    using Listener = std::function<void(const DataList& dataList)>;

    /// `clock` must outlive the pump. An empty reporter drops the remarks.
    MessagePump(Clock& clock, Reporter reporter);
    MessagePump(const MessagePump&) = delete;
    MessagePump& operator=(const MessagePump&) = delete;

    /// Shuts down what still runs, as far as memory suffices, and releases what is still queued.
    ~MessagePump();

    /// Adds an instance, stores a queue in it and calls Enable. Its period and supportTopics are read after
    /// that. False, with a remark, when the pointer is null, the name is empty or taken, or Enable fails; the
    /// instance is then not driven.
    bool Add(std::shared_ptr<kovari::Interface> instance, const std::string& param = "");

    /// Subscribes `listener` to a topic: opens it on its publisher unless somebody already listens. False,
    /// with a remark, when no instance supports the topic or its publisher refuses.
    bool Listen(const kovari::Topic& topic, Listener listener);

    /// Executes what the instances have asked for until the queues are empty. At most `DELIVERY_LIMIT`
    /// messages a call: an instance that answers each delivery with another message is reported instead of
    /// followed for ever. Instances take turns, message by message.
    void Deliver();

    /// Delivers what is pending, so that no subscription comes too late, calls Run of one instance, and
    /// delivers what that sent.
    void RunInstance(kovari::Interface& instance);

    /// RunInstance for every instance whose period has ended, in the order of Add: what a collector publishes
    /// has reached its subscribers before these are run at the same moment. Delivers in any case. Due times
    /// are start + n * period whatever a call takes; periods that passed unserved are counted, not made up
    /// for.
    void RunDue();

    /// When the next instance is due, in the clock's nanoseconds; the largest int64 when there is none.
    std::int64_t NextDueNs() const;

    /// Closes open topics (those of listeners first, then what the unsubscriptions that follow leave without
    /// a subscriber, then the rest), calls Disable of every instance in reverse order of Add and releases
    /// what is queued without delivering it. Nothing is run afterwards. May be called twice.
    void Shutdown();

    /// A call that takes longer than this is reported as slow; at most one remark per instance and second. 0,
    /// the default, stands for the instance's own period (100 ms when it has none).
    void SetSlowCallNs(std::int64_t limitNs);

    CallStats Stats(const kovari::Interface& instance, Call call) const;
    std::uint64_t MissedPeriods(const kovari::Interface& instance) const;

    /// Messages that were wrong in any way, of all instances. Exceptions and refusals are not among them; see
    /// CallStats::failures.
    std::uint64_t Faults() const;

    static constexpr std::size_t DELIVERY_LIMIT = 100000;
    static constexpr std::size_t SUBSCRIPTION_LIMIT = 4096;  ///< subscriptions that one instance may hold

private:
    struct State;
    std::unique_ptr<State> state;
};

}  // namespace host

#endif  // HOST_MESSAGE_PUMP_H
