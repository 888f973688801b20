// SPDX-License-Identifier: MIT

#include "common/descriptor_write.h"

#include <errno.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

namespace runtime {
namespace {

sigset_t SigpipeSet()
{
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGPIPE);
    return set;
}

/// Drops the first `done` bytes; returns how many parts went with them.
int Advance(iovec* parts, int count, std::size_t done)
{
    int finished = 0;
    while (finished < count && done >= parts[finished].iov_len) {
        done -= parts[finished].iov_len;
        ++finished;
    }
    if (finished < count) {
        parts[finished].iov_base = static_cast<char*>(parts[finished].iov_base) + done;
        parts[finished].iov_len -= done;
    }
    return finished;
}

/// write(2) or writev(2) without being a cancellation point: a thread that is cancelled in the middle of a
/// line would tear it, and the library's check for it costs as much as a tenth of a short write.
ssize_t WriteOnce(int fd, const iovec* parts, int count)
{
    return count == 1 ? syscall(SYS_write, fd, parts->iov_base, parts->iov_len)
                      : syscall(SYS_writev, fd, parts, count);
}

}  // namespace

SigpipeHold::SigpipeHold(bool wanted)
{
    if (!wanted) {
        return;
    }
    const sigset_t sigpipe = SigpipeSet();
    sigset_t pending;
    sigemptyset(&pending);
    // One that is pending already is somebody else's: then the signal is blocked anyway, and must stay
    // pending.
    sigpending(&pending);
    held = sigismember(&pending, SIGPIPE) == 0 && pthread_sigmask(SIG_BLOCK, &sigpipe, &previous) == 0;
}

SigpipeHold::~SigpipeHold()
{
    if (!held) {
        return;
    }
    const int keptErrno = errno;
    const sigset_t sigpipe = SigpipeSet();
    const timespec now{};
    while (raised && sigtimedwait(&sigpipe, nullptr, &now) < 0 && errno == EINTR) {
    }
    pthread_sigmask(SIG_SETMASK, &previous, nullptr);
    errno = keptErrno;
}

void SigpipeHold::NoteError(int error)
{
    raised = raised || error == EPIPE;
}

WriteOutcome WriteAll(int fd, iovec* parts, int count)
{
    WriteOutcome outcome;
    while (count > 0) {
        const ssize_t done = WriteOnce(fd, parts, count);
        if (done < 0 && errno == EINTR) {
            continue;
        }
        if (done < 0) {
            outcome.error = errno;
            return outcome;
        }
        outcome.written += static_cast<std::size_t>(done);
        const int finished = Advance(parts, count, static_cast<std::size_t>(done));
        if (done == 0 && finished == 0) {
            outcome.error = EIO;  // a device that takes nothing and says nothing
            return outcome;
        }
        parts += finished;
        count -= finished;
    }
    return outcome;
}

bool CanRaiseSigpipe(int fd)
{
    struct stat status {};
    return fstat(fd, &status) == 0 && (S_ISFIFO(status.st_mode) || S_ISSOCK(status.st_mode));
}

}  // namespace runtime
