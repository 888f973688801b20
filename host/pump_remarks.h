// SPDX-License-Identifier: MIT

#ifndef HOST_PUMP_REMARKS_H
#define HOST_PUMP_REMARKS_H

#include <cstddef>
#include <cstdint>

#include <array>
#include <string>

#include "host/call_stats.h"
#include "scenario/framework.h"

namespace host {

/// What an instance can do wrong. Each kind is counted apart, so that a flood of one does not hide another.
enum class Fault {
    NULL_MESSAGE,
    UNKNOWN_TYPE,
    WRONG_FLAG,
    WRONG_PAYLOAD,
    WRONG_SENDER,
    SUBSCRIBED_TWICE,
    NOT_SUBSCRIBED,
    TOO_MANY_SUBSCRIPTIONS,
    NOT_SUPPORTED,
    TOPIC_MISMATCH,
    NO_DATA,
    TOO_MANY_RECORDS,
    ENDLESS_MESSAGES,
    OPEN_REFUSED,
    OPEN_THREW,
    CLOSE_THREW,
    UPDATE_THREW,
    ENABLE_REFUSED,
    ENABLE_THREW,
    DISABLE_THREW,
    RUN_THREW,
};

constexpr std::size_t FAULT_COUNT = 21;

/// The kind of fault that an exception out of `call` is.
Fault ThrownBy(Call call);

/// Faults of one instance by kind. Decides which of them are told: the first, the tenth, the hundredth and so
/// on, so that a flood costs neither time nor memory.
class FaultTally {
public:
    /// Counts one and returns how many of this kind there have been.
    std::uint64_t Count(Fault fault) { return ++totals[static_cast<std::size_t>(fault)]; }
    std::uint64_t Total(Fault fault) const { return totals[static_cast<std::size_t>(fault)]; }

    /// True for 1 and the powers of ten.
    static bool IsTold(std::uint64_t total);

private:
    std::array<std::uint64_t, FAULT_COUNT> totals{};
};

/// The lines about what instances do, one function for each kind; `name` is the instance's own. All text from
/// outside is escaped.
namespace remark {

std::string NullInstance();
std::string NamelessInstance();
std::string NameTaken(const std::string& name);
std::string AfterShutdown(const std::string& name);
std::string NotDriven(const std::string& name);
std::string TopicTaken(const std::string& name, const std::string& key, const std::string& publisher);
std::string NoPublisher(const std::string& key);
std::string NeverPublished(const std::string& name, const std::string& key);

std::string NullMessage(const std::string& name);
std::string UnknownType(const std::string& name, std::int32_t type);
std::string WrongFlag(const std::string& name, RunType type, unsigned flag);
std::string WrongPayload(const std::string& name, RunType type, std::size_t arguments);
std::string WrongSender(const std::string& name, RunType type, const std::string& claimed);
std::string SubscribedTwice(const std::string& name, const std::string& key);
std::string NotSubscribed(const std::string& name, const std::string& key);
std::string TooManySubscriptions(const std::string& name, const std::string& key, std::size_t limit);
std::string NotSupported(const std::string& name, const std::string& key);
std::string TopicMismatch(const std::string& name, const std::string& key, const DataList& dataList);
std::string NoData(const std::string& name, const std::string& key, const DataList& dataList);
std::string NullRecord(const std::string& name, const std::string& key, std::uint64_t position);
std::string TooManyRecords(const std::string& name, const std::string& key, std::uint64_t count);
std::string EndlessMessages(const std::string& name, std::size_t limit);

std::string Refused(const std::string& name, Call call, const Result& result);
std::string Threw(const std::string& name, Call call, const char* what);
std::string ThrewUnknown(const std::string& name, Call call);

/// `slowerCalls`: slow calls of the instance since its last remark that got none.
std::string SlowCall(const std::string& name, Call call, std::int64_t elapsedNs, const char* limitName,
                     std::int64_t limitNs, std::uint64_t slowerCalls);

/// `line` with the number of its like so far, when there was more than this one.
std::string Repeated(std::string line, std::uint64_t total);

/// At the end: how often something happened that was not told each time.
std::string Total(const std::string& name, Fault fault, std::uint64_t total);

}  // namespace remark
}  // namespace host

#endif  // HOST_PUMP_REMARKS_H
