// SPDX-License-Identifier: MIT
//
// The live source on this machine's own counters: the msr PMU by event names, the software PMU by raw words.
// Where perf_event_open is refused (a container, an emulator, no permission) the tests say so and are
// skipped.

#include <fcntl.h>

#include <cerrno>

#include <algorithm>
#include <chrono>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/counter_plan.h"
#include "host/doctor.h"
#include "host/live_source.h"
#include "host/perf_events.h"
#include "host/pmu_discovery.h"
#include "host/text_file.h"
#include "tests/support/sysfs_tree.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;

using Status = host::CounterSource::Status;
using SteadyClock = std::chrono::steady_clock;

constexpr std::uint32_t SOFTWARE_TYPE = 1;

/// Why system-wide counters cannot be opened here; empty when they can.
std::string WhyRefused()
{
    host::CounterSet set(host::SystemPerfApi());
    host::CounterEvent event;
    event.label = "software/config=0x0/";
    return set.Open(SOFTWARE_TYPE, 0, {event});
}

/// Keeps this CPU at work; returns after at least `ms` milliseconds.
void Work(int ms)
{
    const auto end = SteadyClock::now() + std::chrono::milliseconds(ms);
    volatile std::uint64_t sum = 0;
    while (SteadyClock::now() < end) {
        sum = sum + 1;
    }
}

class LiveKernelTest : public testing::Test {
protected:
    void SetUp() override
    {
        const std::string refused = WhyRefused();
        if (!refused.empty()) {
            GTEST_SKIP() << refused;
        }
    }
};

TEST(LiveKernelAnywhere, ACpuThatDoesNotExistIsExplained)
{
    host::CounterSet set(host::SystemPerfApi());
    host::CounterEvent event;
    event.label = "software/config=0x0/";
    const std::string error = set.Open(SOFTWARE_TYPE, 65535, {event});
    EXPECT_THAT(error,
                testing::StartsWith("cannot count software/config=0x0/ on CPU 65535: perf_event_open: E"));
}

TEST_F(LiveKernelTest, CountsSoftwareEventsByRawWords)
{
    host::LiveOptions options;
    // Context switches, migrations and the CPU clock in nanoseconds.
    options.mappings = {{"rx_outer", "software/config=0x3/"},
                        {"rx_sccl", "software/config=0x4/"},
                        {"rx_ops_num", "software/config=0x0/"}};
    const auto begin = SteadyClock::now();
    host::SourceResult result = host::OpenLiveSource(options);
    ASSERT_EQ(result.error, "");
    Work(20);
    host::CounterBatch batch;
    ASSERT_EQ(result.source->Read(batch), Status::BATCH);
    const std::chrono::nanoseconds elapsed = SteadyClock::now() - begin;
    ASSERT_THAT(batch.samples, SizeIs(3));
    EXPECT_STREQ(batch.samples[2].eventName, "software/rx_ops_num/");
    EXPECT_EQ(batch.samples[2].pmuName, "software");
    EXPECT_EQ(batch.samples[2].runningRatio, 1.0);
    // The clock of one CPU: as long as the interval, whatever that CPU did.
    EXPECT_GE(batch.samples[2].count, 19000000U);
    EXPECT_LE(batch.samples[2].count, static_cast<std::uint64_t>(elapsed.count()) + 20000000U);
    EXPECT_GE(batch.intervalMs, 20);
    EXPECT_EQ(batch.missing, 0U);
    EXPECT_EQ(batch.notCounted, 0U);
    EXPECT_THAT(
        result.source->TakeRemarks(),
        ElementsAre(testing::StartsWith("PMU software has no cpumask: its counts are those of CPU ")));
}

TEST_F(LiveKernelTest, EveryCpuCountsMore)
{
    const std::vector<std::uint32_t> online = host::OnlineCpusOrFirst("/sys");
    host::LiveOptions options;
    options.everyCpu = true;
    options.mappings = {{"rx_outer", "software/config=0x3/"},
                        {"rx_sccl", "software/config=0x4/"},
                        {"rx_ops_num", "software/config=0x0/"}};
    host::SourceResult result = host::OpenLiveSource(options);
    ASSERT_EQ(result.error, "");
    Work(10);
    host::CounterBatch batch;
    ASSERT_EQ(result.source->Read(batch), Status::BATCH);
    ASSERT_THAT(batch.samples, SizeIs(3));
    EXPECT_GE(batch.samples[2].count, 9000000U * online.size());
}

TEST_F(LiveKernelTest, FindsAPmuByItsEventNames)
{
    // A tree of ours that gives the three names to events of the real msr PMU; the type differs from boot to
    // boot.
    const host::TextFile type = host::ReadTextFile("/sys/bus/event_source/devices/msr/type");
    if (!type.error.empty()) {
        GTEST_SKIP() << "this machine has no msr PMU: " << type.error;
    }
    support::SysfsTree tree;
    tree.AddPmu("clocks", type.text).AddEvents("clocks", "event=0x00\n");
    tree.Write("devices/clocks/cpumask", "0\n");
    host::LiveOptions options;
    options.sysfsRoot = tree.Root();
    host::SourceResult result = host::OpenLiveSource(options);
    if (result.error.find("EINVAL") != std::string::npos) {
        GTEST_SKIP() << "the msr PMU lacks the time stamp counter: " << result.error;
    }
    ASSERT_EQ(result.error, "");
    host::CounterBatch batch;
    for (int i = 0; i < 3; ++i) {
        Work(10);
        ASSERT_EQ(result.source->Read(batch), Status::BATCH);
        ASSERT_THAT(batch.samples, SizeIs(3));
        EXPECT_STREQ(batch.samples[0].eventName, "clocks/rx_outer/");
        // A time stamp counter ticks at 100 MHz at least, 10 GHz at most.
        EXPECT_GE(batch.samples[0].count, 1000000U);
        EXPECT_LE(batch.samples[0].count, 10000000U * static_cast<std::uint64_t>(batch.intervalMs + 1));
    }
    EXPECT_THAT(result.source->TakeRemarks(), testing::IsEmpty());
}

TEST_F(LiveKernelTest, MapsTheRealMsrEventByName)
{
    const host::Pmu msr = host::ReadPmu("/sys", "msr");
    if (!msr.error.empty()) {
        GTEST_SKIP() << "this machine has no msr PMU: " << msr.error;
    }
    host::LiveOptions options;
    options.mappings = {
        {"rx_outer", "msr/tsc/"}, {"rx_sccl", "msr/event=0x0/"}, {"rx_ops_num", "msr/config=0/"}};
    host::SourceResult result = host::OpenLiveSource(options);
    ASSERT_EQ(result.error, "");
    Work(5);
    host::CounterBatch batch;
    ASSERT_EQ(result.source->Read(batch), Status::BATCH);
    ASSERT_THAT(batch.samples, SizeIs(3));
    for (const host::CounterSample& sample : batch.samples) {
        EXPECT_GT(sample.count, 0U) << sample.eventName;
    }
}

TEST_F(LiveKernelTest, DescriptorsAreCloseOnExec)
{
    host::PerfApi& api = host::SystemPerfApi();
    host::CounterRequest request;
    request.type = SOFTWARE_TYPE;
    const int fd = api.Open(request);
    ASSERT_GE(fd, 0);
    EXPECT_EQ(fcntl(fd, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
    api.Close(fd);
}

TEST_F(LiveKernelTest, ATypeThatDoesNotExistIsExplained)
{
    host::CounterSet set(host::SystemPerfApi());
    host::CounterEvent event;
    event.label = "nothing/x/";
    EXPECT_THAT(set.Open(999999, 0, {event}),
                HasSubstr("ENOENT (No such file or directory); the kernel knows no such PMU or event"));
}

TEST_F(LiveKernelTest, OneEventAloneAndAGroupAgree)
{
    host::CounterEvent clock;
    clock.label = "software/cpu-clock/";
    host::CounterSet single(host::SystemPerfApi());
    host::CounterSet group(host::SystemPerfApi());
    ASSERT_EQ(single.Open(SOFTWARE_TYPE, 0, {clock}), "");
    ASSERT_EQ(group.Open(SOFTWARE_TYPE, 0, {clock, clock, clock}), "");
    EXPECT_FALSE(single.IsGroup());
    EXPECT_TRUE(group.IsGroup());
    Work(5);
    std::vector<host::CounterReading> one;
    std::vector<host::CounterReading> three;
    ASSERT_EQ(group.Read(three), "");
    ASSERT_EQ(single.Read(one), "");
    ASSERT_THAT(one, SizeIs(1));
    ASSERT_THAT(three, SizeIs(3));
    for (const host::CounterReading& reading : three) {
        EXPECT_GE(reading.value, 4000000U);
        EXPECT_LE(reading.value, one[0].value);
        EXPECT_EQ(reading.runningNs, reading.enabledNs);
    }
}

TEST_F(LiveKernelTest, TheDoctorOpensForReal)
{
    host::DoctorOptions options;
    options.live.mappings = {{"rx_outer", "software/config=0x3/"},
                             {"rx_sccl", "software/config=0x4/"},
                             {"rx_ops_num", "software/config=0x0/"}};
    const std::vector<host::DoctorCheck> checks = host::Diagnose(options, host::SystemPerfApi());
    const auto open = std::find_if(checks.begin(), checks.end(),
                                   [](const host::DoctorCheck& check) { return check.name == "open"; });
    ASSERT_NE(open, checks.end());
    EXPECT_EQ(open->detail, "1 of 1 readers (a PMU on a CPU each) were opened and read");
    EXPECT_EQ(open->verdict, host::Verdict::OK);
    EXPECT_THAT(checks.front().detail, testing::StartsWith("Linux "));
}

TEST(LiveLimit, TheKernelsLimitIsRaisedAndReported)
{
    host::PerfApi& api = host::SystemPerfApi();
    const host::DescriptorLimit before = api.Limit();
    ASSERT_GT(before.soft, 64U);
    ASSERT_EQ(api.SetSoftLimit(before.soft - 1), 0);
    EXPECT_EQ(api.Limit().soft, before.soft - 1);
    EXPECT_EQ(api.Limit().hard, before.hard);
    ASSERT_EQ(api.SetSoftLimit(before.soft), 0);
}

TEST_F(LiveKernelTest, GetsRoomForMoreCountersThanTheSoftLimit)
{
    host::PerfApi& api = host::SystemPerfApi();
    const host::DescriptorLimit before = api.Limit();
    const std::uint64_t inUse = host::ListDirectory("/proc/self/fd").names.size() + 8;
    if (before.hard < inUse * 4) {
        GTEST_SKIP() << "the hard limit of descriptors is only " << before.hard;
    }
    ASSERT_EQ(api.SetSoftLimit(inUse), 0);
    host::CounterEvent clock;
    clock.label = "software/cpu-clock/";
    std::string error;
    {
        host::CounterSet set(api);
        error = set.Open(SOFTWARE_TYPE, 0, std::vector<host::CounterEvent>(32, clock));
    }
    EXPECT_EQ(error, "");
    EXPECT_GT(api.Limit().soft, inUse);
    ASSERT_EQ(api.SetSoftLimit(before.soft), 0);
}

}  // namespace
