// SPDX-License-Identifier: MIT

#include "tools/cli/terminal.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <map>
#include <string>
#include <utility>

#include <gtest/gtest.h>

namespace cli {
namespace {

using Variables = std::map<std::string, std::string>;

Environment Of(Variables variables)
{
    return [variables = std::move(variables)](const char* name) {
        const auto found = variables.find(name);
        return found == variables.end() ? nullptr : found->second.c_str();
    };
}

TEST(Terminal, ColorRule)
{
    const struct {
        ColorChoice choice;
        bool isTerminal;
        Variables variables;
        bool color;
    } cases[] = {
        {ColorChoice::AUTO, true, {}, true},
        {ColorChoice::AUTO, true, {{"TERM", "xterm"}}, true},
        {ColorChoice::AUTO, true, {{"TERM", "dumb"}}, false},
        {ColorChoice::AUTO, true, {{"NO_COLOR", "1"}}, false},
        {ColorChoice::AUTO, true, {{"NO_COLOR", "0"}}, false},
        {ColorChoice::AUTO, true, {{"NO_COLOR", ""}}, true},  // empty counts as not set
        {ColorChoice::AUTO, false, {{"TERM", "xterm"}}, false},
        {ColorChoice::ALWAYS, false, {{"TERM", "dumb"}, {"NO_COLOR", "1"}}, true},
        {ColorChoice::ALWAYS, true, {}, true},
        {ColorChoice::NEVER, true, {{"TERM", "xterm"}}, false},
    };
    for (const auto& one : cases) {
        EXPECT_EQ(UseColor(one.choice, one.isTerminal, Of(one.variables)), one.color) << &one - cases;
    }
}

TEST(Terminal, LinesAreRedrawnOnATerminalThatIsNotDumb)
{
    EXPECT_TRUE(CanRedraw(true, Of({})));
    EXPECT_TRUE(CanRedraw(true, Of({{"TERM", "xterm"}, {"NO_COLOR", "1"}})));
    EXPECT_FALSE(CanRedraw(true, Of({{"TERM", "dumb"}})));
    EXPECT_FALSE(CanRedraw(false, Of({{"TERM", "xterm"}})));
}

TEST(Terminal, CharacterSet)
{
    const struct {
        Variables variables;
        bool utf8;
    } cases[] = {
        {{}, false},
        {{{"LANG", "C"}}, false},
        {{{"LANG", "C.UTF-8"}}, true},
        {{{"LANG", "de_DE.utf8"}}, true},
        {{{"LANG", "de_DE.UTF-8@euro"}}, true},
        {{{"LANG", "de_DE@utf8"}}, false},
        {{{"LANG", "de_DE.ISO-8859-1"}}, false},
        {{{"LANG", "UTF-8"}}, false},
        {{{"LANG", "x.UTF-16"}}, false},
        {{{"LC_ALL", "C"}, {"LANG", "C.UTF-8"}}, false},
        {{{"LC_ALL", ""}, {"LC_CTYPE", ""}, {"LANG", "C.UTF-8"}}, true},
        {{{"LC_CTYPE", "C.UTF-8"}, {"LANG", "C"}}, true},
        {{{"LC_ALL", "C.UTF-8"}, {"LC_CTYPE", "C"}}, true},
    };
    for (const auto& one : cases) {
        EXPECT_EQ(IsUtf8Locale(Of(one.variables)), one.utf8) << &one - cases;
    }
}

TEST(Terminal, SizeIsAskedForEachTime)
{
    EXPECT_EQ(SizeOfTerminal(-1).columns, 80);
    EXPECT_EQ(SizeOfTerminal(-1).rows, 24);
    const int terminal = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (terminal < 0) {
        GTEST_SKIP() << "no pseudo terminal can be opened here";
    }
    winsize size{};
    size.ws_col = 132;
    size.ws_row = 43;
    ASSERT_EQ(ioctl(terminal, TIOCSWINSZ, &size), 0);
    EXPECT_EQ(SizeOfTerminal(terminal).columns, 132);
    EXPECT_EQ(SizeOfTerminal(terminal).rows, 43);
    size.ws_col = 0;
    size.ws_row = 0;
    ASSERT_EQ(ioctl(terminal, TIOCSWINSZ, &size), 0);
    EXPECT_EQ(SizeOfTerminal(terminal).columns, 80);
    EXPECT_EQ(SizeOfTerminal(terminal).rows, 24);
    close(terminal);
}

TEST(Terminal, ProcessEnvironmentIsTheRealOne)
{
    ASSERT_EQ(setenv("NUMA_SCORE_TERMINAL_TEST", "there", 1), 0);
    EXPECT_STREQ(ProcessEnvironment("NUMA_SCORE_TERMINAL_TEST"), "there");
    ASSERT_EQ(unsetenv("NUMA_SCORE_TERMINAL_TEST"), 0);
    EXPECT_EQ(ProcessEnvironment("NUMA_SCORE_TERMINAL_TEST"), nullptr);
}

}  // namespace
}  // namespace cli
