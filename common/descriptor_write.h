// SPDX-License-Identifier: MIT

#ifndef COMMON_DESCRIPTOR_WRITE_H
#define COMMON_DESCRIPTOR_WRITE_H

#include <signal.h>
#include <sys/uio.h>

#include <cstddef>

namespace runtime {

/// Keeps SIGPIPE away from the process while this thread writes to a pipe or socket: blocks the signal in
/// this thread only, and takes back the one that a failed write left pending. How the process handles the
/// signal is never touched, and a SIGPIPE that somebody else had pending stays pending.
class SigpipeHold {
public:
    /// Does nothing at all unless `wanted`.
    explicit SigpipeHold(bool wanted);
    ~SigpipeHold();

    SigpipeHold(const SigpipeHold&) = delete;
    SigpipeHold& operator=(const SigpipeHold&) = delete;

    /// A write failed with `error`; after EPIPE the signal is pending and goes before the mask is restored.
    void NoteError(int error);

private:
    bool held = false;
    bool raised = false;
    sigset_t previous;  // set while held
};

/// What became of a write: `error` is 0 when everything was written, otherwise the errno that ended it after
/// `written` bytes.
struct WriteOutcome {
    int error = 0;
    std::size_t written = 0;
};

/// Writes all parts, in one system call unless the kernel takes them in pieces; interrupted calls are
/// repeated. A non-blocking descriptor that is full ends the write with EAGAIN. Changes `parts`.
WriteOutcome WriteAll(int fd, iovec* parts, int count);

/// Whether a write to `fd` can raise SIGPIPE: it is a pipe, a FIFO or a socket now.
bool CanRaiseSigpipe(int fd);

}  // namespace runtime

#endif  // COMMON_DESCRIPTOR_WRITE_H
