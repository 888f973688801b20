// SPDX-License-Identifier: MIT

#include "host/perf_events.h"

#include <cerrno>

#include <limits>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/fake_perf.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

constexpr std::uint64_t MAX = std::numeric_limits<std::uint64_t>::max();

std::vector<host::CounterEvent> Events(std::size_t count)
{
    std::vector<host::CounterEvent> events;
    for (std::size_t i = 0; i < count; ++i) {
        host::CounterEvent event;
        event.label = "p/e" + std::to_string(i) + "/";
        event.config.words = {i, 10 + i, 20 + i};
        events.push_back(event);
    }
    return events;
}

TEST(CounterSet, OpensOneGroupAndStartsItWhenItIsComplete)
{
    support::FakePerf perf;
    host::CounterSet set(perf);
    ASSERT_EQ(set.Open(40, 2, Events(3)), "");
    EXPECT_TRUE(set.IsGroup());
    ASSERT_THAT(perf.opened, SizeIs(3));
    EXPECT_EQ(perf.opened[0].groupFd, -1);
    EXPECT_TRUE(perf.opened[0].disabled);
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(perf.opened[i].type, 40U);
        EXPECT_EQ(perf.opened[i].cpu, 2U);
        EXPECT_TRUE(perf.opened[i].grouped);
        EXPECT_EQ(perf.opened[i].config.words, (std::array<std::uint64_t, 3>{i, 10 + i, 20 + i}));
        if (i > 0) {
            EXPECT_EQ(perf.opened[i].groupFd, perf.counters.begin()->first);
            EXPECT_FALSE(perf.opened[i].disabled);
        }
    }
    EXPECT_TRUE(perf.counters.begin()->second.enabled);
}

TEST(CounterSet, ReadsAGroupAtOnce)
{
    support::FakePerf perf;
    host::CounterSet set(perf);
    ASSERT_EQ(set.Open(40, 0, Events(3)), "");
    perf.Pass(1000, 50);
    perf.At(40, 0, 0).value = 7;
    perf.At(40, 0, 1).value = 8;
    perf.At(40, 0, 2).value = MAX;
    std::vector<host::CounterReading> readings;
    ASSERT_EQ(set.Read(readings), "");
    EXPECT_EQ(perf.readCalls, 1);
    ASSERT_THAT(readings, SizeIs(3));
    EXPECT_EQ(readings[0].value, 7U);
    EXPECT_EQ(readings[1].value, 8U);
    EXPECT_EQ(readings[2].value, MAX);
    EXPECT_EQ(readings[2].enabledNs, 1000U);
    EXPECT_EQ(readings[2].runningNs, 500U);
}

TEST(CounterSet, OneEventIsNoGroup)
{
    support::FakePerf perf;
    host::CounterSet set(perf);
    ASSERT_EQ(set.Open(1, 0, Events(1)), "");
    EXPECT_FALSE(set.IsGroup());
    EXPECT_FALSE(perf.opened[0].grouped);
    EXPECT_FALSE(perf.opened[0].disabled);
    perf.At(1, 0, 0).value = 5;
    std::vector<host::CounterReading> readings;
    ASSERT_EQ(set.Read(readings), "");
    ASSERT_THAT(readings, SizeIs(1));
    EXPECT_EQ(readings[0].value, 5U);
}

TEST(CounterSet, FallsBackToSingleEventsWhenTheGroupIsTooLarge)
{
    support::FakePerf perf;
    perf.onOpen = [](const host::CounterRequest& request) { return request.groupFd != -1 ? EINVAL : 0; };
    {
        host::CounterSet set(perf);
        ASSERT_EQ(set.Open(40, 0, Events(3)), "");
        EXPECT_FALSE(set.IsGroup());
        EXPECT_THAT(perf.counters, SizeIs(3));
        perf.At(40, 0, 1).value = 6;
        perf.At(40, 0, 1).runningNs = 3;
        std::vector<host::CounterReading> readings;
        ASSERT_EQ(set.Read(readings), "");
        EXPECT_EQ(perf.readCalls, 3);
        EXPECT_EQ(readings[1].value, 6U);
        EXPECT_EQ(readings[1].runningNs, 3U);
        EXPECT_EQ(readings[0].runningNs, 0U);
    }
    EXPECT_THAT(perf.counters, IsEmpty());
    EXPECT_EQ(perf.badCloses, 0);
}

TEST(CounterSet, ClosesWhatItOpened)
{
    support::FakePerf perf;
    {
        host::CounterSet set(perf);
        ASSERT_EQ(set.Open(40, 0, Events(3)), "");
        ASSERT_EQ(set.Open(41, 1, Events(2)), "");
        EXPECT_THAT(perf.counters, SizeIs(2));
    }
    EXPECT_THAT(perf.counters, IsEmpty());
    EXPECT_EQ(perf.badCloses, 0);
}

TEST(CounterSet, OpensAllOrNone)
{
    support::FakePerf perf;
    perf.onOpen = [](const host::CounterRequest& request) {
        return request.config.words[0] == 2 ? EBUSY : 0;
    };
    host::CounterSet set(perf);
    EXPECT_EQ(set.Open(40, 3, Events(3)),
              "cannot count p/e2/ on CPU 3: perf_event_open: EBUSY (Device or resource busy); somebody else "
              "holds this counter alone, end other profilers of this PMU");
    EXPECT_THAT(perf.counters, IsEmpty());
    std::vector<host::CounterReading> readings;
    EXPECT_EQ(set.Read(readings), "cannot read p/e0/ on CPU 3: not open");
}

TEST(CounterSet, AGroupThatCannotBeStartedIsClosed)
{
    support::FakePerf perf;
    perf.enableError = ENODEV;
    host::CounterSet set(perf);
    EXPECT_THAT(set.Open(40, 0, Events(2)),
                HasSubstr("cannot count p/e0/ on CPU 0: perf_event_open: ENODEV"));
    EXPECT_THAT(perf.counters, IsEmpty());
}

TEST(CounterSet, RaisesTheDescriptorLimitStepByStep)
{
    support::FakePerf perf;
    perf.limit = {64, 4096};
    perf.otherDescriptors = 63;
    host::CounterSet set(perf);
    ASSERT_EQ(set.Open(40, 0, Events(3)), "");
    EXPECT_THAT(perf.limitsSet, ElementsAre(128));
}

TEST(CounterSet, RaisesTheDescriptorLimitToTheHardLimitAndThenSaysSo)
{
    support::FakePerf perf;
    perf.limit = {64, 100};
    perf.otherDescriptors = 99;
    host::CounterSet set(perf);
    EXPECT_EQ(
        set.Open(40, 0, Events(2)),
        "cannot count p/e1/ on CPU 0: perf_event_open: EMFILE (Too many open files); all 100 descriptors "
        "of this process are in use and the hard limit is 100, raise it with ulimit -n or LimitNOFILE=");
    EXPECT_THAT(perf.limitsSet, ElementsAre(100));
    EXPECT_THAT(perf.counters, IsEmpty());
}

TEST(CounterSet, ALimitThatMayNotBeRaisedEndsTheAttempt)
{
    class Stubborn : public support::FakePerf {
    public:
        int SetSoftLimit(std::uint64_t) override { return -EPERM; }
    } perf;
    perf.limit = {3, 4096};
    host::CounterSet set(perf);
    EXPECT_THAT(set.Open(40, 0, Events(1)), HasSubstr("EMFILE"));
    EXPECT_EQ(perf.openCalls, 1);
}

TEST(CounterSet, TriesAgainAfterASignal)
{
    support::FakePerf perf;
    int opens = 0;
    perf.onOpen = [&](const host::CounterRequest&) { return opens++ < 2 ? EINTR : 0; };
    host::CounterSet set(perf);
    ASSERT_EQ(set.Open(40, 0, Events(1)), "");
    int reads = 0;
    perf.onRead = [&](const host::CounterRequest&) -> std::ptrdiff_t { return reads++ < 2 ? -EINTR : 1000; };
    std::vector<host::CounterReading> readings;
    EXPECT_EQ(set.Read(readings), "");
    EXPECT_EQ(reads, 3);
}

TEST(CounterSet, SaysWhyItCannotBeRead)
{
    const struct {
        std::ptrdiff_t answer;
        const char* error;
    } cases[] = {
        {0, "cannot read p/e0/ on CPU 1: end of file, the counter has stopped for good"},
        {-ENODEV, "cannot read p/e0/ on CPU 1: ENODEV (No such device)"},
        {-EIO, "cannot read p/e0/ on CPU 1: EIO (Input/output error)"},
        {-9999, "cannot read p/e0/ on CPU 1: errno 9999 (Unknown error 9999)"},
        {8, "cannot read p/e0/ on CPU 1: fewer bytes than the counters have"},
        {23, "cannot read p/e0/ on CPU 1: fewer bytes than the counters have"},
    };
    for (const std::size_t count : {std::size_t{1}, std::size_t{3}}) {
        for (const auto& row : cases) {
            support::FakePerf perf;
            host::CounterSet set(perf);
            ASSERT_EQ(set.Open(40, 1, Events(count)), "");
            perf.onRead = [&](const host::CounterRequest&) { return row.answer; };
            std::vector<host::CounterReading> readings;
            EXPECT_EQ(set.Read(readings), row.error);
        }
    }
}

TEST(CounterSet, AGroupWithAnotherNumberOfCountersIsRefused)
{
    support::FakePerf perf;
    host::CounterSet set(perf);
    ASSERT_EQ(set.Open(40, 0, Events(3)), "");
    perf.counters[99] = perf.counters.rbegin()->second;
    std::vector<host::CounterReading> readings;
    EXPECT_EQ(set.Read(readings), "cannot read p/e0/ on CPU 0: fewer bytes than the counters have");
    perf.counters.erase(99);
}

TEST(OpenFailure, EachErrorHasItsRemedy)
{
    const std::string permission =
        "run as root, give the program CAP_PERFMON (before Linux 5.8 CAP_SYS_ADMIN) or set "
        "kernel.perf_event_paranoid below 1; where it is above 2, kernels of Debian ignore CAP_PERFMON: set "
        "it to "
        "2; in a container its seccomp profile must allow perf_event_open "
        "too";
    const struct {
        int errorNumber;
        std::string rest;
    } cases[] = {
        {EACCES, "EACCES (Permission denied); " + permission},
        {EPERM, "EPERM (Operation not permitted); " + permission},
        {EINVAL,
         "EINVAL (Invalid argument); the PMU refuses this configuration or the CPU is offline or out of "
         "range, "
         "check the terms of the event and the cpumask"},
        {ENOENT,
         "ENOENT (No such file or directory); the kernel knows no such PMU or event, numa-score list shows "
         "what "
         "there is"},
        {ENODEV,
         "ENODEV (No such device); the hardware behind the PMU is not there, or not on this CPU, check the "
         "cpumask"},
        {ENXIO,
         "ENXIO (No such device or address); the hardware behind the PMU is not there, or not on this CPU, "
         "check the cpumask"},
        {EMFILE,
         "EMFILE (Too many open files); all 20 descriptors of this process are in use and the hard limit is "
         "30, "
         "raise it with ulimit -n or LimitNOFILE="},
        {ENFILE,
         "ENFILE (Too many open files in system); the whole system has no free descriptor, raise "
         "fs.file-max"},
        {EBUSY,
         "EBUSY (Device or resource busy); somebody else holds this counter alone, end other profilers of "
         "this "
         "PMU"},
        {ENOSYS,
         "ENOSYS (Function not implemented); the kernel, an emulator or the seccomp profile of a container "
         "offers no perf_event_open, run on the host or allow it"},
        {EOPNOTSUPP,
         "EOPNOTSUPP (Operation not supported); the PMU cannot count this event on a whole CPU, map another "
         "one "
         "with --map"},
        {E2BIG, "E2BIG (Argument list too long); the kernel's log may say more"},
        {EDOM, "errno 33 (Numerical argument out of domain); the kernel's log may say more"},
    };
    for (const auto& row : cases) {
        EXPECT_EQ(host::OpenFailureMessage("msr/rx_outer/", 4, row.errorNumber, {20, 30}),
                  "cannot count msr/rx_outer/ on CPU 4: perf_event_open: " + row.rest);
    }
    EXPECT_THAT(host::OpenFailureMessage("a\nb", 0, EBUSY, {}), HasSubstr("cannot count a\\nb on CPU 0"));
}

TEST(ScaleCount, IsExactWithoutSharing)
{
    EXPECT_EQ(host::ScaleCount({12345, 1000, 1000}), 12345U);
    EXPECT_EQ(host::ScaleCount({MAX, MAX, MAX}), MAX);
    EXPECT_EQ(host::ScaleCount({MAX - 1, 1000, 1000}), MAX - 1);
    EXPECT_EQ(host::ScaleCount({77, 999, 1000}), 77U);
}

TEST(ScaleCount, ScalesToTheWholeInterval)
{
    EXPECT_EQ(host::ScaleCount({100, 1000, 500}), 200U);
    EXPECT_EQ(host::ScaleCount({1, 1000, 3}), 333U);
    EXPECT_EQ(host::ScaleCount({2, 1000, 3}), 667U);
    EXPECT_EQ(host::ScaleCount({0, 1000, 1}), 0U);
    EXPECT_EQ(host::ScaleCount({100, 1000, 0}), 0U);
}

TEST(ScaleCount, KeepsEveryBitOfLargeCounts)
{
    // In double precision both would lose their last digits.
    EXPECT_EQ(host::ScaleCount({9007199254740993, 2000000000, 1000000000}), 18014398509481986U);
    EXPECT_EQ(host::ScaleCount({4611686018427387905, 3000000000, 1500000000}), 9223372036854775810U);
    EXPECT_EQ(host::ScaleCount({MAX, 2, 1}), MAX);
    EXPECT_EQ(host::ScaleCount({MAX, MAX, 1}), MAX);
}

}  // namespace
