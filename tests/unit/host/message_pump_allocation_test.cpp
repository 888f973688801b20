// SPDX-License-Identifier: MIT
//
// What routing costs on the heap. Counts every allocation of this program.

#include <cstddef>
#include <cstdlib>

#include <memory>
#include <new>
#include <string>

#include <gtest/gtest.h>

#include "host/message_pump.h"
#include "tests/support/fake_instance.h"
#include "tests/support/manual_clock.h"

namespace {

std::size_t allocations = 0;

}  // namespace

void* operator new(std::size_t size)
{
    ++allocations;
    if (void* const block = std::malloc(size == 0 ? 1 : size)) {
        return block;
    }
    throw std::bad_alloc();
}

void* operator new[](std::size_t size)
{
    return operator new(size);
}

void operator delete(void* block) noexcept
{
    std::free(block);
}

void operator delete[](void* block) noexcept
{
    std::free(block);
}

void operator delete(void* block, std::size_t /*size*/) noexcept
{
    std::free(block);
}

void operator delete[](void* block, std::size_t /*size*/) noexcept
{
    std::free(block);
}

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
        const std::size_t before = allocations;
        pump.Deliver();
        inDelivery += allocations - before;
    }
    EXPECT_EQ(heard, 1000U);
    EXPECT_EQ(inDelivery, 0U);
    EXPECT_GT(allocations, 1000U);
}

}  // namespace
