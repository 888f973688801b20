// SPDX-License-Identifier: MIT

#ifndef HOST_TOPIC_TABLE_H
#define HOST_TOPIC_TABLE_H

#include <functional>
#include <list>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "host/driven_instance.h"
#include "scenario/framework.h"

namespace host {

/// Whoever receives a topic: an instance or, when that is null, a function of the host's.
struct Subscriber {
    DrivenInstance* instance = nullptr;
    std::function<void(const DataList& dataList)> listener;
};

/// One topic: who publishes it and who wants it.
struct TopicEntry {
    std::string key;
    kovari::Topic topic;                  ///< as the publisher names it
    DrivenInstance* publisher = nullptr;  ///< null until an instance that supports the topic is added
    bool open = false;                    ///< OpenTopic succeeded and CloseTopic was not called since

    /// In order of subscription. Behind pointers, so that a listener may add another while it is called.
    std::vector<std::unique_ptr<Subscriber>> subscribers;

    /// Opens the topic unless it is open or has no publisher yet. True when it is open afterwards.
    bool Open();
    void Close();
    void RemoveSubscriber(const DrivenInstance* instance);
    void RemoveListeners();
};

/// True when the three texts of `dataList`, joined by "::", are `key`. Null texts agree with nothing.
bool IsTopicOf(const DataList& dataList, const std::string& key);

/// The topics by key. Entries stay where they are until they are dropped.
class TopicTable {
public:
    /// Null when nobody publishes or wants `key`.
    TopicEntry* Find(const std::string& key);
    TopicEntry& Obtain(const std::string& key);

    /// Forgets a topic that nobody publishes and nobody wants any more.
    void DropIfUnused(const std::string& key);

    /// In the order in which they became known.
    std::list<TopicEntry>& Entries() { return entries; }

private:
    std::list<TopicEntry> entries;
    std::unordered_map<std::string, std::list<TopicEntry>::iterator> byKey;
};

}  // namespace host

#endif  // HOST_TOPIC_TABLE_H
