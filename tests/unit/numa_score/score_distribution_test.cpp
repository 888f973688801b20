// SPDX-License-Identifier: MIT

#include "tools/numa_score/score_distribution.h"

#include <cstddef>
#include <vector>

#include <gtest/gtest.h>

namespace {

using numa_score::ScoreDistribution;

ScoreDistribution Of(const std::vector<float>& scores)
{
    ScoreDistribution distribution;
    for (const float score : scores) {
        distribution.Add(score);
    }
    return distribution;
}

TEST(ScoreDistribution, IsOneWhileEmpty)
{
    const ScoreDistribution empty;
    EXPECT_EQ(empty.Count(), 0U);
    EXPECT_EQ(empty.Minimum(), 1.0F);
    EXPECT_EQ(empty.Percentile(0.05), 1.0);
    EXPECT_EQ(empty.Percentile(1.0), 1.0);
}

TEST(ScoreDistribution, TakesTheNearestRank)
{
    struct Case {
        std::vector<float> scores;
        double share;
        float percentile;
    };
    const std::vector<Case> cases = {
        {{0.5F}, 0.05, 0.5F},
        {{0.5F}, 1.0, 0.5F},
        {{0.75F, 0.25F}, 0.5, 0.25F},
        {{0.75F, 0.25F}, 0.51, 0.75F},
        {{0.3F, 0.1F, 0.2F}, 0.5, 0.2F},
        {{0.4F, 0.3F, 0.2F, 0.1F}, 0.5, 0.2F},
        {{0.4F, 0.3F, 0.2F, 0.1F}, 0.05, 0.1F},
        {{0.4F, 0.3F, 0.2F, 0.1F}, 1.0, 0.4F},
        {{0.9F, 0.9F, 0.9F, 0.1F}, 0.5, 0.9F},
        {{0.0F, 1.0F}, 1e-9, 0.0F},
    };
    for (const Case& item : cases) {
        EXPECT_EQ(Of(item.scores).Percentile(item.share), static_cast<double>(item.percentile));
    }
}

TEST(ScoreDistribution, TakesTheRankOfWholeShares)
{
    // With n = 20k scores the 5th percentile is the k-th smallest, never the one after.
    for (std::size_t k = 1; k <= 50; ++k) {
        ScoreDistribution distribution;
        for (std::size_t i = 20 * k; i > 0; --i) {
            distribution.Add(static_cast<float>(i) / 1024.0F);
        }
        EXPECT_EQ(distribution.Percentile(0.05), static_cast<double>(k) / 1024.0) << k;
    }
}

TEST(ScoreDistribution, AsksWithoutChangingAnything)
{
    ScoreDistribution distribution = Of({0.9F, 0.1F, 0.5F});
    EXPECT_EQ(distribution.Percentile(0.5), 0.5);
    EXPECT_EQ(distribution.Percentile(0.5), 0.5);
    distribution.Add(0.25F);
    EXPECT_EQ(distribution.Percentile(0.5), 0.25);
    EXPECT_EQ(distribution.Minimum(), 0.1F);
    EXPECT_EQ(distribution.Count(), 4U);
}

TEST(ScoreDistribution, StaysWithinHalfABinOfALongRun)
{
    constexpr std::size_t SCORES = 2 * ScoreDistribution::EXACT_SCORES;
    ScoreDistribution distribution;
    for (std::size_t i = 0; i < SCORES; ++i) {
        // Each of SCORES evenly spread scores once, in a scattered order (7919 shares no factor with SCORES).
        const std::size_t place = i * 7919 % SCORES + 1;
        distribution.Add(static_cast<float>(place) / static_cast<float>(SCORES));
    }
    EXPECT_EQ(distribution.Count(), SCORES);
    EXPECT_EQ(distribution.Minimum(), 1.0F / static_cast<float>(SCORES));
    for (const double share : {0.00001, 0.05, 0.25, 0.5, 0.95, 1.0}) {
        EXPECT_NEAR(distribution.Percentile(share), share, 5.1e-6) << share;
    }
}

TEST(ScoreDistribution, IsExactUpToTheLastExactScore)
{
    // A score that no bin has.
    constexpr float ODD = 0.123456F;
    ScoreDistribution distribution;
    for (std::size_t i = 0; i < ScoreDistribution::EXACT_SCORES; ++i) {
        distribution.Add(ODD);
    }
    EXPECT_EQ(distribution.Percentile(0.5), static_cast<double>(ODD));
    distribution.Add(ODD);
    EXPECT_EQ(distribution.Percentile(0.5), 0.12346);
    EXPECT_EQ(distribution.Minimum(), ODD);
    EXPECT_EQ(distribution.Count(), ScoreDistribution::EXACT_SCORES + 1);
}

TEST(ScoreDistribution, HasBinsForBothEnds)
{
    ScoreDistribution distribution;
    for (std::size_t i = 0; i <= ScoreDistribution::EXACT_SCORES; ++i) {
        distribution.Add(i % 2 == 0 ? 0.0F : 1.0F);
    }
    EXPECT_EQ(distribution.Percentile(0.5), 0.0);
    EXPECT_EQ(distribution.Percentile(0.51), 1.0);
    EXPECT_EQ(distribution.Percentile(1.0), 1.0);
    EXPECT_EQ(distribution.Minimum(), 0.0F);
}

}  // namespace
