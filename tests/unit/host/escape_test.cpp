// SPDX-License-Identifier: MIT

#include "host/escape.h"

#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

namespace {

using host::EscapeText;
using namespace std::string_view_literals;

struct Case {
    std::string_view text;
    std::string escaped;
};

TEST(EscapeText, KeepsPlainTextAndEscapesTheRest)
{
    const std::vector<Case> cases = {
        {""sv, ""},
        {"pmu/rx_outer/ [x] \"y\""sv, "pmu/rx_outer/ [x] \"y\""},
        {"a\nb\tc\rd"sv, "a\\nb\\tc\\x0dd"},
        {"\0\x01\x1b[31m\x7f"sv, "\\x00\\x01\\x1b[31m\\x7f"},
        {"C:\\n"sv, "C:\\\\n"},
        {"\xc3\xa4\xe2\x82\xac\xf0\x9f\x99\x82"sv, "\xc3\xa4\xe2\x82\xac\xf0\x9f\x99\x82"},
        {"\xc2\x80\xc2\x9b\xc2\x9f\xc2\xa0"sv, "\\xc2\\x80\\xc2\\x9b\\xc2\\x9f\xc2\xa0"},
        {"\xe2\x80\xa8\xe2\x80\xae\xe2\x81\xa6\xd8\x9c"sv,
         "\\xe2\\x80\\xa8\\xe2\\x80\\xae\\xe2\\x81\\xa6\\xd8\\x9c"},
        {"\xe4\x80"sv, "\\xe4\\x80"},
        {"\xc3"sv, "\\xc3"},
        {"\xc3(\xe2\x82("sv, "\\xc3(\\xe2\\x82("},
        {"\x80\xbf\xfe\xff"sv, "\\x80\\xbf\\xfe\\xff"},
        {"\xc0\x80\xc1\xbf"sv, "\\xc0\\x80\\xc1\\xbf"},
        {"\xe0\x80\x80\xe0\x9f\xbf\xe0\xa0\x80"sv, "\\xe0\\x80\\x80\\xe0\\x9f\\xbf\xe0\xa0\x80"},
        {"\xed\xa0\x80\xed\x9f\xbf"sv, "\\xed\\xa0\\x80\xed\x9f\xbf"},
        {"\xf0\x8f\xbf\xbf\xf0\x90\x80\x80"sv, "\\xf0\\x8f\\xbf\\xbf\xf0\x90\x80\x80"},
        {"\xf4\x8f\xbf\xbf\xf4\x90\x80\x80\xf5\x80\x80\x80"sv,
         "\xf4\x8f\xbf\xbf\\xf4\\x90\\x80\\x80\\xf5\\x80\\x80\\x80"},
    };
    for (const Case& item : cases) {
        EXPECT_EQ(EscapeText(item.text), item.escaped);
    }
}

/// The character `code` (0x80 to 0xFFFF) in UTF-8.
std::string Utf8(unsigned code)
{
    const auto tail = [](unsigned bits) { return static_cast<char>(0x80U | (bits & 0x3FU)); };
    if (code < 0x800U) {
        return {static_cast<char>(0xC0U | (code >> 6U)), tail(code)};
    }
    return {static_cast<char>(0xE0U | (code >> 12U)), tail(code >> 6U), tail(code)};
}

TEST(EscapeText, LineSeparatorsAndMarksOfDirectionDoNotReachATerminal)
{
    for (const unsigned code :
         {0x80U, 0x9FU, 0x61CU, 0x200EU, 0x200FU, 0x2028U, 0x2029U, 0x202AU, 0x202EU, 0x2066U, 0x2069U}) {
        const std::string escaped = EscapeText(Utf8(code));
        EXPECT_EQ(escaped.substr(0, 2), "\\x") << std::hex << code;
        EXPECT_EQ(escaped.size(), 4 * Utf8(code).size()) << std::hex << code;
    }
    for (const unsigned code :
         {0xA0U, 0x61BU, 0x61DU, 0x200DU, 0x2010U, 0x2027U, 0x202FU, 0x2065U, 0x206AU}) {
        EXPECT_EQ(EscapeText(Utf8(code)), Utf8(code)) << std::hex << code;
    }
}

TEST(EscapeText, CutsWholePiecesAtTheLimit)
{
    EXPECT_EQ(EscapeText("abcdef"sv, 6), "abcdef");
    EXPECT_EQ(EscapeText("abcdef"sv, 5), "abcde...");
    EXPECT_EQ(EscapeText("abc\x01"sv, 6), "abc...");
    EXPECT_EQ(EscapeText("abc\x01"sv, 7), "abc\\x01");
    EXPECT_EQ(EscapeText("ab\xe2\x82\xac"sv, 4), "ab...");
    EXPECT_EQ(EscapeText("a"sv, 0), "...");
    EXPECT_EQ(EscapeText(""sv, 0), "");
    EXPECT_EQ(EscapeText(std::string(300, 'x')), std::string(256, 'x') + "...");
    EXPECT_EQ(EscapeText(std::string(3, '\n'), 5), "\\n\\n...");
}

TEST(EscapeText, TakesTextsThatMayBeAbsentOrUnterminated)
{
    EXPECT_EQ(EscapeText(static_cast<const char*>(nullptr)), "(null)");
    EXPECT_EQ(EscapeText("a\nb"), "a\\nb");
    const char unterminated[] = {'a', 'b', 'c', 'd', 'e'};
    EXPECT_EQ(EscapeText(unterminated, 4), "abcd...");
    const char cutInACharacter[] = {'a', 'b', '\xe2', '\x82'};
    EXPECT_EQ(EscapeText(cutInACharacter, 3), "ab...");
    EXPECT_EQ(EscapeText("abc", static_cast<std::size_t>(-1)), "abc");
}

TEST(EscapeText, EveryByteGivesPrintableText)
{
    for (int byte = 0; byte < 256; ++byte) {
        const std::string text(1, static_cast<char>(byte));
        for (const char letter : EscapeText(text)) {
            EXPECT_TRUE(letter >= 0x20 && letter < 0x7F) << byte;
        }
    }
}

}  // namespace
