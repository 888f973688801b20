// SPDX-License-Identifier: MIT

#ifndef TOOLS_NUMA_SCORE_CONFORMANCE_REPORT_H
#define TOOLS_NUMA_SCORE_CONFORMANCE_REPORT_H

#include <functional>
#include <string>
#include <vector>

#include "tools/numa_score/conformance/rules.h"
#include "tools/numa_score/conformance/verdict.h"

namespace conformance {

struct RuleVerdict {
    Rule rule;
    Verdict verdict;
};

/// Verdicts on all of `rules`, in their order. `examine` is called for those whose needs have passed; the
/// others are not applicable, or not examined when what they need was not. `told` is called with each verdict
/// as it comes.
std::vector<RuleVerdict> ExamineAll(const std::vector<Rule>& rules,
                                    const std::function<Verdict(const Rule&)>& examine,
                                    const std::function<void(const RuleVerdict&)>& told);

/// One line with its end: verdict, rule, what was seen; for a failure what was expected and the remedy.
std::string VerdictLine(const RuleVerdict& judged);

/// The same as a JSON object on a line: rule, verdict, seen, expected, remedy.
std::string VerdictJson(const RuleVerdict& judged);

/// "34 rules: 31 passed, 1 FAILED, 2 not applicable", with the line's end. ", 1 not
/// examined" comes before that when there are any.
std::string SummaryLine(const std::vector<RuleVerdict>& judged);

/// True when no rule failed and each was examined, as far as it applies.
bool IsConforming(const std::vector<RuleVerdict>& judged);

}  // namespace conformance

#endif  // TOOLS_NUMA_SCORE_CONFORMANCE_REPORT_H
