// SPDX-License-Identifier: MIT

#include "host/kernel_counts.h"

#include <cstdint>

#include <limits>
#include <string>

#include <gtest/gtest.h>

#include "host/text_file.h"

namespace {

const std::string MACHINES = std::string(SOURCE_DIR) + "/tests/fixtures/machines/";
const std::string GOOD =
    "numa_hit 1\nnuma_miss 2\nnuma_foreign 3\ninterleave_hit 4\nlocal_node 5\nother_node 6\n";

std::string Text(const host::NodeCounts& counts)
{
    return std::to_string(counts.hit) + " " + std::to_string(counts.miss) + " " +
           std::to_string(counts.foreign) + " " + std::to_string(counts.interleave) + " " +
           std::to_string(counts.local) + " " + std::to_string(counts.other);
}

std::string Text(const host::HintCounts& counts)
{
    return std::to_string(counts.faults) + " " + std::to_string(counts.local) + " " +
           std::to_string(counts.migrated);
}

TEST(NodeCounts, OfEveryRow)
{
    const host::NodeCountsResult result = host::ParseNodeCounts(GOOD);
    EXPECT_EQ(result.error, "");
    EXPECT_EQ(Text(result.counts), "1 2 3 4 5 6");
}

TEST(NodeCounts, OfCapturedAndComposedMachines)
{
    const struct {
        const char* path;
        const char* counts;
    } cases[] = {
        {"captured-2cpu/sys/devices/system/node/node0/numastat", "1388457941 0 0 1120 1388457941 0"},
        {"aarch64-128cpu/sys/devices/system/node/node0/numastat", "1000000 0 30 512 900000 100000"},
        {"aarch64-128cpu/sys/devices/system/node/node3/numastat", "1000003 60 30 512 900000 100063"}};
    for (const auto& row : cases) {
        const host::TextFile file = host::ReadTextFile(MACHINES + row.path);
        ASSERT_EQ(file.error, "");
        const host::NodeCountsResult result = host::ParseNodeCounts(file.text);
        EXPECT_EQ(result.error, "") << row.path;
        EXPECT_EQ(Text(result.counts), row.counts) << row.path;
    }
}

TEST(NodeCounts, AcceptsWhatKernelsDifferIn)
{
    const struct {
        std::string text;
        const char* counts;
    } cases[] = {
        {"numa_hit 1\nnuma_miss 2\nlocal_node 5\nother_node 6\n", "1 2 0 0 5 6"},
        {"other_node 6\nlocal_node 5\nnuma_miss 2\nnuma_hit 1", "1 2 0 0 5 6"},
        {GOOD + "numa_of_tomorrow x y z\n\n", "1 2 3 4 5 6"},
        {"numa_hit   1 \r\nnuma_miss 2\nlocal_node 5\nother_node 6\n", "1 2 0 0 5 6"},
        {"numa_hit 18446744073709551615\nnuma_miss 0\nlocal_node 0\nother_node 0\n",
         "18446744073709551615 0 0 0 0 0"},
    };
    for (const auto& row : cases) {
        const host::NodeCountsResult result = host::ParseNodeCounts(row.text);
        EXPECT_EQ(result.error, "") << row.text;
        EXPECT_EQ(Text(result.counts), row.counts) << row.text;
    }
}

TEST(NodeCounts, RefusesMalformedRows)
{
    const std::string expected = "', expected a name, a blank and a count below 2^64";
    const struct {
        std::string text;
        std::string error;
    } cases[] = {
        {"", "no row numa_hit"},
        {"numa_hit 1\n", "no row numa_miss"},
        {"numa_hit 1\nnuma_miss 1\nlocal_node 1\n", "no row other_node"},
        {"numa_hit 1\nnuma_miss 1\nother_node 1\n", "no row local_node"},
        {"numa_hit\n" + GOOD, "row 'numa_hit" + expected},
        {"numa_hit \n" + GOOD, "row 'numa_hit " + expected},
        {"numa_hit -1\n" + GOOD, "row 'numa_hit -1" + expected},
        {"numa_hit +1\n" + GOOD, "row 'numa_hit +1" + expected},
        {"numa_hit 1 2\n" + GOOD, "row 'numa_hit 1 2" + expected},
        {"numa_hit 0x1\n" + GOOD, "row 'numa_hit 0x1" + expected},
        {"numa_hit 18446744073709551616\n" + GOOD, "row 'numa_hit 18446744073709551616" + expected},
        {"interleave_hit x\n" + GOOD, "row 'interleave_hit x" + expected},
        {GOOD + "other_node 6\n", "row other_node stands there twice, expected it once"},
        {"numa_hit \x1b[2J\n" + GOOD, "row 'numa_hit \\x1b[2J" + expected},
        {std::string("numa_hit 1\0", 11) + "\n" + GOOD, "row 'numa_hit 1\\x00" + expected},
        {"numa_hit " + std::string(100000, '9'), "row 'numa_hit " + std::string(55, '9') + "..." + expected},
    };
    for (const auto& row : cases) {
        EXPECT_EQ(host::ParseNodeCounts(row.text).error, row.error) << row.text.substr(0, 80);
    }
}

TEST(HintCounts, OfCapturedAndComposedMachines)
{
    const struct {
        const char* machine;
        const char* counts;
    } cases[] = {{"captured-2cpu", "3441505 3441505 0"}, {"aarch64-128cpu", "60000 45000 9000"}};
    for (const auto& row : cases) {
        const host::TextFile file = host::ReadTextFile(MACHINES + row.machine + "/proc/vmstat");
        ASSERT_EQ(file.error, "");
        const host::HintCountsResult result = host::ParseHintCounts(file.text);
        EXPECT_EQ(result.error, "") << row.machine;
        EXPECT_EQ(Text(result.counts), row.counts) << row.machine;
    }
}

TEST(HintCounts, AreAbsentFromKernelsWithoutBalancing)
{
    const host::HintCountsResult result = host::ParseHintCounts("nr_free_pages 1\nnuma_hit 2\n");
    EXPECT_TRUE(result.missing);
    EXPECT_EQ(result.error, "no row numa_hint_faults");
    const host::HintCountsResult half = host::ParseHintCounts("numa_hint_faults 2\n");
    EXPECT_TRUE(half.missing);
    EXPECT_EQ(half.error, "no row numa_hint_faults_local");
}

TEST(HintCounts, RefusesMalformedRows)
{
    const host::HintCountsResult result =
        host::ParseHintCounts("numa_hint_faults 2\nnuma_hint_faults_local two\n");
    EXPECT_FALSE(result.missing);
    EXPECT_EQ(result.error,
              "row 'numa_hint_faults_local two', expected a name, a blank and a count below 2^64");
    const host::HintCountsResult sound =
        host::ParseHintCounts("nr_free_pages x\nnuma_hint_faults 2\nnuma_hint_faults_local 1\n");
    EXPECT_EQ(sound.error, "");
    EXPECT_EQ(Text(sound.counts), "2 1 0");
}

TEST(Counted, ACounterThatSteppedBackCountsAsUnchanged)
{
    EXPECT_EQ(Text(host::CountedSince({10, 20, 30, 40, 50, 60}, {15, 19, 30, 0, 51, 1060})),
              "5 0 0 0 1 1000");
    EXPECT_EQ(Text(host::CountedSince(host::HintCounts{10, 20, 30}, {9, 25, 30})), "0 5 0");
}

TEST(Counted, SumsStopAtTheLargestNumber)
{
    constexpr std::uint64_t MOST = std::numeric_limits<std::uint64_t>::max();
    host::NodeCounts sum{MOST - 1, 0, 0, 0, 5, 0};
    host::AddTo(sum, {2, 1, 0, 0, 5, MOST});
    EXPECT_EQ(Text(sum), std::to_string(MOST) + " 1 0 0 10 " + std::to_string(MOST));
}

}  // namespace
