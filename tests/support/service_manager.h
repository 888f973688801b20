// SPDX-License-Identifier: MIT

#ifndef TESTS_SUPPORT_SERVICE_MANAGER_H
#define TESTS_SUPPORT_SERVICE_MANAGER_H

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstddef>
#include <cstring>
#include <string>

namespace support {

/// The end of a service manager: the datagrams of sd_notify(3).
class ServiceManager {
public:
    /// A name that begins with '@' is an abstract one.
    explicit ServiceManager(const std::string& name)
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::memcpy(address.sun_path, name.data(), name.size());
        if (name.front() == '@') {
            address.sun_path[0] = '\0';
        }
        const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size());
        good = bind(fd, reinterpret_cast<const sockaddr*>(&address), length) == 0;
    }
    ServiceManager(const ServiceManager&) = delete;
    ServiceManager& operator=(const ServiceManager&) = delete;
    ~ServiceManager() { close(fd); }

    /// The next datagram; empty when there is none.
    std::string Next()
    {
        char bytes[4096];
        const ssize_t size = recv(fd, bytes, sizeof bytes, MSG_DONTWAIT);
        return size < 0 ? std::string() : std::string(bytes, static_cast<std::size_t>(size));
    }

    bool good = false;

private:
    int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
};

}  // namespace support

#endif  // TESTS_SUPPORT_SERVICE_MANAGER_H
