// SPDX-License-Identifier: MIT
//
// The rules of `numa-score check`, their table in docs/writing-a-plugin.md (UPDATE_GOLDEN=1 writes it anew),
// and that document's code.

#include "tools/numa_score/conformance/rules.h"

#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/golden_block.h"
#include "tools/numa_score/conformance/ownership.h"

namespace {

using conformance::FindRule;
using conformance::Rule;
using conformance::Rules;
using conformance::RulesFor;

std::string Contents(const std::string& path)
{
    std::ifstream file(std::string(SOURCE_DIR) + "/" + path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::vector<std::string> Ids(const std::vector<Rule>& rules)
{
    std::vector<std::string> ids;
    for (const Rule& rule : rules) {
        ids.emplace_back(rule.id);
    }
    return ids;
}

TEST(ConformanceRules, NeedWhatStandsBeforeThem)
{
    std::set<std::string> before;
    for (const Rule& rule : Rules()) {
        EXPECT_TRUE(rule.needs == nullptr || before.count(rule.needs) == 1) << rule.id;
        EXPECT_TRUE(before.insert(rule.id).second) << rule.id << " stands there twice";
        EXPECT_NE(rule.examine, nullptr) << rule.id;
        EXPECT_STRNE(rule.expected, "") << rule.id;
        EXPECT_STRNE(rule.remedy, "") << rule.id;
    }
    EXPECT_EQ(before.size(), 34U);
}

TEST(ConformanceRules, AreChosenWithWhatTheyNeed)
{
    EXPECT_EQ(Ids(RulesFor({"period"})),
              (std::vector<std::string>{"load", "entry", "instances", "lifecycle", "enable", "period"}));
    EXPECT_EQ(Ids(RulesFor({"entry", "load"})), (std::vector<std::string>{"load", "entry"}));
    EXPECT_EQ(RulesFor({}).size(), Rules().size());
    EXPECT_EQ(FindRule("leaks"), &Rules()[26]);
    EXPECT_EQ(FindRule("leak"), nullptr);
}

TEST(ConformanceRules, OfMemorySayNothingWhereTheHeapIsNotThatOfTheProgram)
{
    const conformance::Notes nowhere(-1);
    for (const char* const rule : {"records", "text-blocks", "used-after-push", "borrowed", "leaks"}) {
        const conformance::Verdict verdict = FindRule(rule)->examine("not/loaded.so", nowhere);
        EXPECT_EQ(verdict.outcome, conformance::Outcome::NOT_EXAMINED) << rule;
        EXPECT_EQ(verdict.seen, conformance::NO_HEAP) << rule;
    }
}

TEST(WritingAPlugin, TableOfRulesIsUpToDate)
{
    // The markers stand in comments.
    std::string table = "-->\n\n| rule | expected | remedy |\n|---|---|---|\n";
    for (const Rule& rule : Rules()) {
        table += std::string("| `") + rule.id + "` | " + rule.expected + " | " + rule.remedy + " |\n";
    }
    support::ExpectGoldenBlock("docs/writing-a-plugin.md", "rules", table + "\n<!--\n");
}

TEST(WritingAPlugin, CodeIsThatOfTheExample)
{
    const std::string document = Contents("docs/writing-a-plugin.md");
    const std::string example = Contents("examples/minimal_plugin.cpp");
    const std::string open = "\n```cpp\n";
    std::size_t blocks = 0;
    for (std::size_t at = document.find(open); at != std::string::npos; at = document.find(open, at)) {
        const std::size_t begin = at + open.size();
        const std::size_t end = document.find("```", begin);
        ASSERT_NE(end, std::string::npos);
        const std::string code = document.substr(begin, end - begin);
        EXPECT_NE(example.find(code), std::string::npos) << "not in examples/minimal_plugin.cpp:\n" << code;
        ++blocks;
        at = end;
    }
    EXPECT_EQ(blocks, 7U);
}

}  // namespace
