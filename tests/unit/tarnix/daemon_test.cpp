// SPDX-License-Identifier: MIT

#include "tools/tarnix/daemon.h"

#include <sys/socket.h>

#include <filesystem>
#include <fstream>
#include <memory>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/demo_source.h"
#include "tests/support/kernel_tree.h"
#include "tests/support/manual_clock.h"
#include "tests/support/scratch_directory.h"
#include "tests/support/scripted_source.h"

namespace {

using support::ManualClock;
using support::ScratchDirectory;
using support::ScriptedSource;
using tarnix::Daemon;
using tarnix::Environment;
using tarnix::PeriodRecorder;
using tarnix::ServiceNotifier;
using tarnix::UncoreFeed;
using testing::ElementsAre;
using testing::HasSubstr;

/// Calls something back at each wait.
class TalkingClock : public ManualClock {
public:
    void SleepUntilNs(std::int64_t deadlineNs) override
    {
        ManualClock::SleepUntilNs(deadlineNs);
        if (waited) {
            waited();
        }
    }

    std::function<void()> waited;
};

/// A daemon on a clock moved by hand, whose log is kept.
class TarnixDaemon : public testing::Test {
protected:
    TarnixDaemon() : recorder(true, scratch / "metrics.bin"), notifier(Environment())
    {
        LogFunction keep = [this](LogLevel level, const std::string& text) {
            if (logger->IsEnabled(level)) {
                lines.push_back(text);
            }
        };
        LogFunction snap = [this](LogLevel level, const std::string& text) {
            if (logger->IsEnabled(level) || logger->snapshot.ShouldSnap()) {
                lines.push_back(text);
            }
        };
        logger->SetLogFunc(LogType::TOOL, keep, snap);
        logger->SetLevel(LogLevel::INFO);
        logger->InitSnapshot(0);
        EXPECT_EQ(control.InitOptMap(false).code, 0);
        feed = std::make_unique<UncoreFeed>(host::MakeDemoSource({}));
    }

    ~TarnixDaemon() override
    {
        logger->SetLogFunc(LogType::TOOL, DefaultLogFunc, DefaultSnapFunc);
        logger->SetLevel(LogLevel::INFO);
        logger->InitSnapshot(0);
    }

    UncoreFeed::State Run(std::int64_t untilMs)
    {
        Daemon daemon({conf, control, yaml, *feed, recorder, watchdog, notifier, clock,
                       [this, untilMs] { return clock.NowMs() >= untilMs; }, opinions});
        return daemon.Run();
    }

    SystemMetrics Written() const
    {
        Metrics reader;
        reader.path = scratch / "metrics.bin";
        SystemMetrics record;
        EXPECT_TRUE(reader.GetMetricsFromFile(record));
        return record;
    }

    std::size_t CountOf(const std::string& part) const
    {
        return static_cast<std::size_t>(
            std::count_if(lines.begin(), lines.end(),
                          [&part](const std::string& line) { return line.find(part) != std::string::npos; }));
    }

    ScratchDirectory scratch;
    Conf conf = g_defaultConf;
    ConfCtl control;
    std::string yaml = scratch / "tarnix.yaml";
    std::unique_ptr<UncoreFeed> feed;
    PeriodRecorder recorder;
    PassiveWatchdog watchdog;
    ServiceNotifier notifier;
    TalkingClock clock;
    host::OpinionWatch* opinions = nullptr;
    std::vector<std::string> lines;
};

/// The same beside a kernel with two nodes and a PMU that sees nothing cross.
class TarnixDaemonAndKernel : public TarnixDaemon {
protected:
    TarnixDaemonAndKernel()
    {
        opinions = &watch;
        std::vector<host::CounterBatch> batches(2000);
        for (std::size_t i = 0; i < batches.size(); ++i) {
            batches[i].timeNs = static_cast<std::int64_t>(i + 1) * 100 * support::NS_PER_MS;
            batches[i].intervalMs = 100;
            batches[i].samples = {{"p/rx_ops_num/", "p", 100000, 1.0}};
        }
        feed = std::make_unique<UncoreFeed>(std::make_unique<ScriptedSource>(batches));
        clock.waited = [this] {
            const bool wrong = clock.NowMs() >= wrongFromMs && clock.NowMs() < wrongToMs;
            tree.Allocate(0, wrong ? 5 : 500, 0);
            tree.Allocate(1, 0, wrong ? 500 : 5);
            tree.Write();
        };
    }

    support::KernelTree tree{2};
    host::OpinionWatch watch{tree.Sysfs(), tree.Procfs()};
    std::int64_t wrongFromMs = 0;
    std::int64_t wrongToMs = 0;
};

TEST_F(TarnixDaemonAndKernel, TheKernelsCountsAreLoggedWithEachSnapshot)
{
    logger->InitSnapshot(5);
    Run(11050);
    EXPECT_EQ(CountOf("kernel in "), 3U);
    EXPECT_EQ(CountOf("kernel in 1.0 s: node0 hit 5"), 1U);
    EXPECT_EQ(CountOf("kernel in 5.0 s: node0 hit 25000 miss 0 local 25000 other 0 interleave 0; node1 hit "
                      "250 miss 0 local 0 other 250 interleave 0; other node 0.99 %, misses 0.00 % of 25250 "
                      "pages; hint faults 0 local 0 remote, 0 pages migrated"),
              2U);
    EXPECT_EQ(CountOf("doubtful"), 0U);
}

TEST_F(TarnixDaemonAndKernel, ADisagreementIsToldWhenItBeginsAndWhenItEnds)
{
    wrongFromMs = 20000;
    wrongToMs = 60000;
    Run(100000);
    EXPECT_EQ(CountOf("the score is doubtful: the PMU calls the traffic local (0.00% crossed), the kernel "
                      "does not: "),
              1U);
    EXPECT_EQ(CountOf(" pages were allocated on another node than the CPU's, in the last 10.0 s; see that"),
              1U);
    EXPECT_EQ(CountOf("the kernel does not disagree with the score any more"), 1U);
    EXPECT_EQ(CountOf("kernel in "), 0U) << "no snapshot was asked for";
}

TEST_F(TarnixDaemonAndKernel, PeriodsShorterThanASecondAskNoMoreOften)
{
    conf.samplingTimes = 1;
    logger->SetLevel(LogLevel::DEBUG);
    Run(5050);
    EXPECT_EQ(CountOf(": score "), 50U);
    EXPECT_EQ(CountOf("kernel in 1.0 s: "), 5U);
}

TEST_F(TarnixDaemonAndKernel, WhatIsNotCountedIsToldOnce)
{
    support::KernelTree::Put(tree.Procfs() + "/sys/kernel/numa_balancing", "0\n");
    std::filesystem::remove_all(tree.Sysfs());
    clock.waited = nullptr;
    logger->SetLevel(LogLevel::DEBUG);
    Run(5050);
    EXPECT_EQ(CountOf("hint faults are not counted: kernel.numa_balancing is 0"), 1U);
    EXPECT_EQ(
        CountOf("the kernel's counts of allocated pages are not to be had: cannot read " + tree.Sysfs()), 1U);
    EXPECT_EQ(CountOf("kernel in 1.0 s: allocated pages not counted; hint faults not counted"), 5U);
}

TEST_F(TarnixDaemon, ClosesAPeriodEverySamplingTimesIntervals)
{
    conf.samplingInterval = 100;
    conf.samplingTimes = 10;
    EXPECT_EQ(Run(3450), UncoreFeed::State::COUNTING);
    EXPECT_EQ(Written().loopCnt, 3U);
    EXPECT_EQ(Written().uncore.interval, 1000U);
    EXPECT_THAT(lines, ElementsAre(HasSubstr("counting: demonstration"), "ended after 3 tune periods"));
}

TEST_F(TarnixDaemon, OtherIntervalsAndTimes)
{
    conf.samplingInterval = 250;
    conf.samplingTimes = 1;
    Run(2600);
    EXPECT_EQ(Written().loopCnt, 10U);
}

TEST_F(TarnixDaemon, NoWaitIsLongerThanHalfTheShortestTimeout)
{
    conf.samplingInterval = 100000;
    conf.samplingTimes = 1;
    Run(100500);
    EXPECT_EQ(Written().loopCnt, 1U);
    ASSERT_GE(clock.deadlines.size(), 200U);
    std::int64_t last = 0;
    for (const std::int64_t deadline : clock.deadlines) {
        EXPECT_LE(deadline - last, 500 * support::NS_PER_MS);
        last = deadline;
    }
}

TEST_F(TarnixDaemon, AMachineThatSleptIsNotCaughtUpWith)
{
    conf.samplingTimes = 1;
    bool slept = false;
    clock.waited = [this, &slept] {
        if (!slept && clock.NowMs() >= 300) {
            slept = true;
            clock.AdvanceMs(3600000);
        }
    };
    Run(3600000 + 850);
    EXPECT_LE(Written().loopCnt, 9U);
    EXPECT_GE(Written().loopCnt, 7U);
}

/// A recording of one batch, its end at that time.
std::unique_ptr<UncoreFeed> OneBatch(std::int64_t endMs)
{
    host::CounterBatch batch;
    host::CounterSample sample;
    sample.eventName = "rx_ops_num";
    sample.count = 42;
    batch.samples = {sample};
    batch.intervalMs = 100;
    batch.timeNs = endMs * support::NS_PER_MS;
    return std::make_unique<UncoreFeed>(
        std::make_unique<ScriptedSource>(std::vector<host::CounterBatch>{batch}));
}

TEST_F(TarnixDaemon, ARecordingsLastPeriodIsWrittenToo)
{
    for (const std::int64_t endMs : {300, 0}) {
        lines.clear();
        clock.nowNs = 0;
        feed = OneBatch(endMs);
        EXPECT_EQ(Run(60000), UncoreFeed::State::ENDED);
        EXPECT_EQ(clock.NowMs(), endMs);
        EXPECT_EQ(Written().loopCnt, 1U);
        EXPECT_EQ(Written().uncore.rxOpsNum, 42U);
        EXPECT_THAT(lines, ElementsAre("counting: a script", "the recording is at its end",
                                       "ended after 1 tune periods"));
        std::filesystem::remove(scratch / "metrics.bin");
    }
}

TEST_F(TarnixDaemon, WithoutASourceEverythingElseGoesOn)
{
    feed = std::make_unique<UncoreFeed>([] { return host::SourceResult{nullptr, "no PMU"}; });
    EXPECT_EQ(Run(130000), UncoreFeed::State::NO_SOURCE);
    EXPECT_EQ(Written().loopCnt, 129U);
    EXPECT_EQ(Written().uncore.interval, 0U);
    EXPECT_FLOAT_EQ(Written().uncore.numaScore, 1.0F);
    EXPECT_EQ(CountOf("no PMU"), 1U);
}

TEST_F(TarnixDaemon, TheSnapshotGateOpensOncePerInterval)
{
    logger->InitSnapshot(3);
    Run(7050);
    EXPECT_EQ(CountOf("period 1: score "), 1U);
    EXPECT_EQ(CountOf("period 2: score "), 0U);
    EXPECT_EQ(CountOf("period 4: score "), 1U);
    EXPECT_EQ(CountOf("period 7: score "), 1U);
    EXPECT_EQ(CountOf(": score "), 3U);
    EXPECT_EQ(CountOf("CPUs: user "), 3U);
    EXPECT_EQ(CountOf("free memory: "), 3U);
    EXPECT_EQ(CountOf("Health Monitor Report"), 3U);
    EXPECT_EQ(CountOf("own cost in "), 3U);
    EXPECT_EQ(CountOf("own cost in 3.0 s: "), 2U);
}

TEST_F(TarnixDaemon, WithDebugEveryPeriodIsLogged)
{
    logger->SetLevel(LogLevel::DEBUG);
    Run(4050);
    EXPECT_EQ(CountOf(": score "), 4U);
    EXPECT_EQ(CountOf("own cost"), 0U);
}

TEST_F(TarnixDaemon, TheHealthReportHasThePhasesOfOnePeriod)
{
    logger->InitSnapshot(1);
    Run(2050);
    for (const std::string& line : lines) {
        if (line.find("Health Monitor Report") != std::string::npos) {
            for (const char* phase :
                 {"tarnix_cycle_time", "collection", "update_data", "pmu_read", "run_stat"}) {
                EXPECT_THAT(line, HasSubstr("| " + std::string(phase) + " "));
            }
        }
    }
}

TEST_F(TarnixDaemon, AReloadTakesWhatIsReloadable)
{
    std::ofstream(yaml) << "log-level: warn\nsampling-times: 3\n";
    logger->ReloadPrepare();
    Run(250);
    EXPECT_FALSE(logger->NeedReloadLog());
    EXPECT_EQ(conf.logLevel, SysLogLevel::WARN);
    EXPECT_EQ(conf.samplingTimes, 10U);
    EXPECT_EQ(logger->level, LogLevel::WARN);
}

TEST_F(TarnixDaemon, AReloadIsTold)
{
    std::ofstream(yaml) << "log-level: debug\n";
    logger->ReloadPrepare();
    Run(50);
    EXPECT_EQ(CountOf("reloaded: log-level is debug"), 1U);
}

TEST_F(TarnixDaemon, AReloadNamesTheFilesFaultsAndTheSettings)
{
    std::ofstream(yaml) << "log-levle: debug\n";
    logger->ReloadPrepare();
    Run(50);
    EXPECT_EQ(CountOf("reloaded: log-level is info"), 1U);
    EXPECT_EQ(CountOf("sampling-interval: 100"), 1U);
    EXPECT_EQ(CountOf(yaml + ":1:1: "), 1U);
    EXPECT_EQ(CountOf("log-levle"), 1U);
}

TEST_F(TarnixDaemon, AReloadThatFailsChangesNothing)
{
    for (const char* const text : {"log-level: loud\n", "a: [", ""}) {
        lines.clear();
        std::ofstream(yaml) << text;
        logger->ReloadPrepare();
        clock.nowNs = 0;
        Run(50);
        EXPECT_EQ(conf.logLevel, SysLogLevel::INFO);
        EXPECT_EQ(CountOf("not reloaded, the settings stay as they are: "), *text == '\0' ? 0U : 1U) << text;
    }
    std::filesystem::remove(yaml);
    lines.clear();
    logger->ReloadPrepare();
    clock.nowNs = 0;
    Run(50);
    EXPECT_EQ(CountOf("not reloaded, the settings stay as they are: YAML loading error: "), 1U);
    EXPECT_FALSE(logger->NeedReloadLog());
}

}  // namespace
