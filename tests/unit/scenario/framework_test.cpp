// SPDX-License-Identifier: MIT

#include "scenario/framework.h"

#include <cstdint>
#include <cstring>

#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

namespace {

using kovari::Concat;
using kovari::InstanceRunMessage;
using kovari::Interface;

TEST(Concat, JoinsWithTheSeparatorBetweenTheParts)
{
    const struct {
        std::vector<std::string> parts;
        std::string separator;
        std::string joined;
    } cases[] = {
        {{}, "::", ""},
        {{""}, "::", ""},
        {{"a"}, "::", "a"},
        {{"a", "b"}, "::", "a::b"},
        {{"a", "b", ""}, "::", "a::b::"},
        {{"", "b", "c"}, "::", "::b::c"},
        {{"", ""}, "::", "::"},
        {{"", "", ""}, "::", "::::"},
        {{"a", "b", "c"}, "", "abc"},
        {{"a::", "::b"}, "::", "a::::::b"},
        {{"pmu_uncore_collector", "uncore", ""}, "::", "pmu_uncore_collector::uncore::"},
        {{"scenario_numa", "system_score", ""}, "::", "scenario_numa::system_score::"},
        {{std::string("a\0b", 3), "c"}, std::string("\0", 1), std::string("a\0b\0c", 5)},
        {{std::string(100'000, 'a'), std::string(100'000, 'b')},
         "-",
         std::string(100'000, 'a') + "-" + std::string(100'000, 'b')},
    };
    for (const auto& item : cases) {
        EXPECT_EQ(Concat(item.parts, item.separator), item.joined);
    }
}

TEST(Concat, ManyParts)
{
    const std::vector<std::string> parts(1000, "xy");
    const std::string joined = Concat(parts, ", ");
    EXPECT_EQ(joined.size(), 1000 * 2 + 999 * 2U);
    EXPECT_EQ(joined.substr(0, 6), "xy, xy");
    EXPECT_EQ(joined.substr(joined.size() - 4), ", xy");
}

TEST(Framework, RunTypesHaveTheirValues)
{
    EXPECT_EQ(static_cast<std::int32_t>(RunType::SUBSCRIBE), 3);
    EXPECT_EQ(static_cast<std::int32_t>(RunType::UNSUBSCRIBE), 4);
    EXPECT_EQ(static_cast<std::int32_t>(RunType::PUBLISH_DATA), 6);
}

TEST(Framework, MessageAsConstructed)
{
    const InstanceRunMessage message(RunType::SUBSCRIBE, {"key", "name"});
    EXPECT_EQ(message.flag, 1);
    EXPECT_EQ(static_cast<std::int32_t>(message.type), 3);
    EXPECT_EQ(message.payload, (std::vector<std::string>{"key", "name"}));
    EXPECT_EQ(message.result.payload, "");
    EXPECT_EQ(message.dataList.topic.instanceName, nullptr);
    EXPECT_EQ(message.dataList.topic.topicName, nullptr);
    EXPECT_EQ(message.dataList.topic.params, nullptr);
    EXPECT_EQ(message.dataList.len, 0U);
    EXPECT_EQ(message.dataList.data, nullptr);
    EXPECT_FALSE(message.finished);
}

/// `record` as the other side of the boundary reads it: by offset.
template <class Value, class Record>
Value ReadAt(const Record& record, std::size_t offset)
{
    Value value{};
    std::memcpy(&value, reinterpret_cast<const char*>(&record) + offset, sizeof(value));
    return value;
}

TEST(Framework, RecordsReadByOffset)
{
    const char* const name = "rx_outer";
    PmuData sample;
    sample.eventName = name;
    sample.count = 0x0102030405060708U;
    EXPECT_EQ(sizeof(sample), 96U);
    EXPECT_EQ(ReadAt<const char*>(sample, 8), name);
    EXPECT_EQ(ReadAt<std::uint64_t>(sample, 64), 0x0102030405060708U);

    UncoreSampleBatch batch;
    batch.samples = &sample;
    batch.count = -7;
    batch.interval = -100;
    EXPECT_EQ(ReadAt<const PmuData*>(batch, 0), &sample);
    EXPECT_EQ(ReadAt<std::int32_t>(batch, 8), -7);
    EXPECT_EQ(ReadAt<std::int32_t>(batch, 16), -100);

    char a[] = "a";
    char b[] = "b";
    char c[] = "c";
    void* data[1] = {&batch};
    DataList list;
    list.topic = {a, b, c};
    list.len = 1;
    list.data = data;
    EXPECT_TRUE(std::is_trivially_destructible_v<DataList>);
    EXPECT_EQ(ReadAt<char*>(list, 0), a);
    EXPECT_EQ(ReadAt<char*>(list, 8), b);
    EXPECT_EQ(ReadAt<char*>(list, 16), c);
    EXPECT_EQ(ReadAt<std::uint64_t>(list, 24), 1U);
    EXPECT_EQ(ReadAt<void**>(list, 32), data);

    const Result result = {-1, "text"};
    EXPECT_EQ(ReadAt<std::int32_t>(result, 0), -1);

    const InstanceRunMessage message(RunType::PUBLISH_DATA, {});
    EXPECT_EQ(ReadAt<std::uint8_t>(message, 0), 1);
    EXPECT_EQ(ReadAt<std::int32_t>(message, 112), 6);
}

TEST(Framework, EmptyRecords)
{
    const PmuData sample;
    EXPECT_EQ(sample.eventName, nullptr);
    EXPECT_EQ(sample.count, 0U);
    const UncoreSampleBatch batch;
    EXPECT_EQ(batch.samples, nullptr);
    EXPECT_EQ(batch.count, 0);
    EXPECT_EQ(batch.interval, 0);
    const Result result;
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(result.payload, "");
    const kovari::Topic topic;
    EXPECT_EQ(topic.instanceName + topic.topicName + topic.params, "");
}

TEST(Framework, BothSpellingsNameTheSameRecords)
{
    EXPECT_TRUE((std::is_same_v<DataList, kovari::DataList>));
    EXPECT_TRUE((std::is_same_v<PmuData, kovari::PmuData>));
    EXPECT_TRUE((std::is_same_v<Result, kovari::Result>));
    EXPECT_TRUE((std::is_same_v<RunType, kovari::RunType>));
    EXPECT_TRUE((std::is_same_v<RunMessageQueue, kovari::RunMessageQueue>));
}

TEST(Framework, PathConstants)
{
    EXPECT_EQ(kovari::DEFAULT_PLUGIN_PATH, "/usr/lib64/Kovari-plugin");
    EXPECT_EQ(kovari::DEFAULT_RUN_PATH, "/var/run/Kovari");
    EXPECT_EQ(kovari::DEFAULT_LOG_PATH, "/var/log/Kovari");
    EXPECT_EQ(kovari::DEFAULT_SERVER_LISTEN_PATH, "/var/run/Kovari/Kovari-server");
    EXPECT_EQ(kovari::DEFAULT_SDK_CONN_PATH, "/var/run/Kovari/Kovari-sdk");
    EXPECT_EQ(kovari::DEFAULT_PRELOAD_PATH, "/etc/Kovari/preload.yaml");
    EXPECT_EQ(kovari::DEFAULT_ANALYSYS_PATH, "/etc/Kovari/analysis_config.yaml");
    EXPECT_EQ(kovari::DEFAULT_PLUGIN_CONFIG_PATH, "/etc/Kovari/plugin");
}

/// Slot of a virtual member in the table, as the C++ ABI of the two supported machines writes it into a
/// pointer to member: the offset into the table, on x86-64 plus one.
template <class Member>
std::size_t Slot(Member member)
{
    std::uintptr_t words[2] = {};
    static_assert(sizeof(member) == sizeof(words));
    std::memcpy(words, &member, sizeof(words));
    return (words[0] & ~std::uintptr_t{1}) / sizeof(void*);
}

TEST(Framework, OperationsStandInTheirSlots)
{
    // The destructor takes slots 0 and 1, the whole object's and the deleting one.
    EXPECT_TRUE(std::has_virtual_destructor_v<Interface>);
    EXPECT_TRUE(std::is_abstract_v<Interface>);
    EXPECT_EQ(Slot(&Interface::OpenTopic), 2U);
    EXPECT_EQ(Slot(&Interface::CloseTopic), 3U);
    EXPECT_EQ(Slot(&Interface::UpdateData), 4U);
    EXPECT_EQ(Slot(&Interface::Enable), 5U);
    EXPECT_EQ(Slot(&Interface::Disable), 6U);
    EXPECT_EQ(Slot(&Interface::Run), 7U);
}

class Probe : public Interface {
public:
    Result OpenTopic(const kovari::Topic& /*topic*/) override { return {}; }
    void CloseTopic(const kovari::Topic& /*topic*/) override {}
    void UpdateData(const DataList& /*dataList*/) override {}
    Result Enable(const std::string& /*param*/) override { return {}; }
    void Disable() override {}
    void Run() override {}
};

TEST(Framework, MembersOfAnInstanceReadByOffset)
{
    Probe probe;
    EXPECT_EQ(probe.messageQueue, nullptr);
    EXPECT_EQ(probe.priority, 0);
    EXPECT_EQ(probe.period, 0);
    probe.priority = 1;
    probe.type = 8;
    probe.period = 100;
    probe.messageQueue = std::make_shared<RunMessageQueue>();
    const Interface& instance = probe;
    const std::size_t behindLogger = 128 + sizeof(log4cplus::Logger);
    EXPECT_EQ(ReadAt<std::int32_t>(instance, behindLogger), 1);
    EXPECT_EQ(ReadAt<std::int32_t>(instance, behindLogger + 4), 8);
    EXPECT_EQ(ReadAt<std::int32_t>(instance, behindLogger + 8), 100);
    EXPECT_EQ(ReadAt<RunMessageQueue*>(instance, behindLogger + 16), probe.messageQueue.get());
}

TEST(Framework, InstanceGivesItsQueueBack)
{
    const auto queue = std::make_shared<RunMessageQueue>();
    {
        Probe probe;
        probe.messageQueue = queue;
        EXPECT_EQ(queue.use_count(), 2);
    }
    EXPECT_EQ(queue.use_count(), 1);
}

}  // namespace
