// SPDX-License-Identifier: MIT

#include "tools/tarnix/daemon.h"

#include <sys/socket.h>

#include <filesystem>
#include <fstream>
#include <memory>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/demo_source.h"
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
                       [this, untilMs] { return clock.NowMs() >= untilMs; }});
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
    std::vector<std::string> lines;
};

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
