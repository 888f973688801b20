// SPDX-License-Identifier: MIT

#ifndef HOST_MESSAGE_PUMP_H
#define HOST_MESSAGE_PUMP_H

#include <cstdint>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "host/clock.h"
#include "scenario/framework.h"

namespace host {

/// The operations of an instance whose time is measured.
enum class Call { OPEN_TOPIC, CLOSE_TOPIC, UPDATE_DATA, ENABLE, DISABLE, RUN };

/// Name of a call as it stands in remarks, for example "UpdateData".
const char* CallName(Call call);

/// Time spent in one operation of one instance.
struct CallStats {
    std::uint64_t calls = 0;
    std::int64_t totalNs = 0;
    std::int64_t longestNs = 0;
    std::uint64_t failures = 0;  ///< calls that raised an exception or answered with a code other than 0
};

/// Drives instances of the framework: stores a message queue in each, executes their SUBSCRIBE, UNSUBSCRIBE
/// and PUBLISH_DATA requests, routes published data by topic key to the subscribers, and releases it.
///
/// Every instance gets a queue of its own, so that a faulty message can be laid at its sender's door.
/// Instances may push from threads of their own; everything else happens on the one thread that calls this
/// object. An instance that raises an exception or sends nonsense is reported with its name and goes on.
class MessagePump {
public:
    /// Takes one line about something that an instance did wrong or slowly. Called on the pump's thread.
    using Reporter = std::function<void(const std::string& line)>;

    /// Receives published data; valid during the call only.
    using Listener = std::function<void(const DataList& dataList)>;

    /// `clock` must outlive the pump. An empty reporter drops the remarks.
    MessagePump(Clock& clock, Reporter reporter);
    MessagePump(const MessagePump&) = delete;
    MessagePump& operator=(const MessagePump&) = delete;

    /// Shuts down what still runs, releases what is still queued.
    ~MessagePump();

    /// Adds an instance, stores a queue in it and calls Enable. False, with a remark, when the pointer is
    /// null, the name is taken, or Enable fails; the instance is then not driven.
    bool Add(std::shared_ptr<kovari::Interface> instance, const std::string& param = "");

    /// Subscribes `listener` to a topic: opens it on its publisher unless somebody already listens. False,
    /// with a remark, when no instance supports the topic or its publisher refuses.
    bool Listen(const kovari::Topic& topic, Listener listener);

    /// Executes what the instances have asked for until the queues are empty. At most `DELIVERY_LIMIT`
    /// messages a call: an instance that answers each delivery with another message is reported instead of
    /// followed for ever.
    void Deliver();

    /// Calls Run of one instance, then Deliver.
    void RunInstance(kovari::Interface& instance);

    /// Calls Run of every instance whose period has ended, in the order of Add, then Deliver. Due times are
    /// start + n * period whatever a call takes; periods that passed unserved are counted, not made up for.
    void RunDue();

    /// When the next instance is due, in the clock's nanoseconds; the largest int64 when there is none.
    std::int64_t NextDueNs() const;

    /// Closes open topics, calls Disable of every instance in reverse order of Add and releases what is
    /// queued. Nothing is run afterwards. May be called twice.
    void Shutdown();

    /// A call that takes longer than this is reported as slow; at most one remark per instance and second. 0,
    /// the default, stands for the instance's own period (100 ms when it has none).
    void SetSlowCallNs(std::int64_t limitNs);

    CallStats Stats(const kovari::Interface& instance, Call call) const;
    std::uint64_t MissedPeriods(const kovari::Interface& instance) const;

    /// Messages that were wrong in any way, of all instances.
    std::uint64_t Faults() const;

    static constexpr std::size_t DELIVERY_LIMIT = 100000;

private:
    struct State;
    std::unique_ptr<State> state;
};

}  // namespace host

#endif  // HOST_MESSAGE_PUMP_H
