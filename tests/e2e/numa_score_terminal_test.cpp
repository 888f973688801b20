// SPDX-License-Identifier: MIT
//
// numa-score on a terminal: the table that is redrawn in place, and how far a replay has come.

#include <fcntl.h>
#include <poll.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/own_directory.h"
#include "tests/support/program_run.h"

namespace {

using support::Program;
using support::ProgramResult;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

const std::string RECORDINGS = std::string(SOURCE_DIR) + "/tests/fixtures/recordings/";

/// All that comes through the terminal whose other end the program had.
std::string TextOf(int terminal)
{
    std::string text;
    char piece[4096];
    ssize_t length = 0;
    while ((length = read(terminal, piece, sizeof(piece))) > 0) {
        text.append(piece, static_cast<std::size_t>(length));
    }
    return text;
}

/// A terminal of the test's own, 6 lines of 72 columns.
class OwnTerminal {
public:
    OwnTerminal() : master(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC))
    {
        if (master < 0 || grantpt(master) != 0 || unlockpt(master) != 0 ||
            ptsname_r(master, name, sizeof(name)) != 0) {
            ADD_FAILURE() << "no terminal";
        }
        slave = open(name, O_RDWR | O_NOCTTY | O_CLOEXEC);
        winsize size{};
        size.ws_row = 6;
        size.ws_col = 72;
        ioctl(slave, TIOCSWINSZ, &size);
    }
    OwnTerminal(const OwnTerminal&) = delete;
    OwnTerminal& operator=(const OwnTerminal&) = delete;
    ~OwnTerminal()
    {
        close(master);
        close(slave);
    }

    std::string Name() const { return name; }
    int Descriptor() const { return slave; }

    /// Whether `text` was written to it by now.
    bool Shows(const std::string& text)
    {
        char piece[4096];
        pollfd waiting{master, POLLIN, 0};
        while (poll(&waiting, 1, 0) == 1 && (waiting.revents & POLLIN) != 0) {
            const ssize_t length = read(master, piece, sizeof(piece));
            if (length <= 0) {
                break;
            }
            seen.append(piece, static_cast<std::size_t>(length));
        }
        return seen.find(text) != std::string::npos;
    }

    /// All that was written to it; nobody else has it open any more.
    std::string Text()
    {
        close(std::exchange(slave, -1));
        return seen + TextOf(master);
    }

private:
    char name[64] = {};
    std::string seen;
    int master;
    int slave = -1;
};

/// What `numa-score demo` writes on a terminal of the type `type`.
std::string OnATerminal(const char* type)
{
    OwnTerminal terminal;
    setenv("LC_ALL", "C", 1);
    setenv("TERM", type, 1);
    Program program({NUMA_SCORE, "demo", "--speed", "max", "--count", "20", "--quiet", "--color", "never"},
                    "/dev/null", terminal.Descriptor());
    const std::string text = terminal.Text();
    EXPECT_EQ(program.Wait().status, 0) << program.Err();
    return text;
}

TEST(NumaScoreTerminal, TheTableIsRedrawnInPlaceWithinTheScreen)
{
    const std::string text = OnATerminal("xterm");
    EXPECT_THAT(
        text,
        StartsWith("      TIME/s   SCORE  LOCALITY     OPS/MS   REMOTE  CROSS-DIE  FLAGS\x1b[K\r\n\x1b[J"));
    // The last drawing: a header and four periods, one line stays free.
    const std::size_t last = text.rfind("TIME/s");
    ASSERT_NE(last, std::string::npos);
    const std::string drawn = text.substr(last);
    EXPECT_THAT(drawn, HasSubstr("\x1b[K\r\n       1.700  "));
    EXPECT_THAT(drawn, HasSubstr("\x1b[K\r\n       2.000  "));
    EXPECT_THAT(drawn, Not(HasSubstr(" 1.600  ")));
    EXPECT_THAT(drawn, HasSubstr("\x1b[K\r\n\x1b[J\r\nsummary      20 periods, 2.000 s\r\n"));
}

TEST(NumaScoreTerminal, ADumbTerminalGetsLineAfterLine)
{
    const std::string text = OnATerminal("dumb");
    EXPECT_THAT(text, StartsWith("      TIME/s   SCORE  LOCALITY"));
    EXPECT_THAT(text, Not(HasSubstr("\x1b")));
    EXPECT_THAT(text, HasSubstr("\r\n       2.000  "));
    // A header, the periods, and the summary of five lines beneath an empty one.
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1 + 20 + 6);
}

/// Three counts of each of `count` intervals of 100 ms, from the one after `begin` on.
std::string Intervals(int begin, int count)
{
    std::string text;
    for (int i = begin + 1; i <= begin + count; ++i) {
        const std::string time = std::to_string(i / 10) + "." + std::to_string(i % 10);
        for (const char* const counts : {"10,,p/rx_outer/", "10,,p/rx_sccl/", "100,,p/rx_ops_num/"}) {
            text += time + "," + counts + ",100000000,100.00,,\n";
        }
    }
    return text;
}

TEST(NumaScoreTerminal, AReplayThatTakesLongSaysHowFarItHasCome)
{
    setenv("TERM", "xterm", 1);
    const support::OwnDirectory directory;
    const std::string good = RECORDINGS + "composed_uncore.csv";
    struct Run {
        std::string fifo;
        std::string rest;  ///< of the arguments
    };
    const Run runs[] = {{"replayed", " --format csv"}, {"compared", " --compare '" + good + "'"}};
    OwnTerminal terminals[2];
    std::vector<std::unique_ptr<Program>> programs;
    std::vector<std::unique_ptr<std::ofstream>> inputs;
    for (std::size_t i = 0; i < 2; ++i) {
        ASSERT_EQ(mkfifo(runs[i].fifo.c_str(), 0600), 0);
        programs.push_back(std::make_unique<Program>(std::vector<std::string>{
            "/bin/sh", "-c",
            "exec '" NUMA_SCORE "' replay " + runs[i].fifo + runs[i].rest + " 2>" + terminals[i].Name()}));
    }
    for (const Run& run : runs) {
        inputs.push_back(std::make_unique<std::ofstream>(run.fifo));
        *inputs.back() << Intervals(0, 3) << std::flush;
    }
    // It is told at the first line that is read a second after the start, whenever that was.
    for (std::size_t i = 0; i < 2; ++i) {
        for (int sent = 3; sent < 300 && !terminals[i].Shows("of recorded time"); ++sent) {
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
            *inputs[i] << Intervals(sent, 1) << std::flush;
        }
        inputs[i]->close();
        const ProgramResult result = programs[i]->Wait();
        EXPECT_EQ(result.status, 0);
        EXPECT_THAT(result.out, Not(HasSubstr("\x1b")));
        const std::string text = terminals[i].Text();
        EXPECT_THAT(text,
                    testing::ContainsRegex("\rnuma-score: 0 MiB, [0-9]+ lines, [0-9]+ s of recorded time"));
        EXPECT_THAT(text, HasSubstr("\r\x1b[K")) << "and is taken away";
    }
}

TEST(NumaScoreTerminal, AShortReplayOrAQuietOneSaysNothingOfThat)
{
    setenv("TERM", "xterm", 1);
    const std::string good = RECORDINGS + "composed_uncore.csv";
    for (const char* const rest : {"", " --quiet", " --compare '", " --quiet --compare '"}) {
        OwnTerminal terminal;
        const std::string compare = std::string(rest).find('\'') == std::string::npos ? "" : good + "'";
        const ProgramResult result = support::RunProgram(
            {"/bin/sh", "-c",
             "exec '" NUMA_SCORE "' replay '" + good + "'" + rest + compare + " 2>" + terminal.Name()});
        EXPECT_EQ(result.status, 0) << rest;
        EXPECT_THAT(terminal.Text(), Not(HasSubstr("of recorded time"))) << rest;
    }
}

}  // namespace
