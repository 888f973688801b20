// SPDX-License-Identifier: MIT

#include "common/escape_control.h"

#include <set>
#include <string>

#include <gtest/gtest.h>

using runtime::EscapeControl;
using namespace std::string_literals;

TEST(EscapeControl, ATableOfTexts)
{
    struct Case {
        std::string text;
        std::string expected;
    };
    const Case cases[] = {
        {"", ""},
        {"redis-server", "redis-server"},
        {"a\nPPid:\t1", "a\\nPPid:\\t1"},
        {"a\rb", "a\\x0db"},
        {"\x1b[2J", "\\x1b[2J"},
        {"a\0b"s, "a\\x00b"},
        {"\x7f", "\\x7f"},
        {"C:\\n", "C:\\\\n"},
        {"na\xc3\xafve \xe2\x82\xac", "na\xc3\xafve \xe2\x82\xac"},    // printable UTF-8 stays
        {"\xc2\x9b"s + "31m", "\\xc2\\x9b31m"},                        // C1 control sequence introducer
        {"\xc2\x80\xc2\x9f\xc2\xa0", "\\xc2\\x80\\xc2\\x9f\xc2\xa0"},  // both ends of C1, then U+00A0
        {"\xc2", "\xc2"},                                              // cut in the middle
        {"\xff\xfe", "\xff\xfe"},
    };
    for (const Case& one : cases) {
        EXPECT_EQ(EscapeControl(one.text), one.expected);
    }
}

TEST(EscapeControl, NoByteOfTheResultIsAControl)
{
    std::string all;
    for (int byte = 0; byte < 256; ++byte) {
        all += static_cast<char>(byte);
    }
    for (const char byte : EscapeControl(all)) {
        const auto value = static_cast<unsigned char>(byte);
        EXPECT_GE(value, 0x20U);
        EXPECT_NE(value, 0x7FU);
    }
}

TEST(EscapeControl, DifferentTextsStayDifferent)
{
    std::set<std::string> results;
    std::size_t texts = 0;
    for (const char first : {'\\', 'n', '\n', 'x', '0', '\0', '\xc2', '\x9b'}) {
        for (const char second : {'\\', 'n', '\n', 'x', '0', '\0', '\xc2', '\x9b'}) {
            for (const char third : {'\\', 'n', '\n', '0', 'a'}) {
                results.insert(EscapeControl(std::string{first, second, third}));
                ++texts;
            }
        }
    }
    EXPECT_EQ(results.size(), texts);
}
