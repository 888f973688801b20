// SPDX-License-Identifier: MIT

#include "tools/numa_score/conformance/report.h"

#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using namespace conformance;

Rule MakeRule(const char* id, const char* needs)
{
    return {id, "good work", "work better", needs, nullptr};
}

TEST(ConformanceReport, WhatARuleNeedsMustHavePassed)
{
    const std::vector<Rule> rules = {MakeRule("a", nullptr), MakeRule("b", "a"), MakeRule("c", "b"),
                                     MakeRule("d", "a"), MakeRule("e", "d")};
    std::string examined;
    std::string told;
    const std::vector<RuleVerdict> all = ExamineAll(
        rules,
        [&examined](const Rule& rule) {
            examined += rule.id;
            return std::string(rule.id) == "b"   ? Failed("seen")
                   : std::string(rule.id) == "d" ? NotApplicable("why")
                                                 : Passed("well");
        },
        [&told](const RuleVerdict& judged) { told += judged.rule.id; });
    EXPECT_EQ(examined, "abd");
    EXPECT_EQ(told, "abcde");
    EXPECT_EQ(all[2].verdict.outcome, Outcome::NOT_APPLICABLE);
    EXPECT_EQ(all[2].verdict.seen, "needs b");
    EXPECT_EQ(all[4].verdict.seen, "needs d");
    EXPECT_EQ(SummaryLine(all), "5 rules: 1 passed, 1 FAILED, 3 not applicable\n");
    EXPECT_FALSE(IsConforming(all));
    EXPECT_TRUE(IsConforming({all[0], all[2]}));
}

TEST(ConformanceReport, WhatWasNotExaminedIsNotInOrder)
{
    const std::vector<Rule> rules = {MakeRule("a", nullptr), MakeRule("b", "a"), MakeRule("c", "b")};
    const std::vector<RuleVerdict> all = ExamineAll(
        rules,
        [](const Rule& rule) {
            return std::string(rule.id) == "a" ? Passed("well") : NotExamined("no memory");
        },
        [](const RuleVerdict& /*judged*/) {});
    EXPECT_EQ(VerdictLine(all[1]), "not examined    b                 no memory\n");
    EXPECT_EQ(VerdictLine(all[2]), "not examined    c                 needs b\n");
    EXPECT_EQ(SummaryLine(all), "3 rules: 1 passed, 0 FAILED, 0 not applicable, 2 not examined\n");
    EXPECT_FALSE(IsConforming(all));
    EXPECT_EQ(VerdictJson(all[1]),
              "{\"rule\":\"b\",\"verdict\":\"not_examined\",\"seen\":\"no memory\",\"expected\":\"good "
              "work\",\"remedy\":null}\n");
}

TEST(ConformanceReport, LinesSayEverything)
{
    const Rule rule = MakeRule("text-blocks", nullptr);
    EXPECT_EQ(VerdictLine({rule, Passed("well")}), "passed          text-blocks       well\n");
    EXPECT_EQ(VerdictLine({rule, NotApplicable("why")}), "not applicable  text-blocks       why\n");
    EXPECT_EQ(VerdictLine({rule, Failed("bad")}),
              "FAILED          text-blocks       bad; expected: good work; remedy: work better\n");
    EXPECT_EQ(VerdictLine({rule, Failed("bad", "do this")}),
              "FAILED          text-blocks       bad; expected: good work; remedy: do this\n");
    EXPECT_EQ(VerdictLine({MakeRule("a-name-longer-than-its-column", nullptr), Passed("well")}),
              "passed          a-name-longer-than-its-column well\n");
}

TEST(ConformanceReport, JsonHasTheSame)
{
    const Rule rule = MakeRule("a", nullptr);
    EXPECT_EQ(
        VerdictJson({rule, Failed("a \"b\" \xff")}),
        "{\"rule\":\"a\",\"verdict\":\"failed\",\"seen\":\"a \\\"b\\\" \xEF\xBF\xBD\",\"expected\":\"good "
        "work\",\"remedy\":\"work better\"}\n");
    EXPECT_EQ(VerdictJson({rule, NotApplicable("why")}),
              "{\"rule\":\"a\",\"verdict\":\"not_applicable\",\"seen\":\"why\",\"expected\":\"good work\","
              "\"remedy\":null}\n");
}

TEST(ConformanceVerdict, SurvivesTheWayToAnotherProcess)
{
    for (const Verdict& verdict :
         {Passed("well"), Failed("bad", "remedy"), NotApplicable(""), NotExamined("a \\n")}) {
        const std::optional<Verdict> read = Unpacked(Packed(verdict));
        ASSERT_TRUE(read.has_value());
        EXPECT_EQ(read->outcome, verdict.outcome);
        EXPECT_EQ(read->seen, verdict.seen);
        EXPECT_EQ(read->remedy, verdict.remedy);
    }
    for (const char* text : {"", "passed", "passed\twell", "good\twell\t", "passed\ta\tb\tc"}) {
        EXPECT_FALSE(Unpacked(text).has_value()) << text;
    }
}

TEST(ConformanceVerdict, LongTextsAreCutAndStayAVerdict)
{
    const std::string wide = std::string(MOST_SEEN - 1, 's') + "\u00e4\u00e4";
    const std::optional<Verdict> read = Unpacked(Packed(Failed(wide, std::string(100000, 'r'))));
    ASSERT_TRUE(read.has_value());
    EXPECT_EQ(read->seen, std::string(MOST_SEEN - 1, 's') + "\u2026");
    EXPECT_EQ(read->remedy, std::string(MOST_REMEDY, 'r') + "\u2026");
}

TEST(ConformanceVerdict, NobodyGarblesALine)
{
    const std::optional<Verdict> read = Unpacked("FAILED\ta\nb \x1b[2J \\n \\\xff\tr\r");
    ASSERT_TRUE(read.has_value());
    EXPECT_EQ(read->seen, "a\\nb \\x1b[2J \\n \\\\xff");
    EXPECT_EQ(read->remedy, "r\\x0d");
}

}  // namespace
