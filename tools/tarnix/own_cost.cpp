// SPDX-License-Identifier: MIT

#include "tools/tarnix/own_cost.h"

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>

#include "host/text_file.h"

namespace tarnix {
namespace {

constexpr std::int64_t NS_PER_S = 1000000000;
constexpr std::int64_t NS_PER_US = 1000;
constexpr std::int64_t BYTES_PER_KB = 1024;

std::int64_t Nanoseconds(const timeval& time)
{
    return time.tv_sec * NS_PER_S + time.tv_usec * NS_PER_US;
}

/// The second figure of /proc/self/statm, pages, in kB; 0 when it cannot be told.
std::int64_t ResidentKb()
{
    const host::TextFile file = host::ReadTextFile("/proc/self/statm");
    const char* const end = file.text.data() + file.text.size();
    const char* const blank = std::find(file.text.data(), end, ' ');
    std::int64_t pages = 0;
    if (blank != end) {
        std::from_chars(blank + 1, end, pages);
    }
    return pages * (sysconf(_SC_PAGESIZE) / BYTES_PER_KB);
}

}  // namespace

OwnCost::OwnCost(std::int64_t nowNs)
    : sinceNs(nowNs), process(UsageOf(RUSAGE_SELF)), loop(UsageOf(RUSAGE_THREAD))
{
}

void OwnCost::NotePass(std::int64_t durationNs)
{
    longestNs = std::max(longestNs, durationNs);
}

messages::Cost OwnCost::Take(std::int64_t nowNs)
{
    const Usage processNow = UsageOf(RUSAGE_SELF);
    const Usage loopNow = UsageOf(RUSAGE_THREAD);
    messages::Cost cost;
    cost.spanNs = nowNs - sinceNs;
    cost.cpuNs = processNow.cpuNs - process.cpuNs;
    cost.loopCpuNs = loopNow.cpuNs - loop.cpuNs;
    cost.wakeups = loopNow.switches - loop.switches;
    cost.longestNs = longestNs;
    cost.residentKb = ResidentKb();
    sinceNs = nowNs;
    process = processNow;
    loop = loopNow;
    longestNs = 0;
    return cost;
}

OwnCost::Usage OwnCost::UsageOf(int who)
{
    rusage usage{};
    getrusage(who, &usage);
    return {Nanoseconds(usage.ru_utime) + Nanoseconds(usage.ru_stime), usage.ru_nvcsw};
}

}  // namespace tarnix
