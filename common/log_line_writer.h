// SPDX-License-Identifier: MIT

#ifndef COMMON_LOG_LINE_WRITER_H
#define COMMON_LOG_LINE_WRITER_H

#include <sys/types.h>

#include <cstdint>

#include <streambuf>
#include <string>
#include <string_view>

namespace runtime {

enum class LogPlace { STANDARD_OUTPUT, LOG_FILE, STANDARD_ERROR };

/// Where lines go at the moment.
struct LogTarget {
    LogPlace place = LogPlace::STANDARD_ERROR;
    int fd = -1;
    bool pipe = false;                      ///< a write can raise SIGPIPE
    std::streambuf* redirection = nullptr;  ///< takes the lines instead of `fd` when set
};

/// Standard output or standard error as a target. What the program has put into the stream's own buffer is
/// sent ahead, and a buffer that the program has set in the place of std::cout's or std::cerr's own takes the
/// lines.
LogTarget StandardOutputTarget();
LogTarget StandardErrorTarget();

/// What stands before the message: "[stamp] [tid] [LEVEL] ".
struct LineHead {
    std::string_view stamp;  ///< at most 84 bytes
    pid_t tid = 0;
    std::string_view levelName;  ///< cut after 32 bytes
};

/// Writes the report of a log file that cannot be opened, "[Logger] Failed to open log file: " and the name
/// as it was given. Needs no memory unless the target is a redirection. Returns 0 or the errno of the
/// failure.
int WriteOpenFailure(const LogTarget& target, std::string_view name);

/// Writes lines, each in one write, and keeps the account of those that could not be written. Not
/// thread-safe. Constant-initialised, trivially destroyed.
class LogLineWriter {
public:
    constexpr LogLineWriter() = default;

    /// Writes `head`, `message` and a line break. A line that was cut short before on the same file is ended
    /// first, so that the new one begins at the start of a line. Returns 0 or the errno of the failure.
    int Write(const LogTarget& target, const LineHead& head, std::string_view message);

    /// Counts a line that could not be written to `place` because of `error`.
    void CountLost(LogPlace place, int error);

    /// Number of lines lost since ForgetLost, with the place and the error of the last of them.
    std::uint64_t Lost() const { return lost; }
    LogPlace LostPlace() const { return lostPlace; }
    int LostError() const { return lostError; }
    void ForgetLost() { lost = 0; }

private:
    bool IsTorn(int fd) const;
    void RememberTorn(int fd);

    std::uint64_t lost = 0;
    LogPlace lostPlace = LogPlace::STANDARD_OUTPUT;
    int lostError = 0;
    bool torn = false;  // a line without its end stands at the end of the file below
    dev_t tornDevice = 0;
    ino_t tornInode = 0;
};

/// The text of the line that reports lost lines, for example
/// "[Logger] 3 lines were lost on /var/log/x.log: No space left on device (errno 28)".
std::string LostLinesText(std::uint64_t lines, int error, std::string_view destination);

}  // namespace runtime

#endif  // COMMON_LOG_LINE_WRITER_H
