// SPDX-License-Identifier: MIT

#include "host/line_reader.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>

#include <algorithm>
#include <chrono>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/host/recording_input.h"

namespace host {
namespace {

using host_test::TemporaryFile;
using testing::ElementsAre;
using Status = LineReader::Status;

std::vector<std::pair<Status, std::string>> ReadAllLines(const std::string& content)
{
    const TemporaryFile file(content);
    LineReader reader(open(file.Path().c_str(), O_RDONLY | O_CLOEXEC), false);
    std::vector<std::pair<Status, std::string>> lines;
    std::string_view line;
    for (Status status = reader.Next(line); status != Status::END; status = reader.Next(line)) {
        lines.emplace_back(status, status == Status::SKIPPING ? "" : line);
    }
    EXPECT_EQ(reader.Bytes(), content.size());
    EXPECT_EQ(reader.Next(line), Status::END);
    return lines;
}

TEST(LineReader, GivesLinesWithoutTheirBreak)
{
    EXPECT_THAT(ReadAllLines(""), ElementsAre());
    EXPECT_THAT(ReadAllLines("\n"), ElementsAre(std::pair(Status::LINE, "")));
    EXPECT_THAT(ReadAllLines("a\n\nbc\n"),
                ElementsAre(std::pair(Status::LINE, "a"), std::pair(Status::LINE, ""),
                            std::pair(Status::LINE, "bc")));
    EXPECT_THAT(ReadAllLines("a\nbc"),
                ElementsAre(std::pair(Status::LINE, "a"), std::pair(Status::LAST_LINE, "bc")));
}

TEST(LineReader, KeepsLinesWholeOverTheEndOfTheBuffer)
{
    std::string content;
    for (int i = 0; content.size() < 5 * LineReader::BUFFER; ++i) {
        content += std::string(static_cast<std::size_t>(i % 5000), 'x') + std::to_string(i) + "\n";
    }
    const auto lines = ReadAllLines(content);
    std::string joined;
    for (const auto& [status, line] : lines) {
        EXPECT_EQ(status, Status::LINE);
        joined += line + "\n";
    }
    EXPECT_TRUE(joined == content);
}

TEST(LineReader, BoundsTheLengthOfALine)
{
    const std::string longest(LineReader::MAX_LINE, 'x');
    EXPECT_THAT(ReadAllLines(longest + "\na\n"),
                ElementsAre(std::pair(Status::LINE, longest), std::pair(Status::LINE, "a")));
    EXPECT_THAT(ReadAllLines(longest + "y\na\n"),
                ElementsAre(std::pair(Status::TOO_LONG, longest), std::pair(Status::LINE, "a")));
    EXPECT_THAT(ReadAllLines(longest), ElementsAre(std::pair(Status::LAST_LINE, longest)));
    EXPECT_THAT(ReadAllLines(longest + "y"), testing::Contains(std::pair(Status::TOO_LONG, longest)));
    for (const std::size_t length :
         {LineReader::BUFFER - 1, LineReader::BUFFER, LineReader::BUFFER + 1, 3 * LineReader::BUFFER + 7}) {
        const auto lines = ReadAllLines("a\n" + std::string(length, 'x') + "\nb\n");
        ASSERT_GE(lines.size(), 3U);
        EXPECT_EQ(lines[0], std::pair(Status::LINE, std::string("a")));
        EXPECT_EQ(lines[1], std::pair(Status::TOO_LONG, longest));
        EXPECT_EQ(lines.back(), std::pair(Status::LINE, std::string("b")));
        for (std::size_t i = 2; i + 1 < lines.size(); ++i) {
            EXPECT_EQ(lines[i].first, Status::SKIPPING);
        }
    }
}

TEST(LineReader, TellsAFailedReadFromTheEnd)
{
    LineReader reader(open("/", O_RDONLY | O_CLOEXEC), false);
    std::string_view line;
    EXPECT_EQ(reader.Next(line), Status::FAILED);
    EXPECT_EQ(reader.ErrorNumber(), EISDIR);
}

class Pipe {
public:
    Pipe() { EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0); }
    ~Pipe() { CloseWriteEnd(); }
    void CloseWriteEnd()
    {
        if (ends[1] >= 0) {
            close(ends[1]);
        }
        ends[1] = -1;
    }
    void Write(std::string_view text) const
    {
        EXPECT_EQ(write(ends[1], text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }
    int ReadEnd() const { return ends[0]; }

private:
    int ends[2] = {-1, -1};
};

TEST(LineReader, GivesALineAsSoonAsItsBreakIsThere)
{
    Pipe pipe;
    LineReader reader(pipe.ReadEnd(), true);
    std::string_view line;
    pipe.Write("one\ntw");
    ASSERT_EQ(reader.Next(line), Status::LINE);
    EXPECT_EQ(line, "one");
    pipe.Write("o\n");
    ASSERT_EQ(reader.Next(line), Status::LINE);
    EXPECT_EQ(line, "two");
    pipe.CloseWriteEnd();
    EXPECT_EQ(reader.Next(line), Status::END);
}

TEST(LineReader, BoundsTheWaitForTheFirstInput)
{
    Pipe pipe;
    LineReader reader(pipe.ReadEnd(), true);
    reader.SetFirstInputMs(0);
    std::string_view line;
    EXPECT_EQ(reader.Next(line), Status::TIMED_OUT);
}

TEST(LineReader, ReturnsFromALongWaitForTheCallerToLookUp)
{
    Pipe pipe;
    LineReader reader(pipe.ReadEnd(), true);
    std::string_view line;
    EXPECT_EQ(reader.Next(line), Status::INTERRUPTED);
    pipe.Write("one\ntw");
    ASSERT_EQ(reader.Next(line), Status::LINE);
    EXPECT_EQ(reader.Next(line), Status::INTERRUPTED);
    pipe.Write("o\n");
    ASSERT_EQ(reader.Next(line), Status::LINE);
    EXPECT_EQ(line, "two");
}

TEST(LineReader, TheWaitForTheFirstInputGoesOnOverItsParts)
{
    Pipe pipe;
    LineReader reader(pipe.ReadEnd(), true);
    constexpr int FIRST_INPUT_MS = 5 * LineReader::SLICE_MS / 2;
    reader.SetFirstInputMs(FIRST_INPUT_MS);
    std::string_view line;
    const auto begin = std::chrono::steady_clock::now();
    Status status = reader.Next(line);
    EXPECT_EQ(status, Status::INTERRUPTED);
    while (status == Status::INTERRUPTED) {
        status = reader.Next(line);
    }
    EXPECT_EQ(status, Status::TIMED_OUT);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(FIRST_INPUT_MS - 1));
}

TEST(LineReader, OnceThereWasInputTheWaitIsNotBounded)
{
    Pipe pipe;
    LineReader reader(pipe.ReadEnd(), true);
    reader.SetFirstInputMs(LineReader::SLICE_MS);
    std::string_view line;
    pipe.Write("o");
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(reader.Next(line), Status::INTERRUPTED);
    }
}

void IgnoreSignal(int) {}

TEST(LineReader, LetsASignalEndTheWait)
{
    struct sigaction action = {};
    struct sigaction before = {};
    action.sa_handler = IgnoreSignal;
    ASSERT_EQ(sigaction(SIGALRM, &action, &before), 0);
    // Repeated, since the first one may come before the wait begins.
    const itimerval every = {{0, 1000}, {0, 1000}};
    const itimerval never = {};
    Pipe pipe;
    LineReader reader(pipe.ReadEnd(), true);
    std::string_view line;
    ASSERT_EQ(setitimer(ITIMER_REAL, &every, nullptr), 0);
    // Without the signal it would take a slice, each time.
    Status status = Status::INTERRUPTED;
    auto quickest = std::chrono::nanoseconds::max();
    for (int i = 0; i < 10 && status == Status::INTERRUPTED; ++i) {
        const auto begin = std::chrono::steady_clock::now();
        status = reader.Next(line);
        quickest = std::min<std::chrono::nanoseconds>(quickest, std::chrono::steady_clock::now() - begin);
    }
    setitimer(ITIMER_REAL, &never, nullptr);
    sigaction(SIGALRM, &before, nullptr);
    EXPECT_LT(quickest, std::chrono::milliseconds(LineReader::SLICE_MS / 2));
    EXPECT_EQ(status, Status::INTERRUPTED);
    pipe.Write("one\n");
    ASSERT_EQ(reader.Next(line), Status::LINE);
    EXPECT_EQ(line, "one");
}

}  // namespace
}  // namespace host
