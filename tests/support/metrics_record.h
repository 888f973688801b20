// SPDX-License-Identifier: MIT

#ifndef TESTS_SUPPORT_METRICS_RECORD_H
#define TESTS_SUPPORT_METRICS_RECORD_H

#include <fstream>
#include <string>

#include "common/metrics.h"

namespace support {

/// A record in which every figure differs from every other; two nodes.
inline SystemMetrics TellingRecord()
{
    SystemMetrics record;
    record.loopCnt = 4711;
    record.pageSizeKb = 4;
    record.numaNum = 2;
    record.uncore = {1000, 2000000, 60000, 40000, 0.95F};
    record.task = {1500, 21, 22, 23};
    record.mem.migrateCostTimeUs = 2500;
    record.mem.nonmigratedKb = 31;
    record.mem.migratedKb = 32;
    record.mem.failedProcessNum = 33;
    record.mem.failedKb = 34;
    record.mem.migrateMatrix[0][1] = 41;
    record.mem.migrateMatrix[1][0] = 42;
    record.mem.freeMemKb[0] = 51;
    record.mem.freeMemKb[1] = 52;
    record.mem.giveUpKb[0] = 61;
    record.mem.giveUpKb[1] = 62;
    return record;
}

/// The first `size` bytes of the record as a file.
inline void WriteRecord(const std::string& path, const SystemMetrics& record,
                        std::size_t size = sizeof(SystemMetrics))
{
    std::ofstream file(path, std::ios::binary);
    file.write(reinterpret_cast<const char*>(&record), static_cast<std::streamsize>(size));
}

}  // namespace support

#endif  // TESTS_SUPPORT_METRICS_RECORD_H
