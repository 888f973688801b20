// SPDX-License-Identifier: MIT

#ifndef COMMON_RETRIED_OPEN_H
#define COMMON_RETRIED_OPEN_H

#include <fcntl.h>

#include <cerrno>

namespace runtime {

/// open(2), taken up again when a signal interrupts it. For an open that waits for nobody (a regular file, or
/// O_NONBLOCK): elsewhere a signal may be meant to end the wait. -1 with errno when it fails. Inline, so that
/// programs that link the library need no further symbol of it.
inline int OpenRetrying(const char* path, int flags, mode_t mode = 0) noexcept
{
    int fd = -1;
    do {
        fd = open(path, flags, mode);
    } while (fd < 0 && errno == EINTR);
    return fd;
}

}  // namespace runtime

#endif  // COMMON_RETRIED_OPEN_H
