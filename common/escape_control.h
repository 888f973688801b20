// SPDX-License-Identifier: MIT

#ifndef COMMON_ESCAPE_CONTROL_H
#define COMMON_ESCAPE_CONTROL_H

#include <cstddef>

#include <string>
#include <string_view>

namespace runtime {

/// Text from outside (process names, paths, keys, patterns) as it may stand in a log line: line breaks and
/// tabs as \n and \t, a backslash doubled, every other control byte as \xNN, and so both bytes of a UTF-8
/// encoded C1 control (U+0080 to U+009F). Other bytes stay, valid UTF-8 or not.
///
/// Nobody can forge a line or command a terminal through the result, and no two texts give the same one.
/// Inline, so that programs that link the library need no further symbol of it.
inline std::string EscapeControl(std::string_view text)
{
    constexpr std::string_view DIGITS = "0123456789abcdef";
    std::string escaped;
    escaped.reserve(text.size());
    std::size_t c1End = 0;  // where the C1 control that is being written ends
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if (byte == 0xC2U && i + 1 < text.size()) {
            const auto next = static_cast<unsigned char>(text[i + 1]);
            c1End = next >= 0x80U && next <= 0x9FU ? i + 2 : c1End;
        }
        if (byte == '\n') {
            escaped += "\\n";
        } else if (byte == '\t') {
            escaped += "\\t";
        } else if (byte == '\\') {
            escaped += "\\\\";
        } else if (byte < 0x20U || byte == 0x7FU || i < c1End) {
            escaped += "\\x";
            escaped += DIGITS[byte >> 4U];
            escaped += DIGITS[byte & 0xFU];
        } else {
            escaped += text[i];
        }
    }
    return escaped;
}

}  // namespace runtime

#endif  // COMMON_ESCAPE_CONTROL_H
