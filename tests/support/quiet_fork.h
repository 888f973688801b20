// SPDX-License-Identifier: MIT

#ifndef TESTS_SUPPORT_QUIET_FORK_H
#define TESTS_SUPPORT_QUIET_FORK_H

#include <dirent.h>
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <string>

namespace support {

/// Whether every other thread of this process sleeps: those that libraries start before main() do once they
/// have nothing to do.
inline bool OthersSleep()
{
    const std::string self = std::to_string(gettid());
    DIR* const tasks = opendir("/proc/self/task");
    bool sleep = true;
    for (const dirent* entry = nullptr; tasks != nullptr && (entry = readdir(tasks)) != nullptr;) {
        std::ifstream file("/proc/self/task/" + std::string(entry->d_name) + "/stat");
        const std::string stat{std::istreambuf_iterator<char>(file), {}};
        const std::size_t state = stat.rfind(") ");
        sleep = sleep && (state == std::string::npos || entry->d_name == self || stat[state + 2] == 'S');
    }
    if (tasks != nullptr) {
        closedir(tasks);
    }
    return sleep;
}

/// fork(), once no other thread can hold a lock of the allocator, after a second at most: the copy would have
/// that lock for ever. The usual allocator takes care of its own locks, those of the sanitizers do not.
inline pid_t ForkQuietly()
{
    for (int i = 0; i < 1000 && !OthersSleep(); ++i) {
        usleep(1000);
    }
    return fork();
}

}  // namespace support

#endif  // TESTS_SUPPORT_QUIET_FORK_H
