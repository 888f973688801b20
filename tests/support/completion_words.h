// SPDX-License-Identifier: MIT

#ifndef TESTS_SUPPORT_COMPLETION_WORDS_H
#define TESTS_SUPPORT_COMPLETION_WORDS_H

#include <string>
#include <vector>

/// What the completions for bash know about options, in the shell's language.
namespace support {

/// One option as a completion sees it.
struct CompletedOption {
    std::vector<std::string> names;  ///< with their dashes; the long one last
    std::string placeholder;         ///< of its argument; empty: it takes none
    std::vector<std::string> words;  ///< that the argument may be; none: any text, file or directory
};

/// "options='...'" with a name on each line; every line begins with `indent`.
std::string WordsAssignment(const std::vector<std::string>& names, const std::string& indent);

/// The branches of a case over option names. Each sets `takes` to text, words, file or directory, and `words`
/// to the words. Options without argument have none.
std::string ArgumentBranches(const std::vector<CompletedOption>& options, const std::string& indent);

}  // namespace support

#endif  // TESTS_SUPPORT_COMPLETION_WORDS_H
