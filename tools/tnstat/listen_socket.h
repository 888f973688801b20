// SPDX-License-Identifier: MIT

#ifndef TOOLS_TNSTAT_LISTEN_SOCKET_H
#define TOOLS_TNSTAT_LISTEN_SOCKET_H

#include <string>

namespace tnstat {

/// A listening TCP socket, close-on-exec and non-blocking, or why there is none.
struct ListenSocket {
    int descriptor = -1;  ///< owned by whoever takes it
    int error = 0;        ///< errno when there is none
    unsigned port = 0;    ///< the one that was bound
};

/// Listens on an IPv4 or IPv6 address in text form; port 0 takes any free one. An IPv6 socket takes IPv6
/// only.
ListenSocket Listen(const std::string& ip, unsigned port);

}  // namespace tnstat

#endif  // TOOLS_TNSTAT_LISTEN_SOCKET_H
