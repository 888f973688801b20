// SPDX-License-Identifier: MIT
//
// What the pump does about instances that break the rules. Whether every list is released exactly once is
// AddressSanitizer's to judge.

#include <cstddef>

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/data_release.h"
#include "host/message_pump.h"
#include "host/plugin_loader.h"
#include "tests/support/fake_instance.h"
#include "tests/support/manual_clock.h"

namespace {

using host::Call;
using host::MessagePump;
using support::FakeInstance;
using testing::ElementsAre;
using testing::IsEmpty;

const kovari::Topic NEWS{"writer", "news", ""};
const std::string KEY = "writer::news::";

/// An instance "writer" that publishes NEWS, opened by a listener that notes what arrives.
class MessagePumpFaults : public testing::Test {
protected:
    MessagePumpFaults()
    {
        writer->supportTopics.push_back(NEWS);
        EXPECT_TRUE(pump->Add(writer));
        EXPECT_TRUE(pump->Listen(NEWS, [this](const DataList& list) {
            heard.push_back(*static_cast<std::uint64_t*>(list.data[0]));
        }));
    }

    void ExpectFault(const std::string& remark)
    {
        remarks.clear();
        const std::uint64_t before = pump->Faults();
        pump->Deliver();
        EXPECT_THAT(remarks, ElementsAre(remark));
        EXPECT_EQ(pump->Faults(), before + 1);
        EXPECT_THAT(heard, IsEmpty());
        ExpectAlive();
    }

    /// As many faults of one kind, of which the first is told.
    void ExpectFaults(std::uint64_t count, const std::string& first)
    {
        pump->Deliver();
        EXPECT_THAT(remarks, ElementsAre(first));
        EXPECT_EQ(pump->Faults(), count);
        EXPECT_THAT(heard, IsEmpty());
        ExpectAlive();
    }

    /// The faulty instance is still served.
    void ExpectAlive()
    {
        heard.clear();
        writer->Publish(NEWS, 77);
        pump->Deliver();
        EXPECT_THAT(heard, ElementsAre(77U));
        heard.clear();
    }

    std::vector<std::uint64_t> heard;
    std::vector<std::string> remarks;
    support::ManualClock clock;
    std::unique_ptr<MessagePump> pump =
        std::make_unique<MessagePump>(clock, [this](const std::string& line) { remarks.push_back(line); });
    std::shared_ptr<FakeInstance> writer = std::make_shared<FakeInstance>("writer", nullptr);
};

TEST_F(MessagePumpFaults, NullMessage)
{
    writer->Push(nullptr);
    ExpectFault("writer: null message; ignored");
}

TEST_F(MessagePumpFaults, UnknownType)
{
    writer->Push(static_cast<RunType>(9), {KEY}, support::NewDataList(NEWS, 2));
    ExpectFault(
        "writer: message of unknown type 9, expected 3 (SUBSCRIBE), 4 (UNSUBSCRIBE) or 6 (PUBLISH_DATA); "
        "ignored");
    // The second of a kind is counted, not told.
    writer->Push(static_cast<RunType>(-1), {});
    remarks.clear();
    pump->Deliver();
    EXPECT_THAT(remarks, IsEmpty());
    EXPECT_EQ(pump->Faults(), 2U);
}

TEST_F(MessagePumpFaults, WrongFlag)
{
    auto message =
        std::make_shared<kovari::InstanceRunMessage>(RunType::PUBLISH_DATA, std::vector<std::string>{KEY});
    message->flag = 0;
    message->dataList = support::NewDataList(NEWS, 1);
    writer->Push(message);
    ExpectFault("writer: PUBLISH_DATA with flag 0, expected 1; ignored");
}

TEST_F(MessagePumpFaults, WrongNumberOfArguments)
{
    struct Case {
        RunType type;
        std::vector<std::string> payload;
        std::string remark;
    };
    const std::vector<Case> cases = {
        {RunType::SUBSCRIBE, {}, "a: SUBSCRIBE with 0 arguments, expected 2 (topic key, own name); ignored"},
        {RunType::SUBSCRIBE,
         {KEY},
         "b: SUBSCRIBE with 1 arguments, expected 2 (topic key, own name); ignored"},
        {RunType::UNSUBSCRIBE,
         {KEY, "c", ""},
         "c: UNSUBSCRIBE with 3 arguments, expected 2 (topic key, own name); ignored"},
        {RunType::PUBLISH_DATA, {}, "d: PUBLISH_DATA with 0 arguments, expected 1 (topic key); ignored"},
        {RunType::PUBLISH_DATA,
         {KEY, "e"},
         "e: PUBLISH_DATA with 2 arguments, expected 1 (topic key); ignored"},
    };
    for (const Case& item : cases) {
        const auto instance = std::make_shared<FakeInstance>(item.remark.substr(0, 1), nullptr);
        ASSERT_TRUE(pump->Add(instance));
        instance->Push(item.type, item.payload, support::NewDataList(NEWS, 1));
        ExpectFault(item.remark);
    }
}

TEST_F(MessagePumpFaults, SubscriptionInAnothersName)
{
    writer->Push(RunType::SUBSCRIBE, {KEY, "reader\x1b"});
    ExpectFault("writer: SUBSCRIBE in the name of \"reader\\x1b\", expected its own; ignored");
}

TEST_F(MessagePumpFaults, SubscribedTwice)
{
    writer->Subscribe({"other", "topic", ""});
    writer->Subscribe({"other", "topic", ""});
    ExpectFault("writer: SUBSCRIBE to \"other::topic::\", which it is subscribed to already; ignored");
}

TEST_F(MessagePumpFaults, NotSubscribed)
{
    writer->Unsubscribe(NEWS);
    ExpectFault("writer: UNSUBSCRIBE from \"writer::news::\", which it is not subscribed to; ignored");
    const auto other = std::make_shared<FakeInstance>("other", nullptr);
    ASSERT_TRUE(pump->Add(other));
    other->Unsubscribe({"nobody", "has", "it"});
    ExpectFault("other: UNSUBSCRIBE from \"nobody::has::it\", which it is not subscribed to; ignored");
}

TEST_F(MessagePumpFaults, TooManySubscriptions)
{
    for (std::size_t i = 0; i <= MessagePump::SUBSCRIPTION_LIMIT; ++i) {
        writer->Subscribe({"other", std::to_string(i), ""});
    }
    ExpectFault("writer: SUBSCRIBE to \"other::4096::\" beyond 4096 subscriptions; ignored");
}

TEST_F(MessagePumpFaults, PublishesWhatItDoesNotSupport)
{
    writer->Push(RunType::PUBLISH_DATA, {"writer::secrets::"},
                 support::NewDataList({"writer", "secrets", ""}, 1));
    ExpectFault(
        "writer: PUBLISH_DATA for \"writer::secrets::\", which is not among its supportTopics; dropped");
}

TEST_F(MessagePumpFaults, PublishesInAnothersPlace)
{
    const auto thief = std::make_shared<FakeInstance>("thief", nullptr);
    ASSERT_TRUE(pump->Add(thief));
    thief->Publish(NEWS, 1);
    ExpectFault("thief: PUBLISH_DATA for \"writer::news::\", which is not among its supportTopics; dropped");
}

TEST_F(MessagePumpFaults, DataOfAnotherTopic)
{
    const std::vector<kovari::Topic> others = {{"writer", "new", ""},       {"writer", "news", "x"},
                                               {"writer", "newspaper", ""}, {"", "", ""},
                                               {"writer::news", "", ""},    {"writer", "news::", ""}};
    for (const kovari::Topic& topic : others) {
        writer->Push(RunType::PUBLISH_DATA, {KEY}, support::NewDataList(topic, 1));
    }
    ExpectFaults(others.size(),
                 "writer: PUBLISH_DATA for \"writer::news::\" with data of topic writer::new::, the two must "
                 "agree; dropped");
}

TEST_F(MessagePumpFaults, NullTopicTexts)
{
    for (int missing = 0; missing < 3; ++missing) {
        DataList list = support::NewDataList(NEWS, 1);
        char** const texts[] = {&list.topic.instanceName, &list.topic.topicName, &list.topic.params};
        delete[] * texts[missing];
        *texts[missing] = nullptr;
        writer->Push(RunType::PUBLISH_DATA, {KEY}, list);
    }
    ExpectFaults(
        3,
        "writer: PUBLISH_DATA for \"writer::news::\" with data of topic (null)::news::, the two must "
        "agree; dropped");
}

TEST_F(MessagePumpFaults, NoData)
{
    writer->Push(RunType::PUBLISH_DATA, {KEY}, support::NewDataList(NEWS, 0));
    ExpectFault(
        "writer: PUBLISH_DATA for \"writer::news::\" without data (0 records, array set), expected at "
        "least one record; dropped");
}

TEST_F(MessagePumpFaults, NoArray)
{
    DataList list = support::NewDataList(NEWS, 0);
    delete[] list.data;
    list.data = nullptr;
    list.len = 3;
    writer->Push(RunType::PUBLISH_DATA, {KEY}, list);
    ExpectFault(
        "writer: PUBLISH_DATA for \"writer::news::\" without data (3 records, array null), expected at "
        "least one record; dropped");
}

TEST_F(MessagePumpFaults, NullRecord)
{
    DataList list = support::NewDataList(NEWS, 3);
    ::operator delete(list.data[1]);
    list.data[1] = nullptr;
    writer->Push(RunType::PUBLISH_DATA, {KEY}, list);
    ExpectFault(
        "writer: PUBLISH_DATA for \"writer::news::\" without data (record 1 is null), expected a record; "
        "dropped");
}

TEST_F(MessagePumpFaults, AbsurdNumberOfRecords)
{
    DataList list = support::NewDataList(NEWS, 0);
    list.len = ~std::uint64_t{0};
    writer->Push(RunType::PUBLISH_DATA, {KEY}, list);
    ExpectFault(
        "writer: PUBLISH_DATA for \"writer::news::\" with 18446744073709551615 records, expected at most "
        "1048576; dropped");
}

TEST_F(MessagePumpFaults, AFloodIsToldByPowersOfTenAndInTotal)
{
    for (int i = 0; i < 1234; ++i) {
        writer->Push(nullptr);
    }
    pump->Deliver();
    EXPECT_THAT(remarks, ElementsAre("writer: null message; ignored",
                                     "writer: null message; ignored (10 times so far)",
                                     "writer: null message; ignored (100 times so far)",
                                     "writer: null message; ignored (1000 times so far)"));
    EXPECT_EQ(pump->Faults(), 1234U);
    remarks.clear();
    pump->Shutdown();
    EXPECT_THAT(remarks, ElementsAre("writer: null message: 1234 times in all"));
}

TEST_F(MessagePumpFaults, OneKindDoesNotHideAnother)
{
    for (int i = 0; i < 5; ++i) {
        writer->Push(nullptr);
    }
    writer->Unsubscribe(NEWS);
    pump->Deliver();
    EXPECT_THAT(remarks,
                ElementsAre("writer: null message; ignored",
                            "writer: UNSUBSCRIBE from \"writer::news::\", which it is not subscribed to; "
                            "ignored"));
}

TEST_F(MessagePumpFaults, AnEndlessExchangeIsStopped)
{
    const auto echo = std::make_shared<FakeInstance>("echo", nullptr);
    ASSERT_TRUE(pump->Add(echo));
    echo->Subscribe(NEWS);
    pump->Deliver();
    std::uint64_t deliveries = 0;
    echo->onUpdateData = [&] {
        ++deliveries;
        writer->Publish(NEWS, deliveries);
    };
    writer->Publish(NEWS, 0);
    pump->Deliver();
    EXPECT_EQ(deliveries, MessagePump::DELIVERY_LIMIT);
    EXPECT_THAT(remarks,
                ElementsAre("writer: still sends after 100000 messages in one delivery; the rest waits "
                            "for the next"));
    EXPECT_EQ(pump->Faults(), 0U);
    echo->onUpdateData = nullptr;
    heard.clear();
    pump->Deliver();
    EXPECT_THAT(heard, ElementsAre(MessagePump::DELIVERY_LIMIT));
}

TEST_F(MessagePumpFaults, AnEndlessExchangeDoesNotHoldUpTheEnd)
{
    writer->onDisable = [&] {
        for (std::size_t i = 0; i < MessagePump::DELIVERY_LIMIT + 10; ++i) {
            writer->Publish(NEWS, i);
        }
    };
    pump->Shutdown();
    pump.reset();
}

TEST_F(MessagePumpFaults, ExceptionsOfEveryCall)
{
    const auto thrower = std::make_shared<FakeInstance>("thrower", nullptr);
    const kovari::Topic topic{"thrower", "t", ""};
    thrower->supportTopics.push_back(topic);
    const std::function<void()> throws = [] { throw std::runtime_error("bad\nluck"); };
    thrower->onEnable = throws;
    EXPECT_FALSE(pump->Add(thrower));
    thrower->onEnable = nullptr;
    ASSERT_TRUE(pump->Add(thrower));
    thrower->onOpenTopic = throws;
    EXPECT_FALSE(pump->Listen(topic, [](const DataList&) {}));
    thrower->onOpenTopic = nullptr;
    EXPECT_TRUE(pump->Listen(topic, [](const DataList&) {}));
    thrower->onRun = throws;
    pump->RunInstance(*thrower);
    thrower->Subscribe(NEWS);
    thrower->onUpdateData = throws;
    pump->Deliver();
    ExpectAlive();
    thrower->onCloseTopic = throws;
    thrower->onDisable = [] { throw 42; };
    pump->Shutdown();
    EXPECT_THAT(remarks, ElementsAre("thrower: Enable raised an exception: bad\\nluck",
                                     "thrower: OpenTopic raised an exception: bad\\nluck",
                                     "thrower: Run raised an exception: bad\\nluck",
                                     "thrower: UpdateData raised an exception: bad\\nluck",
                                     "thrower: CloseTopic raised an exception: bad\\nluck",
                                     "thrower: Disable raised an exception of unknown type"));
    for (const Call call :
         {Call::OPEN_TOPIC, Call::CLOSE_TOPIC, Call::UPDATE_DATA, Call::DISABLE, Call::RUN}) {
        EXPECT_EQ(pump->Stats(*thrower, call).failures, 1U) << host::CallName(call);
    }
    EXPECT_EQ(pump->Faults(), 0U);
}

TEST_F(MessagePumpFaults, ALongOrHostileNameIsShortenedAndEscaped)
{
    const auto odd = std::make_shared<FakeInstance>("\n" + std::string(100, 'x'), nullptr);
    ASSERT_TRUE(pump->Add(odd));
    odd->Push(nullptr);
    pump->Deliver();
    EXPECT_THAT(remarks, ElementsAre("\\n" + std::string(62, 'x') + "...: null message; ignored"));
}

TEST_F(MessagePumpFaults, AnInstanceThatChangesItsNameKeepsTheOldOne)
{
    writer->name = "someone else";
    writer->Push(nullptr);
    pump->Deliver();
    EXPECT_THAT(remarks, ElementsAre("writer: null message; ignored"));
    ExpectAlive();
}

TEST_F(MessagePumpFaults, ALoadedPluginThatThrowsAndPushesNonsense)
{
    const host::LoadResult loaded = host::LoadPlugin(std::string(SAMPLE_DIR) + "/sample_hostile_calls.so");
    ASSERT_NE(loaded.plugin, nullptr) << loaded.message;
    ASSERT_EQ(loaded.plugin->Instances().size(), 2U);
    EXPECT_TRUE(pump->Add(loaded.plugin->Instances()[0]));
    EXPECT_FALSE(pump->Add(loaded.plugin->Instances()[1]));
    EXPECT_FALSE(pump->Listen({"hostile", "noise", ""}, [](const DataList&) {}));
    for (int i = 0; i < 10; ++i) {
        clock.AdvanceMs(10);
        pump->RunDue();
    }
    EXPECT_EQ(pump->Faults(), 20U);
    EXPECT_EQ(pump->Stats(*loaded.plugin->Instances()[0], Call::RUN).failures, 10U);
    ExpectAlive();
    // Messages and exceptions are the library's: all of them must go before it does.
    pump.reset();
    EXPECT_EQ(remarks.front(), "hostile_from_the_start: Enable raised an exception: enable");
    EXPECT_EQ(remarks.back(), "hostile: Disable raised an exception of unknown type");
}

}  // namespace
