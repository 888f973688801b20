// SPDX-License-Identifier: MIT

#include "tools/tarnix_config/nearest.h"

#include <string>

#include <gtest/gtest.h>

namespace {

using tarnix_config::EditDistance;
using tarnix_config::Nearest;

TEST(Nearest, CountsInsertionsDeletionsReplacementsAndSwaps)
{
    const struct {
        const char* one;
        const char* other;
        std::size_t distance;
    } cases[] = {
        {"", "", 0},      {"", "abc", 3},         {"abc", "abc", 0},   {"abc", "abd", 1},
        {"abc", "ab", 1}, {"abc", "acb", 1},      {"abcd", "badc", 2}, {"kitten", "sitting", 3},
        {"ca", "abc", 3}, {"policy", "plicy", 1},
    };
    for (const auto& [one, other, distance] : cases) {
        EXPECT_EQ(EditDistance(one, other), distance) << one << " and " << other;
        EXPECT_EQ(EditDistance(other, one), distance) << other << " and " << one;
    }
    EXPECT_EQ(EditDistance(std::string(1000000, 'a'), "a"), 1000000U) << "and at once";
    EXPECT_EQ(EditDistance("a", std::string(1000000, 'a')), 1000000U) << "and at once";
    const std::string longest(64, 'a');
    EXPECT_EQ(EditDistance(longest, "b" + longest.substr(1)), 1U);
    EXPECT_EQ(EditDistance(longest + "a", longest), 65U) << "names that long are not compared";
}

TEST(Nearest, SuggestsWhatWasProbablyMeant)
{
    const std::vector<std::string> known = {"sampling-interval", "sampling-times", "smt", "irq", "log-level"};
    EXPECT_EQ(Nearest("sampling-intervall", known), "sampling-interval");
    EXPECT_EQ(Nearest("sampling_times", known), "sampling-times");
    EXPECT_EQ(Nearest("LOG-LEVEL", known), "log-level");
    EXPECT_EQ(Nearest("loglevel", known), "log-level");
    EXPECT_EQ(Nearest("smg", known), "smt");
    EXPECT_EQ(Nearest("xyz", known), "");
    EXPECT_EQ(Nearest("", known), "");
    EXPECT_EQ(Nearest("something-else", known), "");
    EXPECT_EQ(Nearest("smt", {}), "");
}

}  // namespace
