// SPDX-License-Identifier: MIT

#include "host/line_reader.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace host {

LineReader::LineReader(int descriptor, bool wait) : fd(descriptor), waitForMore(wait), buffer(BUFFER) {}

LineReader::~LineReader()
{
    if (fd != STDIN_FILENO) {
        close(fd);
    }
}

LineReader::Status LineReader::Next(std::string_view& line)
{
    for (;;) {
        if (skipping) {
            const Status status = Skip();
            if (status != Status::LINE) {
                return status;
            }
        }
        const void* const found = std::memchr(buffer.data() + scanned, '\n', end - scanned);
        if (found != nullptr) {
            const auto length =
                static_cast<std::size_t>(static_cast<const char*>(found) - buffer.data()) - begin;
            line = {buffer.data() + begin, length < MAX_LINE ? length : MAX_LINE};
            begin += length + 1;
            scanned = begin;
            consumed += length + 1;
            return length <= MAX_LINE ? Status::LINE : Status::TOO_LONG;
        }
        scanned = end;
        if (end - begin > MAX_LINE) {
            line = {buffer.data() + begin, MAX_LINE};
            skipping = true;
            return Status::TOO_LONG;
        }
        if (ended) {
            line = {buffer.data() + begin, end - begin};
            consumed += end - begin;
            begin = end;
            return line.empty() ? Status::END : Status::LAST_LINE;
        }
        const Status status = Fill();
        if (status != Status::LINE) {
            return status;
        }
    }
}

/// Passes over what is left of a line that is too long; LINE once its line break, or the end, is behind.
LineReader::Status LineReader::Skip()
{
    const void* const found = std::memchr(buffer.data() + begin, '\n', end - begin);
    const std::size_t next =
        found == nullptr ? end
                         : static_cast<std::size_t>(static_cast<const char*>(found) - buffer.data()) + 1;
    consumed += next - begin;
    begin = next;
    scanned = next;
    if (found != nullptr || ended) {
        skipping = false;
        return Status::LINE;
    }
    const Status status = Fill();
    return status == Status::LINE ? Status::SKIPPING : status;
}

/// Reads once, at most what the buffer has room for; LINE when there is something new or the end is reached.
LineReader::Status LineReader::Fill()
{
    if (begin > 0) {
        std::memmove(buffer.data(), buffer.data() + begin, end - begin);
        scanned -= begin;
        end -= begin;
        begin = 0;
    }
    if (waitForMore) {
        pollfd waited{fd, POLLIN, 0};
        const int ready = poll(&waited, 1, anyInput ? -1 : firstInputMs);
        if (ready == 0) {
            return Status::TIMED_OUT;
        }
        if (ready < 0) {
            errorNumber = errno;
            return errorNumber == EINTR ? Status::INTERRUPTED : Status::FAILED;
        }
    }
    const ssize_t got = read(fd, buffer.data() + end, buffer.size() - end);
    if (got < 0) {
        errorNumber = errno;
        // Not readable after all: somebody else reads the same pipe.
        return errorNumber == EINTR || errorNumber == EAGAIN ? Status::INTERRUPTED : Status::FAILED;
    }
    anyInput = true;
    ended = got == 0;
    end += static_cast<std::size_t>(got);
    return Status::LINE;
}

}  // namespace host
