// SPDX-License-Identifier: MIT

#ifndef TOOLS_TNSTAT_CONNECTION_TABLE_H
#define TOOLS_TNSTAT_CONNECTION_TABLE_H

#include <chrono>
#include <map>
#include <mutex>

namespace tnstat {

/// Since when each open connection has been at its present request, by descriptor. Any thread.
class ConnectionTable {
public:
    /// A connection is new, or has its request behind it.
    void Restart(int descriptor);

    /// To be called before the descriptor is closed, so that the number is nobody else's as long as it stands
    /// here.
    void Remove(int descriptor);

    /// Shuts both directions of every connection whose present request is older than `age`; whoever waits on
    /// the descriptor learns of it and closes it.
    void ShutOlderThan(std::chrono::nanoseconds age);

private:
    std::mutex mutex;
    std::map<int, std::chrono::steady_clock::time_point> since;
};

}  // namespace tnstat

#endif  // TOOLS_TNSTAT_CONNECTION_TABLE_H
