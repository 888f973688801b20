// SPDX-License-Identifier: MIT
//
// Instances with threads of their own that push while the pump delivers; to be run under ThreadSanitizer too.

#include <atomic>
#include <cstdint>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "host/clock.h"
#include "host/message_pump.h"
#include "tests/support/fake_instance.h"

namespace {

using support::FakeInstance;

constexpr std::uint64_t MESSAGES = 2000;

TEST(MessagePumpThreads, EveryMessageOfForeignThreadsArrivesOnceAndInOrder)
{
    host::MonotonicClock clock;
    std::vector<std::string> remarks;
    host::MessagePump pump(clock, [&](const std::string& line) { remarks.push_back(line); });
    std::vector<std::shared_ptr<FakeInstance>> instances;
    std::vector<std::uint64_t> next(3, 0);
    bool inOrder = true;
    std::uint64_t heard = 0;
    for (std::size_t i = 0; i < next.size(); ++i) {
        const kovari::Topic topic{"publisher" + std::to_string(i), "t", ""};
        instances.push_back(std::make_shared<FakeInstance>(topic.instanceName, nullptr));
        instances.back()->supportTopics.push_back(topic);
        ASSERT_TRUE(pump.Add(instances.back()));
        ASSERT_TRUE(pump.Listen(topic, [&, i](const DataList& list) {
            inOrder = inOrder && *static_cast<std::uint64_t*>(list.data[0]) == next[i];
            ++next[i];
            ++heard;
        }));
    }
    std::vector<std::thread> threads;
    threads.reserve(instances.size());
    for (const std::shared_ptr<FakeInstance>& instance : instances) {
        threads.emplace_back([instance] {
            for (std::uint64_t n = 0; n < MESSAGES; ++n) {
                instance->Publish(instance->supportTopics[0], n);
            }
        });
    }
    while (heard < MESSAGES * instances.size()) {
        pump.Deliver();
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    pump.Deliver();
    EXPECT_TRUE(inOrder);
    EXPECT_EQ(heard, MESSAGES * instances.size());
    EXPECT_EQ(pump.Faults(), 0U);
    EXPECT_TRUE(remarks.empty()) << remarks.front();
}

TEST(MessagePumpThreads, AThreadMayPushThroughTheEndOfThePump)
{
    host::MonotonicClock clock;
    auto pump = std::make_unique<host::MessagePump>(clock, nullptr);
    const kovari::Topic topic{"publisher", "t", ""};
    const auto instance = std::make_shared<FakeInstance>("publisher", nullptr);
    instance->supportTopics.push_back(topic);
    ASSERT_TRUE(pump->Add(instance));
    std::atomic<std::uint64_t> heard{0};
    ASSERT_TRUE(pump->Listen(topic, [&](const DataList&) { ++heard; }));
    std::atomic<bool> stop{false};
    std::atomic<std::uint64_t> pushed{0};
    std::thread thread([&] {
        while (!stop) {
            instance->Publish(topic, 1);
            ++pushed;
        }
    });
    while (heard < 100) {
        pump->Deliver();
    }
    pump->Shutdown();
    const std::uint64_t atShutdown = heard;
    pump.reset();
    const std::uint64_t before = pushed;
    while (pushed < before + 100) {
        std::this_thread::yield();
    }
    stop = true;
    thread.join();
    EXPECT_EQ(heard, atShutdown);
}

}  // namespace
