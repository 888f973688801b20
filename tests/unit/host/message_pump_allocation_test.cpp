// SPDX-License-Identifier: MIT
//
// What routing costs on the heap, and what becomes of it when there is no more. Counts every allocation of
// this program.

#include <cstddef>

#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "host/message_pump.h"
#include "tests/support/failing_memory.h"
#include "tests/support/fake_instance.h"
#include "tests/support/manual_clock.h"

namespace {

using support::FakeInstance;

TEST(MessagePumpAllocation, SteadyRoutingAllocatesNothing)
{
    support::ManualClock clock;
    host::MessagePump pump(clock, nullptr);
    const kovari::Topic topic{"a publisher with a long name", "a topic with a long name too", ""};
    const auto publisher = std::make_shared<FakeInstance>(topic.instanceName, nullptr);
    publisher->supportTopics.push_back(topic);
    const auto subscriber = std::make_shared<FakeInstance>("subscriber", nullptr);
    ASSERT_TRUE(pump.Add(publisher));
    ASSERT_TRUE(pump.Add(subscriber));
    subscriber->Subscribe(topic);
    std::size_t heard = 0;
    ASSERT_TRUE(pump.Listen(topic, [&](const DataList&) { ++heard; }));
    pump.Deliver();
    std::size_t inDelivery = 0;
    for (std::size_t i = 0; i < 1000; ++i) {
        publisher->Publish(topic, i, 300);
        const std::size_t before = support::MemoryRequests();
        pump.Deliver();
        inDelivery += support::MemoryRequests() - before;
    }
    EXPECT_EQ(heard, 1000U);
    EXPECT_EQ(inDelivery, 0U);
    EXPECT_GT(support::MemoryRequests(), 1000U);
}

/// A host that goes while a topic is open and something is published, and that has no memory from request
/// `nth` on. Returns how many requests failed.
std::size_t DestroyWithoutMemory(std::size_t nth)
{
    support::ManualClock clock;
    FakeInstance::Log calls;
    std::string told;
    auto pump = std::make_unique<host::MessagePump>(clock, [&](const std::string& line) { told += line; });
    const kovari::Topic topic{"a publisher with a long name", "a topic with a long name too", ""};
    const auto publisher = std::make_shared<FakeInstance>(topic.instanceName, &calls);
    publisher->supportTopics.push_back(topic);
    EXPECT_TRUE(pump->Add(publisher));
    EXPECT_TRUE(pump->Listen(topic, [](const DataList&) {}));
    publisher->Publish(topic, 1, 5);
    support::FailMemory(nth, support::Failing::ALL_FROM);
    pump.reset();
    return support::AllowMemory();
}

TEST(MessagePumpAllocation, AHostThatGoesWithoutMemoryReleasesEverything)
{
    std::size_t nth = 1;
    for (std::size_t failed = 1; failed > 0; ++nth) {
        const long live = support::LiveBlocks();
        failed = DestroyWithoutMemory(nth);
        EXPECT_EQ(support::LiveBlocks(), live) << "memory ran out at request " << nth;
    }
    EXPECT_GT(nth, 3U) << "the end asks for memory more than once";
}

}  // namespace
