// SPDX-License-Identifier: MIT
//
// What the pump does for instances that keep to the rules: order of calls, routing, opening and closing.

#include "host/message_pump.h"

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/fake_instance.h"
#include "tests/support/manual_clock.h"

namespace {

using host::Call;
using host::MessagePump;
using support::FakeInstance;
using testing::ElementsAre;
using testing::IsEmpty;

const kovari::Topic NEWS{"writer", "news", ""};
const kovari::Topic DIGEST{"editor", "digest", "daily"};

std::uint64_t ValueOf(const DataList& list)
{
    return *static_cast<const std::uint64_t*>(list.data[0]);
}

class MessagePumpTest : public testing::Test {
protected:
    std::shared_ptr<FakeInstance> Make(const std::string& name, const std::vector<kovari::Topic>& topics = {})
    {
        auto instance = std::make_shared<FakeInstance>(name, &log);
        instance->supportTopics = topics;
        return instance;
    }

    std::shared_ptr<FakeInstance> Added(const std::string& name,
                                        const std::vector<kovari::Topic>& topics = {})
    {
        auto instance = Make(name, topics);
        EXPECT_TRUE(pump->Add(instance));
        log.clear();
        return instance;
    }

    MessagePump::Listener Noting(const std::string& who)
    {
        return [this, who](const DataList& list) {
            log.push_back(who + " hears " + std::to_string(ValueOf(list)));
        };
    }

    FakeInstance::Log log;
    std::vector<std::string> remarks;
    support::ManualClock clock;
    std::unique_ptr<MessagePump> pump =
        std::make_unique<MessagePump>(clock, [this](const std::string& line) { remarks.push_back(line); });
};

TEST_F(MessagePumpTest, AddStoresAQueueAndThenEnables)
{
    auto writer = Make("writer");
    bool hadQueue = false;
    writer->onEnable = [&] { hadQueue = writer->messageQueue != nullptr; };
    EXPECT_TRUE(pump->Add(writer, "some text"));
    EXPECT_TRUE(hadQueue);
    EXPECT_THAT(log, ElementsAre("writer.Enable some text"));
    EXPECT_THAT(remarks, IsEmpty());
}

TEST_F(MessagePumpTest, EachInstanceHasAQueueOfItsOwn)
{
    const auto writer = Added("writer");
    const auto editor = Added("editor");
    EXPECT_NE(writer->messageQueue, editor->messageQueue);
}

TEST_F(MessagePumpTest, AddRefusesWhatCannotBeDriven)
{
    const auto writer = Added("writer");
    EXPECT_FALSE(pump->Add(nullptr));
    EXPECT_FALSE(pump->Add(Make("")));
    EXPECT_FALSE(pump->Add(Make("writer")));
    EXPECT_FALSE(pump->Add(writer));
    const auto unwilling = Make("unwilling", {{"unwilling", "t", ""}});
    unwilling->enableResult = {-1, "not\ntoday"};
    EXPECT_FALSE(pump->Add(unwilling));
    const auto silent = Make("silent");
    silent->enableResult = {7, ""};
    EXPECT_FALSE(pump->Add(silent));
    EXPECT_THAT(remarks,
                ElementsAre("null instance: not added; hand over what a plug-in's GetInstance appended",
                            "instance without a name: not added; set its name before GetInstance returns",
                            "writer: not added, another instance has this name; names must be unique",
                            "writer: not added, another instance has this name; names must be unique",
                            "unwilling: Enable answered -1, expected 0: not\\ntoday",
                            "silent: Enable answered 7, expected 0: no reason given"));
    // What was not added is not driven, and its topics do not exist.
    log.clear();
    pump->RunInstance(*unwilling);
    EXPECT_FALSE(pump->Listen({"unwilling", "t", ""}, Noting("host")));
    pump->Shutdown();
    EXPECT_THAT(log, ElementsAre("writer.Disable"));
}

TEST_F(MessagePumpTest, MessagesOfARefusedInstanceAreReleased)
{
    const auto unwilling = Make("unwilling", {NEWS});
    unwilling->enableResult = {-1, "no"};
    unwilling->onEnable = [&] { unwilling->Publish(NEWS, 1); };
    EXPECT_FALSE(pump->Add(unwilling));
    unwilling->Publish(NEWS, 2);
    EXPECT_EQ(unwilling->messageQueue->messages.size(), 2U);
}

TEST_F(MessagePumpTest, ListenOpensATopicOnce)
{
    const auto writer = Added("writer", {NEWS});
    EXPECT_TRUE(pump->Listen(NEWS, Noting("first")));
    EXPECT_TRUE(pump->Listen(NEWS, Noting("second")));
    EXPECT_THAT(log, ElementsAre("writer.OpenTopic writer::news::"));
    log.clear();
    writer->Publish(NEWS, 5);
    EXPECT_THAT(log, IsEmpty());
    pump->Deliver();
    EXPECT_THAT(log, ElementsAre("first hears 5", "second hears 5"));
    EXPECT_THAT(remarks, IsEmpty());
}

TEST_F(MessagePumpTest, ListenNeedsAWillingPublisher)
{
    const auto writer = Added("writer", {NEWS});
    EXPECT_FALSE(pump->Listen(DIGEST, Noting("host")));
    EXPECT_FALSE(pump->Listen({"writer", "news", "x"}, Noting("host")));
    writer->openResult = {-1, "not now"};
    EXPECT_FALSE(pump->Listen(NEWS, Noting("host")));
    EXPECT_THAT(remarks,
                ElementsAre("no instance publishes \"editor::digest::daily\"; load the plug-in that has "
                            "it among its supportTopics",
                            "no instance publishes \"writer::news::x\"; load the plug-in that has it "
                            "among its supportTopics",
                            "writer: OpenTopic answered -1, expected 0: not now"));
    EXPECT_EQ(pump->Stats(*writer, Call::OPEN_TOPIC).failures, 1U);
    // Nobody listens; a later attempt succeeds.
    writer->Publish(NEWS, 1);
    pump->Deliver();
    writer->openResult = {};
    EXPECT_TRUE(pump->Listen(NEWS, Noting("host")));
}

TEST_F(MessagePumpTest, FirstSubscriberOpensLastOneCloses)
{
    const auto writer = Added("writer", {NEWS});
    const auto one = Added("one");
    const auto two = Added("two");
    one->Subscribe(NEWS);
    two->Subscribe(NEWS);
    pump->Deliver();
    EXPECT_THAT(log, ElementsAre("writer.OpenTopic writer::news::"));
    log.clear();
    one->Unsubscribe(NEWS);
    pump->Deliver();
    EXPECT_THAT(log, IsEmpty());
    writer->Publish(NEWS, 3);
    pump->Deliver();
    EXPECT_THAT(log, ElementsAre("two.UpdateData news 3"));
    log.clear();
    two->Unsubscribe(NEWS);
    pump->Deliver();
    EXPECT_THAT(log, ElementsAre("writer.CloseTopic writer::news::"));
    log.clear();
    writer->Publish(NEWS, 4);
    one->Subscribe(NEWS);
    pump->Deliver();
    EXPECT_THAT(log, ElementsAre("writer.OpenTopic writer::news::"));
    EXPECT_THAT(remarks, IsEmpty());
    EXPECT_EQ(pump->Faults(), 0U);
}

TEST_F(MessagePumpTest, InstancesAndListenersHearInOrderOfSubscription)
{
    const auto writer = Added("writer", {NEWS});
    const auto one = Added("one");
    const auto two = Added("two");
    two->Subscribe(NEWS);
    pump->Deliver();
    EXPECT_TRUE(pump->Listen(NEWS, Noting("host")));
    one->Subscribe(NEWS);
    pump->Deliver();
    log.clear();
    writer->Publish(NEWS, 8);
    pump->Deliver();
    EXPECT_THAT(log, ElementsAre("two.UpdateData news 8", "host hears 8", "one.UpdateData news 8"));
}

TEST_F(MessagePumpTest, DataThatIsPublishedOnlyReachesItsTopic)
{
    const kovari::Topic other{"writer", "news", "other"};
    const auto writer = Added("writer", {NEWS, other});
    EXPECT_TRUE(pump->Listen(NEWS, Noting("news")));
    EXPECT_TRUE(pump->Listen(other, Noting("other")));
    log.clear();
    writer->Publish(other, 1, 4);
    writer->Publish(NEWS, 2, 300);
    pump->Deliver();
    EXPECT_THAT(log, ElementsAre("other hears 1", "news hears 2"));
}

TEST_F(MessagePumpTest, ASubscriptionWaitsForItsPublisher)
{
    const auto reader = Added("reader");
    reader->Subscribe(NEWS);
    reader->Subscribe(DIGEST);
    pump->Deliver();
    EXPECT_THAT(log, IsEmpty());
    EXPECT_FALSE(pump->Listen(NEWS, Noting("host")));
    const auto writer = Make("writer", {NEWS});
    EXPECT_TRUE(pump->Add(writer));
    EXPECT_THAT(log, ElementsAre("writer.Enable ", "writer.OpenTopic writer::news::"));
    log.clear();
    writer->Publish(NEWS, 6);
    pump->Deliver();
    EXPECT_THAT(log, ElementsAre("reader.UpdateData news 6"));
    remarks.clear();
    pump->Shutdown();
    EXPECT_THAT(remarks, ElementsAre("reader: waited for \"editor::digest::daily\", which no instance "
                                     "published; load the plug-in that does"));
    EXPECT_EQ(pump->Faults(), 0U);
}

TEST_F(MessagePumpTest, AWaitingSubscriptionCanBeTakenBack)
{
    const auto reader = Added("reader");
    reader->Subscribe(NEWS);
    reader->Unsubscribe(NEWS);
    reader->Subscribe(NEWS);
    reader->Unsubscribe(NEWS);
    pump->Deliver();
    EXPECT_TRUE(pump->Add(Make("writer", {NEWS})));
    pump->Shutdown();
    EXPECT_THAT(remarks, IsEmpty());
    EXPECT_THAT(log, ElementsAre("writer.Enable ", "writer.Disable", "reader.Disable"));
}

TEST_F(MessagePumpTest, TopicsThatEnableAddsAreKnown)
{
    const auto writer = Make("writer");
    writer->onEnable = [&] { writer->supportTopics.push_back(NEWS); };
    EXPECT_TRUE(pump->Add(writer));
    EXPECT_TRUE(pump->Listen(NEWS, Noting("host")));
}

TEST_F(MessagePumpTest, ATopicStaysWithItsFirstPublisher)
{
    const auto writer = Added("writer", {NEWS});
    const auto copycat = Added("copycat", {NEWS});
    EXPECT_THAT(remarks,
                ElementsAre("copycat: topic \"writer::news::\" is published by writer; left with that "
                            "one"));
    EXPECT_TRUE(pump->Listen(NEWS, Noting("host")));
    EXPECT_THAT(log, ElementsAre("writer.OpenTopic writer::news::"));
}

TEST_F(MessagePumpTest, RunInstanceRunsAndDelivers)
{
    const auto writer = Added("writer", {NEWS});
    const auto reader = Added("reader");
    reader->Subscribe(NEWS);
    writer->onRun = [&] { writer->Publish(NEWS, 9); };
    pump->Deliver();
    log.clear();
    pump->RunInstance(*writer);
    EXPECT_THAT(log, ElementsAre("writer.Run", "reader.UpdateData news 9"));
    FakeInstance stranger("stranger", nullptr);
    pump->RunInstance(stranger);
    EXPECT_THAT(remarks, ElementsAre("stranger: not run, it has not been added"));
}

TEST_F(MessagePumpTest, ASubscriptionThatIsStillQueuedMissesNothing)
{
    const auto writer = Added("writer", {NEWS});
    const auto reader = Added("reader");
    writer->onRun = [&] { writer->Publish(NEWS, 1); };
    reader->Subscribe(NEWS);
    pump->RunInstance(*writer);
    EXPECT_THAT(log,
                ElementsAre("writer.OpenTopic writer::news::", "writer.Run", "reader.UpdateData news 1"));
}

TEST_F(MessagePumpTest, MessagesSentDuringDeliveryAreExecutedInTheSameCall)
{
    const auto writer = Added("writer", {NEWS});
    const auto editor = Added("editor", {DIGEST});
    editor->Subscribe(NEWS);
    EXPECT_TRUE(pump->Listen(DIGEST, Noting("host")));
    editor->onUpdateData = [&] { editor->Publish(DIGEST, 100); };
    writer->Publish(NEWS, 1);
    writer->Publish(NEWS, 2);
    log.clear();
    pump->Deliver();
    EXPECT_THAT(log,
                ElementsAre("writer.OpenTopic writer::news::", "editor.UpdateData news 2", "host hears 100"));
}

TEST_F(MessagePumpTest, InstancesTakeTurns)
{
    const kovari::Topic other{"other", "news", ""};
    const auto writer = Added("writer", {NEWS});
    const auto second = Added("other", {other});
    EXPECT_TRUE(pump->Listen(NEWS, Noting("a")));
    EXPECT_TRUE(pump->Listen(other, Noting("b")));
    log.clear();
    for (std::uint64_t i = 1; i <= 3; ++i) {
        writer->Publish(NEWS, i);
    }
    second->Publish(other, 1);
    pump->Deliver();
    EXPECT_THAT(log, ElementsAre("a hears 1", "b hears 1", "a hears 2", "a hears 3"));
}

TEST_F(MessagePumpTest, NoQueueIsLockedWhileAnInstanceIsCalled)
{
    const auto writer = Added("writer", {NEWS});
    const auto reader = Added("reader");
    reader->Subscribe(NEWS);
    bool writerFree = false;
    bool readerFree = false;
    reader->onUpdateData = [&] {
        writerFree = writer->messageQueue->mutex.try_lock();
        readerFree = reader->messageQueue->mutex.try_lock();
        writer->messageQueue->mutex.unlock();
        reader->messageQueue->mutex.unlock();
    };
    pump->Deliver();
    writer->Publish(NEWS, 1);
    pump->Deliver();
    EXPECT_TRUE(writerFree);
    EXPECT_TRUE(readerFree);
}

TEST_F(MessagePumpTest, ShutdownClosesDisablesAndReleases)
{
    const auto writer = Added("writer", {NEWS});
    const auto editor = Added("editor", {DIGEST});
    editor->onOpenTopic = [&] { editor->Subscribe(NEWS); };
    editor->onCloseTopic = [&] { editor->Unsubscribe(NEWS); };
    writer->onDisable = [&] { writer->Publish(NEWS, 3); };
    EXPECT_TRUE(pump->Listen(DIGEST, Noting("host")));
    pump->Deliver();
    writer->Publish(NEWS, 1);
    editor->Publish(DIGEST, 2);
    log.clear();
    pump->Shutdown();
    EXPECT_THAT(log, ElementsAre("editor.CloseTopic editor::digest::daily",
                                 "writer.CloseTopic writer::news::", "editor.Disable", "writer.Disable"));
    log.clear();
    pump->Shutdown();
    pump->RunInstance(*writer);
    clock.AdvanceMs(1000);
    pump->RunDue();
    EXPECT_FALSE(pump->Listen(NEWS, Noting("host")));
    remarks.clear();
    EXPECT_FALSE(pump->Add(Make("late")));
    EXPECT_THAT(remarks, ElementsAre("late: not added, the host has been shut down"));
    EXPECT_THAT(log, IsEmpty());
    EXPECT_EQ(pump->Faults(), 0U);
    // Instances that go on pushing after the end do no harm.
    writer->Publish(NEWS, 4);
    pump->Deliver();
    writer->Publish(NEWS, 5);
    pump.reset();
    writer->Publish(NEWS, 6);
}

TEST_F(MessagePumpTest, ShutdownClosesTopicsThatTheirSubscribersKeep)
{
    const auto writer = Added("writer", {NEWS});
    const auto reader = Added("reader");
    reader->Subscribe(NEWS);
    reader->onDisable = [&] { reader->Unsubscribe(NEWS); };
    pump->Deliver();
    log.clear();
    pump.reset();
    EXPECT_THAT(log, ElementsAre("writer.CloseTopic writer::news::", "reader.Disable", "writer.Disable"));
    EXPECT_THAT(remarks, IsEmpty());
}

TEST_F(MessagePumpTest, AListenerMayUseThePump)
{
    const auto writer = Added("writer", {NEWS});
    const auto late = Make("late", {DIGEST});
    EXPECT_TRUE(pump->Listen(NEWS, [&](const DataList& list) {
        log.push_back("outer hears " + std::to_string(ValueOf(list)));
        if (ValueOf(list) == 1) {
            pump->Deliver();
            EXPECT_TRUE(pump->Listen(NEWS, Noting("inner")));
            EXPECT_TRUE(pump->Add(late));
        } else {
            pump->Shutdown();
            log.push_back("end of outer");
        }
    }));
    log.clear();
    for (std::uint64_t i = 1; i <= 4; ++i) {
        writer->Publish(NEWS, i);
    }
    pump->Deliver();
    EXPECT_THAT(log,
                ElementsAre("outer hears 1", "late.Enable ", "outer hears 2", "end of outer", "inner hears 2",
                            "writer.CloseTopic writer::news::", "late.Disable", "writer.Disable"));
}

TEST_F(MessagePumpTest, AnExceptionOfAListenerLeavesAndTheDataIsReleased)
{
    const auto writer = Added("writer", {NEWS});
    bool throws = true;
    EXPECT_TRUE(pump->Listen(NEWS, [&](const DataList& list) {
        if (throws) {
            throw std::runtime_error("the output is closed");
        }
        log.push_back("host hears " + std::to_string(ValueOf(list)));
    }));
    writer->Publish(NEWS, 1);
    writer->Publish(NEWS, 2);
    EXPECT_THROW(pump->Deliver(), std::runtime_error);
    throws = false;
    log.clear();
    pump->Deliver();
    EXPECT_THAT(log, ElementsAre("host hears 2"));
}

TEST_F(MessagePumpTest, AMessageThatIsPushedAgainIsReleasedOnce)
{
    const auto writer = Added("writer", {NEWS});
    EXPECT_TRUE(pump->Listen(NEWS, Noting("host")));
    log.clear();
    auto message = std::make_shared<kovari::InstanceRunMessage>(RunType::PUBLISH_DATA,
                                                                std::vector<std::string>{"writer::news::"});
    message->dataList = support::NewDataList(NEWS, 2, 40);
    writer->Push(message);
    writer->Push(message);
    pump->Deliver();
    writer->Push(message);
    pump.reset();
    EXPECT_THAT(log, ElementsAre("host hears 40", "writer.CloseTopic writer::news::", "writer.Disable"));
}

TEST(MessagePumpWithoutReporter, DropsRemarks)
{
    support::ManualClock clock;
    MessagePump pump(clock, nullptr);
    EXPECT_FALSE(pump.Add(nullptr));
    EXPECT_FALSE(pump.Listen(NEWS, [](const DataList&) {}));
}

}  // namespace
