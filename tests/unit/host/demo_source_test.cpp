// SPDX-License-Identifier: MIT

#include "host/demo_source.h"

#include <cstdint>

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace host {
namespace {

using Status = CounterSource::Status;

struct Sums {
    std::uint64_t outer = 0;
    std::uint64_t sccl = 0;
    std::uint64_t ops = 0;

    double Score() const { return 1.0 - static_cast<double>(outer + sccl) / static_cast<double>(ops); }
};

void Add(Sums& sums, const CounterBatch& batch)
{
    for (const CounterSample& sample : batch.samples) {
        const std::string name = sample.eventName;
        std::uint64_t& sum = name.find("rx_outer") != std::string::npos  ? sums.outer
                             : name.find("rx_sccl") != std::string::npos ? sums.sccl
                                                                         : sums.ops;
        sum += sample.count;
    }
}

std::vector<CounterBatch> Story(const DemoOptions& options)
{
    DemoOptions once = options;
    once.repeat = false;
    const auto source = MakeDemoSource(once);
    std::vector<CounterBatch> batches;
    CounterBatch batch;
    while (source->Read(batch) == Status::BATCH) {
        batches.push_back(batch);
    }
    EXPECT_EQ(source->Read(batch), Status::END);
    EXPECT_TRUE(batch.samples.empty());
    return batches;
}

std::vector<std::uint64_t> Counts(const CounterBatch& batch)
{
    std::vector<std::uint64_t> counts;
    for (const CounterSample& sample : batch.samples) {
        counts.push_back(sample.count);
    }
    return counts;
}

TEST(Demo, HasFourPmusWithThreeEventsEach)
{
    const std::vector<CounterBatch> story = Story({});
    ASSERT_EQ(story.size(), 160U);
    for (std::size_t i = 0; i < story.size(); ++i) {
        ASSERT_EQ(story[i].samples.size(), 12U);
        EXPECT_EQ(story[i].intervalMs, 100);
        EXPECT_EQ(story[i].timeNs, static_cast<std::int64_t>(i + 1) * 100000000);
        EXPECT_TRUE(story[i].endsPeriod);
        EXPECT_EQ(story[i].notCounted + story[i].missing, 0U);
    }
    for (std::size_t k = 0; k < 12; ++k) {
        static const char* const EVENTS[] = {"rx_outer", "rx_sccl", "rx_ops_num"};
        const std::string pmu = "uncore_l3c" + std::to_string(k / 3);
        EXPECT_EQ(story[0].samples[k].pmuName, pmu);
        EXPECT_EQ(std::string(story[0].samples[k].eventName), pmu + "/" + EVENTS[k % 3] + "/");
        EXPECT_EQ(story[0].samples[k].runningRatio, 1.0);
    }
}

TEST(Demo, TellsItsStory)
{
    const std::vector<CounterBatch> story = Story({});
    const auto score = [&story](std::size_t from, std::size_t to) {
        Sums sums;
        for (std::size_t i = from; i < to; ++i) {
            Add(sums, story[i]);
        }
        return sums.Score();
    };
    EXPECT_NEAR(score(0, 30), 0.99, 0.002);
    EXPECT_NEAR(score(70, 110), 0.80, 0.01);
    EXPECT_NEAR(score(110, 140), 0.983, 0.002);
    double before = score(25, 30);
    for (std::size_t i = 32; i < 70; i += 5) {
        const double now = score(i, i + 5);
        EXPECT_LT(now, before) << "drifting, from interval " << i;
        before = now;
    }
    for (std::size_t i = 140; i < 160; ++i) {
        Sums sums;
        Add(sums, story[i]);
        EXPECT_EQ(sums.ops + sums.outer + sums.sccl, 0U) << i;
    }
}

TEST(Demo, IsTheSameOnEveryMachine)
{
    const std::vector<CounterBatch> story = Story({});
    ASSERT_EQ(story.size(), 160U);
    const std::vector<std::uint64_t> first = {36047, 23878, 6140604, 37483, 25232, 6080772,
                                              9488,  8002,  1973896, 10130, 7908,  2059468};
    const std::vector<std::uint64_t> drifting = {515624, 166339, 5627869, 508829, 167943, 5519459,
                                                 162775, 101762, 3052800, 165560, 104541, 3088899};
    const std::vector<std::uint64_t> remote = {879936, 275826, 5078595, 892236, 263772, 4861920,
                                               393794, 255719, 4087212, 397590, 258975, 3902304};
    EXPECT_EQ(Counts(story[0]), first);
    EXPECT_EQ(Counts(story[50]), drifting);
    EXPECT_EQ(Counts(story[100]), remote);
    Sums sums;
    for (const CounterBatch& batch : story) {
        Add(sums, batch);
    }
    EXPECT_EQ(sums.outer, 160643401U);
    EXPECT_EQ(sums.sccl, 69859257U);
    EXPECT_EQ(sums.ops, 2388016114U);
}

TEST(Demo, DependsOnTheSeedAlone)
{
    DemoOptions options;
    options.seed = 7;
    const std::vector<CounterBatch> first = Story(options);
    const std::vector<CounterBatch> second = Story(options);
    const std::vector<CounterBatch> other = Story({});
    for (std::size_t i = 0; i < first.size(); ++i) {
        EXPECT_EQ(Counts(first[i]), Counts(second[i]));
    }
    EXPECT_NE(Counts(first[0]), Counts(other[0]));
}

TEST(Demo, RepeatsTheStoryWithOtherCounts)
{
    const auto source = MakeDemoSource({});
    CounterBatch batch;
    std::vector<CounterBatch> batches;
    for (int i = 0; i < 330; ++i) {
        ASSERT_EQ(source->Read(batch), Status::BATCH);
        batches.push_back(batch);
    }
    EXPECT_EQ(batches[329].timeNs, 33000000000);
    Sums again;
    Add(again, batches[160]);
    EXPECT_NEAR(again.Score(), 0.99, 0.005);
    EXPECT_NE(Counts(batches[0]), Counts(batches[160]));
    Sums idle;
    Add(idle, batches[319]);
    EXPECT_EQ(idle.ops, 0U);
}

TEST(Demo, TakesIntervalsWithinItsBounds)
{
    struct Case {
        std::int32_t asked;
        std::int32_t given;
        std::size_t intervals;
    };
    const std::vector<Case> cases = {{-5, 1, 16000},    {0, 1, 16000},         {1, 1, 16000},
                                     {7, 7, 2286},      {1000, 1000, 16},      {60000, 60000, 1},
                                     {60001, 60000, 1}, {2147483647, 60000, 1}};
    for (const Case& expected : cases) {
        DemoOptions options;
        options.intervalMs = expected.asked;
        const std::vector<CounterBatch> story = Story(options);
        EXPECT_EQ(story.size(), expected.intervals) << expected.asked;
        EXPECT_EQ(story[0].intervalMs, expected.given);
        Sums sums;
        Add(sums, story[0]);
        // 160,000 operations per millisecond, give or take 3 %.
        EXPECT_NEAR(static_cast<double>(sums.ops) / expected.given, 160000, 4800) << expected.asked;
        EXPECT_NEAR(sums.Score(), 0.99, 0.005) << expected.asked;
    }
}

TEST(Demo, SaysWhatItIs)
{
    DemoOptions options;
    options.seed = 18446744073709551615U;
    const auto source = MakeDemoSource(options);
    EXPECT_EQ(source->Describe(),
              "demonstration: made-up counts of 2 sockets with 2 dies each, seed 18446744073709551615");
    EXPECT_FALSE(source->IsLive());
    EXPECT_EQ(source->Error(), "");
    EXPECT_TRUE(source->TakeRemarks().empty());
}

}  // namespace
}  // namespace host
