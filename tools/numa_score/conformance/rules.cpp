// SPDX-License-Identifier: MIT

#include "tools/numa_score/conformance/rules.h"

#include <set>

namespace conformance {

const std::vector<Rule>& Rules()
{
    static const std::vector<Rule> rules = {
        {"load", "a shared library for this machine that the dynamic linker takes with RTLD_NOW",
         "build it with -shared -fPIC and link every library that it uses", nullptr, ExamineLoad},
        {"entry", "an exported extern \"C\" GetInstance that returns and raises nothing",
         "declare it extern \"C\" with default visibility; catch what your constructors raise", "load",
         ExamineEntry},
        {"instances", "at least one instance, no null pointer, and what stood in the vector before untouched",
         "append with push_back(std::make_shared<...>()) and do nothing else to the vector", "entry",
         ExamineInstances},
        {"identity", "a name of its own without \"::\" and control characters", "set name in the constructor",
         "instances", ExamineIdentity},
        {"lifecycle", "every call returns, in the ordinary order and again after CloseTopic",
         "run the calls under a debugger or AddressSanitizer; wait and work in no call", "instances",
         ExamineLifecycle},
        {"exceptions", "no call raises an exception while the queue is set",
         "catch inside the call; answer -1 with the reason, or skip what cannot be used", "lifecycle",
         ExamineExceptions},
        {"enable", "Enable answers 0 without text, or -1 with the reason",
         "return {0, \"\"} or {-1, \"reason\"}", "lifecycle", ExamineEnable},
        {"period", "0 (no Run) to 3600000 ms, above 0 for an instance that publishes",
         "set period in the constructor or in Enable", "enable", ExaminePeriod},
        {"topics", "supportTopics that name their instance and a topic, each topic once, without \"::\"",
         "push_back({name, \"topic\", \"\"}) once for each topic, after name was set", "enable",
         ExamineTopics},
        {"open", "OpenTopic of a supported topic answers 0 without text, also when it is open",
         "return {0, \"\"} for every topic of supportTopics", "enable", ExamineOpen},
        {"unknown-topic",
         "OpenTopic of any other topic answers -1 with the reason; nothing is sent for it, nor for its "
         "CloseTopic",
         "compare instanceName, topicName and params before anything else", "enable", ExamineUnknownTopic},
        {"messages",
         "SUBSCRIBE and UNSUBSCRIBE with topic key, own name and empty dataList; PUBLISH_DATA with topic "
         "key; "
         "flag 1",
         "make messages with std::make_shared<kovari::InstanceRunMessage>(type, payload)", "enable",
         ExamineMessages},
        {"push", "messages at the back of the queue, and a wake for the host that waits on its condition",
         "lock messageQueue->mutex, messages.push_back(message), condition.notify_one()", "enable",
         ExaminePush},
        {"subscribe-once", "one SUBSCRIBE for a topic until it is unsubscribed",
         "keep the set of subscribed keys and send only when insert() put one in", "enable",
         ExamineSubscribeOnce},
        {"unsubscribe-once", "one UNSUBSCRIBE for each subscription, at CloseTopic or Disable at the latest",
         "send only when erase() took a key out, in CloseTopic and in Disable", "enable",
         ExamineUnsubscribeOnce},
        {"published-topic", "topic texts that make up the key of the message, of a topic in supportTopics",
         "fill texts and payload from the same kovari::Topic", "enable", ExaminePublishedTopic},
        {"publish-open", "PUBLISH_DATA from OpenTopic to CloseTopic only",
         "set a flag in OpenTopic, clear it in CloseTopic, and return from Run without it", "enable",
         ExaminePublishWhileOpen},
        {"silence", "nothing is sent after CloseTopic and Disable, nor by the destructor",
         "send nothing from the destructor; stop your threads in Disable", "enable", ExamineSilence},
        {"records",
         "len from 1 to 1048576, no null record; from scenario_numa a score of 40 bytes from 0 to 1",
         "set len to the number of records and allocate each of them", "enable", ExamineRecords},
        {"text-blocks", "three topic texts, each a block of its own from new char[], NUL within it",
         "copy each text into new char[length + 1]", "enable", ExamineTextBlocks},
        {"array-block", "a data array from new void*[] with room for len pointers",
         "allocate it with new void*[len]", "enable", ExamineArrayBlock},
        {"record-blocks", "each record a block of its own from new", "allocate each record with new",
         "enable", ExamineRecordBlocks},
        {"handed-over-once", "fresh blocks in every message",
         "allocate anew for each message and keep no pointer", "enable", ExamineHandedOverOnce},
        {"freed-after-push", "what was published is released by the host alone",
         "do not delete what a pushed message carries; release() a unique_ptr before the push", "enable",
         ExamineFreedAfterPush},
        {"used-after-push", "what was published is not touched again, as the host releases it",
         "fill the data before the push and keep no pointer to it", "freed-after-push", ExamineUsedAfterPush},
        {"borrowed", "delivered data is read during UpdateData only, and neither written nor freed",
         "copy what you need; keep no pointer of dataList", "enable", ExamineBorrowed},
        {"leaks", "memory that stops growing within 999 cycles of OpenTopic, UpdateData, Run and CloseTopic",
         "find it with AddressSanitizer's leak detection or valgrind", "enable", ExamineLeaks},
        {"no-queue", "without messageQueue, std::system_error (operation not permitted) or no exception",
         "test messageQueue before its mutex is locked", "enable", ExamineNoQueue},
        {"time-control", "at most 100 ms for Enable, OpenTopic, CloseTopic and Disable, median of 11 calls",
         "do slow work in a thread of your own, started by Enable and ended by Disable", "enable",
         ExamineTimeOfControl},
        {"time-update", "at most 10 ms for UpdateData of 256 samples, median of 21 calls",
         "add up in UpdateData and compute in Run", "enable", ExamineTimeOfUpdate},
        {"time-run", "at most half of the period for Run, median of 21 calls",
         "compute less in Run, in a thread of your own, or with a longer period", "enable", ExamineTimeOfRun},
        {"unload", "dlclose takes the library out of the process once its instances are gone",
         "compile with -fno-gnu-unique; link without -z nodelete; no thread_local with a destructor",
         "lifecycle", ExamineUnload},
        {"threads", "after dlclose as many threads as before the load",
         "stop and join every thread in Disable or in the destructor", "lifecycle", ExamineThreads},
        {"descriptors", "after dlclose the same open descriptors as before the load",
         "close in Disable or in the destructor what Enable or the constructor opened", "lifecycle",
         ExamineDescriptors},
    };
    return rules;
}

std::vector<Rule> RulesFor(const std::vector<std::string>& ids)
{
    std::set<std::string> wanted(ids.begin(), ids.end());
    // What a rule needs stands before it.
    for (auto rule = Rules().rbegin(); rule != Rules().rend(); ++rule) {
        if (rule->needs != nullptr && wanted.count(rule->id) != 0) {
            wanted.insert(rule->needs);
        }
    }
    std::vector<Rule> rules;
    for (const Rule& rule : Rules()) {
        if (ids.empty() || wanted.count(rule.id) != 0) {
            rules.push_back(rule);
        }
    }
    return rules;
}

const Rule* FindRule(const std::string& id)
{
    for (const Rule& rule : Rules()) {
        if (id == rule.id) {
            return &rule;
        }
    }
    return nullptr;
}

const Part* FindPart(const std::string& id)
{
    static constexpr Part PARTS[] = {{UNSUBSCRIBE_WITHOUT_CLOSE, UnsubscribeWithoutClose},
                                     {TIMES_OF_CONTROL, TimesOfControl}};
    for (const Part& part : PARTS) {
        if (id == part.id) {
            return &part;
        }
    }
    return nullptr;
}

}  // namespace conformance
