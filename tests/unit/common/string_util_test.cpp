// SPDX-License-Identifier: MIT

#include "common/string_util.h"

#include <clocale>
#include <cstdint>
#include <limits>
#include <locale>
#include <random>
#include <string>

#include <gtest/gtest.h>

namespace {

constexpr unsigned UNTOUCHED = 987654321;

TEST(StringToUint, TakesStrictDecimals)
{
    const struct {
        const char* text;
        unsigned value;
    } cases[] = {{"0", 0},
                 {"1", 1},
                 {"9", 9},
                 {"10", 10},
                 {"255", 255},
                 {"65536", 65536},
                 {"999999999", 999999999},
                 {"1000000000", 1000000000},
                 {"4294967294", 4294967294},
                 {"4294967295", 4294967295}};
    for (const auto& expected : cases) {
        unsigned value = UNTOUCHED;
        EXPECT_TRUE(StringToUint(expected.text, value)) << expected.text;
        EXPECT_EQ(value, expected.value) << expected.text;
    }
}

TEST(StringToUint, RefusesEverythingElseAndLeavesTheOutputAlone)
{
    const std::string cases[] = {"",
                                 "00",
                                 "01",
                                 "007",
                                 "0000000000",
                                 "4294967296",
                                 "9999999999",
                                 "12345678901",
                                 "00000000001",
                                 "+1",
                                 "-1",
                                 "-0",
                                 " 1",
                                 "1 ",
                                 "1 2",
                                 "\t1",
                                 "1\n",
                                 "0x10",
                                 "1e3",
                                 "1.0",
                                 "a",
                                 "1a",
                                 "12,",
                                 "\xd9\xa1",
                                 std::string("1\0", 2),
                                 std::string("\0", 1),
                                 std::string("1\0002", 3),
                                 std::string(1U << 20, '1')};
    for (const std::string& text : cases) {
        unsigned value = UNTOUCHED;
        EXPECT_FALSE(StringToUint(text, value)) << testing::PrintToString(text.substr(0, 20));
        EXPECT_EQ(value, UNTOUCHED) << testing::PrintToString(text.substr(0, 20));
    }
}

TEST(StringToUint, TakesExactlyWhatPrintsBackTheSame)
{
    std::mt19937_64 random(20);
    const std::string alphabet = "0123456789+- x";
    for (int round = 0; round < 200000; ++round) {
        std::string text(random() % 12, ' ');
        for (char& c : text) {
            c = alphabet[random() % (random() % 8 == 0 ? alphabet.size() : 10)];
        }
        unsigned value = UNTOUCHED;
        const bool taken = StringToUint(text, value);
        const bool digits = !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
        const uint64_t number = digits ? std::stoull(text) : 0;
        const bool expected =
            digits && std::to_string(number) == text && number <= std::numeric_limits<uint32_t>::max();
        ASSERT_EQ(taken, expected) << text;
        ASSERT_EQ(value, expected ? number : UNTOUCHED) << text;
    }
}

struct CommaPoint : std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
};

TEST(FloatToStr, UsesFixedNotation)
{
    const struct {
        float value;
        int precision;
        const char* text;
    } cases[] = {{0.0F, 0, "0"},
                 {0.0F, 3, "0.000"},
                 {-0.0F, 1, "-0.0"},
                 {1.0F, 2, "1.00"},
                 {1.5F, 0, "2"},
                 {2.5F, 0, "2"},
                 {0.955F, 3, "0.955"},
                 {0.1F, 10, "0.1000000015"},
                 {-12.345F, 2, "-12.35"},
                 {1e-7F, 3, "0.000"},
                 {16777216.0F, 1, "16777216.0"},
                 {1e20F, 0, "100000002004087734272"},
                 {3.4028235e38F, 0, "340282346638528859811704183484516925440"},
                 {1.25F, -3, "1"},
                 {std::numeric_limits<float>::infinity(), 2, "inf"},
                 {-std::numeric_limits<float>::infinity(), 2, "-inf"},
                 {std::numeric_limits<float>::quiet_NaN(), 2, "nan"},
                 {-std::numeric_limits<float>::quiet_NaN(), 2, "nan"}};
    for (const auto& expected : cases) {
        EXPECT_EQ(FloatToStr(expected.value, expected.precision), expected.text) << expected.text;
    }
}

TEST(FloatToStr, BoundsThePrecision)
{
    EXPECT_EQ(FloatToStr(0.5F, 1000), "0.5" + std::string(999, '0'));
    EXPECT_EQ(FloatToStr(0.5F, std::numeric_limits<int>::max()), "0.5" + std::string(999, '0'));
    EXPECT_EQ(FloatToStr(0.5F, std::numeric_limits<int>::min()), "0");
}

TEST(FloatToStr, IgnoresALocaleWithACommaAndGroups)
{
    const std::locale before = std::locale::global(std::locale(std::locale::classic(), new CommaPoint));
    const std::string text = FloatToStr(1234.5F, 1);
    std::locale::global(before);
    EXPECT_EQ(text, "1234.5");
}

}  // namespace
