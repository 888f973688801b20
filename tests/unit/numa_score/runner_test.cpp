// SPDX-License-Identifier: MIT
//
// A run and its session: scripted counts through the real plug-in, or through instances that misbehave.

#include "tools/numa_score/runner.h"

#include <cmath>
#include <cstdint>

#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "scenario/numa_scenario.h"
#include "tests/support/fake_instance.h"
#include "tests/support/kernel_tree.h"
#include "tests/support/manual_clock.h"
#include "tests/support/scripted_source.h"
#include "tools/numa_score/messages.h"
#include "tools/numa_score/plugin_set.h"

namespace numa_score {
namespace {

using host::CounterBatch;
using host::CounterSource;
using support::NS_PER_MS;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

/// A batch that ends at `timeMs`: 100 operations per millisecond, a tenth of them from another die, a tenth
/// from another socket.
CounterBatch Batch(std::int64_t timeMs, std::int32_t intervalMs, bool endsPeriod = true)
{
    const auto interval = static_cast<std::uint64_t>(intervalMs);
    CounterBatch batch;
    batch.timeNs = timeMs * NS_PER_MS;
    batch.intervalMs = intervalMs;
    batch.endsPeriod = endsPeriod;
    batch.samples = {{"p/rx_outer/", "p", 10 * interval, 1.0},
                     {"p/rx_sccl/", "p", 10 * interval, 1.0},
                     {"p/rx_ops_num/", "p", 100 * interval, 1.0}};
    return batch;
}

class Script : public support::ScriptedSource {
public:
    Script(std::vector<CounterBatch> batchScript, Status lastStatus, bool isLive)
        : ScriptedSource(std::move(batchScript), lastStatus), live(isLive)
    {
    }
    bool IsLive() const override { return live; }
    std::vector<std::string> TakeRemarks() override { return std::exchange(remarks, {}); }

    std::vector<std::string> remarks = {"the source remarks"};

private:
    bool live;
};

class Notes : public RunObserver {
public:
    bool TakeRow(const PeriodRow& row) override
    {
        rows.push_back(row);
        return rows.size() < stopAfter;
    }
    void TakeRemark(const std::string& line) override { remarks.push_back(line); }
    void Tick() override { ++ticks; }

    std::vector<PeriodRow> rows;
    std::vector<std::string> remarks;
    std::uint64_t ticks = 0;
    std::size_t stopAfter = SIZE_MAX;
};

std::string FlagsOf(const PeriodRow& row)
{
    std::string text;
    AppendFlags(text, row.flags, ",");
    return text;
}

class RunnerTest : public testing::Test {
protected:
    RunOutcome Run(std::vector<CounterBatch> batches)
    {
        const PluginSetResult loaded = LoadScorePlugins(PLUGIN_FILE);
        EXPECT_EQ(loaded.error, "");
        return RunWith(std::move(batches), loaded.set.Instances());
    }

    RunOutcome RunWith(std::vector<CounterBatch> batches,
                       const std::vector<std::shared_ptr<kovari::Interface>>& instances)
    {
        Runner runner({clock,
                       [this] {
                           periodEnds();
                           return std::int64_t{1234567890};
                       },
                       stop, opinions},
                      notes, settings);
        auto script = std::make_unique<Script>(std::move(batches), last, live);
        script->waits = waits;
        return runner.Run(std::move(script), instances);
    }

    std::vector<std::int64_t> EndsMs() const
    {
        std::vector<std::int64_t> ends;
        for (const PeriodRow& row : notes.rows) {
            ends.push_back(row.timeNs / NS_PER_MS);
        }
        return ends;
    }

    support::ManualClock clock;
    Notes notes;
    RunSettings settings;
    std::function<bool()> stop = [] { return false; };
    std::function<void()> periodEnds = [] {};  // of live ones
    host::OpinionWatch* opinions = nullptr;
    CounterSource::Status last = CounterSource::Status::END;
    bool live = false;
    bool waits = false;
};

TEST_F(RunnerTest, AnIntervalOfAPeriodGivesARow)
{
    const RunOutcome outcome = Run({Batch(100, 100), Batch(200, 100)});
    EXPECT_EQ(outcome.end, RunEnd::SOURCE_ENDED);
    EXPECT_EQ(outcome.error, "");
    ASSERT_THAT(EndsMs(), ElementsAre(100, 200));
    const PeriodRow& row = notes.rows[1];
    EXPECT_EQ(row.timeKind, TimeKind::RECORDED);
    EXPECT_EQ(row.durationNs, 100 * NS_PER_MS);
    EXPECT_EQ(row.score, 1.0F - 2000.0F / 10000.0F);
    EXPECT_EQ(row.traffic.ops, 10000U);
    EXPECT_EQ(row.traffic.sccl, 1000U);
    EXPECT_EQ(row.traffic.outer, 1000U);
    EXPECT_EQ(row.intervalMs, 100);
    EXPECT_EQ(FlagsOf(row), "");
    EXPECT_TRUE(row.measured);
    EXPECT_THAT(row.pmus, IsEmpty());
    EXPECT_THAT(notes.remarks, ElementsAre("the source remarks"));
    EXPECT_GE(outcome.cost.calls, 4U);
}

TEST_F(RunnerTest, NineTenthsOfAPeriodCloseIt)
{
    Run({Batch(89, 89), Batch(90, 1), Batch(179, 89), Batch(269, 90)});
    EXPECT_THAT(EndsMs(), ElementsAre(90, 269));
    EXPECT_EQ(notes.rows[0].traffic.ops, 9000U);
    EXPECT_EQ(notes.rows[1].intervalMs, 179);
}

TEST_F(RunnerTest, ShortIntervalsAreGathered)
{
    std::vector<CounterBatch> batches;
    for (int i = 1; i <= 8; ++i) {
        batches.push_back(Batch(i * 25, 25));
    }
    Run(batches);
    EXPECT_THAT(EndsMs(), ElementsAre(100, 200));
    EXPECT_EQ(notes.rows[0].intervalMs, 100);
}

TEST_F(RunnerTest, LongIntervalsGiveOneRowEach)
{
    Run({Batch(1000, 1000), Batch(2000, 1000)});
    EXPECT_THAT(EndsMs(), ElementsAre(1000, 2000));
    EXPECT_EQ(notes.rows[1].durationNs, 1000 * NS_PER_MS);
}

TEST_F(RunnerTest, TheGivenPeriodRules)
{
    settings.periodMs = 1000;
    Run({Batch(500, 500), Batch(899, 399), Batch(900, 1), Batch(1900, 1000)});
    EXPECT_THAT(EndsMs(), ElementsAre(900, 1900));
}

TEST_F(RunnerTest, APartOfAnIntervalClosesNothing)
{
    Run({Batch(100, 50, false), Batch(100, 50, false), Batch(100, 0, true), Batch(200, 100)});
    ASSERT_THAT(EndsMs(), ElementsAre(100, 200));
    EXPECT_EQ(notes.rows[0].traffic.ops, 10000U);
}

TEST_F(RunnerTest, TheRestGivesALastRowThatIsPartial)
{
    Run({Batch(100, 100), Batch(150, 50)});
    ASSERT_THAT(EndsMs(), ElementsAre(100, 150));
    EXPECT_EQ(FlagsOf(notes.rows[0]), "");
    EXPECT_EQ(FlagsOf(notes.rows[1]), "partial");
    EXPECT_EQ(notes.rows[1].durationNs, 50 * NS_PER_MS);
    EXPECT_EQ(notes.rows[1].traffic.ops, 5000U);
}

TEST_F(RunnerTest, ARestThatIsAWholePeriodIsNotPartial)
{
    Run({Batch(100, 100, false)});
    ASSERT_THAT(EndsMs(), ElementsAre(100));
    EXPECT_EQ(FlagsOf(notes.rows[0]), "");
}

TEST_F(RunnerTest, ARestWithoutCountersGivesNoRow)
{
    CounterBatch empty;
    empty.timeNs = 150 * NS_PER_MS;
    empty.endsPeriod = false;
    Run({Batch(100, 100), empty});
    EXPECT_THAT(EndsMs(), ElementsAre(100));
}

TEST_F(RunnerTest, ARestOfCountersThatDidNotCountGivesARow)
{
    for (const bool missing : {false, true}) {
        CounterBatch rest;
        rest.timeNs = 150 * NS_PER_MS;
        rest.endsPeriod = false;
        (missing ? rest.missing : rest.notCounted) = 1;
        notes.rows.clear();
        Run({Batch(100, 100), rest});
        ASSERT_THAT(EndsMs(), ElementsAre(100, 150));
        EXPECT_FALSE(notes.rows[1].measured);
        EXPECT_THAT(FlagsOf(notes.rows[1]), testing::HasSubstr(missing ? "partial" : "not_counted"));
    }
}

TEST_F(RunnerTest, ASourceThatHasNothingYetIsAskedAgain)
{
    waits = true;
    EXPECT_EQ(Run({Batch(100, 100), Batch(160, 60), Batch(200, 40)}).end, RunEnd::SOURCE_ENDED);
    EXPECT_THAT(EndsMs(), ElementsAre(100, 200));
    EXPECT_EQ(notes.rows[1].traffic.ops, 10000U);
}

TEST_F(RunnerTest, AnEndThatIsAskedForWhileTheSourceWaitsComesAtOnce)
{
    waits = true;
    int looks = 0;
    stop = [&looks] { return ++looks == 2; };
    EXPECT_EQ(Run({Batch(100, 100)}).end, RunEnd::INTERRUPTED);
    EXPECT_THAT(notes.rows, IsEmpty());
}

TEST_F(RunnerTest, NothingGivesNoRow)
{
    EXPECT_EQ(Run({}).end, RunEnd::SOURCE_ENDED);
    EXPECT_THAT(notes.rows, IsEmpty());
}

TEST_F(RunnerTest, TheSpeedChangesTheWaitAndNotTheRows)
{
    const std::vector<CounterBatch> batches = {Batch(60, 60), Batch(120, 60), Batch(1000, 880),
                                               Batch(1050, 50)};
    std::vector<std::vector<std::int64_t>> ends;
    const struct {
        std::optional<double> speed;
        std::int64_t endsAtMs;
    } cases[] = {{1.0, 1050}, {2.0, 525}, {0.5, 2100}, {std::nullopt, 0}};
    for (const auto& one : cases) {
        notes.rows.clear();
        clock.nowNs = 7000 * NS_PER_MS;
        clock.deadlines.clear();
        settings.speed = one.speed;
        Run(batches);
        EXPECT_EQ(clock.NowMs(), 7000 + one.endsAtMs);
        EXPECT_THAT(EndsMs(), ElementsAre(120, 1000, 1050));
        EXPECT_EQ(notes.rows[0].traffic.ops, 12000U);
        EXPECT_EQ(FlagsOf(notes.rows[2]), "partial");
        EXPECT_EQ(clock.deadlines.empty(), !one.speed.has_value());
    }
}

TEST_F(RunnerTest, NoSleepIsLong)
{
    Run({Batch(1000, 1000)});
    std::int64_t before = 0;
    ASSERT_THAT(clock.deadlines, SizeIs(10));
    for (const std::int64_t deadline : clock.deadlines) {
        EXPECT_LE(deadline - before, 100 * NS_PER_MS);
        before = deadline;
    }
    EXPECT_GE(notes.ticks, 10U);
}

TEST_F(RunnerTest, AMomentBeyondAllTimeIsWaitedForUntilInterrupted)
{
    int looks = 0;
    stop = [&looks] { return ++looks > 50; };
    settings.speed = 1e-6;
    CounterBatch late = Batch(100, 100);
    late.timeNs = std::numeric_limits<std::int64_t>::max();
    for (const std::int64_t startNs : {std::int64_t{0}, 7000 * NS_PER_MS}) {
        looks = 0;
        clock.nowNs = startNs;
        EXPECT_EQ(Run({late}).end, RunEnd::INTERRUPTED);
        EXPECT_GT(looks, 50) << "the clock began at " << startNs;
        EXPECT_THAT(notes.rows, IsEmpty());
    }
}

TEST_F(RunnerTest, Limits)
{
    const std::vector<CounterBatch> batches = {Batch(100, 100), Batch(200, 100), Batch(300, 100),
                                               Batch(400, 100)};
    settings.count = 2;
    EXPECT_EQ(Run(batches).end, RunEnd::LIMIT_REACHED);
    EXPECT_THAT(EndsMs(), ElementsAre(100, 200));
    notes.rows.clear();
    settings.count.reset();
    settings.durationNs = 201 * NS_PER_MS;
    EXPECT_EQ(Run(batches).end, RunEnd::LIMIT_REACHED);
    EXPECT_THAT(EndsMs(), ElementsAre(100, 200, 300)) << "the period that reaches it is the last";
}

TEST_F(RunnerTest, TheObserverEndsARun)
{
    notes.stopAfter = 1;
    EXPECT_EQ(Run({Batch(100, 100), Batch(200, 100)}).end, RunEnd::OBSERVER_STOPPED);
    EXPECT_THAT(EndsMs(), ElementsAre(100));
}

TEST_F(RunnerTest, InterruptedBeforeTheFirstBatch)
{
    stop = [] { return true; };
    EXPECT_EQ(Run({Batch(100, 100)}).end, RunEnd::INTERRUPTED);
    EXPECT_THAT(notes.rows, IsEmpty());
}

TEST_F(RunnerTest, AFailedSourceSaysWhy)
{
    last = CounterSource::Status::FAILED;
    const RunOutcome outcome = Run({Batch(100, 100), Batch(150, 50)});
    EXPECT_EQ(outcome.end, RunEnd::SOURCE_FAILED);
    EXPECT_EQ(outcome.error, "the script failed");
    EXPECT_THAT(EndsMs(), ElementsAre(100));
}

TEST_F(RunnerTest, Flags)
{
    CounterBatch idle = Batch(100, 0);
    CounterBatch multiplexed = Batch(200, 100);
    multiplexed.samples[0].runningRatio = 0.5;
    CounterBatch notCounted = Batch(300, 100);
    notCounted.notCounted = 1;
    CounterBatch missing = Batch(400, 100);
    missing.missing = 1;
    CounterBatch clamped = Batch(500, 100);
    clamped.samples[0].count = 10001;
    CounterBatch stale = Batch(600, 100);
    stale.samples.clear();
    CounterBatch noOps = Batch(700, 100);
    noOps.samples.pop_back();
    Run({idle, multiplexed, notCounted, missing, clamped, stale, noOps, Batch(800, 100)});
    std::vector<std::string> flags;
    for (const PeriodRow& row : notes.rows) {
        flags.push_back(FlagsOf(row));
    }
    EXPECT_THAT(flags, ElementsAre("idle", "multiplexed", "not_counted", "partial", "clamped", "stale",
                                   "partial", ""));
    ASSERT_THAT(notes.rows, SizeIs(8));
    EXPECT_FALSE(notes.rows[0].measured);
    EXPECT_EQ(notes.rows[0].score, 1.0F);
    EXPECT_EQ(notes.rows[1].runningRatio, 0.5);
    EXPECT_EQ(notes.rows[4].score, 0.0F);
    EXPECT_FALSE(notes.rows[6].measured);
}

TEST_F(RunnerTest, FillsThePmusWhenAsked)
{
    settings.perPmu = true;
    Run({Batch(100, 100)});
    ASSERT_THAT(notes.rows, SizeIs(1));
    ASSERT_THAT(notes.rows[0].pmus, SizeIs(1));
    EXPECT_EQ(notes.rows[0].pmus[0].traffic.ops, 10000U);
}

TEST_F(RunnerTest, LiveRunsOnTheClock)
{
    live = true;
    std::vector<CounterBatch> batches;
    for (int i = 1; i <= 5; ++i) {
        batches.push_back(Batch(i * 100, 100));
    }
    settings.count = 3;
    const RunOutcome outcome = Run(batches);
    EXPECT_EQ(outcome.end, RunEnd::LIMIT_REACHED);
    ASSERT_THAT(notes.rows, SizeIs(3));
    EXPECT_EQ(notes.rows[0].timeKind, TimeKind::UTC);
    EXPECT_EQ(notes.rows[0].timeNs, 1234567890);
    EXPECT_EQ(notes.rows[2].traffic.ops, 10000U);
    EXPECT_EQ(notes.rows[2].durationNs, 100 * NS_PER_MS);
}

TEST_F(RunnerTest, ALiveSourceThatFailsEndsTheRun)
{
    live = true;
    last = CounterSource::Status::FAILED;
    const RunOutcome outcome = Run({Batch(100, 100)});
    EXPECT_EQ(outcome.end, RunEnd::SOURCE_FAILED);
    EXPECT_EQ(outcome.error, "the script failed");
    EXPECT_THAT(notes.rows, SizeIs(1));
}

TEST_F(RunnerTest, ALiveSourceThatEndsLeavesNoRest)
{
    live = true;
    const RunOutcome outcome = Run({Batch(100, 100)});
    EXPECT_EQ(outcome.end, RunEnd::SOURCE_ENDED);
    EXPECT_EQ(outcome.error, "");
    EXPECT_THAT(notes.rows, SizeIs(1));
}

TEST_F(RunnerTest, InterruptedWhileALiveSourceIsWaitedFor)
{
    live = true;
    settings.periodMs = 1000;
    int looks = 0;
    stop = [&looks] { return ++looks > 3; };
    EXPECT_EQ(Run({Batch(1000, 1000)}).end, RunEnd::INTERRUPTED);
    EXPECT_THAT(notes.rows, IsEmpty());
    EXPECT_LT(clock.NowMs(), 1000) << "the wait was cut short";
}

TEST_F(RunnerTest, TheRestMayBeWhatReachesALimit)
{
    settings.count = 2;
    EXPECT_EQ(Run({Batch(100, 100), Batch(150, 50)}).end, RunEnd::LIMIT_REACHED);
    EXPECT_THAT(EndsMs(), ElementsAre(100, 150));
}

TEST_F(RunnerTest, TheKernelIsAskedOnceASecondAndItsDisagreementIsFlagged)
{
    support::KernelTree tree(2);
    host::OpinionWatch watch(tree.Sysfs(), tree.Procfs());
    opinions = &watch;
    live = true;
    periodEnds = [&tree] {
        tree.Allocate(1, 0, 1000);
        tree.Write();
    };
    std::vector<CounterBatch> batches;
    for (int i = 1; i <= 50; ++i) {
        batches.push_back(Batch(i * 100, 100));
        batches.back().samples[0].count = 0;
        batches.back().samples[1].count = 0;
    }
    settings.count = 45;
    Run(batches);
    ASSERT_THAT(notes.rows, SizeIs(45));
    for (std::size_t i = 0; i < notes.rows.size(); ++i) {
        EXPECT_EQ(notes.rows[i].kernel != nullptr, (i + 1) % 10 == 0) << i;
        EXPECT_EQ(FlagsOf(notes.rows[i]), i >= 29 ? "disagrees" : "") << i << ": judged from 3 s on";
        EXPECT_EQ(notes.rows[i].score, 1.0F) << "what was published stays";
    }
    EXPECT_THAT(notes.remarks,
                testing::Contains("the score is doubtful: the PMU calls the traffic local (0.00% crossed), "
                                  "the kernel does not: 100.00% of 30000 pages were allocated on another "
                                  "node than the CPU's; see that the events, or --map, count what their "
                                  "names say")
                    .Times(1));
    EXPECT_EQ(watch.Whole().spanNs, 4500 * NS_PER_MS);
    EXPECT_EQ(watch.Whole().shares.allocations, 45000U);
    EXPECT_EQ(watch.Whole().pmu.ops, 450000);
}

TEST_F(RunnerTest, TheEndOfADisagreementIsRemarked)
{
    support::KernelTree tree(2);
    host::OpinionWatch watch(tree.Sysfs(), tree.Procfs());
    opinions = &watch;
    live = true;
    int period = 0;
    periodEnds = [&tree, &period] {
        // First pages that CPUs of another node take, then many more that its own do.
        const bool remote = ++period <= 30;
        tree.Allocate(1, remote ? 0 : 10000, remote ? 1000 : 0);
        tree.Write();
    };
    std::vector<CounterBatch> batches;
    for (int i = 1; i <= 160; ++i) {
        batches.push_back(Batch(i * 100, 100));
        batches.back().samples[0].count = 0;
        batches.back().samples[1].count = 0;
    }
    Run(batches);
    ASSERT_THAT(notes.rows, SizeIs(160));
    EXPECT_EQ(FlagsOf(notes.rows[30]), "disagrees");
    EXPECT_EQ(FlagsOf(notes.rows[159]), "");
    EXPECT_THAT(notes.remarks, testing::Contains(KernelDisagreesNoMore()).Times(1));
}

/// An instance that publishes what it is told each time it is run.
std::shared_ptr<support::FakeInstance> Publisher(std::function<std::vector<float>()> scores)
{
    auto instance = std::make_shared<support::FakeInstance>("fake", nullptr);
    const kovari::Topic topic{"fake", "system_score", ""};
    instance->supportTopics = {topic};
    instance->onRun = [raw = instance.get(), topic, scores = std::move(scores)] {
        for (const float score : scores()) {
            DataList list = support::NewDataList(topic, 1);
            delete static_cast<std::uint64_t*>(list.data[0]);
            auto* const record = new ScenarioNumaScore;
            record->numaScore = score;
            list.data[0] = record;
            raw->Push(RunType::PUBLISH_DATA, {support::KeyOf(topic)}, list);
        }
    };
    return instance;
}

std::vector<CounterBatch> ManyBatches(int count)
{
    std::vector<CounterBatch> batches;
    for (int i = 1; i <= count; ++i) {
        batches.push_back(Batch(i * 100, 100));
    }
    return batches;
}

TEST_F(RunnerTest, ASilentPluginEndsTheRun)
{
    const RunOutcome outcome = RunWith(ManyBatches(30), {Publisher([] { return std::vector<float>(); })});
    EXPECT_EQ(outcome.end, RunEnd::PLUGIN_FAILED);
    EXPECT_EQ(outcome.error, "instance \"fake\" gave no score in 10 calls of Run, expected one in each");
    EXPECT_EQ(clock.NowMs(), 1000);
}

TEST_F(RunnerTest, APluginThatIsSilentForAWhileIsBorneWith)
{
    int calls = 0;
    const RunOutcome outcome =
        RunWith(ManyBatches(30), {Publisher([&calls] {
                    return ++calls % 10 == 0 ? std::vector<float>{0.5F} : std::vector<float>();
                })});
    EXPECT_EQ(outcome.end, RunEnd::SOURCE_ENDED);
    EXPECT_THAT(EndsMs(), ElementsAre(1000, 2000, 3000));
    EXPECT_EQ(notes.rows[1].durationNs, 1000 * NS_PER_MS);
}

TEST_F(RunnerTest, BadScoresAreLeftOutAndRemarkedThreeTimes)
{
    const std::vector<float> scores = {std::nanf(""), -0.5F, 1.5F, 2.0F, 0.0F, 1.0F};
    std::size_t next = 0;
    const RunOutcome outcome =
        RunWith(ManyBatches(6), {Publisher([&] { return std::vector<float>{scores[next++]}; })});
    EXPECT_EQ(outcome.end, RunEnd::SOURCE_ENDED);
    EXPECT_THAT(EndsMs(), ElementsAre(500, 600));
    EXPECT_THAT(notes.remarks,
                testing::UnorderedElementsAre(
                    "the source remarks",
                    "instance \"fake\" published the score nan, expected 0 to 1; it is left out",
                    "instance \"fake\" published the score -0.5, expected 0 to 1; it is left out",
                    "instance \"fake\" published the score 1.5, expected 0 to 1; it is left out"));
}

TEST_F(RunnerTest, ListsWithoutAScoreAreNoScores)
{
    auto instance = std::make_shared<support::FakeInstance>("fake", nullptr);
    const kovari::Topic topic{"fake", "system_score", ""};
    instance->supportTopics = {topic};
    int calls = 0;
    instance->onRun = [raw = instance.get(), topic, &calls] {
        DataList list = support::NewDataList(topic, 1);
        delete static_cast<std::uint64_t*>(std::exchange(list.data[0], nullptr));
        switch (++calls) {
            case 1:
                list.len = 0;
                break;
            case 2:
                delete[] std::exchange(list.data, nullptr);
                break;
            case 3:
                break;  // a null record
            default:
                list.data[0] = new ScenarioNumaScore;
        }
        raw->Push(RunType::PUBLISH_DATA, {support::KeyOf(topic)}, list);
    };
    EXPECT_EQ(RunWith(ManyBatches(5), {instance}).end, RunEnd::SOURCE_ENDED);
    EXPECT_THAT(EndsMs(), ElementsAre(400, 500));
}

TEST_F(RunnerTest, AnInstanceThatDoesNotPublishMayRefuse)
{
    const auto other = std::make_shared<support::FakeInstance>("other", nullptr);
    other->enableResult = {-1, "does not want to"};
    const RunOutcome outcome =
        RunWith(ManyBatches(2), {other, Publisher([] { return std::vector<float>{0.5F}; })});
    EXPECT_EQ(outcome.end, RunEnd::SOURCE_ENDED);
    EXPECT_THAT(EndsMs(), ElementsAre(100, 200));
    EXPECT_THAT(notes.remarks, testing::Contains(testing::HasSubstr("does not want to")));
}

TEST_F(RunnerTest, AnInstanceWithoutAPeriodIsAskedEvery100Ms)
{
    const auto instance = Publisher([] { return std::vector<float>{0.5F}; });
    instance->period = -3;
    RunWith(ManyBatches(2), {instance});
    EXPECT_EQ(instance->period, 100);
    EXPECT_THAT(EndsMs(), ElementsAre(100, 200));
}

TEST_F(RunnerTest, WithoutAPublisherThereIsNoRun)
{
    const RunOutcome outcome = RunWith({Batch(100, 100)}, {});
    EXPECT_EQ(outcome.end, RunEnd::PLUGIN_FAILED);
    EXPECT_EQ(
        outcome.error,
        "the plug-in: no instance publishes the topic \"system_score\"; give --plugin a library that does");
}

TEST_F(RunnerTest, APublisherThatRefusesEndsTheRun)
{
    for (const bool enable : {true, false}) {
        const auto instance = Publisher([] { return std::vector<float>{0.5F}; });
        (enable ? instance->enableResult : instance->openResult) = {-1, "does not want to"};
        const RunOutcome outcome = RunWith({Batch(100, 100)}, {instance});
        EXPECT_EQ(outcome.end, RunEnd::PLUGIN_FAILED);
        EXPECT_EQ(outcome.error,
                  "instance \"fake\" cannot be driven, so there is no score; the remarks say why");
        EXPECT_FALSE(notes.remarks.empty());
        notes.remarks.clear();
    }
}

}  // namespace
}  // namespace numa_score
