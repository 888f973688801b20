// SPDX-License-Identifier: MIT

#ifndef TOOLS_TARNIX_PERIOD_RECORDER_H
#define TOOLS_TARNIX_PERIOD_RECORDER_H

#include <cstdint>

#include <string>
#include <vector>

#include "common/health_monitor.h"
#include "common/metrics.h"
#include "common/stat.h"
#include "tools/tarnix/uncore_feed.h"

namespace tarnix {

/// Closes a tune period: CPU sampler, free memory, metrics file. Belongs to the loop's thread.
class PeriodRecorder {
public:
    /// Writes the metrics file at `path`, the library's own default when empty, unless not `enabled`; makes
    /// its directory, mode 0755, if only that is missing. A dump replaces a file or a link, but nothing else
    /// that may stand there.
    PeriodRecorder(bool enabled, const std::string& path);

    /// Takes the figures of the machine, adds those of the counters and writes the file. The phases
    /// "run_stat" and "update_data" are measured.
    void Record(std::uint64_t period, const UncoreMetrics& uncore, HealthMonitor& health);

    /// The record as it was written last.
    const SystemMetrics& Last() const { return last; }
    const Stat& Cpus() const { return stat; }

    /// That the file is not written any more, or is written again; told once each.
    std::vector<Remark> TakeRemarks();

private:
    /// Which file stands at the path; a dump puts a new one there.
    struct FileStamp {
        std::uint64_t inode = 0;
        std::int64_t modifiedNs = 0;

        bool operator==(const FileStamp& other) const
        {
            return inode == other.inode && modifiedNs == other.modifiedNs;
        }
    };

    FileStamp StampNow() const;
    void UpdateFigures(std::uint64_t period, const UncoreMetrics& uncore);
    void Dump();
    void CheckDump();

    Metrics metrics;
    Stat stat;
    SystemMetrics last;
    FileStamp stamp;
    bool failing = false;
    bool obstructed = false;  ///< something that is no file stands at the path
    std::vector<Remark> remarks;
};

}  // namespace tarnix

#endif  // TOOLS_TARNIX_PERIOD_RECORDER_H
