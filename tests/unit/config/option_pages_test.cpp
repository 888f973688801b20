// SPDX-License-Identifier: MIT
//
// The lists of options in the manual pages and the completions are made from the option registry;
// UPDATE_GOLDEN=1 writes them anew.

#include "tests/support/option_pages.h"

#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "config/option_info.h"
#include "config/options.h"
#include "tests/support/golden_block.h"
#include "tests/support/option_facts.h"
#include "tests/support/option_words.h"

namespace {

using support::ArgumentWords;
using support::ExpectGoldenBlock;
using Words = std::vector<std::string>;

TEST(OptionPages, ToolsAreUpToDate)
{
    ExpectGoldenBlock("man/tarnix.8", "options", support::ToolOptionsList());
}

TEST(OptionPages, ViewersAreUpToDate)
{
    ExpectGoldenBlock("man/tnstat.1", "options", support::ViewerOptionsList());
}

TEST(OptionPages, KeysAreUpToDate)
{
    ExpectGoldenBlock("man/tarnix.yaml.5", "keys", support::FileKeysList());
}

TEST(OptionWords, ToolsAreUpToDate)
{
    ExpectGoldenBlock("packaging/completion/tarnix", "options", support::ToolWords());
}

TEST(OptionWords, ViewersAreUpToDate)
{
    ExpectGoldenBlock("packaging/completion/tnstat", "options", support::ViewerWords());
}

std::size_t Count(const std::string& text, const std::string& part)
{
    std::size_t count = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++count;
    }
    return count;
}

/// `name` as the pages write it.
std::string Typed(const std::string& name)
{
    std::string typed;
    for (const char c : name) {
        typed += c == '-' ? "\\-" : std::string(1, c);
    }
    return typed;
}

TEST(OptionPages, HaveEveryOptionOnce)
{
    std::size_t onCommandLine = 0;
    std::size_t inFile = 0;
    for (const Option& opt : OptionInfo(ConfigType::TARNIX).GetAllOptions()) {
        const bool isTyped = opt.IsAttr(OptAttr::CMD) && opt.IsAttr(OptAttr::ALONE);
        const bool isKey = opt.IsAttr(OptAttr::YAML);
        onCommandLine += isTyped ? 1 : 0;
        inFile += isKey ? 1 : 0;
        const std::string asOption = " Fl \\-" + Typed(opt.longOpt);
        const std::string asKey = "\n.It Ic " + Typed(opt.longOpt) + " :";
        const std::string list = support::ToolOptionsList();
        EXPECT_EQ(Count(list, asOption + " ") + Count(list, asOption + "\n"), isTyped ? 1U : 0U)
            << opt.longOpt;
        EXPECT_EQ(Count(support::FileKeysList(), asKey), isKey ? 1U : 0U) << opt.longOpt;
        EXPECT_EQ(Count(support::ToolWords(), " --" + opt.longOpt + "\n"), isTyped ? 1U : 0U) << opt.longOpt;
    }
    EXPECT_EQ(onCommandLine, 21U);
    EXPECT_EQ(inFile, 26U);
    for (const Option& opt : OptionInfo(ConfigType::TNSTAT).GetAllOptions()) {
        EXPECT_EQ(Count(support::ViewerOptionsList(), " Fl \\-" + opt.longOpt), 1U) << opt.longOpt;
        EXPECT_EQ(Count(support::ViewerWords(), " --" + opt.longOpt + "\n"), 1U) << opt.longOpt;
    }
}

TEST(OptionPages, NoLineIsARequestByAccident)
{
    const std::set<std::string> requests = {".Bl", ".El", ".It", ".Pq", ".Bd", ".Ed"};
    for (const std::string& text :
         {support::ToolOptionsList(), support::ViewerOptionsList(), support::FileKeysList()}) {
        for (const std::string& line : SplitByNewline(text)) {
            ASSERT_NE(line, "");
            if (line.front() == '.' || line.front() == '\'') {
                EXPECT_EQ(requests.count(line.substr(0, line.find(' '))), 1U) << line;
            }
        }
    }
}

TEST(OptionFacts, WordsOfAnArgumentAreThoseThatItsReaderTakes)
{
    EXPECT_EQ(ArgumentWords(GetPolicyOpt()), (Words{"base", "cgroup"}));
    EXPECT_EQ(ArgumentWords(GetLogLevelOpt()), (Words{"trace", "debug", "info", "warn", "error", "fatal"}));
    EXPECT_EQ(ArgumentWords(GetHelpOpt()), (Words{"off", "cmd", "yaml"}));
    EXPECT_EQ(ArgumentWords(GetTnstatExportOpt()), (Words{"report", "csv", "node_exporter"}));
    EXPECT_EQ(ArgumentWords(GetSamplingTimesOpt()), Words());
    EXPECT_EQ(ArgumentWords(GetLogFileOpt()), Words());
    EXPECT_EQ(ArgumentWords(GetWhitelistOpt()), Words());
    EXPECT_EQ(ArgumentWords(GetProcessOpt()), Words());
    EXPECT_EQ(ArgumentWords(GetTnstatPortOpt()), Words());
}

TEST(GoldenBlock, StandsBetweenItsMarkers)
{
    const std::string file = "a\n# begin generated: x\nold\nolder\n# end generated: x\nb\n";
    EXPECT_EQ(support::WithBlock(file, "x", "new\n"),
              "a\n# begin generated: x\nnew\n# end generated: x\nb\n");
    EXPECT_EQ(support::WithBlock(file, "y", "new\n"), "");
    EXPECT_EQ(support::WithBlock("# end generated: x\n# begin generated: x\n", "x", "new\n"), "");
}

}  // namespace
