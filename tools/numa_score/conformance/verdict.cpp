// SPDX-License-Identifier: MIT

#include "tools/numa_score/conformance/verdict.h"

#include <utility>

#include "host/escape.h"

namespace conformance {
namespace {

constexpr char SEPARATOR = '\t';

/// At most `limit` bytes of `text`, and no part of a character.
std::string Cut(const std::string& text, std::size_t limit)
{
    if (text.size() <= limit) {
        return text;
    }
    std::size_t end = limit;
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80U) {
        --end;
    }
    return text.substr(0, end) + "…";
}

}  // namespace

Verdict Passed(std::string seen)
{
    return {Outcome::PASSED, std::move(seen), ""};
}

Verdict Failed(std::string seen, std::string remedy)
{
    return {Outcome::FAILED, std::move(seen), std::move(remedy)};
}

Verdict NotApplicable(std::string why)
{
    return {Outcome::NOT_APPLICABLE, std::move(why), ""};
}

Verdict NotExamined(std::string why)
{
    return {Outcome::NOT_EXAMINED, std::move(why), ""};
}

const char* OutcomeText(Outcome outcome)
{
    switch (outcome) {
        case Outcome::PASSED:
            return "passed";
        case Outcome::FAILED:
            return "FAILED";
        case Outcome::NOT_APPLICABLE:
            return "not applicable";
        case Outcome::NOT_EXAMINED:
            return "not examined";
    }
    return "";
}

std::string Packed(const Verdict& verdict)
{
    return std::string(OutcomeText(verdict.outcome)) + SEPARATOR + Cut(verdict.seen, MOST_SEEN) + SEPARATOR +
           Cut(verdict.remedy, MOST_REMEDY);
}

std::optional<Verdict> Unpacked(std::string_view line)
{
    const std::size_t first = line.find(SEPARATOR);
    const std::size_t second = first == std::string_view::npos ? first : line.find(SEPARATOR, first + 1);
    if (second == std::string_view::npos || line.find(SEPARATOR, second + 1) != std::string_view::npos) {
        return std::nullopt;
    }
    for (const Outcome outcome :
         {Outcome::PASSED, Outcome::FAILED, Outcome::NOT_APPLICABLE, Outcome::NOT_EXAMINED}) {
        if (line.substr(0, first) == OutcomeText(outcome)) {
            return Verdict{outcome, Printable(line.substr(first + 1, second - first - 1)),
                           Printable(line.substr(second + 1))};
        }
    }
    return std::nullopt;
}

std::string Printable(std::string_view text)
{
    const std::string escaped = host::EscapeText(text, 4 * text.size() + 4);
    std::string printable;
    for (std::size_t i = 0; i < escaped.size(); ++i) {
        printable += escaped[i];
        if (escaped[i] == '\\' && i + 1 < escaped.size() && escaped[i + 1] == '\\') {
            ++i;
        }
    }
    return printable;
}

}  // namespace conformance
