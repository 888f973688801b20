// SPDX-License-Identifier: MIT

#ifndef TOOLS_NUMA_SCORE_CONFORMANCE_MESSAGES_H
#define TOOLS_NUMA_SCORE_CONFORMANCE_MESSAGES_H

#include <set>
#include <string>
#include <vector>

#include "scenario/framework.h"
#include "tools/numa_score/conformance/actor.h"

namespace conformance {

/// What is wrong with the form of a message of the instance `name`, as "sent a SUBSCRIBE with flag 0"; empty
/// when nothing is. Null messages too.
std::string MessageFault(const kovari::InstanceRunMessage* message, const std::string& name);

/// Subscriptions of one instance, as its requests come.
class SubscriptionLedger {
public:
    /// What is wrong with a SUBSCRIBE or UNSUBSCRIBE after those before it; empty when nothing is.
    std::string Subscribe(const std::string& key);
    std::string Unsubscribe(const std::string& key);

    const std::set<std::string>& Held() const { return held; }

private:
    std::set<std::string> held;
};

/// The first request of the type among `inbox` that the ledger objects to; empty when there is none.
/// `held`, when it is given, gets what is subscribed to at the end.
std::string RequestFault(const std::vector<Sent>& inbox, RunType type, std::set<std::string>* held = nullptr);

/// Text at an address that a plug-in gave: at most `limit` bytes of what can be read there, up to the NUL.
struct ForeignText {
    bool readable = false;
    bool terminated = false;
    std::string text;
};
ForeignText ReadForeignText(const char* address, std::size_t limit = 4096);

/// `size` bytes at an address that a plug-in gave. False when they cannot be read.
bool ReadForeign(const void* address, void* target, std::size_t size);

/// What is wrong with the topic of a PUBLISH_DATA of `instance`, or with its DataList as far as it can be
/// told without following the records; empty when nothing is.
std::string PublishedTopicFault(const kovari::InstanceRunMessage& message, const kovari::Interface& instance);
std::string RecordListFault(const DataList& dataList);

/// The topic's key.
std::string KeyOf(const kovari::Topic& topic);

/// The PUBLISH_DATA messages of `inbox` with one argument.
std::vector<const kovari::InstanceRunMessage*> Published(const std::vector<Sent>& inbox);

}  // namespace conformance

#endif  // TOOLS_NUMA_SCORE_CONFORMANCE_MESSAGES_H
