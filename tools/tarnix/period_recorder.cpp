// SPDX-License-Identifier: MIT

#include "tools/tarnix/period_recorder.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <utility>

#include "common/probes.h"
#include "tools/tarnix/messages.h"

namespace tarnix {
namespace {

constexpr std::int64_t NS_PER_S = 1000000000;

std::string DirectoryOf(const std::string& path)
{
    const std::size_t slash = path.rfind('/');
    if (slash == std::string::npos) {
        return ".";
    }
    return slash == 0 ? "/" : path.substr(0, slash);
}

/// Why a file cannot be made there; 0 when that cannot be told.
int WritingError(const std::string& path)
{
    return access(DirectoryOf(path).c_str(), W_OK | X_OK) == 0 ? 0 : errno;
}

}  // namespace

PeriodRecorder::PeriodRecorder(bool enabled, const std::string& path)
{
    metrics.Init(enabled);
    if (!path.empty()) {
        metrics.path = path;
    }
    if (enabled) {
        mkdir(DirectoryOf(metrics.path).c_str(), 0755);  // what matters shows with the file
    }
    stamp = StampNow();
    stat.Init();
    stat.Run();  // or the first period would be told of with the averages since boot
}

void PeriodRecorder::Record(std::uint64_t period, const UncoreMetrics& uncore, HealthMonitor& health)
{
    health.StartPhase("run_stat");
    stat.Run();
    health.EndPhase("run_stat");
    health.StartPhase("update_data");
    UpdateFigures(period, uncore);
    last = metrics.metrics;
    Dump();
    health.EndPhase("update_data");
}

void PeriodRecorder::UpdateFigures(std::uint64_t period, const UncoreMetrics& uncore)
{
    UncoreMetrics counted = uncore;
    metrics.UpdateUncoreMetrics(counted);
    MemMetrics memory;
    for (int node = 0; node < std::min(metrics.metrics.numaNum, METRICS_MAX_NODES); ++node) {
        memory.freeMemKb[node] = static_cast<std::uint32_t>(
            std::min<unsigned long>(GetNumaFreeMem(node), std::numeric_limits<std::uint32_t>::max()));
    }
    metrics.UpdateMemMetrics(memory);
    metrics.UpdateLoopCnt(period);
}

void PeriodRecorder::Dump()
{
    if (!metrics.enabled) {
        return;
    }
    struct stat status {};
    const bool isThere = lstat(metrics.path.c_str(), &status) == 0;
    const bool wasObstructed = obstructed;
    obstructed = isThere && !S_ISREG(status.st_mode) && !S_ISLNK(status.st_mode);
    if (!obstructed) {
        metrics.Dump();
        CheckDump();
    } else if (!wasObstructed) {
        remarks.push_back({LogLevel::WARN, messages::MetricsNotRegular(metrics.path)});
        failing = true;
    }
}

void PeriodRecorder::CheckDump()
{
    const FileStamp now = StampNow();
    const bool written = now.inode != 0 && !(now == stamp);
    stamp = now;
    if (written == failing) {
        remarks.push_back(written ? Remark{LogLevel::INFO, messages::MetricsWrittenAgain(metrics.path)}
                                  : Remark{LogLevel::WARN, messages::MetricsNotWritten(
                                                               metrics.path, WritingError(metrics.path))});
        failing = !written;
    }
}

PeriodRecorder::FileStamp PeriodRecorder::StampNow() const
{
    struct stat status {};
    if (::stat(metrics.path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) {
        return {};
    }
    return {status.st_ino, status.st_mtim.tv_sec * NS_PER_S + status.st_mtim.tv_nsec};
}

std::vector<Remark> PeriodRecorder::TakeRemarks()
{
    return std::exchange(remarks, {});
}

}  // namespace tarnix
