// SPDX-License-Identifier: MIT

#ifndef TESTS_UNIT_COMMON_METRICS_RECORD_H
#define TESTS_UNIT_COMMON_METRICS_RECORD_H

#include "common/metrics.h"

/// A record in which every field has a value of its own.
inline SystemMetrics Numbered()
{
    SystemMetrics record;
    record.loopCnt = 0x1122334455667788U;
    record.pageSizeKb = 4;
    record.numaNum = 4;
    record.uncore.interval = 100;
    record.uncore.rxOpsNum = 5000000;
    record.uncore.rxOuterNum = 123456;
    record.uncore.rxScclNum = 6543;
    record.uncore.numaScore = 0.9750002F;
    record.task = {11, 12, 13, 14};
    record.mem.migrateCostTimeUs = 21;
    record.mem.nonmigratedKb = 22;
    record.mem.migratedKb = 23;
    record.mem.failedProcessNum = 24;
    record.mem.failedKb = 25;
    for (unsigned row = 0; row < 16; ++row) {
        for (unsigned column = 0; column < 16; ++column) {
            record.mem.migrateMatrix[row][column] = 1000 * row + column;
        }
        record.mem.freeMemKb[row] = 1000000 + row;
        record.mem.giveUpKb[row] = 2000 + row;
    }
    return record;
}

#endif  // TESTS_UNIT_COMMON_METRICS_RECORD_H
