// SPDX-License-Identifier: MIT

#include "tools/numa_score/conformance/messages.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>

#include "host/data_release.h"
#include "host/escape.h"

namespace conformance {
namespace {

std::string Quoted(const std::string& text)
{
    return "\"" + host::EscapeText(text, 128) + "\"";
}

const char* TypeText(RunType type)
{
    switch (type) {
        case RunType::SUBSCRIBE:
            return "a SUBSCRIBE";
        case RunType::UNSUBSCRIBE:
            return "an UNSUBSCRIBE";
        case RunType::PUBLISH_DATA:
            return "a PUBLISH_DATA";
    }
    return "a message";
}

bool IsEmpty(const DataList& dataList)
{
    return dataList.topic.instanceName == nullptr && dataList.topic.topicName == nullptr &&
           dataList.topic.params == nullptr && dataList.len == 0 && dataList.data == nullptr;
}

bool IsTopicKey(const std::string& key)
{
    const std::size_t first = key.find("::");
    return first != std::string::npos && first != 0 && key.find("::", first + 2) != std::string::npos;
}

/// How many of `size` bytes at `address`, all of one page, can be read: the kernel is asked, which answers
/// instead of dying. By system calls, which instrumented builds do not look into.
std::size_t ReadableOfPage(const void* address, char* target, std::size_t size)
{
    static const int scratch = memfd_create("scratch", MFD_CLOEXEC);
    const long written = syscall(SYS_pwrite64, scratch, address, size, 0L);
    if (written <= 0) {
        return 0;
    }
    const ssize_t got = pread(scratch, target, static_cast<std::size_t>(written), 0);
    return got > 0 ? static_cast<std::size_t>(got) : 0;
}

/// The same over several pages. One by one: an emulator that stands in for the kernel refuses a range of
/// which any part cannot be read.
std::size_t Readable(const void* address, char* target, std::size_t size)
{
    static const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    const char* const begin = static_cast<const char*>(address);
    std::size_t done = 0;
    while (done < size) {
        const std::size_t toEnd = page - reinterpret_cast<std::uintptr_t>(begin + done) % page;
        const std::size_t wanted = std::min(size - done, toEnd);
        const std::size_t got = ReadableOfPage(begin + done, target + done, wanted);
        done += got;
        if (got != wanted) {
            break;
        }
    }
    return done;
}

}  // namespace

std::string KeyOf(const kovari::Topic& topic)
{
    return kovari::Concat({topic.instanceName, topic.topicName, topic.params}, "::");
}

std::string MessageFault(const kovari::InstanceRunMessage* message, const std::string& name)
{
    if (message == nullptr) {
        return "sent a null pointer";
    }
    const RunType type = message->type;
    if (type != RunType::SUBSCRIBE && type != RunType::UNSUBSCRIBE && type != RunType::PUBLISH_DATA) {
        return "sent a message of type " + std::to_string(static_cast<std::int32_t>(type));
    }
    const std::string sent = std::string("sent ") + TypeText(type);
    if (message->flag != 1) {
        return sent + " with flag " + std::to_string(message->flag);
    }
    const std::size_t arguments = message->payload.size();
    if (arguments != (type == RunType::PUBLISH_DATA ? 1U : 2U)) {
        return sent + " with " + std::to_string(arguments) + " arguments";
    }
    if (!IsTopicKey(message->payload[0])) {
        return sent + " with the topic key " + Quoted(message->payload[0]);
    }
    if (type == RunType::PUBLISH_DATA) {
        return {};
    }
    if (message->payload[1] != name) {
        return sent + " in the name of " + Quoted(message->payload[1]);
    }
    return IsEmpty(message->dataList) ? "" : sent + " with a dataList that is not empty";
}

std::string SubscriptionLedger::Subscribe(const std::string& key)
{
    return held.insert(key).second ? "" : "subscribed to " + Quoted(key) + " twice";
}

std::string SubscriptionLedger::Unsubscribe(const std::string& key)
{
    return held.erase(key) == 1 ? "" : "unsubscribed from " + Quoted(key) + " without a subscription";
}

std::string RequestFault(const std::vector<Sent>& inbox, RunType type, std::set<std::string>* held)
{
    SubscriptionLedger ledger;
    std::string first;
    for (const Sent& sent : inbox) {
        if (!sent.message || sent.message->payload.empty()) {
            continue;
        }
        const std::string& key = sent.message->payload[0];
        std::string fault;
        if (sent.message->type == RunType::SUBSCRIBE) {
            fault = ledger.Subscribe(key);
        } else if (sent.message->type == RunType::UNSUBSCRIBE) {
            fault = ledger.Unsubscribe(key);
        }
        if (first.empty() && sent.message->type == type) {
            first = fault;
        }
    }
    if (held != nullptr) {
        *held = ledger.Held();
    }
    return first;
}

bool ReadForeign(const void* address, void* target, std::size_t size)
{
    return Readable(address, static_cast<char*>(target), size) == size;
}

ForeignText ReadForeignText(const char* address, std::size_t limit)
{
    ForeignText found;
    if (address == nullptr) {
        return found;
    }
    std::string bytes(limit, '\0');
    const std::size_t got = Readable(address, bytes.data(), limit);
    bytes.resize(got);
    const std::size_t end = bytes.find('\0');
    found.readable = got > 0;
    found.terminated = end != std::string::npos;
    found.text = bytes.substr(0, end);
    return found;
}

std::string PublishedTopicFault(const kovari::InstanceRunMessage& message, const kovari::Interface& instance)
{
    std::vector<std::string> parts;
    const auto& topic = message.dataList.topic;
    for (const char* const text : {topic.instanceName, topic.topicName, topic.params}) {
        const ForeignText part = ReadForeignText(text);
        if (!part.readable) {
            return text == nullptr ? "published a topic text that is null"
                                   : "published a topic text that cannot be read";
        }
        parts.push_back(part.text);
    }
    const std::string& key = message.payload[0];
    const std::string named = kovari::Concat(parts, "::");
    if (named != key) {
        return "published the topic " + Quoted(named) + " under the key " + Quoted(key);
    }
    const bool supported =
        std::any_of(instance.supportTopics.begin(), instance.supportTopics.end(),
                    [&](const kovari::Topic& supportedTopic) { return KeyOf(supportedTopic) == key; });
    return supported ? "" : "published " + Quoted(key) + ", which is not among its supportTopics";
}

std::string RecordListFault(const DataList& dataList)
{
    if (dataList.len == 0) {
        return "published len 0";
    }
    if (dataList.len > host::MAX_RECORDS) {
        return "published len " + std::to_string(dataList.len);
    }
    if (dataList.data == nullptr) {
        return "published a null data array";
    }
    for (std::uint64_t i = 0; i < dataList.len; ++i) {
        void* record = nullptr;
        if (!ReadForeign(dataList.data + i, &record, sizeof record)) {
            return "published a data array that cannot be read at entry " + std::to_string(i);
        }
        if (record == nullptr) {
            return "published a null record at entry " + std::to_string(i);
        }
    }
    return {};
}

std::vector<const kovari::InstanceRunMessage*> Published(const std::vector<Sent>& inbox)
{
    std::vector<const kovari::InstanceRunMessage*> found;
    for (const Sent& sent : inbox) {
        if (sent.message && sent.message->type == RunType::PUBLISH_DATA &&
            sent.message->payload.size() == 1) {
            found.push_back(sent.message.get());
        }
    }
    return found;
}

}  // namespace conformance
