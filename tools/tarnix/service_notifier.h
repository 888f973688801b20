// SPDX-License-Identifier: MIT

#ifndef TOOLS_TARNIX_SERVICE_NOTIFIER_H
#define TOOLS_TARNIX_SERVICE_NOTIFIER_H

#include <cstdint>

#include <string>

#include "tools/tarnix/environment.h"

namespace tarnix {

/// Tells the service manager how the daemon is, in the protocol of sd_notify(3): datagrams to the socket that
/// NOTIFY_SOCKET names. Does nothing without it. Never waits: what the manager has no room for is dropped.
/// One thread.
class ServiceNotifier {
public:
    explicit ServiceNotifier(const Environment& environment);
    ServiceNotifier(const ServiceNotifier&) = delete;
    ServiceNotifier& operator=(const ServiceNotifier&) = delete;
    ~ServiceNotifier();

    void Ready(const std::string& status);
    void Status(const std::string& status);
    void Reloading(std::int64_t nowNs);
    void Stopping();

    /// The loop is alive: to be called at least each PingIntervalNs, sends no more than needed.
    void Alive(std::int64_t nowNs);

    /// Half of WATCHDOG_USEC in nanoseconds, at least a millisecond; 0 when the manager expects no pings of
    /// this process.
    std::int64_t PingIntervalNs() const { return pingIntervalNs; }

private:
    void Send(const std::string& text);

    std::string path;
    int fd = -1;
    std::int64_t pingIntervalNs = 0;
    std::int64_t nextPingNs = 0;
};

}  // namespace tarnix

#endif  // TOOLS_TARNIX_SERVICE_NOTIFIER_H
