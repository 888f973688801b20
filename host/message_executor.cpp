// SPDX-License-Identifier: MIT

#include "host/message_executor.h"

#include <algorithm>
#include <memory>

#include "host/data_release.h"
#include "host/message_pump.h"
#include "host/pump_remarks.h"

namespace host {
namespace {

/// Position of the first null record, or `len` when there is none.
std::uint64_t FirstNullRecord(const DataList& dataList)
{
    void** const end = dataList.data + dataList.len;
    return static_cast<std::uint64_t>(std::find(dataList.data, end, nullptr) - dataList.data);
}

void Route(const TopicEntry& entry, const DataList& dataList)
{
    // Whoever subscribes while this goes on gets the next data first.
    const std::size_t count = entry.subscribers.size();
    for (std::size_t i = 0; i < count; ++i) {
        const Subscriber& subscriber = *entry.subscribers[i];
        if (subscriber.instance != nullptr) {
            subscriber.instance->UpdateData(dataList);
        } else {
            subscriber.listener(dataList);
        }
    }
}

}  // namespace

MessageExecutor::MessageExecutor(PumpContext& pumpContext, TopicTable& topicTable)
    : context(pumpContext), topics(topicTable)
{
}

void MessageExecutor::RefuseNull(DrivenInstance& sender)
{
    Wrong(sender, Fault::NULL_MESSAGE, remark::NullMessage);
}

void MessageExecutor::Execute(DrivenInstance& sender, const kovari::InstanceRunMessage& message)
{
    const bool request = message.type == RunType::SUBSCRIBE || message.type == RunType::UNSUBSCRIBE;
    if (!request && message.type != RunType::PUBLISH_DATA) {
        Wrong(sender, Fault::UNKNOWN_TYPE, remark::UnknownType, static_cast<std::int32_t>(message.type));
        return;
    }
    if (message.flag != 1) {
        Wrong(sender, Fault::WRONG_FLAG, remark::WrongFlag, message.type, message.flag);
        return;
    }
    if (message.payload.size() != (request ? 2U : 1U)) {
        Wrong(sender, Fault::WRONG_PAYLOAD, remark::WrongPayload, message.type, message.payload.size());
        return;
    }
    switch (message.type) {
        case RunType::SUBSCRIBE:
            Subscribe(sender, message);
            break;
        case RunType::UNSUBSCRIBE:
            Unsubscribe(sender, message);
            break;
        case RunType::PUBLISH_DATA:
            Publish(sender, message);
            break;
    }
}

bool MessageExecutor::IsOwnRequest(DrivenInstance& sender, const kovari::InstanceRunMessage& message)
{
    if (message.payload[1] == sender.Name()) {
        return true;
    }
    Wrong(sender, Fault::WRONG_SENDER, remark::WrongSender, message.type, message.payload[1]);
    return false;
}

void MessageExecutor::Subscribe(DrivenInstance& sender, const kovari::InstanceRunMessage& message)
{
    if (!IsOwnRequest(sender, message)) {
        return;
    }
    const std::string& key = message.payload[0];
    if (sender.subscriptions.count(key) != 0) {
        Wrong(sender, Fault::SUBSCRIBED_TWICE, remark::SubscribedTwice, key);
        return;
    }
    if (sender.subscriptions.size() >= MessagePump::SUBSCRIPTION_LIMIT) {
        Wrong(sender, Fault::TOO_MANY_SUBSCRIPTIONS, remark::TooManySubscriptions, key,
              MessagePump::SUBSCRIPTION_LIMIT);
        return;
    }
    if (closing) {
        return;
    }
    sender.subscriptions.insert(key);
    TopicEntry& entry = topics.Obtain(key);
    entry.subscribers.push_back(std::make_unique<Subscriber>(Subscriber{&sender, nullptr}));
    entry.Open();
}

void MessageExecutor::Unsubscribe(DrivenInstance& sender, const kovari::InstanceRunMessage& message)
{
    if (!IsOwnRequest(sender, message)) {
        return;
    }
    const std::string& key = message.payload[0];
    TopicEntry* const entry = topics.Find(key);
    if (entry == nullptr || sender.subscriptions.erase(key) == 0) {
        Wrong(sender, Fault::NOT_SUBSCRIBED, remark::NotSubscribed, key);
        return;
    }
    entry->RemoveSubscriber(&sender);
    if (entry->subscribers.empty()) {
        entry->Close();
        topics.DropIfUnused(key);
    }
}

void MessageExecutor::Publish(DrivenInstance& sender, const kovari::InstanceRunMessage& message)
{
    const std::string& key = message.payload[0];
    const TopicEntry* const entry = topics.Find(key);
    if (entry == nullptr || entry->publisher != &sender) {
        Wrong(sender, Fault::NOT_SUPPORTED, remark::NotSupported, key);
        return;
    }
    if (HasGoodData(sender, key, message.dataList) && !closing) {
        Route(*entry, message.dataList);
    }
}

bool MessageExecutor::HasGoodData(DrivenInstance& sender, const std::string& key, const DataList& dataList)
{
    if (!IsTopicOf(dataList, key)) {
        Wrong(sender, Fault::TOPIC_MISMATCH, remark::TopicMismatch, key, dataList);
        return false;
    }
    if (dataList.len == 0 || dataList.data == nullptr) {
        Wrong(sender, Fault::NO_DATA, remark::NoData, key, dataList);
        return false;
    }
    if (dataList.len > MAX_RECORDS) {
        Wrong(sender, Fault::TOO_MANY_RECORDS, remark::TooManyRecords, key, dataList.len);
        return false;
    }
    const std::uint64_t nullRecord = FirstNullRecord(dataList);
    if (nullRecord != dataList.len) {
        Wrong(sender, Fault::NO_DATA, remark::NullRecord, key, nullRecord);
        return false;
    }
    return true;
}

}  // namespace host
