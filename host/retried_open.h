// SPDX-License-Identifier: MIT

#ifndef HOST_RETRIED_OPEN_H
#define HOST_RETRIED_OPEN_H

#include <fcntl.h>

#include <cerrno>
#include <string>

namespace host {

/// open(2), taken up again when a signal interrupts it. For an open that waits for nobody (a regular file, or
/// O_NONBLOCK): elsewhere a signal may be meant to end the wait. -1 with errno when it fails.
inline int OpenRetrying(const std::string& path, int flags, mode_t mode = 0)
{
    int fd = -1;
    do {
        fd = open(path.c_str(), flags, mode);
    } while (fd < 0 && errno == EINTR);
    return fd;
}

}  // namespace host

#endif  // HOST_RETRIED_OPEN_H
