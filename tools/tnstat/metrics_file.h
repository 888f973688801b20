// SPDX-License-Identifier: MIT

#ifndef TOOLS_TNSTAT_METRICS_FILE_H
#define TOOLS_TNSTAT_METRICS_FILE_H

#include <cstdint>

#include <string>

#include "common/metrics.h"

namespace tnstat {

/// When a file was written, and which one it is: a dump replaces the file, so that both change.
struct FileStamp {
    std::int64_t modifiedNs = 0;  ///< since 1970, UTC; times beyond 145 years of it are cut
    std::uint64_t inode = 0;

    bool operator==(const FileStamp& other) const
    {
        return modifiedNs == other.modifiedNs && inode == other.inode;
    }
    bool operator!=(const FileStamp& other) const { return !(*this == other); }
};

/// What one look at the metrics file gave.
struct Reading {
    std::string fault;  ///< why there is no record: one line without line break; empty when there is one
    FileStamp stamp;    ///< zero when the file could not be opened
    SystemMetrics record;

    bool IsGood() const { return fault.empty(); }
};

/// Reads the file, whatever stands under its name; never waits for a FIFO or a device, never raises but
/// std::bad_alloc. Any thread.
Reading ReadMetricsFile(const std::string& path);

/// What in a record cannot be: node count outside 0 to 16, a score that is no number from 0 to 1, a negative
/// page size. One line; empty for a possible record.
std::string ImpossibleFigure(const SystemMetrics& record);

}  // namespace tnstat

#endif  // TOOLS_TNSTAT_METRICS_FILE_H
