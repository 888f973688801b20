// SPDX-License-Identifier: MIT

#ifndef TESTS_SUPPORT_OPTION_FACTS_H
#define TESTS_SUPPORT_OPTION_FACTS_H

#include <string>
#include <vector>

#include "config/option_info.h"

/// What the registry says about an option, taken apart for the documents that are made from it.
namespace support {

/// An option's description for the file.
struct FileHelp {
    std::string form;                  ///< of the value: "<n>", "[]"; empty for a structured key
    std::vector<std::string> lines;    ///< what the key means
    std::vector<std::string> example;  ///< of a structured key
};

FileHelp FileHelpOf(const Option& opt);

/// Lines of a help text without blanks at their ends.
std::vector<std::string> TrimmedLines(const std::string& text);

/// What the option means: its help, or where it has none its description for the file.
std::vector<std::string> MeaningOf(const Option& opt);

/// Placeholder of the argument on the command line; empty when the option takes none.
std::string ArgumentOf(const Option& opt);

/// The words that the option's argument on the command line is limited to, as its own refusal of any other
/// lists them; none for an option without such a list.
std::vector<std::string> ArgumentWords(const Option& opt);

/// The default, as the reports show it; switches that no report shows are off.
std::string DefaultOf(const Option& opt);

}  // namespace support

#endif  // TESTS_SUPPORT_OPTION_FACTS_H
