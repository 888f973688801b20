// SPDX-License-Identifier: MIT

#ifndef TOOLS_TARNIX_CONFIG_FAULT_TEXTS_H
#define TOOLS_TARNIX_CONFIG_FAULT_TEXTS_H

#include <string>

/// The text of every fault that does not come from the library: one line, outside text escaped.
namespace tarnix_config::fault_texts {

/// A message of the library as one line: the path of the installed file, which it begins with wherever the
/// value stood, and the trailing line break are dropped, control bytes are escaped.
std::string FromLibrary(const std::string& message);

std::string NotAMapping();
std::string KeyIsNoText();
std::string UnknownKey(const std::string& key, const std::string& nearest);
std::string UnknownKeyOfProcess(const std::string& key, const std::string& nearest);
std::string RepeatedKey(const std::string& key, int firstLine);
std::string OnlyOnCommandLine(const std::string& key);
std::string PatternNeverMatches(const std::string& key, const std::string& pattern,
                                const std::string& reason);

}  // namespace tarnix_config::fault_texts

#endif  // TOOLS_TARNIX_CONFIG_FAULT_TEXTS_H
