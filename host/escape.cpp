// SPDX-License-Identifier: MIT

#include "host/escape.h"

#include <cstdint>
#include <cstring>

namespace host {
namespace {

unsigned char ByteAt(std::string_view text, std::size_t position)
{
    return static_cast<unsigned char>(text[position]);
}

/// Number of bytes of a sequence that begins with `lead`, 0 for a byte that begins none.
std::size_t SequenceLength(unsigned char lead)
{
    if (lead < 0x80U) {
        return 1;
    }
    if (lead >= 0xC2U && lead <= 0xDFU) {
        return 2;
    }
    if (lead >= 0xE0U && lead <= 0xEFU) {
        return 3;
    }
    if (lead >= 0xF0U && lead <= 0xF4U) {
        return 4;
    }
    return 0;
}

struct Character {
    std::size_t length = 1;
    std::uint32_t code = 0;
    bool valid = false;
};

/// The character at `position`; surrogates, overlong forms and cut sequences are invalid and one byte long.
Character Decode(std::string_view text, std::size_t position)
{
    const unsigned char lead = ByteAt(text, position);
    const std::size_t length = SequenceLength(lead);
    if (length == 0 || length > text.size() - position) {
        return {};
    }
    if (length == 1) {
        return {1, lead, true};
    }
    std::uint32_t code = lead & (0xFFU >> (length + 1));
    for (std::size_t i = 1; i < length; ++i) {
        const unsigned char next = ByteAt(text, position + i);
        if ((next & 0xC0U) != 0x80U) {
            return {};
        }
        code = (code << 6U) | (next & 0x3FU);
    }
    const bool overlong = (length == 3 && code < 0x800U) || (length == 4 && code < 0x10000U);
    const bool surrogate = code >= 0xD800U && code <= 0xDFFFU;
    if (overlong || surrogate || code > 0x10FFFFU) {
        return {};
    }
    return {length, code, true};
}

bool IsHarmless(std::uint32_t code)
{
    const bool control = code < 0x20U || (code >= 0x7FU && code <= 0x9FU);
    const bool separator = code == 0x2028U || code == 0x2029U;
    const bool reorders = code == 0x61CU || code == 0x200EU || code == 0x200FU ||
                          (code >= 0x202AU && code <= 0x202EU) || (code >= 0x2066U && code <= 0x2069U);
    return !control && !separator && !reorders;
}

void AppendByte(std::string& piece, unsigned char byte)
{
    static constexpr char DIGITS[] = "0123456789abcdef";
    piece += "\\x";
    piece += DIGITS[byte >> 4U];
    piece += DIGITS[byte & 0xFU];
}

}  // namespace

std::string EscapeText(std::string_view text, std::size_t limit)
{
    std::string escaped;
    std::string piece;
    std::size_t position = 0;
    while (position < text.size()) {
        const Character character = Decode(text, position);
        piece.clear();
        if (character.code == '\\') {
            piece = "\\\\";
        } else if (character.code == '\n') {
            piece = "\\n";
        } else if (character.code == '\t') {
            piece = "\\t";
        } else if (character.valid && IsHarmless(character.code)) {
            piece.assign(text.substr(position, character.length));
        } else {
            for (std::size_t i = 0; i < character.length; ++i) {
                AppendByte(piece, ByteAt(text, position + i));
            }
        }
        if (piece.size() > limit - escaped.size()) {
            escaped += "...";
            break;
        }
        escaped += piece;
        position += character.length;
    }
    return escaped;
}

std::string EscapeText(const char* text, std::size_t limit)
{
    if (text == nullptr) {
        return "(null)";
    }
    const std::size_t bound = limit == static_cast<std::size_t>(-1) ? limit : limit + 1;
    return EscapeText(std::string_view(text, strnlen(text, bound)), limit);
}

}  // namespace host
