// SPDX-License-Identifier: MIT

#ifndef TESTS_SUPPORT_OPTION_WORDS_H
#define TESTS_SUPPORT_OPTION_WORDS_H

#include <string>

/// What the completions for bash know about the options of the registry.
namespace support {

/// The block of packaging/completion/tarnix: the options of its command line when it runs alone.
std::string ToolWords();

/// The block of packaging/completion/tnstat.
std::string ViewerWords();

}  // namespace support

#endif  // TESTS_SUPPORT_OPTION_WORDS_H
