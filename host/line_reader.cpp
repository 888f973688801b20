// SPDX-License-Identifier: MIT

#include "host/line_reader.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include <algorithm>

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

/// LINE once a read does not wait.
LineReader::Status LineReader::Await()
{
    int waitMs = SLICE_MS;
    bool last = false;
    if (!anyInput && firstInputMs >= 0) {
        const auto now = std::chrono::steady_clock::now();
        if (!waitingSince) {
            waitingSince = now;
        }
        const std::chrono::milliseconds waited =
            std::chrono::duration_cast<std::chrono::milliseconds>(now - *waitingSince);
        const std::chrono::milliseconds left = std::chrono::milliseconds(firstInputMs) - waited;
        last = left.count() <= SLICE_MS;
        waitMs = last ? static_cast<int>(std::max<std::int64_t>(left.count(), 0)) : SLICE_MS;
    }
    pollfd awaited{fd, POLLIN, 0};
    const int ready = poll(&awaited, 1, waitMs);
    if (ready > 0) {
        return Status::LINE;
    }
    if (ready == 0) {
        return last ? Status::TIMED_OUT : Status::INTERRUPTED;
    }
    errorNumber = errno;
    return errorNumber == EINTR ? Status::INTERRUPTED : Status::FAILED;
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
        const Status status = Await();
        if (status != Status::LINE) {
            return status;
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
