// SPDX-License-Identifier: MIT

#include "common/stat_reader.h"

#include <cstdint>
#include <limits>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "tests/support/probe_tree.h"

namespace {

using cpu_stat::Percent;
using cpu_stat::Ticks;
using cpu_stat::TYPE_COUNT;

constexpr uint64_t MAX = std::numeric_limits<uint64_t>::max();
const Ticks UNTOUCHED{9, 9, 9, 9, 9, 9, 9, 9, 9, 9};

TEST(ParseTicks, TakesTenNumbersAfterTheLabel)
{
    const Ticks counted{1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
    const char* lines[] = {"cpu0 1 2 3 4 5 6 7 8 9 10",          "cpu  1 2 3 4 5 6 7 8 9 10 ",
                           " \tcpu0\t1 2  3\t4 5 6 7 8 9 10\r",  "cpu0 1 2 3 4 5 6 7 8 9 10 11 12",
                           "cpu0 1 2 3 4 5 6 7 8 9 10 trailing", "anything 01 02 03 04 05 06 07 08 09 010"};
    for (const char* line : lines) {
        Ticks ticks = UNTOUCHED;
        EXPECT_TRUE(cpu_stat::ParseTicks(line, ticks)) << line;
        EXPECT_EQ(ticks, counted) << line;
    }
    Ticks ticks;
    EXPECT_TRUE(cpu_stat::ParseTicks("cpu 0 0 0 0 0 0 0 0 0 18446744073709551615", ticks));
    EXPECT_EQ(ticks[9], MAX);
}

TEST(ParseTicks, RefusesFewerAndLeavesTheOutputAlone)
{
    const std::string lines[] = {"",
                                 " ",
                                 "cpu0",
                                 "cpu0 1 2 3 4 5 6 7 8 9",
                                 "1 2 3 4 5 6 7 8 9 10",  // the first is the label
                                 "cpu0 1 2 3 4 5 6 7 8 9 x",
                                 "cpu0 1 2 3 4 5 6 7 8 9 10x",
                                 "cpu0 1 2 3 4 5 6 7 8 9 -1",
                                 "cpu0 1 2 3 4 5 6 7 8 9 +1",
                                 "cpu0 1 2 3 4 5 6 7 8 9 0x1",
                                 "cpu0 1 2 3 4 5 6 7 8 9 1.5",
                                 "cpu0 1,2,3,4,5,6,7,8,9,10",
                                 "cpu0 1 2 3 4 5 6 7 8 9 18446744073709551616",
                                 "cpu0 99999999999999999999999 2 3 4 5 6 7 8 9 10",
                                 std::string("cpu0 1 2 3 4\0 5 6 7 8 9 10", 26),
                                 "intr"};
    for (const std::string& line : lines) {
        Ticks ticks = UNTOUCHED;
        EXPECT_FALSE(cpu_stat::ParseTicks(line, ticks)) << line;
        EXPECT_EQ(ticks, UNTOUCHED) << line;
    }
}

TEST(IsCpuLine, LooksAtTheBeginningOfTheLabel)
{
    for (const char* line : {"cpu0 1", "cpu 1", "  cpu7 1", "cpu", "cpux"}) {
        EXPECT_TRUE(cpu_stat::IsCpuLine(line)) << line;
    }
    for (const char* line : {"", "intr 1 2", "cp", "CPU0 1", "xcpu0 1", "1 cpu0", "softirq 1"}) {
        EXPECT_FALSE(cpu_stat::IsCpuLine(line)) << line;
    }
}

TEST(RatesBetween, SharesTheTimeAmongTheCategories)
{
    const Percent rates = cpu_stat::RatesBetween({10, 20, 30, 40, 50, 60, 70, 80, 90, 100},
                                                 {11, 22, 33, 44, 55, 66, 77, 88, 99, 110});
    for (size_t type = 0; type < TYPE_COUNT; ++type) {
        EXPECT_EQ(rates[type], static_cast<float>(static_cast<double>(type + 1) * 100.0 / 55.0)) << type;
    }
}

TEST(RatesBetween, IsZeroWhenNothingIncreased)
{
    EXPECT_EQ(cpu_stat::RatesBetween(Ticks{}, Ticks{}), Percent{});
    EXPECT_EQ(cpu_stat::RatesBetween({1, 2, 3}, {1, 2, 3}), Percent{});
    EXPECT_EQ(cpu_stat::RatesBetween({5, 5, 5}, {4, 0, 5}), Percent{});
    EXPECT_EQ(cpu_stat::RatesBetween({MAX, MAX, MAX}, {0, 0, 0}), Percent{});
}

TEST(RatesBetween, CountsAStepBackAsNoStep)
{
    // As recorded: iowait goes from 40 to 39 while the CPU idles.
    EXPECT_EQ(cpu_stat::RatesBetween({100, 0, 50, 1000, 40}, {101, 0, 51, 1098, 39}),
              (Percent{1, 0, 1, 98, 0, 0, 0, 0, 0, 0}));
    // The totals agree, but something moved.
    EXPECT_EQ(cpu_stat::RatesBetween({10, 10}, {11, 9}), (Percent{100, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
}

TEST(RatesBetween, StaysWithin0To100WhateverTheCountersDo)
{
    std::mt19937_64 random(14);
    for (int round = 0; round < 200000; ++round) {
        Ticks previous;
        Ticks current;
        for (size_t type = 0; type < TYPE_COUNT; ++type) {
            const unsigned shift = static_cast<unsigned>(random() % 64);
            previous[type] = random() % 4 == 0 ? random() : random() >> shift;
            current[type] = random() % 3 == 0 ? previous[type] : random() % 5 == 0 ? MAX : random() >> shift;
        }
        double sum = 0;
        bool increased = false;
        const Percent rates = cpu_stat::RatesBetween(previous, current);
        for (size_t type = 0; type < TYPE_COUNT; ++type) {
            ASSERT_TRUE(rates[type] >= 0 && rates[type] <= 100) << rates[type];
            increased = increased || current[type] > previous[type];
            sum += static_cast<double>(rates[type]);
        }
        ASSERT_NEAR(sum, increased ? 100 : 0, 0.001);
    }
}

TEST(RatesBetween, SurvivesASumBeyond64Bits)
{
    const Percent rates = cpu_stat::RatesBetween(Ticks{}, {MAX, MAX, 0, 0, 0, 0, 0, 0, 0, 0});
    EXPECT_EQ(rates, (Percent{50, 50, 0, 0, 0, 0, 0, 0, 0, 0}));
    // Sums to exactly 2^64: the wrapped sum is 0.
    EXPECT_EQ(cpu_stat::RatesBetween(Ticks{}, {1ULL << 63, 1ULL << 63}),
              (Percent{50, 50, 0, 0, 0, 0, 0, 0, 0, 0}));
}

TEST(SampleReader, EndsInAFileOfNothingButWhiteSpace)
{
    const support::TempTree tree;
    cpu_stat::SampleReader blank(tree.Write("blank", std::string(10U << 20, '\n')).c_str(), 2);
    Ticks ticks = UNTOUCHED;
    EXPECT_FALSE(blank.Next(ticks));
    cpu_stat::SampleReader zeros("/dev/zero", 2);
    EXPECT_FALSE(zeros.Next(ticks));
    cpu_stat::SampleReader empty("/dev/null", 2);
    EXPECT_FALSE(empty.Next(ticks));
    EXPECT_EQ(ticks, UNTOUCHED);
}

TEST(SampleReader, ReadsLinesOfAnyLength)
{
    const support::TempTree tree;
    const std::string numbers = " 1 2 3 4 5 6 7 8 9 10";
    const std::string text = "cpu" + numbers + std::string(5000, ' ') + "11\n\n  \ncpu0" + numbers + " " +
                             std::string(9000, '1') + " cpu9" + numbers + "\ncpu1" + numbers;
    cpu_stat::SampleReader reader(tree.Write("stat", text).c_str(), 20);
    Ticks ticks{};
    EXPECT_TRUE(reader.Next(ticks));
    EXPECT_TRUE(reader.Next(ticks));
    EXPECT_TRUE(reader.Next(ticks));
    EXPECT_EQ(ticks[9], 10U);
    EXPECT_FALSE(reader.Next(ticks));
}

}  // namespace
