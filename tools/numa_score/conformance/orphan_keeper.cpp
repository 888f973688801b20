// SPDX-License-Identifier: MIT

#include "tools/numa_score/conformance/orphan_keeper.h"

#include <csignal>

#include <dirent.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>
#include <thread>

namespace conformance {
namespace {

constexpr std::chrono::seconds LONGEST(1);
constexpr std::chrono::milliseconds BETWEEN_LOOKS(1);

/// 0 when there is no such process any more. The name of a process, in parentheses, may hold anything.
pid_t ParentOf(const std::string& pid)
{
    std::ifstream file("/proc/" + pid + "/stat");
    std::string line(512, '\0');
    file.read(line.data(), static_cast<std::streamsize>(line.size()));
    line.resize(static_cast<std::size_t>(file.gcount()));
    const std::size_t end = line.rfind(") ");
    return end == std::string::npos || end + 4 >= line.size()
               ? 0
               : static_cast<pid_t>(std::strtol(line.c_str() + end + 4, nullptr, 10));
}

}  // namespace

std::set<pid_t> Children()
{
    std::set<pid_t> children;
    const pid_t self = getpid();
    const std::unique_ptr<DIR, int (*)(DIR*)> stream(opendir("/proc"), &closedir);
    while (stream) {
        // NOLINTNEXTLINE(concurrency-mt-unsafe): a stream of our own
        const dirent* const entry = readdir(stream.get());
        if (entry == nullptr) {
            break;
        }
        if (entry->d_name[0] >= '1' && entry->d_name[0] <= '9' && ParentOf(entry->d_name) == self) {
            children.insert(static_cast<pid_t>(std::strtol(entry->d_name, nullptr, 10)));
        }
    }
    return children;
}

OrphanKeeper::OrphanKeeper() : before(Children())
{
    prctl(PR_SET_CHILD_SUBREAPER, 1);
}

void OrphanKeeper::End() const
{
    const auto limit = std::chrono::steady_clock::now() + LONGEST;
    while (std::chrono::steady_clock::now() < limit) {
        bool any = false;
        for (const pid_t child : Children()) {
            if (before.count(child) == 0) {
                any = true;
                kill(child, SIGKILL);
                waitpid(child, nullptr, WNOHANG);
            }
        }
        if (!any) {
            return;
        }
        std::this_thread::sleep_for(BETWEEN_LOOKS);
    }
}

}  // namespace conformance
