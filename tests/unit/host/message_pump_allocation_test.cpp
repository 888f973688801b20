// SPDX-License-Identifier: MIT
//
// What routing costs on the heap. Counts every allocation of this program.

#include <cstddef>

#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "host/message_pump.h"
#include "tests/support/counted_new.h"
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
        const std::size_t before = support::Allocations();
        pump.Deliver();
        inDelivery += support::Allocations() - before;
    }
    EXPECT_EQ(heard, 1000U);
    EXPECT_EQ(inDelivery, 0U);
    EXPECT_GT(support::Allocations(), 1000U);
}

}  // namespace
