// SPDX-License-Identifier: MIT

#ifndef TOOLS_NUMA_SCORE_CONFORMANCE_VERDICT_H
#define TOOLS_NUMA_SCORE_CONFORMANCE_VERDICT_H

#include <cstddef>

#include <optional>
#include <string>
#include <string_view>

namespace conformance {

enum class Outcome { PASSED, FAILED, NOT_APPLICABLE, NOT_EXAMINED };

/// What came of one rule.
struct Verdict {
    Outcome outcome = Outcome::PASSED;
    std::string seen;    ///< passed: what was looked at; failed: what was seen; otherwise why
    std::string remedy;  ///< failed only, and mostly empty: instead of the rule's own remedy
};

Verdict Passed(std::string seen);
Verdict Failed(std::string seen, std::string remedy = "");
/// The rule has nothing to say about this plug-in.
Verdict NotApplicable(std::string why);

/// The rule may have something to say, and it could not be found out here.
Verdict NotExamined(std::string why);

/// "passed", "FAILED", "not applicable" or "not examined".
const char* OutcomeText(Outcome outcome);

/// A verdict as one line without its end, for the way from one process to another. Of long texts it holds the
/// first MOST_SEEN and MOST_REMEDY bytes with "…" behind them.
constexpr std::size_t MOST_SEEN = 4000;
constexpr std::size_t MOST_REMEDY = 1000;
std::string Packed(const Verdict& verdict);

/// The reverse of Packed; nothing for any other text. What could garble a line is escaped, whoever wrote it.
std::optional<Verdict> Unpacked(std::string_view line);

/// `text` with escapes for what could garble a line; backslashes stay single.
std::string Printable(std::string_view text);

}  // namespace conformance

#endif  // TOOLS_NUMA_SCORE_CONFORMANCE_VERDICT_H
