// SPDX-License-Identifier: MIT
//
// The first line as a pattern, the rest as a subject: always an answer within a second, and for short ones
// the answer that std::regex gives.

#include <time.h>

#include <cstddef>
#include <cstdint>

#include <regex>
#include <string>

#include "config/process_pattern.h"
#include "tests/fuzz/input.h"
#include "tests/fuzz/require.h"

namespace {

using fuzz::Require;

/// The reference recurses on the subject and may take exponential time.
constexpr std::size_t MAX_REFERENCE_PATTERN = 24;
constexpr std::size_t MAX_REFERENCE_SUBJECT = 12;

/// More than the bound of a match, for a slow build; of processor time, since the machine may be loaded.
constexpr double MAX_SECONDS = 4;

double ProcessorSeconds()
{
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

bool IsSmall(const std::string& pattern, const std::string& subject)
{
    std::size_t repetitions = 0;
    for (const char c : pattern) {
        repetitions += c == '*' || c == '+' || c == '{' ? 1 : 0;
    }
    return pattern.size() <= MAX_REFERENCE_PATTERN && subject.size() <= MAX_REFERENCE_SUBJECT &&
           repetitions <= 3;
}

/// A match that lost the processor for a second gives up: it has ten tries.
bool MatchesInTenTries(const std::string& pattern, const std::string& subject)
{
    bool matches = false;
    for (int i = 0; i < 10 && !matches; ++i) {
        matches = process_pattern::FullMatch(pattern, subject);
    }
    return matches;
}

bool ReferenceMatch(const std::string& pattern, const std::string& subject)
{
    std::regex regex;
    regex.imbue(std::locale::classic());
    regex.assign(pattern, std::regex::ECMAScript);
    return std::regex_match(subject, regex);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string text(fuzz::TextOf(data, size));
    const std::size_t end = text.find('\n');
    const std::string pattern = text.substr(0, end);
    const std::string subject = end == std::string::npos ? std::string() : text.substr(end + 1);

    const double start = ProcessorSeconds();
    const bool matches = process_pattern::FullMatch(pattern, subject);
    Require(ProcessorSeconds() - start < MAX_SECONDS, "a match ends in time");

    const std::string refusal = process_pattern::Refusal(pattern);
    Require(refusal.find('\n') == std::string::npos, "a refusal is one line");
    Require(refusal.empty() || !matches, "a refused pattern matches nothing");
    if (refusal.empty() && IsSmall(pattern, subject) && fuzz::Thorough(text, 4)) {
        const bool expected = ReferenceMatch(pattern, subject);
        Require(matches == expected || (expected && MatchesInTenTries(pattern, subject)),
                "std::regex agrees");
    }
    return 0;
}
