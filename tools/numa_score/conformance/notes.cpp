// SPDX-License-Identifier: MIT

#include "tools/numa_score/conformance/notes.h"

#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <string_view>

namespace conformance {
namespace {

constexpr std::size_t TOUCHED_AT = Notes::PLACE_BYTES;
constexpr std::size_t VERDICT_AT = TOUCHED_AT + Notes::TOUCHED_BYTES;

}  // namespace

void Notes::At(const std::string& place) const
{
    Put(0, PLACE_BYTES, place);
}

void Notes::Touched(const char* text) const noexcept
{
    const std::size_t length = std::min(std::strlen(text) + 1, TOUCHED_BYTES);
    // A write that fails leaves the note out; there is nobody to tell.
    static_cast<void>(!pwrite(fd, text, length, static_cast<off_t>(TOUCHED_AT)));
}

void Notes::Write(const Verdict& verdict) const
{
    Put(VERDICT_AT, VERDICT_BYTES, std::to_string(getpid()) + ' ' + Packed(verdict));
}

std::string Notes::Place() const
{
    return Printable(Get(0, PLACE_BYTES));
}

std::string Notes::TouchedText() const
{
    return Printable(Get(TOUCHED_AT, TOUCHED_BYTES));
}

std::optional<Verdict> Notes::Read(pid_t writer) const
{
    const std::string line = Get(VERDICT_AT, VERDICT_BYTES);
    const std::string signature = std::to_string(writer) + ' ';
    if (line.compare(0, signature.size(), signature) != 0) {
        return std::nullopt;
    }
    return Unpacked(std::string_view(line).substr(signature.size()));
}

void Notes::Put(std::size_t offset, std::size_t room, const std::string& text) const
{
    const std::string cut = text.substr(0, room - 1);
    static_cast<void>(!pwrite(fd, cut.c_str(), cut.size() + 1, static_cast<off_t>(offset)));
}

std::string Notes::Get(std::size_t offset, std::size_t room) const
{
    std::string text(room, '\0');
    const ssize_t got = pread(fd, text.data(), room, static_cast<off_t>(offset));
    text.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
    return text.substr(0, text.find('\0'));
}

}  // namespace conformance
