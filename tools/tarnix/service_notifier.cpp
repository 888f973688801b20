// SPDX-License-Identifier: MIT

#include "tools/tarnix/service_notifier.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstring>

// The protocol is a datagram: not worth a library that would more than double the memory of the daemon.

namespace tarnix {
namespace {

constexpr std::int64_t NS_PER_US = 1000;
constexpr std::int64_t MIN_PING_NS = 1000000;     // more often is work without end
constexpr std::int64_t MAX_USEC = 86400'000'000;  // a day; more is as good as none

/// The whole text as a positive number; 0 otherwise.
std::int64_t Number(const std::string& text)
{
    std::int64_t value = 0;
    const char* const end = text.data() + text.size();
    const std::from_chars_result parsed = std::from_chars(text.data(), end, value);
    return parsed.ec == std::errc() && parsed.ptr == end && value > 0 ? value : 0;
}

std::int64_t PingInterval(const Environment& environment)
{
    const std::int64_t usec = Number(environment.watchdogUsec);
    const bool ours = environment.watchdogPid.empty() || Number(environment.watchdogPid) == getpid();
    return ours && usec > 0 && usec <= MAX_USEC ? std::max(usec * NS_PER_US / 2, MIN_PING_NS) : 0;
}

}  // namespace

ServiceNotifier::ServiceNotifier(const Environment& environment) : path(environment.notifySocket)
{
    const bool usable = !path.empty() && (path.front() == '/' || path.front() == '@') &&
                        path.size() < sizeof(sockaddr_un::sun_path);
    if (!usable) {
        return;
    }
    fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    pingIntervalNs = PingInterval(environment);
}

ServiceNotifier::~ServiceNotifier()
{
    if (fd >= 0) {
        close(fd);
    }
}

void ServiceNotifier::Ready(const std::string& status)
{
    Send("READY=1\nSTATUS=" + status);
}

void ServiceNotifier::Status(const std::string& status)
{
    Send("STATUS=" + status);
}

void ServiceNotifier::Reloading(std::int64_t nowNs)
{
    Send("RELOADING=1\nMONOTONIC_USEC=" + std::to_string(nowNs / NS_PER_US));
}

void ServiceNotifier::Stopping()
{
    Send("STOPPING=1");
}

void ServiceNotifier::Alive(std::int64_t nowNs)
{
    if (pingIntervalNs > 0 && nowNs >= nextPingNs) {
        nextPingNs = nowNs + pingIntervalNs;
        Send("WATCHDOG=1");
    }
}

void ServiceNotifier::Send(const std::string& text)
{
    if (fd < 0) {
        return;
    }
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.data(), path.size());
    if (path.front() == '@') {
        address.sun_path[0] = '\0';
    }
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + path.size());
    sendto(fd, text.data(), text.size(), MSG_NOSIGNAL, reinterpret_cast<const sockaddr*>(&address), length);
}

}  // namespace tarnix
