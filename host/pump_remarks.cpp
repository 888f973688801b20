// SPDX-License-Identifier: MIT

#include "host/pump_remarks.h"

#include "host/data_release.h"
#include "host/escape.h"

namespace host {
namespace {

constexpr std::int64_t NS_PER_MS = 1000000;
constexpr std::size_t NAME_LIMIT = 64;

std::string Quoted(const std::string& text)
{
    return '"' + EscapeText(text) + '"';
}

std::string From(const std::string& name)
{
    return EscapeText(name, NAME_LIMIT) + ": ";
}

const char* TypeName(RunType type)
{
    switch (type) {
        case RunType::SUBSCRIBE:
            return "SUBSCRIBE";
        case RunType::UNSUBSCRIBE:
            return "UNSUBSCRIBE";
        case RunType::PUBLISH_DATA:
            return "PUBLISH_DATA";
    }
    return "unknown";
}

std::string Publication(const std::string& name, const std::string& key)
{
    return From(name) + "PUBLISH_DATA for " + Quoted(key);
}

/// Whole milliseconds from 10 ms on, microseconds below.
std::string Duration(std::int64_t elapsedNs)
{
    if (elapsedNs >= 10 * NS_PER_MS) {
        return std::to_string(elapsedNs / NS_PER_MS) + " ms";
    }
    return std::to_string(elapsedNs / 1000) + " us";
}

const char* FaultLabel(Fault fault)
{
    switch (fault) {
        case Fault::NULL_MESSAGE:
            return "null message";
        case Fault::UNKNOWN_TYPE:
            return "message of unknown type";
        case Fault::WRONG_FLAG:
            return "message with a wrong flag";
        case Fault::WRONG_PAYLOAD:
            return "message with a wrong number of arguments";
        case Fault::WRONG_SENDER:
            return "message in another's name";
        case Fault::SUBSCRIBED_TWICE:
            return "repeated SUBSCRIBE";
        case Fault::NOT_SUBSCRIBED:
            return "UNSUBSCRIBE without a subscription";
        case Fault::TOO_MANY_SUBSCRIPTIONS:
            return "SUBSCRIBE beyond the limit";
        case Fault::NOT_SUPPORTED:
            return "PUBLISH_DATA for a topic that it does not support";
        case Fault::TOPIC_MISMATCH:
            return "PUBLISH_DATA with data of another topic";
        case Fault::NO_DATA:
            return "PUBLISH_DATA without data";
        case Fault::TOO_MANY_RECORDS:
            return "PUBLISH_DATA with too many records";
        case Fault::ENDLESS_MESSAGES:
            return "endless messages";
        case Fault::OPEN_REFUSED:
            return "OpenTopic refused";
        case Fault::OPEN_THREW:
            return "exception out of OpenTopic";
        case Fault::CLOSE_THREW:
            return "exception out of CloseTopic";
        case Fault::UPDATE_THREW:
            return "exception out of UpdateData";
        case Fault::ENABLE_REFUSED:
            return "Enable refused";
        case Fault::ENABLE_THREW:
            return "exception out of Enable";
        case Fault::DISABLE_THREW:
            return "exception out of Disable";
        case Fault::RUN_THREW:
            return "exception out of Run";
    }
    return "unknown fault";
}

}  // namespace

Fault ThrownBy(Call call)
{
    switch (call) {
        case Call::OPEN_TOPIC:
            return Fault::OPEN_THREW;
        case Call::CLOSE_TOPIC:
            return Fault::CLOSE_THREW;
        case Call::UPDATE_DATA:
            return Fault::UPDATE_THREW;
        case Call::ENABLE:
            return Fault::ENABLE_THREW;
        case Call::DISABLE:
            return Fault::DISABLE_THREW;
        case Call::RUN:
            break;
    }
    return Fault::RUN_THREW;
}

bool FaultTally::IsTold(std::uint64_t total)
{
    while (total >= 10 && total % 10 == 0) {
        total /= 10;
    }
    return total == 1;
}

namespace remark {

std::string NullInstance()
{
    return "null instance: not added; hand over what a plug-in's GetInstance appended";
}

std::string NamelessInstance()
{
    return "instance without a name: not added; set its name before GetInstance returns";
}

std::string NameTaken(const std::string& name)
{
    return From(name) + "not added, another instance has this name; names must be unique";
}

std::string AfterShutdown(const std::string& name)
{
    return From(name) + "not added, the host has been shut down";
}

std::string NotDriven(const std::string& name)
{
    return From(name) + "not run, it has not been added";
}

std::string TopicTaken(const std::string& name, const std::string& key, const std::string& publisher)
{
    return From(name) + "topic " + Quoted(key) + " is published by " + EscapeText(publisher, NAME_LIMIT) +
           "; left with that one";
}

std::string NoPublisher(const std::string& key)
{
    return "no instance publishes " + Quoted(key) + "; load the plug-in that has it among its supportTopics";
}

std::string NeverPublished(const std::string& name, const std::string& key)
{
    return From(name) + "waited for " + Quoted(key) +
           ", which no instance published; load the plug-in that does";
}

std::string NullMessage(const std::string& name)
{
    return From(name) + "null message; ignored";
}

std::string UnknownType(const std::string& name, std::int32_t type)
{
    return From(name) + "message of unknown type " + std::to_string(type) +
           ", expected 3 (SUBSCRIBE), 4 (UNSUBSCRIBE) or 6 (PUBLISH_DATA); ignored";
}

std::string WrongFlag(const std::string& name, RunType type, unsigned flag)
{
    return From(name) + TypeName(type) + " with flag " + std::to_string(flag) + ", expected 1; ignored";
}

std::string WrongPayload(const std::string& name, RunType type, std::size_t arguments)
{
    const char* expected = type == RunType::PUBLISH_DATA
                               ? " arguments, expected 1 (topic key); ignored"
                               : " arguments, expected 2 (topic key, own name); ignored";
    return From(name) + TypeName(type) + " with " + std::to_string(arguments) + expected;
}

std::string WrongSender(const std::string& name, RunType type, const std::string& claimed)
{
    return From(name) + TypeName(type) + " in the name of " + Quoted(claimed) + ", expected its own; ignored";
}

std::string SubscribedTwice(const std::string& name, const std::string& key)
{
    return From(name) + "SUBSCRIBE to " + Quoted(key) + ", which it is subscribed to already; ignored";
}

std::string NotSubscribed(const std::string& name, const std::string& key)
{
    return From(name) + "UNSUBSCRIBE from " + Quoted(key) + ", which it is not subscribed to; ignored";
}

std::string TooManySubscriptions(const std::string& name, const std::string& key, std::size_t limit)
{
    return From(name) + "SUBSCRIBE to " + Quoted(key) + " beyond " + std::to_string(limit) +
           " subscriptions; ignored";
}

std::string NotSupported(const std::string& name, const std::string& key)
{
    return Publication(name, key) + ", which is not among its supportTopics; dropped";
}

std::string TopicMismatch(const std::string& name, const std::string& key, const DataList& dataList)
{
    return Publication(name, key) + " with data of topic " + EscapeText(dataList.topic.instanceName) +
           "::" + EscapeText(dataList.topic.topicName) + "::" + EscapeText(dataList.topic.params) +
           ", the two must agree; dropped";
}

std::string NoData(const std::string& name, const std::string& key, const DataList& dataList)
{
    return Publication(name, key) + " without data (" + std::to_string(dataList.len) + " records, array " +
           (dataList.data == nullptr ? "null" : "set") + "), expected at least one record; dropped";
}

std::string NullRecord(const std::string& name, const std::string& key, std::uint64_t position)
{
    return Publication(name, key) + " without data (record " + std::to_string(position) +
           " is null), expected a record; dropped";
}

std::string TooManyRecords(const std::string& name, const std::string& key, std::uint64_t count)
{
    return Publication(name, key) + " with " + std::to_string(count) + " records, expected at most " +
           std::to_string(MAX_RECORDS) + "; dropped";
}

std::string EndlessMessages(const std::string& name, std::size_t limit)
{
    return From(name) + "still sends after " + std::to_string(limit) +
           " messages in one delivery; the rest waits for the next";
}

std::string Refused(const std::string& name, Call call, const Result& result)
{
    return From(name) + CallName(call) + " answered " + std::to_string(result.code) +
           ", expected 0: " + (result.payload.empty() ? "no reason given" : EscapeText(result.payload));
}

std::string Threw(const std::string& name, Call call, const char* what)
{
    return From(name) + CallName(call) + " raised an exception: " + EscapeText(what);
}

std::string ThrewUnknown(const std::string& name, Call call)
{
    return From(name) + CallName(call) + " raised an exception of unknown type";
}

std::string SlowCall(const std::string& name, Call call, std::int64_t elapsedNs, const char* limitName,
                     std::int64_t limitNs, std::uint64_t slowerCalls)
{
    std::string line = From(name) + CallName(call) + " took " + Duration(elapsedNs) + ", " + limitName + ' ' +
                       Duration(limitNs);
    if (slowerCalls != 0) {
        line += "; " + std::to_string(slowerCalls) + " more slow calls since the last remark";
    }
    return line;
}

std::string Repeated(std::string line, std::uint64_t total)
{
    if (total > 1) {
        line += " (" + std::to_string(total) + " times so far)";
    }
    return line;
}

std::string Total(const std::string& name, Fault fault, std::uint64_t total)
{
    return From(name) + FaultLabel(fault) + ": " + std::to_string(total) + " times in all";
}

}  // namespace remark
}  // namespace host
