// SPDX-License-Identifier: MIT

#include "tools/tnstat/csv.h"

#include <algorithm>
#include <string>

#include <gtest/gtest.h>

#include "tests/support/metrics_record.h"

namespace {

using support::TellingRecord;
using tnstat::CsvHeader;
using tnstat::CsvRow;
using tnstat::Reading;

Reading ReadingOf(const SystemMetrics& record)
{
    Reading reading;
    reading.record = record;
    reading.stamp.modifiedNs = 1700000001250000000;
    return reading;
}

TEST(TnstatCsv, TheColumnsAreStable)
{
    EXPECT_EQ(
        CsvHeader(),
        "time,loops,numa_nodes,page_size_kb,interval_ms,rx_ops,rx_outer,rx_sccl,numa_score,threads,"
        "threads_bind_success,threads_bind_failed,task_migrate_us,mem_migrated_kb,mem_nonmigrated_kb,"
        "mem_failed_kb,mem_failed_processes,mem_migrate_us,mem_migrated_nodes_kb,"
        "node0_free_kb,node1_free_kb,node2_free_kb,node3_free_kb,node4_free_kb,node5_free_kb,node6_free_kb,"
        "node7_free_kb,node8_free_kb,node9_free_kb,node10_free_kb,node11_free_kb,node12_free_kb,"
        "node13_free_kb,node14_free_kb,node15_free_kb,"
        "node0_give_up_kb,node1_give_up_kb,node2_give_up_kb,node3_give_up_kb,node4_give_up_kb,"
        "node5_give_up_kb,node6_give_up_kb,node7_give_up_kb,node8_give_up_kb,node9_give_up_kb,"
        "node10_give_up_kb,node11_give_up_kb,node12_give_up_kb,node13_give_up_kb,node14_give_up_kb,"
        "node15_give_up_kb\r\n");
}

TEST(TnstatCsv, ARowHoldsEveryFigure)
{
    EXPECT_EQ(
        CsvRow(ReadingOf(TellingRecord())),
        "2023-11-14T22:13:21.250Z,4711,2,4,1000,2000000,60000,40000,0.95,21,22,23,1500,32,31,34,33,2500,"
        "0>1=41 1>0=42,51,52,,,,,,,,,,,,,,,61,62,,,,,,,,,,,,,,\r\n");
}

TEST(TnstatCsv, EveryRowHasAsManyFieldsAsTheHeader)
{
    const std::string header = CsvHeader();
    const auto columns = std::count(header.begin(), header.end(), ',');
    for (const int nodes : {-5, 0, 1, 15, 16, 17, 1000000}) {
        SystemMetrics record = TellingRecord();
        record.numaNum = nodes;
        const std::string row = CsvRow(ReadingOf(record));
        EXPECT_EQ(std::count(row.begin(), row.end(), ','), columns) << nodes;
    }
}

TEST(TnstatCsv, TheLargestFiguresAreWrittenInFull)
{
    SystemMetrics record;
    record.loopCnt = ~0ULL;
    record.uncore.rxOpsNum = ~0ULL;
    record.mem.migratedKb = ~0U;
    const std::string row = CsvRow(ReadingOf(record));
    EXPECT_NE(row.find(",18446744073709551615,0,0,0,18446744073709551615,0,0,0,"), std::string::npos) << row;
    EXPECT_NE(row.find(",4294967295,"), std::string::npos) << row;
}

}  // namespace
