// SPDX-License-Identifier: MIT

#include "common/pseudo_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <new>

#include "common/retried_open.h"

namespace probe {

namespace {

constexpr size_t MAX_WORD_BYTES = 64U << 10;

std::atomic<const char*> fileRoot{""};

}  // namespace

const char* FileRoot() noexcept
{
    return fileRoot.load(std::memory_order_relaxed);
}

void SetFileRoot(const char* root) noexcept
{
    fileRoot.store(root, std::memory_order_relaxed);
}

PathText::PathText() noexcept
{
    text[0] = '\0';
    Add(FileRoot());
}

PathText& PathText::Add(std::string_view part) noexcept
{
    if (bad || part.size() >= CAPACITY - length || part.find('\0') != std::string_view::npos) {
        bad = true;
        length = 0;
    } else {
        part.copy(text + length, part.size());
        length += part.size();
    }
    text[length] = '\0';
    return *this;
}

PathText& PathText::Add(unsigned long number) noexcept
{
    char digits[24];
    const char* end = std::to_chars(digits, digits + sizeof(digits), number).ptr;
    return Add(std::string_view(digits, static_cast<size_t>(end - digits)));
}

PathText& PathText::Add(int number) noexcept
{
    char digits[16];
    const char* end = std::to_chars(digits, digits + sizeof(digits), number).ptr;
    return Add(std::string_view(digits, static_cast<size_t>(end - digits)));
}

int OpenDescriptor(const char* path, int flags) noexcept
{
    return runtime::OpenRetrying(path, flags | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
}

PseudoFile::PseudoFile(const char* path) noexcept : fd(OpenDescriptor(path, O_RDONLY)) {}

PseudoFile::~PseudoFile()
{
    if (fd >= 0) {
        close(fd);
    }
}

ssize_t PseudoFile::Read(char* buffer, size_t size) noexcept
{
    ssize_t count = 0;
    do {
        count = read(fd, buffer, size);
    } while (count < 0 && errno == EINTR);
    return count;
}

bool LineReader::Next(LinePiece& piece) noexcept
{
    for (;;) {
        const size_t lineBreak = window.substr(0, maxPiece + 1).find('\n');
        if (lineBreak != std::string_view::npos) {
            piece = {window.substr(0, lineBreak), startsLine};
            window.remove_prefix(lineBreak + 1);
            startsLine = true;
            return true;
        }
        if (window.size() > maxPiece) {
            piece = {window.substr(0, maxPiece), startsLine};
            window.remove_prefix(maxPiece);
            startsLine = false;
            return true;
        }
        if (!Refill()) {
            piece = {window, startsLine};
            window = {};
            return !piece.text.empty();
        }
    }
}

bool LineReader::Refill() noexcept
{
    if (file == nullptr || failed || budget == 0) {
        return false;
    }
    const size_t kept = window.size();
    if (kept > 0) {
        std::memmove(buffer, window.data(), kept);
    }
    const ssize_t count = file->Read(buffer + kept, std::min(BUFFER_SIZE - kept, budget));
    if (count <= 0) {
        failed = count < 0;
        budget = 0;
        window = {buffer, kept};
        return false;
    }
    budget -= static_cast<size_t>(count);
    window = {buffer, kept + static_cast<size_t>(count)};
    return true;
}

namespace {

bool FirstWordOf(PseudoFile& file, std::string& word)
{
    char chunk[4096];
    std::string found;
    size_t total = 0;
    while (total < MAX_WORD_BYTES) {
        const ssize_t count = file.Read(chunk, std::min(sizeof(chunk), MAX_WORD_BYTES - total));
        if (count < 0 || (count == 0 && found.empty())) {
            return false;
        }
        if (count == 0) {
            word = std::move(found);
            return true;
        }
        total += static_cast<size_t>(count);
        const char* const data = chunk;
        const char* const end = data + count;
        const char* const begin = found.empty() ? std::find_if_not(data, end, IsSpace) : data;
        const char* const stop = std::find_if(begin, end, IsSpace);
        found.append(begin, stop);
        if (stop != end) {
            word = std::move(found);
            return true;
        }
    }
    return false;
}

}  // namespace

bool ReadFirstWord(const char* path, std::string& word) noexcept
{
    PseudoFile file(path);
    try {
        return file.IsOpen() && FirstWordOf(file, word);
    } catch (const std::bad_alloc&) {
        return false;
    }
}

}  // namespace probe
