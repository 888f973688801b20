// SPDX-License-Identifier: MIT

#include "host/text_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "host/escape.h"
#include "host/retried_open.h"

namespace host {
namespace {

class Descriptor {
public:
    explicit Descriptor(int opened) : fd(opened) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor()
    {
        if (fd >= 0) {
            close(fd);
        }
    }
    int Get() const { return fd; }

private:
    int fd;
};

std::string CannotReadMessage(const std::string& path, const std::string& reason)
{
    return "cannot read " + EscapeText(path) + ": " + reason;
}

TextFile Failure(const std::string& path, int errorNumber, const std::string& reason)
{
    return {"", errorNumber, CannotReadMessage(path, reason)};
}

bool IsDigit(char c)
{
    return c >= '0' && c <= '9';
}

/// Cuts the run of digits off the front of `text` and returns it without leading zeros.
std::string_view TakeNumber(std::string_view& text)
{
    std::size_t length = 0;
    while (length < text.size() && IsDigit(text[length])) {
        ++length;
    }
    std::string_view number = text.substr(0, length);
    text.remove_prefix(length);
    number.remove_prefix(std::min(number.find_first_not_of('0'), number.size()));
    return number;
}

}  // namespace

TextFile ReadTextFile(const std::string& path, std::size_t limit)
{
    if (path.find('\0') != std::string::npos) {
        return Failure(path, EINVAL, "the path holds a NUL byte");
    }
    // O_NONBLOCK: opening a FIFO would wait for a writer before fstat could tell what it is.
    const Descriptor file(OpenRetrying(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY | O_NOFOLLOW));
    if (file.Get() < 0) {
        const int errorNumber = errno;
        return Failure(
            path, errorNumber,
            errorNumber == ELOOP ? "it is a symbolic link, expected a regular file" : ErrorText(errorNumber));
    }
    struct stat status {};
    if (fstat(file.Get(), &status) != 0) {
        const int errorNumber = errno;
        return Failure(path, errorNumber, ErrorText(errorNumber));
    }
    if (!S_ISREG(status.st_mode)) {
        return Failure(path, EINVAL, "it is no regular file");
    }

    TextFile result;
    char buffer[4096];
    while (true) {
        const ssize_t count = read(file.Get(), buffer, sizeof(buffer));
        if (count < 0) {
            const int errorNumber = errno;
            if (errorNumber == EINTR) {
                continue;
            }
            return Failure(path, errorNumber, ErrorText(errorNumber));
        }
        if (count == 0) {
            return result;
        }
        if (static_cast<std::size_t>(count) > limit - result.text.size()) {
            return Failure(path, EFBIG, "it is longer than " + std::to_string(limit) + " bytes");
        }
        result.text.append(buffer, static_cast<std::size_t>(count));
    }
}

std::string_view TrimText(std::string_view text)
{
    constexpr std::string_view BLANKS = " \t\r\n";
    const std::size_t first = text.find_first_not_of(BLANKS);
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(BLANKS) - first + 1);
}

DirectoryListing ListDirectory(const std::string& path, std::size_t limit)
{
    DirectoryListing listing;
    std::error_code error;
    std::filesystem::directory_iterator entry(path, error);
    std::size_t seen = 0;
    while (!error && entry != std::filesystem::directory_iterator()) {
        if (++seen > limit) {
            listing.cut = true;
            break;
        }
        std::string name = entry->path().filename().string();
        if (!name.empty() && name.front() != '.') {
            listing.names.push_back(std::move(name));
        }
        entry.increment(error);
    }
    if (error) {
        listing.names.clear();
        listing.errorNumber = error.value();
        listing.error = CannotReadMessage(path, ErrorText(error.value()));
    }
    std::sort(listing.names.begin(), listing.names.end(), NaturalLess);
    return listing;
}

bool NaturalLess(std::string_view left, std::string_view right)
{
    std::string_view a = left;
    std::string_view b = right;
    while (!a.empty() && !b.empty()) {
        if (IsDigit(a.front()) && IsDigit(b.front())) {
            const std::string_view first = TakeNumber(a);
            const std::string_view second = TakeNumber(b);
            if (first.size() != second.size()) {
                return first.size() < second.size();
            }
            if (first != second) {
                return first < second;
            }
        } else if (a.front() != b.front()) {
            return static_cast<unsigned char>(a.front()) < static_cast<unsigned char>(b.front());
        } else {
            a.remove_prefix(1);
            b.remove_prefix(1);
        }
    }
    if (a.empty() != b.empty()) {
        return a.empty();
    }
    return left < right;
}

std::string ErrorText(int errorNumber)
{
    return std::generic_category().message(errorNumber);
}

}  // namespace host
