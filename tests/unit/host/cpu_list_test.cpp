// SPDX-License-Identifier: MIT

#include "host/cpu_list.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using Cpus = std::vector<std::uint32_t>;

TEST(CpuList, ReadsWhatTheKernelWrites)
{
    const struct {
        const char* text;
        Cpus cpus;
    } cases[] = {
        {"0\n", {0}},
        {"0-3\n", {0, 1, 2, 3}},
        {"0-3,8,10-11\n", {0, 1, 2, 3, 8, 10, 11}},
        {"0,32,64,96\n", {0, 32, 64, 96}},
        {"5-5", {5}},
        {"65535", {65535}},
        {"  1-2 \t\r\n\n", {1, 2}},
        {"007", {7}},
        {"0-7:2/4\n", {0, 1, 4, 5}},
        {"0-9:1/3,20", {0, 3, 6, 9, 20}},
        {"2-9:3/3", {2, 3, 4, 5, 6, 7, 8, 9}},
        {"3,1-2,2", {1, 2, 3}},
    };
    for (const auto& row : cases) {
        const host::CpuListResult result = host::ParseCpuList(row.text);
        EXPECT_EQ(result.error, "") << row.text;
        EXPECT_EQ(result.cpus, row.cpus) << row.text;
    }
}

TEST(CpuList, AnEmptyMaskIsAnEmptyList)
{
    for (const char* text : {"", "\n", " \t\n"}) {
        const host::CpuListResult result = host::ParseCpuList(text);
        EXPECT_EQ(result.error, "");
        EXPECT_THAT(result.cpus, IsEmpty());
    }
}

TEST(CpuList, ReadsAsManyCpusAsThereCanBe)
{
    const host::CpuListResult result = host::ParseCpuList("0-65535\n");
    EXPECT_EQ(result.error, "");
    ASSERT_EQ(result.cpus.size(), 65536U);
    EXPECT_EQ(result.cpus.back(), 65535U);
}

TEST(CpuList, SaysWhatIsWrong)
{
    const std::string advice = "; a list reads like 0-3,8,10-11";
    const struct {
        const char* text;
        std::string error;
    } cases[] = {
        {"x", "CPU list 'x': expected a number at column 1" + advice},
        {"0-", "CPU list '0-': expected a number at column 3" + advice},
        {"-3", "CPU list '-3': expected a number at column 1" + advice},
        {"+3", "CPU list '+3': expected a number at column 1" + advice},
        {"0,,2", "CPU list '0,,2': expected a number at column 3" + advice},
        {"0,", "CPU list '0,': expected a number at column 3" + advice},
        {"0-3 5", "CPU list '0-3 5': expected ',' or the end at column 4" + advice},
        {"0x10", "CPU list '0x10': expected ',' or the end at column 2" + advice},
        {"0-3:2", "CPU list '0-3:2': expected '/' and the size of the groups at column 6" + advice},
        {"0-3:/2", "CPU list '0-3:/2': expected a number at column 5" + advice},
        {"3-0", "CPU list '3-0': the range 3-0 runs backwards"},
        {"65536", "CPU list '65536': the number at column 1 is above 65535"},
        {"0-99999999999999999999",
         "CPU list '0-99999999999999999999': the number at column 3 is above 65535"},
        {"0-7:0/4",
         "CPU list '0-7:0/4': ':0/4' takes more of a group than it has, or none; a group reads like "
         "0-31:2/4"},
        {"0-7:5/4",
         "CPU list '0-7:5/4': ':5/4' takes more of a group than it has, or none; a group reads like "
         "0-31:2/4"},
        {"0-7:0/0",
         "CPU list '0-7:0/0': ':0/0' takes more of a group than it has, or none; a group reads like "
         "0-31:2/4"},
        {"0-65535,0", "CPU list '0-65535,0': names more than 65536 CPUs"},
        {"1\n2", "CPU list '1\\n2': expected ',' or the end at column 2" + advice},
        {"\x1b[2J", "CPU list '\\x1b[2J': expected a number at column 1" + advice},
    };
    for (const auto& row : cases) {
        const host::CpuListResult result = host::ParseCpuList(row.text);
        EXPECT_EQ(result.error, row.error);
        EXPECT_THAT(result.cpus, IsEmpty()) << row.text;
    }
}

TEST(CpuList, EndsAtNoTerminator)
{
    const std::string text = "0-34";
    EXPECT_THAT(host::ParseCpuList(std::string_view(text).substr(0, 3)).cpus, ElementsAre(0, 1, 2, 3));
    EXPECT_EQ(host::ParseCpuList(std::string_view("1\0", 2)).error,
              "CPU list '1\\x00': expected ',' or the end at column 2; a list reads like 0-3,8,10-11");
}

TEST(CpuList, RefusesALongRepeatedListInBoundedWork)
{
    std::string text = "0-65535";
    for (int i = 0; i < 8000; ++i) {
        text += ",0-65535";
    }
    EXPECT_EQ(host::ParseCpuList(text).error.find("CPU list '0-65535,0-65535,"), 0U);
}

TEST(CpuList, WritesTheShortestRanges)
{
    EXPECT_EQ(host::FormatCpuList({}), "none");
    EXPECT_EQ(host::FormatCpuList({7}), "7");
    EXPECT_EQ(host::FormatCpuList({0, 1, 2, 3, 8, 10, 11}), "0-3,8,10-11");
    EXPECT_EQ(host::FormatCpuList({0, 65535}), "0,65535");
}

TEST(CpuList, ReadsBackWhatItWrites)
{
    for (std::uint32_t bits = 1; bits < 4096; ++bits) {
        Cpus cpus;
        for (std::uint32_t cpu = 0; cpu < 12; ++cpu) {
            if ((bits >> cpu & 1U) != 0) {
                cpus.push_back(cpu);
            }
        }
        ASSERT_EQ(host::ParseCpuList(host::FormatCpuList(cpus)).cpus, cpus);
    }
}

}  // namespace
