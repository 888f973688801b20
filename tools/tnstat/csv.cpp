// SPDX-License-Identifier: MIT

#include "tools/tnstat/csv.h"

#include <algorithm>
#include <vector>

#include "tools/tnstat/text.h"

namespace tnstat {
namespace {

constexpr const char* LINE_END = "\r\n";

/// The cells of the matrix that are not 0, as "source>target=kB" with blanks between.
std::string MatrixText(const SystemMetrics& record, int nodes)
{
    std::string text;
    for (int source = 0; source < nodes; ++source) {
        for (int target = 0; target < nodes; ++target) {
            const std::uint32_t kb = record.mem.migrateMatrix[source][target];
            if (kb != 0) {
                text += (text.empty() ? "" : " ") + std::to_string(source) + ">" + std::to_string(target) +
                        "=" + std::to_string(kb);
            }
        }
    }
    return text;
}

std::string Joined(const std::vector<std::string>& fields)
{
    std::string line;
    for (const std::string& field : fields) {
        line += (&field == &fields.front() ? "" : ",") + field;
    }
    return line + LINE_END;
}

}  // namespace

std::string CsvHeader()
{
    std::vector<std::string> names = {"time",
                                      "loops",
                                      "numa_nodes",
                                      "page_size_kb",
                                      "interval_ms",
                                      "rx_ops",
                                      "rx_outer",
                                      "rx_sccl",
                                      "numa_score",
                                      "threads",
                                      "threads_bind_success",
                                      "threads_bind_failed",
                                      "task_migrate_us",
                                      "mem_migrated_kb",
                                      "mem_nonmigrated_kb",
                                      "mem_failed_kb",
                                      "mem_failed_processes",
                                      "mem_migrate_us",
                                      "mem_migrated_nodes_kb"};
    for (int node = 0; node < METRICS_MAX_NODES; ++node) {
        names.push_back("node" + std::to_string(node) + "_free_kb");
    }
    for (int node = 0; node < METRICS_MAX_NODES; ++node) {
        names.push_back("node" + std::to_string(node) + "_give_up_kb");
    }
    return Joined(names);
}

std::string CsvRow(const Reading& reading)
{
    const SystemMetrics& record = reading.record;
    const int nodes = std::clamp(record.numaNum, 0, METRICS_MAX_NODES);
    std::vector<std::string> fields = {UtcTime(reading.stamp.modifiedNs),
                                       std::to_string(record.loopCnt),
                                       std::to_string(record.numaNum),
                                       std::to_string(record.pageSizeKb),
                                       std::to_string(record.uncore.interval),
                                       std::to_string(record.uncore.rxOpsNum),
                                       std::to_string(record.uncore.rxOuterNum),
                                       std::to_string(record.uncore.rxScclNum),
                                       ShortestFloat(record.uncore.numaScore),
                                       std::to_string(record.task.threadsNum),
                                       std::to_string(record.task.bindSuccessNum),
                                       std::to_string(record.task.bindFailNum),
                                       std::to_string(record.task.migrateCostTimeUs),
                                       std::to_string(record.mem.migratedKb),
                                       std::to_string(record.mem.nonmigratedKb),
                                       std::to_string(record.mem.failedKb),
                                       std::to_string(record.mem.failedProcessNum),
                                       std::to_string(record.mem.migrateCostTimeUs),
                                       MatrixText(record, nodes)};
    for (int node = 0; node < METRICS_MAX_NODES; ++node) {
        fields.push_back(node < nodes ? std::to_string(record.mem.freeMemKb[node]) : std::string());
    }
    for (int node = 0; node < METRICS_MAX_NODES; ++node) {
        fields.push_back(node < nodes ? std::to_string(record.mem.giveUpKb[node]) : std::string());
    }
    return Joined(fields);
}

}  // namespace tnstat
