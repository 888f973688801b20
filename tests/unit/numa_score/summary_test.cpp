// SPDX-License-Identifier: MIT

#include "tools/numa_score/summary.h"

#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using namespace numa_score;

constexpr std::int64_t SECOND = 1000000000;

PeriodRow Row(std::int64_t durationNs, float score, Traffic traffic,
              std::initializer_list<Quality> flags = {})
{
    PeriodRow row;
    row.durationNs = durationNs;
    row.score = score;
    row.traffic = traffic;
    row.measured = traffic.ops > 0;
    for (const Quality flag : flags) {
        row.flags.Set(flag);
    }
    return row;
}

Summary Gather(double threshold, const std::vector<PeriodRow>& rows)
{
    SummaryCollector collector(threshold);
    for (const PeriodRow& row : rows) {
        collector.Add(row);
    }
    return collector.Finish();
}

TEST(Summary, SaysLittleOfAnEmptyRun)
{
    const Summary summary = Gather(0.955, {});
    EXPECT_EQ(summary.periods, 0U);
    EXPECT_FALSE(summary.minimum || summary.percentile5 || summary.median || summary.belowShare);
    EXPECT_FALSE(summary.idleShare || summary.opsPerMs || summary.remoteShare || summary.crossDieShare);
    EXPECT_EQ(SummaryText(summary), "summary      0 periods, 0.000 s\n");
}

TEST(Summary, OfOnePeriod)
{
    EXPECT_EQ(SummaryText(Gather(0.955, {Row(SECOND, 0.97F, {1000, 20, 10})})),
              "summary      1 period, 1.000 s\n"
              "score        minimum 0.9700, 5th percentile 0.9700, median 0.9700 (1 measured period)\n"
              "below 0.955  0.00% of the measured time\n"
              "idle         0.00% of the time (0 periods)\n"
              "traffic      remote 1.00%, cross-die 2.00% of 1000.0 operations (1.0 per ms)\n");
}

TEST(Summary, OfAMixedRun)
{
    const std::vector<PeriodRow> rows = {
        Row(SECOND, 0.9F, {1000, 50, 50}),
        Row(3 * SECOND, 0.5F, {3000, 500, 1000}, {Quality::MULTIPLEXED, Quality::PARTIAL}),
        Row(4 * SECOND, 1.0F, {}, {Quality::IDLE, Quality::MULTIPLEXED}),
        Row(SECOND, 1.0F, {}, {Quality::STALE}),
        Row(SECOND, 0.0F, {1000, 1000, 1000}, {Quality::CLAMPED}),
    };
    const Summary summary = Gather(0.75, rows);
    EXPECT_EQ(summary.periods, 5U);
    EXPECT_EQ(summary.measured, 3U);
    EXPECT_EQ(summary.idle, 1U);
    EXPECT_EQ(summary.unmeasured, 1U);
    EXPECT_EQ(summary.durationNs, 10 * SECOND);
    EXPECT_EQ(summary.flagged, (std::array<std::uint64_t, QUALITY_COUNT>{1, 2, 0, 1, 1, 1}));
    EXPECT_EQ(SummaryText(summary),
              "summary      5 periods, 10.000 s\n"
              "score        minimum 0.0000, 5th percentile 0.0000, median 0.5000 (3 measured periods)\n"
              "below 0.75   80.00% of the measured time\n"
              "idle         40.00% of the time (1 period)\n"
              "unmeasured   1 period in which operations were not counted\n"
              "traffic      remote 41.00%, cross-die 31.00% of 5000.0 operations (0.5 per ms)\n"
              "quality      multiplexed 2, partial 1, clamped 1, stale 1 (periods with the flag)\n");
}

TEST(Summary, OfAnIdleRun)
{
    const PeriodRow idle = Row(SECOND / 2, 1.0F, {}, {Quality::IDLE});
    EXPECT_EQ(SummaryText(Gather(0.955, {idle, idle})),
              "summary      2 periods, 1.000 s\n"
              "score        no period with operations\n"
              "idle         100.00% of the time (2 periods)\n");
}

TEST(Summary, OfARunThatCountedNothing)
{
    const PeriodRow stopped = Row(SECOND, 1.0F, {}, {Quality::NOT_COUNTED, Quality::PARTIAL});
    EXPECT_EQ(SummaryText(Gather(0.955, {stopped, stopped})),
              "summary      2 periods, 2.000 s\n"
              "score        no period with operations\n"
              "idle         0.00% of the time (0 periods)\n"
              "unmeasured   2 periods in which operations were not counted\n"
              "quality      not_counted 2, partial 2 (periods with the flag)\n");
}

TEST(Summary, KnowsWhetherAnythingWasMeasured)
{
    const PeriodRow stopped = Row(SECOND, 1.0F, {}, {Quality::NOT_COUNTED, Quality::PARTIAL});
    const PeriodRow idle = Row(SECOND, 1.0F, {}, {Quality::IDLE});
    EXPECT_TRUE(NothingMeasured(Gather(0.955, {stopped, stopped})));
    EXPECT_FALSE(NothingMeasured(Gather(0.955, {stopped, idle})));
    EXPECT_FALSE(NothingMeasured(Gather(0.955, {stopped, Row(SECOND, 0.5F, {2, 1, 0}, {})})));
    EXPECT_FALSE(NothingMeasured(Gather(0.955, {})));
}

TEST(Summary, CountsPeriodsWhereThereIsNoTime)
{
    const Summary summary = Gather(0.955, {Row(0, 0.5F, {100, 0, 50}), Row(0, 1.0F, {100, 0, 0}),
                                           Row(0, 1.0F, {}, {Quality::IDLE}), Row(0, 1.0F, {100, 0, 0})});
    EXPECT_EQ(SummaryText(summary),
              "summary      4 periods, 0.000 s\n"
              "score        minimum 0.5000, 5th percentile 0.5000, median 1.0000 (3 measured periods)\n"
              "below 0.955  33.33% of the measured time\n"
              "idle         25.00% of the time (1 period)\n"
              "traffic      remote 16.67%, cross-die 0.00% of 300.0 operations\n");
}

TEST(Summary, DoesNotCallAScoreAtTheThresholdBelow)
{
    // The float of 0.955 is less than the double: compared as doubles, the score 0.955 would be below.
    for (const double threshold : {0.955, 0.9, 0.7, 0.1}) {
        const auto score = static_cast<float>(threshold);
        EXPECT_EQ(Gather(threshold, {Row(SECOND, score, {10, 0, 0})}).belowShare, 0.0) << threshold;
        EXPECT_EQ(Gather(threshold, {Row(SECOND, score - 1e-6F, {10, 0, 0})}).belowShare, 1.0) << threshold;
    }
}

TEST(Summary, AddsHugeCountsWithoutWrapping)
{
    const PeriodRow row = Row(SECOND, 0.5F, {UINT64_MAX, 0, UINT64_MAX / 2});
    EXPECT_EQ(SummaryText(Gather(0.123456789, {row, row, row})),
              "summary      3 periods, 3.000 s\n"
              "score        minimum 0.5000, 5th percentile 0.5000, median 0.5000 (3 measured periods)\n"
              "below 0.123456789 0.00% of the measured time\n"
              "idle         0.00% of the time (0 periods)\n"
              "traffic      remote 50.00%, cross-die 0.00% of 55.34E operations (18.45P per ms)\n");
}

TEST(Summary, MayBeAskedBetweenPeriods)
{
    SummaryCollector collector(0.955);
    collector.Add(Row(SECOND, 0.5F, {10, 0, 5}));
    EXPECT_EQ(collector.Finish().median, 0.5);
    collector.Add(Row(SECOND, 0.25F, {10, 5, 5}));
    EXPECT_EQ(collector.Finish().periods, 2U);
    EXPECT_EQ(collector.Finish().median, 0.25);
}

}  // namespace
