// SPDX-License-Identifier: MIT

#include "tools/tnstat/quality.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

std::vector<std::string> FlagsOf(const UncoreMetrics& uncore)
{
    std::vector<std::string> set;
    for (const auto& [flag, isSet] : tnstat::ScoreQuality(uncore)) {
        if (isSet) {
            set.push_back(flag);
        }
    }
    return set;
}

TEST(TnstatQuality, AllFlagsAreAlwaysThereInOneOrder)
{
    std::vector<std::string> names;
    for (const auto& flag : tnstat::ScoreQuality({})) {
        names.push_back(flag.first);
    }
    EXPECT_THAT(names, testing::ElementsAre("no_interval", "no_operations", "remote_exceeds_operations",
                                            "score_differs"));
}

TEST(TnstatQuality, NamesWhatMakesAScoreDoubtful)
{
    const struct {
        const char* what;
        UncoreMetrics uncore;
        std::vector<std::string> flags;
    } cases[] = {
        {"sound", {1000, 100, 5, 5, 0.9F}, {}},
        {"all local", {1000, 100, 0, 0, 1.0F}, {}},
        {"all remote", {1000, 100, 60, 40, 0.0F}, {}},
        {"nothing measured", {0, 0, 0, 0, 1.0F}, {"no_interval", "no_operations"}},
        {"idle", {1000, 0, 0, 0, 1.0F}, {"no_operations"}},
        {"idle with a score", {1000, 0, 0, 0, 0.5F}, {"no_operations", "score_differs"}},
        {"more remote than there are", {1000, 100, 60, 41, 0.0F}, {"remote_exceeds_operations"}},
        {"remote without operations", {1000, 0, 1, 0, 1.0F}, {"no_operations", "remote_exceeds_operations"}},
        {"within tolerance", {1000, 100, 10, 0, 0.86F}, {}},
        {"beyond tolerance", {1000, 100, 10, 0, 0.84F}, {"score_differs"}},
        {"largest counts", {1000, ~0ULL, ~0ULL, ~0ULL, 0.0F}, {"remote_exceeds_operations"}},
    };
    for (const auto& [what, uncore, flags] : cases) {
        EXPECT_EQ(FlagsOf(uncore), flags) << what;
    }
}

}  // namespace
