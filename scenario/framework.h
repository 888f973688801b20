// SPDX-License-Identifier: MIT
//
// The plug-in boundary of the kovari tuning framework: the records that host and plug-ins exchange, the base
// class of every instance, and the helper that builds topic keys. Layouts are part of the binary interface
// and are checked at the end of this file. The header needs nothing but the C++ standard library and
// log4cplus.

#ifndef SCENARIO_FRAMEWORK_H
#define SCENARIO_FRAMEWORK_H

#include <cstddef>
#include <cstdint>

#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include <log4cplus/logger.h>

/// Answer of OpenTopic and Enable.
struct Result {
    std::int32_t code = 0;  ///< 0: success, -1: failure
    std::string payload;    ///< reason of the failure; empty on success
};

/// Raw data of one topic, travelling in either direction: delivered to a subscriber through UpdateData, or
/// carried by a PUBLISH_DATA message. A plain record without destructor.
///
/// Ownership: what UpdateData receives belongs to the caller and is valid during the call only. What a
/// plug-in publishes belongs to the host from the push on: the three texts and `data` were allocated with
/// new[], each record with new. The host releases them; the plug-in never touches them again.
struct DataList {
    /// NUL-terminated texts that together name the topic.
    struct {
        char* instanceName = nullptr;
        char* topicName = nullptr;
        char* params = nullptr;
    } topic;
    std::uint64_t len = 0;  ///< number of entries in `data`
    void** data = nullptr;  ///< `len` pointers to topic-specific records
};

/// One PMU counter sample, written by the collector. Samples stand 96 bytes apart in their array. Only the
/// two named fields are read; the rest is the collector's own.
struct PmuData {
    unsigned char collectorOwn0[8] = {};
    const char* eventName = nullptr;  ///< NUL-terminated, for example "uncore_l3c2/rx_outer/"
    unsigned char collectorOwn1[48] = {};
    std::uint64_t count = 0;  ///< events counted in this sample
    unsigned char collectorOwn2[24] = {};
};

/// The record behind data[0] of the topic "pmu_uncore_collector"/"uncore": one batch of samples. Array and
/// names belong to the collector and stay valid for the duration of UpdateData.
struct UncoreSampleBatch {
    const PmuData* samples = nullptr;  ///< `count` records
    std::int32_t count = 0;            ///< number of records; below 1 means none
    std::int32_t collectorOwn = 0;     ///< not read
    std::int32_t interval = 0;         ///< time that the batch covers, in milliseconds; summed per period
};

/// What an instance asks of the host. The framework has more types; these three are the ones that this
/// plug-in sends and that its host understands.
enum class RunType : std::int32_t {
    SUBSCRIBE = 3,     ///< payload: topic key, name of the subscribing instance
    UNSUBSCRIBE = 4,   ///< payload: topic key, name of the unsubscribing instance
    PUBLISH_DATA = 6,  ///< payload: topic key; dataList: the published data
};

namespace kovari {

using ::DataList;
using ::PmuData;
using ::Result;
using ::RunType;

/// Address of a topic. Its key is Concat({instanceName, topicName, params}, "::"); with empty params the key
/// ends in "::".
struct Topic {
    std::string instanceName;  ///< instance that publishes the topic
    std::string topicName;     ///< topic within that instance
    std::string params;        ///< parameters; empty for the topics of this plug-in
};

/// A request from an instance to the host, always held in a std::shared_ptr.
struct InstanceRunMessage {
    InstanceRunMessage(RunType messageType, std::vector<std::string> arguments)
        : flag(1), payload(std::move(arguments)), type(messageType)
    {
    }

    std::uint8_t flag;                 ///< 1 in every message of a plug-in
    std::vector<std::string> payload;  ///< arguments, see RunType
    Result result;                     ///< answer slot of the host; plug-ins leave it alone
    DataList dataList;                 ///< filled for PUBLISH_DATA only
    RunType type;                      ///< what the host is asked to do
    std::mutex mutex;  ///< these three are the host's, should it let somebody wait for the answer
    std::condition_variable condition;
    bool finished = false;
};

}  // namespace kovari

/// The host's queue of pending requests. Instances append at the back under `mutex` and wake the host with
/// one notify_one; the host consumes from the front. The one structure of this boundary that threads share.
struct RunMessageQueue {
    std::mutex mutex;
    std::deque<std::shared_ptr<kovari::InstanceRunMessage>> messages;
    std::condition_variable condition;
};

namespace kovari {

using ::RunMessageQueue;

const std::string DEFAULT_PLUGIN_PATH = "/usr/lib64/Kovari-plugin";
const std::string DEFAULT_RUN_PATH = "/var/run/Kovari";
const std::string DEFAULT_LOG_PATH = "/var/log/Kovari";
const std::string DEFAULT_SERVER_LISTEN_PATH = "/var/run/Kovari/Kovari-server";
const std::string DEFAULT_SDK_CONN_PATH = "/var/run/Kovari/Kovari-sdk";
const std::string DEFAULT_PRELOAD_PATH = "/etc/Kovari/preload.yaml";
const std::string DEFAULT_ANALYSYS_PATH =
    "/etc/Kovari/analysis_config.yaml";  // letter order as the framework has it
const std::string DEFAULT_PLUGIN_CONFIG_PATH = "/etc/Kovari/plugin";

/// Joins `parts` with `separator` between neighbours: none before the first part, none after the last; no
/// parts give an empty text. Raises nothing but std::bad_alloc.
///
/// The host supplies this function. A plug-in library may carry a weak definition that serves where the host
/// exports none.
std::string Concat(const std::vector<std::string>& parts, const std::string& separator);

/// Base class of every instance, on the plug-in's side of the boundary.
///
/// Thread rule: the host calls one instance from one thread at a time; an instance takes no lock but that of
/// the message queue during a push. Ownership: instances live in std::shared_ptr and go before the library
/// that they came from is unloaded. Order of calls: GetInstance, `messageQueue` stored by the host, Enable,
/// OpenTopic when a consumer wants a topic, any number of UpdateData and Run, CloseTopic, Disable,
/// destruction. Slots and data members are binary interface: add, remove and reorder nothing.
class Interface {
public:
    Interface() = default;
    Interface(const Interface&) = delete;
    Interface& operator=(const Interface&) = delete;
    virtual ~Interface() = default;

    /// A consumer wants `topic`. Code 0, or -1 with the reason. May be called again for a topic that is open.
    virtual Result OpenTopic(const Topic& topic) = 0;

    /// The last consumer of `topic` has gone. Topics that are not open are ignored.
    virtual void CloseTopic(const Topic& topic) = 0;

    /// Data of a topic that the instance subscribed to; called for each published batch, on the host's
    /// thread. Everything behind `dataList` belongs to the caller and may be gone after the return.
    virtual void UpdateData(const DataList& dataList) = 0;

    /// Switches the instance on; `param` is free text of the framework's configuration. Called once before
    /// topics are opened.
    virtual Result Enable(const std::string& param) = 0;

    /// Switches the instance off. Called once, after its topics were closed or instead of closing them.
    virtual void Disable() = 0;

    /// Called every `period` milliseconds while the instance is enabled. Expected to return well within it.
    virtual void Run() = 0;

    std::string name;  ///< unique among the instances of a host
    std::string version;
    std::string description;
    std::vector<Topic> supportTopics;  ///< topics that this instance publishes
    log4cplus::Logger logger;          ///< never set and never used by plug-ins of ours
    std::int32_t priority = 0;
    std::int32_t type = 0;
    std::int32_t period = 0;                        ///< milliseconds between calls of Run
    std::shared_ptr<RunMessageQueue> messageQueue;  ///< empty until the host stores its queue
};

}  // namespace kovari

// Binary interface. offsetof on these types is conditionally supported; GCC and clang support it.
#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winvalid-offsetof"
#endif

static_assert(sizeof(void*) == 8, "the boundary is defined for 64-bit systems");

static_assert(offsetof(Result, code) == 0 && offsetof(Result, payload) == 8, "Result");
static_assert(sizeof(Result) == 8 + sizeof(std::string), "Result");

static_assert(offsetof(DataList, topic) == 0 && offsetof(DataList, len) == 24 &&
                  offsetof(DataList, data) == 32,
              "DataList");
static_assert(sizeof(DataList) == 40, "DataList");

static_assert(offsetof(PmuData, eventName) == 8 && offsetof(PmuData, count) == 64, "PmuData");
static_assert(sizeof(PmuData) == 96, "PmuData");

static_assert(offsetof(UncoreSampleBatch, samples) == 0 && offsetof(UncoreSampleBatch, count) == 8 &&
                  offsetof(UncoreSampleBatch, interval) == 16,
              "UncoreSampleBatch");
static_assert(sizeof(UncoreSampleBatch) == 24, "UncoreSampleBatch");

static_assert(offsetof(kovari::Topic, instanceName) == 0 &&
                  offsetof(kovari::Topic, topicName) == sizeof(std::string) &&
                  offsetof(kovari::Topic, params) == 2 * sizeof(std::string),
              "Topic");
static_assert(sizeof(kovari::Topic) == 3 * sizeof(std::string), "Topic");

static_assert(sizeof(RunType) == 4, "RunType");

static_assert(offsetof(kovari::InstanceRunMessage, flag) == 0 &&
                  offsetof(kovari::InstanceRunMessage, payload) == 8 &&
                  offsetof(kovari::InstanceRunMessage, result) == 32 &&
                  offsetof(kovari::InstanceRunMessage, dataList) == 72 &&
                  offsetof(kovari::InstanceRunMessage, type) == 112 &&
                  offsetof(kovari::InstanceRunMessage, mutex) == 120 &&
                  offsetof(kovari::InstanceRunMessage, condition) == 120 + sizeof(std::mutex) &&
                  offsetof(kovari::InstanceRunMessage, finished) ==
                      120 + sizeof(std::mutex) + sizeof(std::condition_variable),
              "InstanceRunMessage");

static_assert(offsetof(RunMessageQueue, mutex) == 0 &&
                  offsetof(RunMessageQueue, messages) == sizeof(std::mutex) &&
                  offsetof(RunMessageQueue, condition) ==
                      sizeof(std::mutex) + sizeof(std::deque<std::shared_ptr<kovari::InstanceRunMessage>>),
              "RunMessageQueue");

static_assert(offsetof(kovari::Interface, name) == 8 && offsetof(kovari::Interface, version) == 40 &&
                  offsetof(kovari::Interface, description) == 72 &&
                  offsetof(kovari::Interface, supportTopics) == 104 &&
                  offsetof(kovari::Interface, logger) == 128 &&
                  offsetof(kovari::Interface, priority) == 128 + sizeof(log4cplus::Logger) &&
                  offsetof(kovari::Interface, type) == 132 + sizeof(log4cplus::Logger) &&
                  offsetof(kovari::Interface, period) == 136 + sizeof(log4cplus::Logger) &&
                  offsetof(kovari::Interface, messageQueue) == 144 + sizeof(log4cplus::Logger),
              "Interface");

#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif

#endif  // SCENARIO_FRAMEWORK_H
