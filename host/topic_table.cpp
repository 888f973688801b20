// SPDX-License-Identifier: MIT

#include "host/topic_table.h"

#include <cstring>

#include <algorithm>
#include <iterator>

namespace host {
namespace {

/// Steps over `part` at `position` of `text`. False when something else stands there. Reads no further into
/// `part` than `text` is long.
bool StepOver(const std::string& text, std::size_t& position, const char* part)
{
    const std::size_t length = strnlen(part, text.size() - position + 1);
    if (text.compare(position, length, part, length) != 0) {
        return false;
    }
    position += length;
    return true;
}

}  // namespace

bool TopicEntry::Open()
{
    if (!open && publisher != nullptr) {
        open = publisher->OpenTopic(topic);
    }
    return open;
}

void TopicEntry::Close()
{
    if (open) {
        open = false;
        publisher->CloseTopic(topic);
    }
}

void TopicEntry::RemoveSubscriber(const DrivenInstance* instance)
{
    const auto isInstance = [instance](const std::unique_ptr<Subscriber>& subscriber) {
        return subscriber->instance == instance;
    };
    subscribers.erase(std::remove_if(subscribers.begin(), subscribers.end(), isInstance), subscribers.end());
}

void TopicEntry::RemoveListeners()
{
    RemoveSubscriber(nullptr);
}

bool IsTopicOf(const DataList& dataList, const std::string& key)
{
    const auto& topic = dataList.topic;
    if (topic.instanceName == nullptr || topic.topicName == nullptr || topic.params == nullptr) {
        return false;
    }
    std::size_t position = 0;
    for (const char* part :
         {static_cast<const char*>(topic.instanceName), "::", static_cast<const char*>(topic.topicName),
          "::", static_cast<const char*>(topic.params)}) {
        if (!StepOver(key, position, part)) {
            return false;
        }
    }
    return position == key.size();
}

TopicEntry* TopicTable::Find(const std::string& key)
{
    const auto found = byKey.find(key);
    return found == byKey.end() ? nullptr : &*found->second;
}

TopicEntry& TopicTable::Obtain(const std::string& key)
{
    const auto found = byKey.find(key);
    if (found != byKey.end()) {
        return *found->second;
    }
    entries.emplace_back();
    entries.back().key = key;
    byKey.emplace(key, std::prev(entries.end()));
    return entries.back();
}

void TopicTable::DropIfUnused(const std::string& key)
{
    const auto found = byKey.find(key);
    if (found != byKey.end() && found->second->publisher == nullptr && found->second->subscribers.empty()) {
        entries.erase(found->second);
        byKey.erase(found);
    }
}

}  // namespace host
