// SPDX-License-Identifier: MIT

#include "common/probe_parsers.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <limits>

#include "common/string_util.h"

namespace probe {

namespace {

constexpr uint32_t KNOWN_IMPLEMENTER = 0x48;
constexpr uint8_t CPU_TYPE_UNKNOWN = 4;

bool Holds(std::string_view text, std::string_view part) noexcept
{
    return text.find(part) != std::string_view::npos;
}

bool StartsWith(std::string_view text, std::string_view prefix) noexcept
{
    return text.substr(0, prefix.size()) == prefix;
}

bool IsBlank(char c) noexcept
{
    return c == ' ' || c == '\t';
}

bool IsDigit(char c) noexcept
{
    return c >= '0' && c <= '9';
}

std::string_view SkipBlanks(std::string_view text) noexcept
{
    while (!text.empty() && IsBlank(text.front())) {
        text.remove_prefix(1);
    }
    return text;
}

/// The leading word of `text`, up to the first white space.
std::string_view FirstWord(std::string_view text) noexcept
{
    const auto* end = std::find_if(text.begin(), text.end(), IsSpace);
    return text.substr(0, static_cast<size_t>(end - text.begin()));
}

/// The whole of `word` as a number.
template <typename Number>
bool ToNumber(std::string_view word, Number& number, int base = 10) noexcept
{
    const char* end = word.data() + word.size();
    const auto result = std::from_chars(word.data(), end, number, base);
    return result.ec == std::errc{} && result.ptr == end && !word.empty();
}

/// The text two characters after the first ":", empty when the line ends before it.
std::string_view FigureOf(std::string_view line) noexcept
{
    const size_t colon = line.find(':');
    return colon == std::string_view::npos || line.size() - colon < 3 ? std::string_view{}
                                                                      : line.substr(colon + 2);
}

bool HexFigure(std::string_view line, uint32_t& figure) noexcept
{
    std::string_view word = FirstWord(SkipBlanks(FigureOf(line)));
    if (StartsWith(word, "0x") || StartsWith(word, "0X")) {
        word.remove_prefix(2);
    }
    return ToNumber(word, figure, 16);
}

uint8_t TypeOfPart(uint32_t part) noexcept
{
    switch (part) {
        case 0xd01:
            return 0;
        case 0xd02:
            return 1;
        case 0xd06:
            return 2;
        default:
            return CPU_TYPE_UNKNOWN;
    }
}

}  // namespace

unsigned long ParseMemFree(LineReader& lines) noexcept
{
    LinePiece piece;
    while (lines.Next(piece)) {
        const size_t colon = piece.text.find(':');
        if (colon == std::string_view::npos || !Holds(piece.text.substr(0, colon), "MemFree")) {
            continue;
        }
        unsigned long freeKb = 0;
        return ToNumber(FirstWord(SkipBlanks(piece.text.substr(colon + 1))), freeKb) ? freeKb : 0;
    }
    return 0;
}

uint8_t ParseCpuType(LineReader& lines) noexcept
{
    uint32_t implementer = 0;
    uint32_t part = 0;
    int taken = 0;
    LinePiece piece;
    while (taken < 2 && lines.Next(piece)) {
        const std::string_view line = piece.text;
        uint32_t* figure = nullptr;
        if (Holds(line, "CPU implementer")) {
            figure = &implementer;
        } else if (Holds(line, "CPU part")) {
            figure = &part;
        } else if (Holds(line, "cpu family") ||
                   (Holds(line, "model") && !FigureOf(line).empty() && IsDigit(FigureOf(line).front()))) {
            // Decimal figures stand for processors that are never recognised, whatever else the text says.
            return CPU_TYPE_UNKNOWN;
        } else {
            continue;
        }
        if (!HexFigure(line, *figure)) {
            return CPU_TYPE_UNKNOWN;
        }
        ++taken;
    }
    return taken == 2 && implementer == KNOWN_IMPLEMENTER ? TypeOfPart(part) : CPU_TYPE_UNKNOWN;
}

void ParseProcStatus(LineReader& lines, ProcStatus& status)
{
    bool nameSeen = false;
    bool parentSeen = false;
    LinePiece piece;
    // The two lines stand near the top; the rest of the file, with group lists of any length, is left unread.
    while (!(nameSeen && parentSeen) && lines.Next(piece)) {
        if (!piece.startsLine) {
            continue;
        }
        if (!nameSeen && StartsWith(piece.text, "Name:")) {
            status.name = SkipBlanks(piece.text.substr(5));
            nameSeen = true;
        } else if (!parentSeen && StartsWith(piece.text, "PPid:")) {
            StringToUint(std::string(SkipBlanks(piece.text.substr(5))), status.ppid);
            parentSeen = true;
        }
    }
}

std::string ParseKernelVersion(std::string_view line)
{
    constexpr std::string_view MARK = "Linux version ";
    const size_t mark = line.find(MARK);
    if (mark == std::string_view::npos) {
        return "";
    }
    std::string_view release = line.substr(mark + MARK.size());
    const size_t blank = release.find(' ');
    if (blank == std::string_view::npos) {
        return "";
    }
    release = release.substr(0, blank);
    const size_t major = release.find('.');
    if (major == std::string_view::npos) {
        return "";
    }
    return std::string(release.substr(0, release.find('.', major + 1)));
}

void NulsToBlanks(char* text, size_t size) noexcept
{
    // Searching is many times faster than replacing byte by byte: arguments are long and their ends few.
    char* const end = text + size;
    for (char* at = text;
         (at = static_cast<char*>(std::memchr(at, 0, static_cast<size_t>(end - at)))) != nullptr;) {
        do {
            *at++ = ' ';
        } while (at != end && *at == '\0');
        if (at == end) {
            return;
        }
    }
}

void NodePageCounter::Feed(std::string_view portion) noexcept
{
    for (const char c : portion) {
        if (IsSpace(c)) {
            Finish();
        } else if (!skip) {
            skip = length == MAX_WORD || (length == 0 && c != 'N');
            if (!skip) {
                word[length++] = c;
            }
        }
    }
}

void NodePageCounter::Finish() noexcept
{
    if (!skip && length > 0) {
        Take({word, length});
    }
    length = 0;
    skip = false;
}

void NodePageCounter::Take(std::string_view entry) noexcept
{
    const size_t equals = entry.find('=');
    size_t node = 0;
    uint64_t pages = 0;
    if (equals == std::string_view::npos || !ToNumber(entry.substr(1, equals - 1), node) ||
        !ToNumber(entry.substr(equals + 1), pages) || node >= perNode.size()) {
        return;
    }
    const unsigned room = std::numeric_limits<unsigned>::max() - perNode[node];
    perNode[node] += static_cast<unsigned>(std::min<uint64_t>(pages, room));
}

}  // namespace probe
