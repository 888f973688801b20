// SPDX-License-Identifier: MIT
//
// The lists of options in the manual page and the completion of numa-score are made from its option table;
// UPDATE_GOLDEN=1 writes them anew.

#include <cctype>

#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/completion_words.h"
#include "tests/support/golden_block.h"
#include "tests/support/joined.h"
#include "tests/support/mdoc.h"
#include "tools/numa_score/option_table.h"

namespace {

using namespace numa_score;
using support::CompletedOption;
namespace mdoc = support::mdoc;

const std::vector<Command>& Commands()
{
    static const std::vector<Command> commands = {Command::LIVE,   Command::REPLAY, Command::DEMO,
                                                  Command::DOCTOR, Command::LIST,   Command::CHECK};
    return commands;
}

std::vector<std::string> CommandsOf(const OptionRow& row)
{
    std::vector<std::string> names;
    for (const Command command : Commands()) {
        if ((row.commands & CommandBit(command)) != 0) {
            names.emplace_back(CommandName(command));
        }
    }
    return names;
}

std::string PageList()
{
    std::string list = ".Bl -tag -width Ds\n";
    for (const OptionRow& row : OptionTable()) {
        list += ".It Fl \\-" + mdoc::Escaped(row.name + 2) +
                mdoc::Argument(row.placeholder == nullptr ? "" : row.placeholder) + "\n" +
                mdoc::Line(row.help) + ".Pq " + support::Joined(CommandsOf(row), ", ") + "\n";
    }
    return list + ".El\n";
}

/// The alternatives of a placeholder that stand for themselves: those in small letters.
std::vector<std::string> WordsOf(const std::string& placeholder)
{
    std::vector<std::string> words;
    for (std::size_t begin = 0; placeholder.find('|') != std::string::npos && begin <= placeholder.size();) {
        const std::size_t end = std::min(placeholder.find('|', begin), placeholder.size());
        const std::string word = placeholder.substr(begin, end - begin);
        if (std::all_of(word.begin(), word.end(), [](unsigned char c) { return std::islower(c) != 0; })) {
            words.push_back(word);
        }
        begin = end + 1;
    }
    return words;
}

std::string ArgumentsBlock()
{
    std::vector<CompletedOption> options;
    for (const OptionRow& row : OptionTable()) {
        const std::string placeholder = row.placeholder == nullptr ? "" : row.placeholder;
        options.push_back({{row.name}, placeholder, WordsOf(placeholder)});
    }
    return support::ArgumentBranches(options, "        ");
}

/// What the command knows; without a command, what all that measure know.
std::string OptionsOf(unsigned commands)
{
    std::vector<std::string> names = {"--help", "--version"};
    for (const OptionRow& row : OptionTable()) {
        if ((row.commands & commands) == commands) {
            names.emplace_back(row.name);
        }
    }
    return support::WordsAssignment(names, "            ") + "            ;;\n";
}

std::string OptionsBlock()
{
    const std::string indent = "        ";
    std::vector<std::string> names;
    std::string text =
        indent + "'')\n" +
        OptionsOf(CommandBit(Command::LIVE) | CommandBit(Command::REPLAY) | CommandBit(Command::DEMO));
    for (const Command command : Commands()) {
        names.emplace_back(CommandName(command));
        text += indent + names.back() + ")\n" + OptionsOf(CommandBit(command));
    }
    return "    commands='" + support::Joined(names, " ") + "'\n    case $command in\n" + text + "    esac\n";
}

TEST(OptionTexts, PageIsUpToDate)
{
    support::ExpectGoldenBlock("man/numa-score.1", "options", PageList());
}

TEST(OptionTexts, ArgumentsOfTheCompletionAreUpToDate)
{
    support::ExpectGoldenBlock("packaging/completion/numa-score", "arguments", ArgumentsBlock());
}

TEST(OptionTexts, OptionsOfTheCompletionAreUpToDate)
{
    support::ExpectGoldenBlock("packaging/completion/numa-score", "options", OptionsBlock());
}

TEST(OptionTexts, WordsAreTheAlternativesInSmallLetters)
{
    EXPECT_EQ(WordsOf("table|csv|json"), (std::vector<std::string>{"table", "csv", "json"}));
    EXPECT_EQ(WordsOf("X|max"), std::vector<std::string>{"max"});
    EXPECT_EQ(WordsOf("file"), std::vector<std::string>());
    EXPECT_EQ(WordsOf(""), std::vector<std::string>());
}

}  // namespace
