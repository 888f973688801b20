// SPDX-License-Identifier: MIT

#include "config/argument_vector.h"

#include <clocale>
#include <cstring>

#include <locale>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

/// The words as texts; checks the shape of the array and releases it.
std::vector<std::string> Split(const std::string& text)
{
    const auto [argc, argv] = argument_vector::Split(text);
    std::vector<std::string> words;
    for (int i = 0; i < argc; ++i) {
        if (argv[i] == nullptr) {
            ADD_FAILURE() << "word " << i << " is missing";
            break;
        }
        words.emplace_back(argv[i]);
        argv[i][0] = '#';  // the copies are the caller's to change
    }
    EXPECT_EQ(argv[argc], nullptr);
    argument_vector::Free(argc, argv);
    return words;
}

using Words = std::vector<std::string>;

TEST(ArgumentVector, SplitsAtRunsOfWhiteSpace)
{
    const std::vector<std::pair<std::string, Words>> cases = {
        {"", {}},
        {" \t\n\v\f\r", {}},
        {"a", {"a"}},
        {"kovari_enable ", {"kovari_enable"}},
        {"kovari_enable -l debug", {"kovari_enable", "-l", "debug"}},
        {" \ta\n\nb\v\f\rc  ", {"a", "b", "c"}},
        {"a\xA0"
         "b",
         {"a\xA0"
          "b"}},
        {"\xFF\xFE \x80", {"\xFF\xFE", "\x80"}},
    };
    for (const auto& [text, words] : cases) {
        EXPECT_EQ(Split(text), words) << testing::PrintToString(text);
    }
}

TEST(ArgumentVector, GivesQuotesAndBackslashesNoMeaning)
{
    EXPECT_EQ(Split("-W \"a b\" 'c d' e\\ f \\\"g"),
              (Words{"-W", "\"a", "b\"", "'c", "d'", "e\\", "f", "\\\"g"}));
}

TEST(ArgumentVector, TakesTextsLongerThanAPage)
{
    const std::string longWord(100000, 'w');
    EXPECT_EQ(Split("a " + longWord + " b"), (Words{"a", longWord, "b"}));
    std::string many;
    for (int i = 0; i < 20000; ++i) {
        many += "x ";
    }
    EXPECT_EQ(Split(many), Words(20000, "x"));
}

TEST(ArgumentVector, EndsAWordForItsReaderAtANul)
{
    const auto [argc, argv] = argument_vector::Split(std::string("ab\0cd e", 7));
    ASSERT_EQ(argc, 2);
    EXPECT_STREQ(argv[0], "ab");
    EXPECT_STREQ(argv[1], "e");
    argument_vector::Free(argc, argv);
}

/// A locale in which 'x' is white space.
struct SpacedX : std::ctype<char> {
    SpacedX() : std::ctype<char>(Table()) {}
    static const mask* Table()
    {
        static std::vector<mask> table(classic_table(), classic_table() + table_size);
        table['x'] = space;
        return table.data();
    }
};

TEST(ArgumentVector, DoesNotFollowTheHostsLocale)
{
    const std::locale before = std::locale::global(std::locale(std::locale::classic(), new SpacedX));
    const Words words = Split("axb c");
    std::locale::global(before);
    EXPECT_EQ(words, (Words{"axb", "c"}));
}

TEST(ArgumentVector, FreeLeavesNullPointersOut)
{
    argument_vector::Free(0, nullptr);
    argument_vector::Free(5, nullptr);
    argument_vector::Free(0, new char*[1]());
    argument_vector::Free(-1, new char*[1]());
    char** const holes = new char*[4]();
    holes[1] = new char[2]();
    argument_vector::Free(3, holes);
}

}  // namespace
