// SPDX-License-Identifier: MIT

#ifndef CONFIG_PROCESS_PATTERN_H
#define CONFIG_PROCESS_PATTERN_H

#include <cstdint>

#include <string>

/// Matching of process names and command lines. Patterns come from the administrator, subjects from any user
/// of the machine: no subject may crash or stall the process that matches it.
namespace process_pattern {

constexpr std::size_t MAX_LENGTH = 1000;       ///< characters of a pattern
constexpr std::size_t MAX_DEPTH = 200;         ///< nested groups of a pattern
constexpr std::size_t MAX_STATES = 10000;      ///< size of a pattern with its repetitions written out, about
constexpr std::size_t MAX_BACKREF_DIGITS = 4;  ///< digits of a back-reference's number
constexpr std::size_t MAX_BACKREF_SUBJECT =
    256;                                      ///< characters that a pattern with back-references is tried on
constexpr std::int64_t MAX_STEPS = 20000000;  ///< characters looked at in one match
constexpr std::int64_t MAX_DURATION_NS = 800000000;  ///< processor time of one match

/// Whether the whole of `subject` matches `pattern`, an ECMAScript regular expression as std::regex reads it
/// in the classic locale. A pattern that does not compile or exceeds a limit matches nothing; a match that
/// exceeds a limit is none. A pattern without metacharacters is compared without compiling; nothing is
/// cached. Large patterns and those with back-references run on a thread of their own (own_stack.h) and match
/// nothing when there is none to be had; any thread with 256 KiB of stack may ask. Never throws.
bool FullMatch(const std::string& pattern, const std::string& subject) noexcept;

/// Why `pattern` can never match: one line without line break, empty for a usable pattern.
std::string Refusal(const std::string& pattern);

}  // namespace process_pattern

#endif  // CONFIG_PROCESS_PATTERN_H
