// SPDX-License-Identifier: MIT

#include "tools/cli/output.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

namespace cli {
namespace {

/// How long a reader that takes nothing is waited for once the program is to end.
constexpr int LAST_WAIT_MS = 1000;

/// A signal that arrives just before a wait does not end it: no wait is longer than this.
constexpr int SLICE_MS = 100;

/// A pipe that polls writable takes at least this much without blocking.
constexpr std::size_t SAFE_PIPE_WRITE = 4096;

bool IsRegularFile(int fd)
{
    struct stat status {};
    return fstat(fd, &status) == 0 && S_ISREG(status.st_mode);
}

}  // namespace

Output::Output(int descriptor, bool ownDescriptor, Flush flushing, StopCheck stopCheck)
    : fd(descriptor),
      owned(ownDescriptor),
      regular(IsRegularFile(descriptor)),
      flush(flushing),
      stopRequested(std::move(stopCheck))
{
    buffer.reserve(BUFFER + BUFFER / 4);
}

Output::~Output()
{
    if (owned && fd >= 0) {
        close(fd);
    }
}

void Output::Commit()
{
    if (flush == Flush::EACH_COMMIT || buffer.size() >= BUFFER) {
        WriteOut();
    }
}

void Output::WriteOut()
{
    std::string_view rest = buffer;
    while (!rest.empty() && state == State::GOOD) {
        // Nobody reads a file meanwhile; elsewhere the wait for room is in AwaitRoom, not in write. Only a
        // terminal that is stopped with less than a page of room left keeps write itself waiting.
        const bool waits = !regular && fd >= 0;
        if (waits && !AwaitRoom()) {
            break;
        }
        const ssize_t written =
            write(fd, rest.data(), waits ? std::min(rest.size(), SAFE_PIPE_WRITE) : rest.size());
        if (written >= 0) {
            rest.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno != EAGAIN && errno != EINTR) {
            Fail(errno);
        }
    }
    buffer.clear();
}

/// Waits until the reader takes more. Once the program is asked to end, not for long.
bool Output::AwaitRoom()
{
    for (;;) {
        const bool ending = stopRequested && stopRequested();
        pollfd waited{fd, POLLOUT, 0};
        const int ready = poll(&waited, 1, ending ? LAST_WAIT_MS : SLICE_MS);
        if (ready > 0) {
            return true;
        }
        if (ready == 0 && ending) {
            Fail(ETIMEDOUT);
            return false;
        }
        if (ready < 0 && errno != EINTR) {
            Fail(errno);
            return false;
        }
    }
}

void Output::Close()
{
    WriteOut();
    if (fd < 0) {
        return;
    }
    // A descriptor that is not ours stays open, but closing a copy of it makes the file system report as
    // well.
    const int closing = owned ? fd : fcntl(fd, F_DUPFD_CLOEXEC, 0);
    fd = -1;
    if (closing >= 0 && close(closing) != 0 && errno != EINTR) {
        Fail(errno);
    }
}

void Output::Fail(int number)
{
    if (state == State::GOOD) {
        state = number == EPIPE || number == ECONNRESET ? State::READER_GONE : State::FAILED;
        errorNumber = number;
    }
}

int EndOutOfMemory(std::string_view program, int status) noexcept
{
    for (std::string_view part : {program, std::string_view(": out of memory\n")}) {
        while (!part.empty()) {
            // Nobody may read: then the end comes without the line, and at once when a signal asks for it.
            pollfd waited{STDERR_FILENO, POLLOUT, 0};
            if (poll(&waited, 1, LAST_WAIT_MS) <= 0) {
                return status;
            }
            const ssize_t written = write(STDERR_FILENO, part.data(), part.size());
            if (written < 0 && errno == EINTR) {
                continue;
            }
            if (written <= 0) {
                return status;
            }
            part.remove_prefix(static_cast<std::size_t>(written));
        }
    }
    return status;
}

void OccupyStandardDescriptors()
{
    for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(fd, F_GETFD) < 0) {
            open("/dev/null", fd == STDIN_FILENO ? O_WRONLY : O_RDONLY);
        }
    }
}

int OpenOutputFile(const std::string& path)
{
    return open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOCTTY, 0666);
}

bool IsSameFile(const std::string& recording, const std::string& output)
{
    struct stat first {};
    struct stat second {};
    const bool known =
        recording == "-" ? fstat(STDIN_FILENO, &first) == 0 : stat(recording.c_str(), &first) == 0;
    return known && S_ISREG(first.st_mode) && stat(output.c_str(), &second) == 0 &&
           first.st_dev == second.st_dev && first.st_ino == second.st_ino;
}

}  // namespace cli
