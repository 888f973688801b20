// SPDX-License-Identifier: MIT

#include "tools/tnstat/connection_table.h"

#include <sys/socket.h>

namespace tnstat {

using Clock = std::chrono::steady_clock;

void ConnectionTable::Restart(int descriptor)
{
    const std::lock_guard<std::mutex> lock(mutex);
    since[descriptor] = Clock::now();
}

void ConnectionTable::Remove(int descriptor)
{
    const std::lock_guard<std::mutex> lock(mutex);
    since.erase(descriptor);
}

void ConnectionTable::ShutOlderThan(std::chrono::nanoseconds age)
{
    const std::lock_guard<std::mutex> lock(mutex);
    const Clock::time_point now = Clock::now();
    for (const auto& [descriptor, start] : since) {
        if (now - start > age) {
            shutdown(descriptor, SHUT_RDWR);
        }
    }
}

}  // namespace tnstat
