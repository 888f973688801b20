// SPDX-License-Identifier: MIT

#ifndef TESTS_SUPPORT_MDOC_H
#define TESTS_SUPPORT_MDOC_H

#include <string>

/// Pieces of manual pages in the mdoc language.
namespace support::mdoc {

/// `text` as it shall be seen, hyphens as they are typed.
inline std::string Escaped(const std::string& text)
{
    std::string escaped;
    for (const char c : text) {
        escaped += c == '\\' ? "\\e" : c == '-' ? "\\-" : c == '"' ? "\\(dq" : std::string(1, c);
    }
    return escaped;
}

/// Running text of one line, no line of it one that the formatter could take for a request; a sentence behind
/// another one begins a line, as the language wants it.
inline std::string Line(const std::string& text)
{
    const bool looksLikeRequest = !text.empty() && (text[0] == '.' || text[0] == '\'');
    std::string line = (looksLikeRequest ? "\\&" : "") + Escaped(text) + "\n";
    for (std::size_t at = line.find(". "); at != std::string::npos; at = line.find(". ", at + 1)) {
        if (line[at + 2] >= 'A' && line[at + 2] <= 'Z') {
            line[at + 1] = '\n';
        }
    }
    return line;
}

/// " Ar " and what a placeholder holds between its angle brackets; empty for an empty one.
inline std::string Argument(const std::string& placeholder)
{
    std::string words;
    for (const char c : placeholder) {
        words += c == '<' || c == '>' ? "" : c == '|' ? " | " : std::string(1, c);
    }
    return words.empty() ? "" : " Ar " + Escaped(words);
}

}  // namespace support::mdoc

#endif  // TESTS_SUPPORT_MDOC_H
