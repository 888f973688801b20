// SPDX-License-Identifier: MIT

#include "config/getopt_tables.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

Option Made(int shortOpt, const std::string& longOpt, const std::vector<OptAttr>& attrs)
{
    Option opt("Opt", shortOpt, longOpt, "<n>");
    opt.SetAttr(attrs);
    return opt;
}

TEST(NumberOptions, LettersStayAndOthersAreCounted)
{
    std::vector<Option> options;
    const std::vector<int> given = {1000, 'a', 1000, 'Z', 0, '5', 'A', 'z', '@', '[', '`', '{', -1, 4711};
    for (const int value : given) {
        options.push_back(Made(value, "long", {}));
    }
    getopt_tables::NumberOptions(options);
    const std::vector<int> expected = {1000, 'a',  1001, 'Z',  1002, 1003, 'A',
                                       'z',  1004, 1005, 1006, 1007, 1008, 1009};
    for (std::size_t i = 0; i < options.size(); ++i) {
        EXPECT_EQ(options[i].shortOpt, expected[i]) << i;
    }
}

TEST(ShortOptions, LettersWithTheirArguments)
{
    const auto textOf = [](const std::vector<OptAttr>& attrs) {
        return getopt_tables::ShortOptions({Made('x', "long", attrs), Made('y', "y", {OptAttr::SHORT_OPT})});
    };
    EXPECT_EQ(textOf({OptAttr::SHORT_OPT}), "xy");
    EXPECT_EQ(textOf({OptAttr::SHORT_OPT, OptAttr::REQUIRED_ARG}), "x:y");
    EXPECT_EQ(textOf({OptAttr::SHORT_OPT, OptAttr::OPTIONAL_ARG}), "x::y");
    EXPECT_EQ(textOf({OptAttr::SHORT_OPT, OptAttr::REQUIRED_ARG, OptAttr::OPTIONAL_ARG}), "x:y");
    EXPECT_EQ(textOf({OptAttr::CMD, OptAttr::LONG_OPT, OptAttr::REQUIRED_ARG}), "y");
    EXPECT_EQ(getopt_tables::ShortOptions({}), "");
}

TEST(LongOptions, OneForEachOptionOfTheCommandLine)
{
    const std::vector<Option> options = {
        Made('a', "none", {OptAttr::CMD}),
        Made('b', "file", {OptAttr::YAML, OptAttr::LONG_OPT}),
        Made(1000, "required", {OptAttr::CMD, OptAttr::REQUIRED_ARG}),
        Made(1001, "optional", {OptAttr::CMD, OptAttr::OPTIONAL_ARG}),
        Made(1002, "both", {OptAttr::CMD, OptAttr::OPTIONAL_ARG, OptAttr::REQUIRED_ARG}),
    };
    const std::vector<option> records = getopt_tables::LongOptions(options);
    const std::vector<option> expected = {{"none", 0, nullptr, 'a'},
                                          {"required", 1, nullptr, 1000},
                                          {"optional", 2, nullptr, 1001},
                                          {"both", 1, nullptr, 1002},
                                          {nullptr, 0, nullptr, 0}};
    ASSERT_EQ(records.size(), expected.size());
    for (std::size_t i = 0; i < records.size(); ++i) {
        EXPECT_STREQ(records[i].name, expected[i].name);
        EXPECT_EQ(records[i].has_arg, expected[i].has_arg) << i;
        EXPECT_EQ(records[i].flag, nullptr) << i;
        EXPECT_EQ(records[i].val, expected[i].val) << i;
    }
    EXPECT_EQ(records.front().name, options.front().longOpt.c_str());  // not a copy
    EXPECT_EQ(getopt_tables::LongOptions({}).size(), 1U);
}

}  // namespace
