// SPDX-License-Identifier: MIT

#include "common/pseudo_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <limits>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/probe_tree.h"

namespace {

struct Piece {
    std::string text;
    bool startsLine;
    bool operator==(const Piece& other) const { return text == other.text && startsLine == other.startsLine; }
};

std::vector<Piece> All(probe::LineReader& lines)
{
    std::vector<Piece> pieces;
    probe::LinePiece piece;
    while (lines.Next(piece)) {
        pieces.push_back({std::string(piece.text), piece.startsLine});
    }
    return pieces;
}

std::vector<Piece> AllOf(const std::string& text, size_t limit)
{
    probe::LineReader lines(text, limit);
    return All(lines);
}

TEST(PathText, PutsPathsBehindTheRoot)
{
    probe::PathText real;
    real.Add("/proc/").Add(4294967295UL).Add("/x").Add(-5);
    EXPECT_STREQ(real.CStr(), "/proc/4294967295/x-5");
    const support::ProbeRoot root("/elsewhere");
    probe::PathText moved;
    moved.Add("/proc/").Add(std::numeric_limits<unsigned long>::max()).Add(std::numeric_limits<int>::min());
    EXPECT_STREQ(moved.CStr(), "/elsewhere/proc/18446744073709551615-2147483648");
}

TEST(PathText, BecomesEmptyWhenItCannotBeAPath)
{
    probe::PathText nul;
    nul.Add("/proc").Add(std::string_view("\0", 1)).Add("/self");
    EXPECT_STREQ(nul.CStr(), "");
    probe::PathText fits;
    fits.Add(std::string(1023, 'x'));
    EXPECT_EQ(std::string(fits.CStr()).size(), 1023U);
    fits.Add("y").Add("z");
    EXPECT_STREQ(fits.CStr(), "");
    EXPECT_FALSE(probe::PseudoFile(fits.CStr()).IsOpen());
}

TEST(PseudoFile, IsCloseOnExec)
{
    const int free = dup(0);  // the number that the next descriptor gets
    close(free);
    const probe::PseudoFile file("/proc/version");
    ASSERT_TRUE(file.IsOpen());
    EXPECT_EQ(fcntl(free, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
}

TEST(LineReader, CutsAtLineBreaksAndAtTheLimit)
{
    using Pieces = std::vector<Piece>;
    EXPECT_EQ(AllOf("", 4), Pieces{});
    EXPECT_EQ(AllOf("a\nbc\n", 4), (Pieces{{"a", true}, {"bc", true}}));
    EXPECT_EQ(AllOf("a\n\n\nb", 4), (Pieces{{"a", true}, {"", true}, {"", true}, {"b", true}}));
    EXPECT_EQ(AllOf("abcd\ne", 4), (Pieces{{"abcd", true}, {"e", true}}));
    EXPECT_EQ(AllOf("abcde\nf", 4), (Pieces{{"abcd", true}, {"e", false}, {"f", true}}));
    EXPECT_EQ(AllOf("abcdefgh\ni", 4), (Pieces{{"abcd", true}, {"efgh", false}, {"i", true}}));
    EXPECT_EQ(AllOf("abcdefghi", 4), (Pieces{{"abcd", true}, {"efgh", false}, {"i", false}}));
}

TEST(LineReader, GivesTheSameForAFileAndForItsText)
{
    const support::TempTree tree;
    std::mt19937 random(9);
    for (int round = 0; round < 300; ++round) {
        std::string text;
        for (auto line = random() % 40; line > 0; --line) {
            text += std::string(random() % (random() % 5 == 0 ? 9000 : 300), static_cast<char>('a' + line)) +
                    "\n";
        }
        text.resize(text.size() - (text.empty() ? 0 : random() % 2));
        const size_t limit = 1 + random() % 1023;
        probe::PseudoFile file(tree.Write("file", text).c_str());
        probe::LineReader lines(file, limit, std::numeric_limits<size_t>::max());
        ASSERT_EQ(All(lines), AllOf(text, limit)) << "round " << round;
        EXPECT_FALSE(lines.Failed());
    }
}

TEST(LineReader, StopsWhenTheBudgetIsUsedUp)
{
    probe::PseudoFile file("/dev/zero");
    ASSERT_TRUE(file.IsOpen());
    probe::LineReader lines(file, 1000, 10000);
    size_t bytes = 0;
    for (const Piece& piece : All(lines)) {
        bytes += piece.text.size();
    }
    EXPECT_EQ(bytes, 10000U);
}

TEST(LineReader, TellsAnErrorFromTheEnd)
{
    probe::PseudoFile directory("/");
    ASSERT_TRUE(directory.IsOpen());
    probe::LineReader lines(directory, 100, 1000);
    EXPECT_EQ(All(lines).size(), 0U);
    EXPECT_TRUE(lines.Failed());
    probe::PseudoFile empty("/dev/null");
    probe::LineReader none(empty, 100, 1000);
    EXPECT_EQ(All(none).size(), 0U);
    EXPECT_FALSE(none.Failed());
}

TEST(LineReader, SurvivesAFileThatCannotBeOpened)
{
    probe::PseudoFile absent("");
    EXPECT_FALSE(absent.IsOpen());
    probe::LineReader lines(absent, 100, 1000);
    EXPECT_EQ(All(lines).size(), 0U);
    EXPECT_TRUE(lines.Failed());
}

}  // namespace
