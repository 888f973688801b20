// SPDX-License-Identifier: MIT

#include "tools/numa_score/text_format.h"

#include <cfloat>
#include <cmath>
#include <cstdint>
#include <limits>
#include <locale>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using namespace numa_score;

constexpr std::int64_t SMALLEST = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t LARGEST = std::numeric_limits<std::int64_t>::max();

/// What a function appends to text that is there already.
template <class Function, class... Args>
std::string Appended(Function function, Args... args)
{
    std::string out = "|";
    function(out, args...);
    EXPECT_EQ(out.substr(0, 1), "|");
    return out.substr(1);
}

/// Numbers as nobody wants them in a file.
class OddNumbers : public std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
};

TEST(AppendUnsigned, WritesEveryDigit)
{
    EXPECT_EQ(Appended(AppendUnsigned, 0U), "0");
    EXPECT_EQ(Appended(AppendUnsigned, UINT64_MAX), "18446744073709551615");
}

TEST(AppendSigned, WritesEveryDigit)
{
    EXPECT_EQ(Appended(AppendSigned, 0), "0");
    EXPECT_EQ(Appended(AppendSigned, SMALLEST), "-9223372036854775808");
    EXPECT_EQ(Appended(AppendSigned, LARGEST), "9223372036854775807");
}

TEST(AppendFixed, WritesPlacesAndWhatIsNoNumber)
{
    struct Case {
        double value;
        int decimals;
        std::string text;
    };
    const std::vector<Case> cases = {
        {0.0, 0, "0"},
        {-0.0, 1, "-0.0"},
        {1234567.0, 2, "1234567.00"},
        {0.99999, 4, "1.0000"},
        {0.00001, 4, "0.0000"},
        {2.0 / 3.0, 9, "0.666666667"},
        {1e22, 1, "10000000000000000000000.0"},
        {std::nan(""), 3, "nan"},
        {HUGE_VAL, 3, "inf"},
        {-HUGE_VAL, 3, "-inf"},
    };
    for (const Case& item : cases) {
        EXPECT_EQ(Appended(AppendFixed, item.value, item.decimals), item.text);
    }
    // The longest text there is: a sign, 309 digits, a point and nine places.
    const std::string longest = Appended(AppendFixed, -DBL_MAX, 9);
    EXPECT_EQ(longest.size(), 320U);
    EXPECT_EQ(longest.substr(0, 12), "-17976931348");
}

TEST(AppendShortest, ReadsBackAsTheSameFloat)
{
    const auto ofFloat = [](float value) {
        std::string out;
        AppendShortest(out, value);
        return out;
    };
    EXPECT_EQ(ofFloat(1.0F), "1");
    EXPECT_EQ(ofFloat(0.0F), "0");
    EXPECT_EQ(ofFloat(0.97F), "0.97");
    EXPECT_EQ(ofFloat(1.0F / 3.0F), "0.33333334");
    for (const float value : {0.1F, 0.955F, FLT_MIN, FLT_MAX, std::nextafter(1.0F, 0.0F)}) {
        EXPECT_EQ(std::stof(ofFloat(value)), value);
    }
    std::string ofDouble;
    AppendShortest(ofDouble, 0.955);
    EXPECT_EQ(ofDouble, "0.955");
}

TEST(WithDigitsOf, GivesTheDoubleOfTheFloatsDigits)
{
    EXPECT_EQ(WithDigitsOf(0.97F), 0.97);
    EXPECT_NE(static_cast<double>(0.97F), 0.97);
    EXPECT_EQ(WithDigitsOf(0.0F), 0.0);
    EXPECT_EQ(WithDigitsOf(1.0F), 1.0);
    EXPECT_EQ(WithDigitsOf(FLT_MIN), 1.1754944e-38);
}

TEST(AppendSeconds, CutsOff)
{
    struct Case {
        std::int64_t ns;
        int decimals;
        std::string text;
    };
    const std::vector<Case> cases = {
        {0, 0, "0"},
        {0, 9, "0.000000000"},
        {1, 9, "0.000000001"},
        {1234567890, 3, "1.234"},
        {1999999999, 3, "1.999"},
        {1999999999, 0, "1"},
        {-1, 9, "-0.000000001"},
        {-1500000000, 1, "-1.5"},
        {LARGEST, 9, "9223372036.854775807"},
        {SMALLEST, 9, "-9223372036.854775808"},
    };
    for (const Case& item : cases) {
        EXPECT_EQ(Appended(AppendSeconds, item.ns, item.decimals), item.text) << item.ns;
    }
}

TEST(AppendUtc, WritesMomentsOfEveryCentury)
{
    struct Case {
        std::int64_t ns;
        std::string text;
    };
    const std::vector<Case> cases = {
        {0, "1970-01-01T00:00:00.000Z"},
        {1769832902123999999, "2026-01-31T04:15:02.123Z"},
        {951782400000000000, "2000-02-29T00:00:00.000Z"},
        {-1, "1969-12-31T23:59:59.999Z"},
        {-1000000000, "1969-12-31T23:59:59.000Z"},
        {LARGEST, "2262-04-11T23:47:16.854Z"},
        {SMALLEST, "1677-09-21T00:12:43.145Z"},
    };
    for (const Case& item : cases) {
        EXPECT_EQ(Appended(AppendUtc, item.ns), item.text);
        EXPECT_EQ(Appended(AppendUtcTimeOfDay, item.ns), item.text.substr(11, 12));
    }
}

TEST(AppendScaled, FitsSevenCharacters)
{
    struct Case {
        double value;
        std::string text;
    };
    const std::vector<Case> cases = {
        {0, "0.0"},
        {0.04, "0.0"},
        {9999.94, "9999.9"},
        {9999.95, "10.00k"},
        {12345, "12.35k"},
        {99994, "99.99k"},
        {99995, "100.0k"},
        {123456, "123.5k"},
        {999949, "999.9k"},
        {999950, "1.00M"},
        {12345678, "12.35M"},
        {1e9, "1.00G"},
        {1e12, "1.00T"},
        {1e15, "1.00P"},
        {1e18, "1.00E"},
        {18446744073709551615.0, "18.45E"},
        {-9999.94, "-9999.9"},
        {-123456, "-123.5k"},
    };
    for (const Case& item : cases) {
        const std::string text = Appended(AppendScaled, item.value);
        EXPECT_EQ(text, item.text);
        EXPECT_LE(text.size(), 7U);
    }
    EXPECT_EQ(Appended(AppendScaled, std::nan("")), "nan");
}

TEST(AppendPercent, WritesPartsOfOne)
{
    EXPECT_EQ(Appended(AppendPercent, 0.0), "0.00%");
    EXPECT_EQ(Appended(AppendPercent, 0.01234), "1.23%");
    EXPECT_EQ(Appended(AppendPercent, 1.0), "100.00%");
    EXPECT_EQ(Appended(AppendPercent, 2.5), "250.00%");
}

TEST(AppendRight, PadsAndNeverCuts)
{
    EXPECT_EQ(Appended(AppendRight, "ab", 4U), "  ab");
    EXPECT_EQ(Appended(AppendRight, "abcd", 4U), "abcd");
    EXPECT_EQ(Appended(AppendRight, "abcdef", 4U), "abcdef");
    EXPECT_EQ(Appended(AppendRight, "", 2U), "  ");
    EXPECT_EQ(Appended(AppendRight, "", 0U), "");
}

TEST(TextFormat, DoesNotAskTheLocale)
{
    const std::locale before = std::locale::global(std::locale(std::locale::classic(), new OddNumbers));
    EXPECT_EQ(Appended(AppendUnsigned, 1234567U), "1234567");
    EXPECT_EQ(Appended(AppendFixed, 1234.5, 2), "1234.50");
    EXPECT_EQ(Appended(AppendSeconds, 1234567890123, 3), "1234.567");
    EXPECT_EQ(Appended(AppendScaled, 1234567.0), "1.23M");
    std::locale::global(before);
}

}  // namespace
