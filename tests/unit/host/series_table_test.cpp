// SPDX-License-Identifier: MIT

#include "host/series_table.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace host {
namespace {

TEST(SeriesTable, KeepsEachSeriesOnce)
{
    SeriesTable table;
    Series* const plain = table.Find("", "rx_outer");
    Series* const socket0 = table.Find("S0", "rx_outer");
    Series* const socket1 = table.Find("S1", "rx_outer");
    ASSERT_NE(plain, nullptr);
    EXPECT_NE(plain, socket0);
    EXPECT_NE(socket0, socket1);
    EXPECT_EQ(table.Size(), 3U);
    EXPECT_EQ(table.Find("S1", "rx_outer"), socket1);
    EXPECT_EQ(table.Find("", "rx_outer"), plain);
    EXPECT_EQ(table.Find("S0", "rx_outer"), socket0);
    EXPECT_EQ(table.Size(), 3U);
    EXPECT_EQ(socket0->event.data(), socket1->event.data());
    EXPECT_EQ(socket0->event.data()[socket0->event.size()], '\0');
}

TEST(SeriesTable, FindsInAnyOrder)
{
    SeriesTable table;
    std::vector<Series*> found;
    for (int i = 0; i < 100; ++i) {
        found.push_back(table.Find("", "event" + std::to_string(i)));
    }
    for (int step = 1; step < 100; ++step) {
        for (int i = 0; i < 100; ++i) {
            const int k = i * step % 100;
            ASSERT_EQ(table.Find("", "event" + std::to_string(k)), found[static_cast<std::size_t>(k)]);
        }
    }
    EXPECT_EQ(table.Size(), 100U);
}

TEST(SeriesTable, DoesNotConfuseThePrefixWithTheEvent)
{
    SeriesTable table;
    EXPECT_NE(table.Find("a", "bc"), table.Find("ab", "c"));
    EXPECT_NE(table.Find("", "abc"), table.Find("abc", ""));
}

TEST(SeriesTable, NamesThePmu)
{
    SeriesTable table;
    EXPECT_EQ(table.Find("", "uncore_l3c2/rx_outer/")->pmu, "uncore_l3c2");
    EXPECT_EQ(table.Find("S0", "uncore_l3c2/rx_outer/")->pmu, "uncore_l3c2 S0");
    EXPECT_EQ(table.Find("", "rx_outer [uncore_l3c2]")->pmu, "uncore_l3c2");
    EXPECT_EQ(table.Find("N1", "rx_outer")->pmu, "N1");
    EXPECT_EQ(table.Find("", "rx_outer")->pmu, "-");
}

TEST(SeriesTable, BoundsNumberAndBytes)
{
    SeriesTable many;
    for (std::size_t i = 0; i < SeriesTable::MAX_SERIES; ++i) {
        ASSERT_NE(many.Find("", std::to_string(i)), nullptr);
    }
    EXPECT_EQ(many.Find("", "one more"), nullptr);
    EXPECT_NE(many.Find("", "17"), nullptr);

    SeriesTable wide;
    const std::string padding(1000, 'x');
    std::size_t kept = 0;
    while (kept < SeriesTable::MAX_SERIES && wide.Find("", padding + std::to_string(kept)) != nullptr) {
        ++kept;
    }
    EXPECT_LT(kept, SeriesTable::MAX_BYTES / 1000);
    EXPECT_GT(kept, SeriesTable::MAX_BYTES / 5000);
}

}  // namespace
}  // namespace host
