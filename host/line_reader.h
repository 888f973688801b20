// SPDX-License-Identifier: MIT

#ifndef HOST_LINE_READER_H
#define HOST_LINE_READER_H

#include <cstddef>
#include <cstdint>

#include <chrono>
#include <optional>
#include <string_view>
#include <vector>

namespace host {

/// Reads a descriptor line by line through one buffer of fixed size. One thread at a time.
class LineReader {
public:
    enum class Status {
        LINE,         ///< a line, without its line break
        LAST_LINE,    ///< the end of the input came before the line break
        TOO_LONG,     ///< the first MAX_LINE bytes of a longer line; the rest of it is passed over
        SKIPPING,     ///< a buffer full of the rest of a line that is too long was passed over; call again
        END,          ///< nothing left
        INTERRUPTED,  ///< nothing came for SLICE_MS, or the wait was broken off before; call again
        TIMED_OUT,    ///< no input came in time
        FAILED,       ///< read or poll failed, see ErrorNumber()
    };

    static constexpr std::size_t MAX_LINE = 65536;
    static constexpr std::size_t BUFFER = 262144;

    /// A signal that arrives just before a wait does not end it: no wait is longer than this, in
    /// milliseconds.
    static constexpr int SLICE_MS = 100;

    /// Takes over `descriptor` and closes it at the end, unless it is standard input. `wait`: wait with poll
    /// before each read, so that the caller can look at what a signal asked for; for pipes, sockets and
    /// FIFOs.
    LineReader(int descriptor, bool wait);
    LineReader(const LineReader&) = delete;
    LineReader& operator=(const LineReader&) = delete;
    ~LineReader();

    /// The longest wait for the first input, in milliseconds, over all calls of Next; -1, the default, is for
    /// ever. Later waits are always for ever.
    void SetFirstInputMs(int milliseconds) { firstInputMs = milliseconds; }

    /// `line` stays valid until the next call.
    Status Next(std::string_view& line);

    /// Bytes of the lines given or passed over, line breaks included.
    std::uint64_t Bytes() const { return consumed; }

    int ErrorNumber() const { return errorNumber; }

private:
    Status Await();
    Status Fill();
    Status Skip();

    int fd;
    bool waitForMore;
    int firstInputMs = -1;
    std::optional<std::chrono::steady_clock::time_point> waitingSince;  // for the first input
    bool anyInput = false;
    bool ended = false;
    bool skipping = false;  // inside a line that is too long
    std::vector<char> buffer;
    std::size_t begin = 0;    // what is not yet given
    std::size_t scanned = 0;  // no line break before this
    std::size_t end = 0;      // what is filled
    std::uint64_t consumed = 0;
    int errorNumber = 0;
};

}  // namespace host

#endif  // HOST_LINE_READER_H
