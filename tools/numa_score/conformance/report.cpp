// SPDX-License-Identifier: MIT

#include "tools/numa_score/conformance/report.h"

#include <algorithm>
#include <map>
#include <utility>

#include <nlohmann/json.hpp>

namespace conformance {
namespace {

constexpr std::size_t OUTCOME_WIDTH = 16;
constexpr std::size_t RULE_WIDTH = 18;

std::string Padded(std::string text, std::size_t width)
{
    text.resize(std::max(text.size() + 1, width), ' ');
    return text;
}

std::string RemedyOf(const RuleVerdict& judged)
{
    return judged.verdict.remedy.empty() ? judged.rule.remedy : judged.verdict.remedy;
}

const char* JsonText(Outcome outcome)
{
    switch (outcome) {
        case Outcome::PASSED:
            return "passed";
        case Outcome::FAILED:
            return "failed";
        case Outcome::NOT_APPLICABLE:
            return "not_applicable";
        case Outcome::NOT_EXAMINED:
            return "not_examined";
    }
    return "";
}

}  // namespace

std::vector<RuleVerdict> ExamineAll(const std::vector<Rule>& rules,
                                    const std::function<Verdict(const Rule&)>& examine,
                                    const std::function<void(const RuleVerdict&)>& told)
{
    std::vector<RuleVerdict> all;
    std::map<std::string, Outcome> outcomes;
    for (const Rule& rule : rules) {
        const Outcome needed = rule.needs == nullptr ? Outcome::PASSED : outcomes[rule.needs];
        RuleVerdict judged{rule, {}};
        if (needed == Outcome::PASSED) {
            judged.verdict = examine(rule);
        } else {
            const std::string why = std::string("needs ") + rule.needs;
            judged.verdict = needed == Outcome::NOT_EXAMINED ? NotExamined(why) : NotApplicable(why);
        }
        outcomes[rule.id] = judged.verdict.outcome;
        told(judged);
        all.push_back(std::move(judged));
    }
    return all;
}

std::string VerdictLine(const RuleVerdict& judged)
{
    std::string line = Padded(OutcomeText(judged.verdict.outcome), OUTCOME_WIDTH) +
                       Padded(judged.rule.id, RULE_WIDTH) + judged.verdict.seen;
    if (judged.verdict.outcome == Outcome::FAILED) {
        line += std::string("; expected: ") + judged.rule.expected + "; remedy: " + RemedyOf(judged);
    }
    return line + "\n";
}

std::string VerdictJson(const RuleVerdict& judged)
{
    using Json = nlohmann::ordered_json;
    const bool failed = judged.verdict.outcome == Outcome::FAILED;
    Json object;
    object["rule"] = judged.rule.id;
    object["verdict"] = JsonText(judged.verdict.outcome);
    object["seen"] = judged.verdict.seen;
    object["expected"] = judged.rule.expected;
    object["remedy"] = failed ? Json(RemedyOf(judged)) : Json(nullptr);
    return object.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

std::string SummaryLine(const std::vector<RuleVerdict>& judged)
{
    const auto count = [&judged](Outcome outcome) {
        return std::to_string(std::count_if(
                   judged.begin(), judged.end(),
                   [outcome](const RuleVerdict& one) { return one.verdict.outcome == outcome; })) +
               " " + OutcomeText(outcome);
    };
    const bool all = std::none_of(judged.begin(), judged.end(), [](const RuleVerdict& one) {
        return one.verdict.outcome == Outcome::NOT_EXAMINED;
    });
    return std::to_string(judged.size()) + (judged.size() == 1 ? " rule: " : " rules: ") +
           count(Outcome::PASSED) + ", " + count(Outcome::FAILED) + ", " + count(Outcome::NOT_APPLICABLE) +
           (all ? "" : ", " + count(Outcome::NOT_EXAMINED)) + "\n";
}

bool IsConforming(const std::vector<RuleVerdict>& judged)
{
    return std::none_of(judged.begin(), judged.end(), [](const RuleVerdict& one) {
        return one.verdict.outcome == Outcome::FAILED || one.verdict.outcome == Outcome::NOT_EXAMINED;
    });
}

}  // namespace conformance
