// SPDX-License-Identifier: MIT

#include "host/live_source.h"

#include <cerrno>

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/fake_perf.h"
#include "tests/support/manual_clock.h"
#include "tests/support/sysfs_tree.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;
using testing::SizeIs;

using Status = host::CounterSource::Status;

const std::string FIXTURES = std::string(SOURCE_DIR) + "/tests/fixtures/sysfs/";

// Config words of the three events in the fixture trees.
constexpr std::uint64_t OUTER = 44;
constexpr std::uint64_t SCCL = 45;
constexpr std::uint64_t OPS = 46;

class LiveSourceTest : public testing::Test {
protected:
    /// Opens a source on a copy of a fixture tree, so that a test may change it.
    void Open(const std::string& fixture, std::vector<host::EventMapping> mappings = {})
    {
        tree = std::make_unique<support::SysfsTree>(FIXTURES + fixture);
        host::LiveOptions options;
        options.sysfsRoot = tree->Root();
        options.mappings = std::move(mappings);
        host::SourceResult result = host::OpenLiveSource(options, perf, clock);
        source = std::move(result.source);
        openError = result.error;
    }

    void Pass(std::int64_t ms, std::uint64_t share = 100)
    {
        clock.AdvanceMs(ms);
        perf.Pass(static_cast<std::uint64_t>(ms * support::NS_PER_MS), share);
    }

    std::map<std::string, std::uint64_t> Counts() const
    {
        std::map<std::string, std::uint64_t> counts;
        for (const host::CounterSample& sample : batch.samples) {
            counts[sample.eventName] += sample.count;
        }
        return counts;
    }

    support::FakePerf perf;
    support::ManualClock clock;
    std::unique_ptr<support::SysfsTree> tree;
    std::unique_ptr<host::CounterSource> source;
    std::string openError;
    host::CounterBatch batch;
};

TEST_F(LiveSourceTest, CountsSinceTheReadBefore)
{
    Open("wide_mask");
    ASSERT_EQ(openError, "");
    EXPECT_TRUE(source->IsLive());
    EXPECT_EQ(source->Describe(), "live: 6 counters of 1 PMU (uncore_numa)");
    perf.At(40, 0, OPS).value = 1000;
    Pass(100);
    ASSERT_EQ(source->Read(batch), Status::BATCH);
    EXPECT_EQ(Counts().at("uncore_numa/rx_ops_num/"), 1000U);
    EXPECT_EQ(batch.intervalMs, 100);
    EXPECT_EQ(batch.timeNs, 100 * support::NS_PER_MS);
    EXPECT_TRUE(batch.endsPeriod);
    perf.At(40, 0, OPS).value = 1007;
    Pass(250);
    ASSERT_EQ(source->Read(batch), Status::BATCH);
    EXPECT_EQ(Counts().at("uncore_numa/rx_ops_num/"), 7U);
    EXPECT_EQ(batch.intervalMs, 250);
    EXPECT_EQ(batch.timeNs, 350 * support::NS_PER_MS);
    EXPECT_EQ(source->Error(), "");
    EXPECT_THAT(source->TakeRemarks(), IsEmpty());
}

TEST_F(LiveSourceTest, WhatWasCountedBeforeItWasOpenedDoesNotCount)
{
    // As when another counter of the PMU has left its state in the hardware.
    perf.onRead = [this](const host::CounterRequest&) -> std::ptrdiff_t {
        for (auto& [fd, counter] : perf.counters) {
            if (counter.value == 0) {
                counter.value = 5000;
            }
        }
        return 1000;
    };
    Open("wide_mask");
    ASSERT_EQ(openError, "");
    Pass(100);
    ASSERT_EQ(source->Read(batch), Status::BATCH);
    EXPECT_EQ(Counts().at("uncore_numa/rx_outer/"), 0U);
}

TEST_F(LiveSourceTest, IntervalsAreRoundedToMilliseconds)
{
    Open("wide_mask");
    clock.nowNs += 100499999;
    ASSERT_EQ(source->Read(batch), Status::BATCH);
    EXPECT_EQ(batch.intervalMs, 100);
    clock.nowNs += 100500000;
    ASSERT_EQ(source->Read(batch), Status::BATCH);
    EXPECT_EQ(batch.intervalMs, 101);
    ASSERT_EQ(source->Read(batch), Status::BATCH);
    EXPECT_EQ(batch.intervalMs, 0);
}

TEST_F(LiveSourceTest, SumsTheCpusOfAMask)
{
    Open("wide_mask");
    EXPECT_THAT(perf.OpenTypesAndCpus(), ElementsAre(Pair(40, 0), Pair(40, 2)));
    Pass(100);
    perf.At(40, 0, OUTER).value = 1;
    perf.At(40, 2, OUTER).value = 20;
    perf.At(40, 0, SCCL).value = 300;
    perf.At(40, 2, OPS).value = 4000;
    ASSERT_EQ(source->Read(batch), Status::BATCH);
    ASSERT_THAT(batch.samples, SizeIs(3));
    EXPECT_STREQ(batch.samples[0].eventName, "uncore_numa/rx_outer/");
    EXPECT_EQ(batch.samples[0].pmuName, "uncore_numa");
    EXPECT_EQ(batch.samples[0].count, 21U);
    EXPECT_EQ(batch.samples[0].runningRatio, 1.0);
    EXPECT_EQ(batch.samples[1].count, 300U);
    EXPECT_EQ(batch.samples[2].count, 4000U);
}

TEST_F(LiveSourceTest, OneSampleForEachEventOfEachPmu)
{
    Open("two_sockets");
    ASSERT_EQ(openError, "");
    EXPECT_EQ(source->Describe(),
              "live: 12 counters of 4 PMUs (die1_hub2, die1_hub10, die3_hub2, die3_hub10)");
    EXPECT_THAT(perf.OpenTypesAndCpus(), ElementsAre(Pair(24, 0), Pair(25, 0), Pair(26, 32), Pair(27, 32)));
    Pass(100);
    perf.At(24, 0, OUTER).value = 1;
    perf.At(25, 0, OUTER).value = 2;
    perf.At(27, 32, OPS).value = 9;
    ASSERT_EQ(source->Read(batch), Status::BATCH);
    ASSERT_THAT(batch.samples, SizeIs(12));
    EXPECT_STREQ(batch.samples[3].eventName, "die1_hub10/rx_outer/");
    EXPECT_EQ(batch.samples[3].count, 2U);
    EXPECT_STREQ(batch.samples[11].eventName, "die3_hub10/rx_ops_num/");
    EXPECT_EQ(batch.samples[11].count, 9U);
}

TEST_F(LiveSourceTest, GroupsNeverCrossPmus)
{
    Open("two_sockets");
    for (const host::CounterRequest& request : perf.opened) {
        if (request.groupFd != -1) {
            EXPECT_EQ(perf.counters.at(request.groupFd).request.type, request.type);
            EXPECT_EQ(perf.counters.at(request.groupFd).request.cpu, request.cpu);
        }
    }
    Pass(100);
    perf.readCalls = 0;
    ASSERT_EQ(source->Read(batch), Status::BATCH);
    EXPECT_EQ(perf.readCalls, 4);
}

TEST_F(LiveSourceTest, NamesKeepTheirAddress)
{
    Open("two_sockets");
    Pass(100);
    ASSERT_EQ(source->Read(batch), Status::BATCH);
    std::vector<const char*> names;
    for (const host::CounterSample& sample : batch.samples) {
        names.push_back(sample.eventName);
    }
    tree->Write("devices/die1_hub2/cpumask", "1\n");
    for (int i = 0; i < 3; ++i) {
        Pass(61000);
        ASSERT_EQ(source->Read(batch), Status::BATCH);
        ASSERT_THAT(batch.samples, SizeIs(names.size()));
        for (std::size_t j = 0; j < names.size(); ++j) {
            EXPECT_EQ(batch.samples[j].eventName, names[j]);
        }
    }
    EXPECT_THAT(perf.OpenTypesAndCpus(), testing::Contains(Pair(24, 1)));
}

TEST_F(LiveSourceTest, ScalesWhatWasCountedPartOfTheTime)
{
    Open("wide_mask");
    Pass(100);
    ASSERT_EQ(source->Read(batch), Status::BATCH);
    Pass(100, 25);
    perf.At(40, 0, OPS).value = 1000;
    perf.At(40, 2, OPS).value = 1;
    ASSERT_EQ(source->Read(batch), Status::BATCH);
    // On the differences: in all, the counters ran 62.5 % of the time.
    EXPECT_EQ(Counts().at("uncore_numa/rx_ops_num/"), 4004U);
    EXPECT_EQ(batch.samples[0].runningRatio, 0.25);
    EXPECT_EQ(batch.notCounted, 0U);
}

TEST_F(LiveSourceTest, EachCpuIsScaledByItsOwnShare)
{
    Open("wide_mask");
    clock.AdvanceMs(100);
    for (auto& [fd, counter] : perf.counters) {
        counter.enabledNs += 100;
        counter.runningNs += counter.request.cpu == 0 ? 50 : 100;
    }
    perf.At(40, 0, OPS).value = 10;
    perf.At(40, 2, OPS).value = 7;
    ASSERT_EQ(source->Read(batch), Status::BATCH);
    EXPECT_EQ(Counts().at("uncore_numa/rx_ops_num/"), 27U);
    EXPECT_EQ(batch.samples[2].runningRatio, 0.75);
}

TEST_F(LiveSourceTest, WhatDidNotRunHasNoSample)
{
    Open("wide_mask");
    Pass(100, 0);
    ASSERT_EQ(source->Read(batch), Status::BATCH);
    EXPECT_THAT(batch.samples, IsEmpty());
    EXPECT_EQ(batch.notCounted, 6U);
    EXPECT_EQ(batch.missing, 0U);
    EXPECT_EQ(batch.intervalMs, 100);
    Pass(100);
    ASSERT_EQ(source->Read(batch), Status::BATCH);
    EXPECT_THAT(batch.samples, SizeIs(3));
    EXPECT_EQ(batch.notCounted, 0U);
}

TEST_F(LiveSourceTest, ASocketThatDidNotRunLowersTheShare)
{
    Open("wide_mask");
    clock.AdvanceMs(100);
    for (auto& [fd, counter] : perf.counters) {
        counter.enabledNs += 100;
        counter.runningNs += counter.request.cpu == 0 ? 100 : 0;
        counter.value += 10;
    }
    ASSERT_EQ(source->Read(batch), Status::BATCH);
    EXPECT_EQ(batch.notCounted, 3U);
    ASSERT_THAT(batch.samples, SizeIs(3));
    EXPECT_EQ(batch.samples[0].count, 10U);
    EXPECT_EQ(batch.samples[0].runningRatio, 0.5);
}

TEST_F(LiveSourceTest, EventsByTurnsHaveTheirOwnShares)
{
    perf.onOpen = [](const host::CounterRequest& request) { return request.groupFd != -1 ? EINVAL : 0; };
    Open("wide_mask");
    ASSERT_EQ(openError, "");
    clock.AdvanceMs(100);
    for (auto& [fd, counter] : perf.counters) {
        counter.enabledNs += 100;
        counter.runningNs += counter.request.config.words[0] == OPS ? 0 : 50;
        counter.value += 10;
    }
    ASSERT_EQ(source->Read(batch), Status::BATCH);
    EXPECT_THAT(Counts(), ElementsAre(Pair("uncore_numa/rx_outer/", 40), Pair("uncore_numa/rx_sccl/", 40)));
    EXPECT_EQ(batch.notCounted, 2U);
}

TEST_F(LiveSourceTest, ACounterThatStepsBackIsANewSegmentAndNoJump)
{
    Open("wide_mask");
    Pass(100);
    perf.At(40, 0, OPS).value = 1000;
    ASSERT_EQ(source->Read(batch), Status::BATCH);
    Pass(100);
    perf.At(40, 0, OPS).value = 10;
    perf.At(40, 2, OPS).value = 5;
    ASSERT_EQ(source->Read(batch), Status::BATCH);
    EXPECT_EQ(Counts().at("uncore_numa/rx_ops_num/"), 5U);
    EXPECT_EQ(batch.missing, 3U);
    EXPECT_THAT(source->TakeRemarks(),
                ElementsAre("PMU uncore_numa on CPU 0: a counter stepped back, counting starts anew and this "
                            "interval is left out"));
    Pass(100);
    perf.At(40, 0, OPS).value = 25;
    ASSERT_EQ(source->Read(batch), Status::BATCH);
    EXPECT_EQ(Counts().at("uncore_numa/rx_ops_num/"), 15U);
    EXPECT_EQ(batch.missing, 0U);
}

TEST_F(LiveSourceTest, TimesThatStepBackAreANewSegmentToo)
{
    Open("wide_mask");
    Pass(100);
    ASSERT_EQ(source->Read(batch), Status::BATCH);
    Pass(100);
    for (auto& [fd, counter] : perf.counters) {
        counter.runningNs = 1;
        counter.value = 7;
    }
    ASSERT_EQ(source->Read(batch), Status::BATCH);
    EXPECT_THAT(batch.samples, IsEmpty());
    EXPECT_EQ(batch.missing, 6U);
}

TEST_F(LiveSourceTest, CountsNearTheTopDoNotWrap)
{
    Open("wide_mask");
    Pass(100);
    perf.At(40, 0, OPS).value = ~std::uint64_t{0};
    perf.At(40, 2, OPS).value = ~std::uint64_t{0};
    ASSERT_EQ(source->Read(batch), Status::BATCH);
    EXPECT_EQ(Counts().at("uncore_numa/rx_ops_num/"), ~std::uint64_t{0});
}

TEST_F(LiveSourceTest, OpensAgainAfterEndOfFile)
{
    Open("wide_mask");
    Pass(100);
    perf.At(40, 0, OPS).value = 100;
    bool once = true;
    perf.onRead = [&](const host::CounterRequest& request) -> std::ptrdiff_t {
        if (request.cpu == 0 && once) {
            once = false;
            return 0;
        }
        return 1000;
    };
    ASSERT_EQ(source->Read(batch), Status::BATCH);
    EXPECT_EQ(batch.missing, 3U);
    ASSERT_THAT(batch.samples, SizeIs(3));
    EXPECT_EQ(batch.samples[2].count, 0U);
    EXPECT_THAT(
        source->TakeRemarks(),
        ElementsAre("cannot read uncore_numa/rx_outer/ on CPU 0: end of file, the counter has stopped "
                    "for good",
                    "PMU uncore_numa on CPU 0: counters were opened"));
    EXPECT_THAT(perf.counters, SizeIs(6));
    Pass(100);
    perf.At(40, 0, OPS).value = 40;
    ASSERT_EQ(source->Read(batch), Status::BATCH);
    EXPECT_EQ(batch.missing, 0U);
    EXPECT_EQ(Counts().at("uncore_numa/rx_ops_num/"), 40U);
    EXPECT_EQ(perf.badCloses, 0);
}

TEST_F(LiveSourceTest, AShortReadIsALoss)
{
    Open("wide_mask");
    Pass(100);
    int reads = 0;
    perf.onRead = [&](const host::CounterRequest&) -> std::ptrdiff_t { return reads++ == 0 ? 40 : 1000; };
    ASSERT_EQ(source->Read(batch), Status::BATCH);
    EXPECT_EQ(batch.missing, 3U);
    EXPECT_THAT(source->TakeRemarks().at(0),
                "cannot read uncore_numa/rx_outer/ on CPU 0: fewer bytes than the counters have");
}

TEST_F(LiveSourceTest, FollowsTheMaskWhenAReadFails)
{
    Open("wide_mask");
    Pass(100);
    tree->Write("devices/uncore_numa/cpumask", "1-2\n");
    perf.onRead = [](const host::CounterRequest& request) -> std::ptrdiff_t {
        return request.cpu == 0 ? -ENODEV : 1000;
    };
    ASSERT_EQ(source->Read(batch), Status::BATCH);
    EXPECT_EQ(batch.missing, 3U);
    EXPECT_THAT(source->TakeRemarks(),
                ElementsAre("cannot read uncore_numa/rx_outer/ on CPU 0: ENODEV (No such device)",
                            "PMU uncore_numa: CPUs that it is read from changed from 0,2 to 1-2",
                            "PMU uncore_numa on CPU 1: counters were opened"));
    EXPECT_THAT(perf.OpenTypesAndCpus(), ElementsAre(Pair(40, 1), Pair(40, 2)));
    Pass(100);
    perf.At(40, 1, OPS).value = 3;
    perf.At(40, 2, OPS).value = 4;
    ASSERT_EQ(source->Read(batch), Status::BATCH);
    EXPECT_EQ(batch.missing, 0U);
    EXPECT_EQ(Counts().at("uncore_numa/rx_ops_num/"), 7U);
}

TEST_F(LiveSourceTest, ReadsTheMaskEveryMinute)
{
    Open("wide_mask");
    tree->Write("devices/uncore_numa/cpumask", "0,3\n");
    for (int i = 0; i < 59; ++i) {
        Pass(1000);
        ASSERT_EQ(source->Read(batch), Status::BATCH);
    }
    EXPECT_THAT(source->TakeRemarks(), IsEmpty());
    Pass(1000);
    perf.At(40, 2, OPS).value = 11;
    ASSERT_EQ(source->Read(batch), Status::BATCH);
    // What the old counter had still counted is not lost.
    EXPECT_EQ(Counts().at("uncore_numa/rx_ops_num/"), 11U);
    EXPECT_THAT(perf.OpenTypesAndCpus(), ElementsAre(Pair(40, 0), Pair(40, 3)));
    EXPECT_THAT(source->TakeRemarks(),
                ElementsAre("PMU uncore_numa: CPUs that it is read from changed from 0,2 to 0,3",
                            "PMU uncore_numa on CPU 3: counters were opened"));
}

TEST_F(LiveSourceTest, ATypeThatChangedMeansNewCounters)
{
    Open("wide_mask");
    tree->Write("devices/uncore_numa/type", "77\n");
    Pass(60000);
    ASSERT_EQ(source->Read(batch), Status::BATCH);
    EXPECT_THAT(perf.OpenTypesAndCpus(), ElementsAre(Pair(77, 0), Pair(77, 2)));
    EXPECT_THAT(source->TakeRemarks().at(0),
                "PMU uncore_numa: type changed from 40 to 77, all its counters are opened again");
}

TEST_F(LiveSourceTest, AMaskThatCannotBeReadIsRemarkedOnceAndNothingIsLost)
{
    Open("wide_mask");
    tree->Write("devices/uncore_numa/cpumask", "0;2\n");
    for (int i = 0; i < 5; ++i) {
        Pass(60000);
        ASSERT_EQ(source->Read(batch), Status::BATCH);
        EXPECT_THAT(batch.samples, SizeIs(3));
    }
    EXPECT_THAT(
        source->TakeRemarks(),
        ElementsAre("PMU uncore_numa: " + tree->Device("uncore_numa") +
                    "/cpumask:1: CPU list '0;2': expected ',' or the end at column 2; a list reads like "
                    "0-3,8,10-11; what was known of it is kept"));
    EXPECT_THAT(perf.OpenTypesAndCpus(), ElementsAre(Pair(40, 0), Pair(40, 2)));
}

TEST_F(LiveSourceTest, AStandingCounterMovesAwayFromAnOfflineCpu)
{
    Open("mapped", {{"rx_outer", "software/config=44/"},
                    {"rx_sccl", "software/config=45/"},
                    {"rx_ops_num", "software/config=46/"}});
    ASSERT_EQ(openError, "");
    EXPECT_THAT(perf.OpenTypesAndCpus(), ElementsAre(Pair(1, 0)));
    source->TakeRemarks();
    tree->Write("devices/system/cpu/online", "1-3\n");
    for (int i = 0; i < 10; ++i) {
        clock.AdvanceMs(100);
        ASSERT_EQ(source->Read(batch), Status::BATCH);
        EXPECT_EQ(batch.notCounted, 3U);
    }
    EXPECT_THAT(perf.OpenTypesAndCpus(), ElementsAre(Pair(1, 1)));
    EXPECT_THAT(source->TakeRemarks(),
                ElementsAre("PMU software: CPUs that it is read from changed from 0 to 1",
                            "PMU software on CPU 1: counters were opened"));
    Pass(100);
    ASSERT_EQ(source->Read(batch), Status::BATCH);
    EXPECT_THAT(batch.samples, SizeIs(3));
}

TEST_F(LiveSourceTest, LostCountersAreTriedOnceASecond)
{
    Open("two_sockets");
    bool gone = true;
    perf.onRead = [&](const host::CounterRequest& request) -> std::ptrdiff_t {
        return gone && request.type == 24 ? -ENODEV : 1000;
    };
    perf.onOpen = [&](const host::CounterRequest& request) {
        return gone && request.type == 24 ? ENODEV : 0;
    };
    perf.openCalls = 0;
    for (int i = 0; i < 30; ++i) {
        Pass(100);
        ASSERT_EQ(source->Read(batch), Status::BATCH);
        EXPECT_EQ(batch.missing, 3U);
        EXPECT_THAT(batch.samples, SizeIs(9));
    }
    EXPECT_EQ(perf.openCalls, 3);
    EXPECT_THAT(
        source->TakeRemarks(),
        ElementsAre("cannot read die1_hub2/rx_outer/ on CPU 0: ENODEV (No such device)",
                    "cannot count die1_hub2/rx_outer/ on CPU 0: perf_event_open: ENODEV (No such "
                    "device); the hardware behind the PMU is not there, or not on this CPU, check the "
                    "cpumask"));
    gone = false;
    Pass(1000);
    ASSERT_EQ(source->Read(batch), Status::BATCH);
    EXPECT_THAT(source->TakeRemarks(), ElementsAre("PMU die1_hub2 on CPU 0: counters were opened"));
    Pass(100);
    ASSERT_EQ(source->Read(batch), Status::BATCH);
    EXPECT_EQ(batch.missing, 0U);
    EXPECT_THAT(batch.samples, SizeIs(12));
}

TEST_F(LiveSourceTest, FailsWhenNothingIsLeftAndStaysFailed)
{
    Open("wide_mask");
    perf.onRead = [](const host::CounterRequest&) -> std::ptrdiff_t { return -EIO; };
    perf.onOpen = [](const host::CounterRequest&) { return ENODEV; };
    Pass(100);
    ASSERT_EQ(source->Read(batch), Status::FAILED);
    EXPECT_THAT(batch.samples, IsEmpty());
    EXPECT_EQ(
        source->Error(),
        "no counter can be read any more: cannot count uncore_numa/rx_outer/ on CPU 2: perf_event_open: "
        "ENODEV (No such device); the hardware behind the PMU is not there, or not on this CPU, check the "
        "cpumask");
    perf.onOpen = nullptr;
    perf.onRead = nullptr;
    Pass(5000);
    EXPECT_EQ(source->Read(batch), Status::FAILED);
}

TEST_F(LiveSourceTest, OneLostCpuAtTheStartIsRemarkedAndMissing)
{
    perf.onOpen = [](const host::CounterRequest& request) { return request.cpu == 2 ? EBUSY : 0; };
    Open("wide_mask");
    ASSERT_EQ(openError, "");
    Pass(100);
    ASSERT_EQ(source->Read(batch), Status::BATCH);
    EXPECT_EQ(batch.missing, 3U);
    EXPECT_THAT(batch.samples, SizeIs(3));
    EXPECT_THAT(source->TakeRemarks(),
                ElementsAre("cannot count uncore_numa/rx_outer/ on CPU 2: perf_event_open: EBUSY (Device or "
                            "resource busy); somebody else holds this counter alone, end other profilers of "
                            "this PMU"));
}

TEST_F(LiveSourceTest, AllThreeEventsMustBeCountedSomewhere)
{
    perf.onOpen = [](const host::CounterRequest& request) { return request.type == 31 ? EACCES : 0; };
    Open("partial", {{"rx_sccl", "third/rx_sccl/"}});
    EXPECT_EQ(source, nullptr);
    EXPECT_THAT(openError, HasSubstr("cannot count third/rx_sccl/ on CPU 0: perf_event_open: EACCES"));
    EXPECT_THAT(perf.counters, IsEmpty());
}

TEST_F(LiveSourceTest, SaysWhyThereIsNoSource)
{
    Open("none");
    EXPECT_EQ(source, nullptr);
    EXPECT_THAT(openError, HasSubstr("can count rx_outer, rx_sccl, rx_ops_num"));
    perf.onOpen = [](const host::CounterRequest&) { return EACCES; };
    Open("wide_mask");
    EXPECT_EQ(source, nullptr);
    EXPECT_THAT(openError, HasSubstr("cannot count uncore_numa/rx_outer/ on CPU 0: perf_event_open: EACCES "
                                     "(Permission denied); run as root"));
}

TEST_F(LiveSourceTest, RaisesTheDescriptorLimitForManyCounters)
{
    perf.limit = {8, 64};
    perf.otherDescriptors = 4;
    Open("two_sockets");
    ASSERT_EQ(openError, "");
    EXPECT_THAT(perf.counters, SizeIs(12));
    EXPECT_EQ(perf.limit.soft, 64U);
}

TEST_F(LiveSourceTest, RemarksOfThePlanComeFirst)
{
    Open("mapped",
         {{"rx_outer", "core/event=1/"}, {"rx_sccl", "core/event=2/"}, {"rx_ops_num", "software/config=0/"}});
    ASSERT_EQ(openError, "");
    EXPECT_THAT(source->TakeRemarks(),
                ElementsAre("PMU core has no cpumask: its counts are those of CPU 1 alone",
                            "PMU software has no cpumask: its counts are those of CPU 0 alone"));
    EXPECT_THAT(source->TakeRemarks(), IsEmpty());
}

TEST_F(LiveSourceTest, RemarksAreBounded)
{
    Open("wide_mask");
    for (int i = 0; i < 100; ++i) {
        Pass(100);
        for (auto& [fd, counter] : perf.counters) {
            counter.runningNs = static_cast<std::uint64_t>(100 - i);
        }
        ASSERT_EQ(source->Read(batch), Status::BATCH);
    }
    const std::vector<std::string> remarks = source->TakeRemarks();
    ASSERT_THAT(remarks, SizeIs(33));
    EXPECT_EQ(remarks.back(), "166 more remarks were left out");
    EXPECT_THAT(source->TakeRemarks(), IsEmpty());
}

TEST_F(LiveSourceTest, ClosesEverythingAtTheEnd)
{
    Open("two_sockets");
    EXPECT_THAT(perf.counters, SizeIs(12));
    source.reset();
    EXPECT_THAT(perf.counters, IsEmpty());
    EXPECT_EQ(perf.badCloses, 0);
}

}  // namespace
