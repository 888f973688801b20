// SPDX-License-Identifier: MIT

#include "tools/tnstat/text.h"

#include <cstdint>
#include <limits>
#include <string>

#include <gtest/gtest.h>

namespace {

TEST(TnstatText, TimesAreUtcWithMilliseconds)
{
    const struct {
        std::int64_t ns;
        const char* text;
    } cases[] = {
        {0, "1970-01-01T00:00:00.000Z"},
        {999999, "1970-01-01T00:00:00.000Z"},
        {1000000, "1970-01-01T00:00:00.001Z"},
        {-1, "1969-12-31T23:59:59.999Z"},
        {1795249800123000000, "2026-11-21T08:30:00.123Z"},
        {951782400000000000, "2000-02-29T00:00:00.000Z"},
        {std::numeric_limits<std::int64_t>::max(), "2262-04-11T23:47:16.854Z"},
        {std::numeric_limits<std::int64_t>::min(), "1677-09-21T00:12:43.145Z"},
    };
    for (const auto& [ns, text] : cases) {
        EXPECT_EQ(tnstat::UtcTime(ns), text) << ns;
    }
}

TEST(TnstatText, FloatsAreAsShortAsTheyCanBe)
{
    EXPECT_EQ(tnstat::ShortestFloat(0.955F), "0.955");
    EXPECT_EQ(tnstat::ShortestFloat(1.0F), "1");
    EXPECT_EQ(tnstat::ShortestFloat(0.0F), "0");
    EXPECT_EQ(tnstat::ShortestFloat(1.0F / 3.0F), "0.33333334");
    EXPECT_EQ(tnstat::ShortestFloat(1e-10F), "1e-10");
}

TEST(TnstatText, ADoubleKeepsTheDecimalOfTheFloat)
{
    EXPECT_EQ(tnstat::DecimalDouble(0.955F), 0.955);
    EXPECT_EQ(tnstat::DecimalDouble(1.0F), 1.0);
    EXPECT_NE(static_cast<double>(0.955F), 0.955);
}

}  // namespace
