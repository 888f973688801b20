// SPDX-License-Identifier: MIT

#include "tools/tnstat/listen_socket.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace tnstat {
namespace {

/// As many as the kernel grants: who connects in a burst is not made to try again a second later.
constexpr int BACKLOG = SOMAXCONN;

/// An address as the kernel takes it.
struct SocketAddress {
    sockaddr_storage storage = {};
    socklen_t size = 0;
};

bool ParseAddress(const std::string& ip, unsigned port, SocketAddress& address)
{
    sockaddr_in v4 = {};
    if (inet_pton(AF_INET, ip.c_str(), &v4.sin_addr) == 1) {
        v4.sin_family = AF_INET;
        v4.sin_port = htons(static_cast<std::uint16_t>(port));
        std::memcpy(&address.storage, &v4, sizeof(v4));
        address.size = sizeof(v4);
        return true;
    }
    sockaddr_in6 v6 = {};
    if (inet_pton(AF_INET6, ip.c_str(), &v6.sin6_addr) == 1) {
        v6.sin6_family = AF_INET6;
        v6.sin6_port = htons(static_cast<std::uint16_t>(port));
        std::memcpy(&address.storage, &v6, sizeof(v6));
        address.size = sizeof(v6);
        return true;
    }
    return false;
}

unsigned PortOf(const SocketAddress& address)
{
    if (address.storage.ss_family == AF_INET6) {
        sockaddr_in6 v6 = {};
        std::memcpy(&v6, &address.storage, sizeof(v6));
        return ntohs(v6.sin6_port);
    }
    sockaddr_in v4 = {};
    std::memcpy(&v4, &address.storage, sizeof(v4));
    return ntohs(v4.sin_port);
}

bool Prepare(int fd, SocketAddress& address)
{
    const int yes = 1;
    // A restart may listen at once, while connections of the instance before are still being wound up.
    setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof(yes));
    if (address.storage.ss_family == AF_INET6) {
        setsockopt(fd, IPPROTO_IPV6, IPV6_V6ONLY, &yes, sizeof(yes));
    }
    auto* const raw = reinterpret_cast<sockaddr*>(&address.storage);
    return bind(fd, raw, address.size) == 0 && listen(fd, BACKLOG) == 0 &&
           getsockname(fd, raw, &address.size) == 0;
}

}  // namespace

ListenSocket Listen(const std::string& ip, unsigned port)
{
    ListenSocket result;
    SocketAddress address;
    if (!ParseAddress(ip, port, address)) {
        result.error = EINVAL;
        return result;
    }
    const int fd = socket(address.storage.ss_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, IPPROTO_TCP);
    if (fd < 0 || !Prepare(fd, address)) {
        result.error = errno;
        if (fd >= 0) {
            close(fd);
        }
        return result;
    }
    result.descriptor = fd;
    result.port = PortOf(address);
    return result;
}

}  // namespace tnstat
