// SPDX-License-Identifier: MIT

#ifndef COMMON_METRICS_H
#define COMMON_METRICS_H

#include <cstddef>
#include <cstdint>

#include <string>

#include "common/export.h"

/// NUMA nodes that the record has room for; arrays are indexed by node id.
constexpr int METRICS_MAX_NODES = 16;

/// Uncore traffic since the last dump.
struct UncoreMetrics {
    std::uint64_t interval = 0;    ///< milliseconds that the counts cover
    std::uint64_t rxOpsNum = 0;    ///< operations
    std::uint64_t rxOuterNum = 0;  ///< of these, from another socket
    std::uint64_t rxScclNum = 0;   ///< of these, from another die of the same socket
    float numaScore = 0.0F;        ///< 0 to 1
};

/// Thread binding since the last dump.
struct TaskMetrics {
    std::uint32_t migrateCostTimeUs = 0;
    std::uint32_t threadsNum = 0;
    std::uint32_t bindSuccessNum = 0;
    std::uint32_t bindFailNum = 0;
};

/// Page migration since the last dump; sizes in kB.
struct MemMetrics {
    std::uint32_t migrateCostTimeUs = 0;
    std::uint32_t nonmigratedKb = 0;
    std::uint32_t migratedKb = 0;
    std::uint32_t failedProcessNum = 0;
    std::uint32_t failedKb = 0;
    std::uint32_t migrateMatrix[METRICS_MAX_NODES][METRICS_MAX_NODES] =
        {};  ///< [source node][destination node]
    std::uint32_t freeMemKb[METRICS_MAX_NODES] = {};
    std::uint32_t giveUpKb[METRICS_MAX_NODES] = {};  ///< migration given up
};

/// The record, and byte for byte the metrics file: 1248 bytes in host byte order, padding zero. No header, no
/// version, no checksum.
struct SystemMetrics {
    std::uint64_t loopCnt = 0;
    std::int32_t pageSizeKb = 0;
    std::int32_t numaNum = 0;  ///< configured nodes; a writer stores at most 16, a file may hold anything
    UncoreMetrics uncore;
    TaskMetrics task;
    MemMetrics mem;
};

/// Holds the latest figures of the tuning loop and writes them to the metrics file.
///
/// Owned by the loop's thread; readers in other processes see the previous or the new record, never a
/// mixture, since a dump goes to a temporary file that is then renamed. Nothing here logs, and only Init
/// raises, std::bad_alloc.
class SCENARIO_NUMA_EXPORT Metrics {
public:
    /// Sets path, page size and node count (at most 16). Always true.
    bool Init(bool enable);

    void UpdateUncoreMetrics(UncoreMetrics& uncore);
    void UpdateTaskMetrics(TaskMetrics& task);
    void UpdateMemMetrics(MemMetrics& mem);
    void UpdateLoopCnt(unsigned long count);
    void UpdatePageSizeKb(int kb);

    /// Zeroes the three blocks; loop count, page size and node count stay.
    void ClearMetrics();

    /// Replaces the metrics file by the record, unless disabled, and clears the blocks whether that worked or
    /// not. The temporary file, `path` + ".tmp", is created new (a leftover is removed, a link never
    /// followed), mode 0644 less the umask, and removed when the dump fails; the old file then stays. Creates
    /// no directory.
    void Dump();

    /// Reads the file at `path` into `out`. False when it is missing, unreadable or shorter than 1248 bytes;
    /// `out` may then hold a part of it. Never blocks, whatever stands at `path`.
    bool GetMetricsFromFile(SystemMetrics& out);

    bool enabled = false;
    SystemMetrics metrics;
    std::string path;  ///< empty before Init
};

/// The record as text for people, one item a line, the same under every locale. Safe for any content:
/// `numaNum` is shown as stored, and at most 16 nodes are walked. Raises nothing but std::bad_alloc.
SCENARIO_NUMA_EXPORT std::string GetSystemMetricsReport(const SystemMetrics& metrics);

static_assert(sizeof(UncoreMetrics) == 40 && sizeof(TaskMetrics) == 16 && sizeof(MemMetrics) == 1172,
              "blocks");
static_assert(sizeof(SystemMetrics) == 1248, "SystemMetrics");
static_assert(offsetof(SystemMetrics, loopCnt) == 0 && offsetof(SystemMetrics, pageSizeKb) == 8 &&
                  offsetof(SystemMetrics, numaNum) == 12 && offsetof(SystemMetrics, uncore) == 16 &&
                  offsetof(SystemMetrics, task) == 56 && offsetof(SystemMetrics, mem) == 72,
              "SystemMetrics");
static_assert(offsetof(UncoreMetrics, interval) == 0 && offsetof(UncoreMetrics, rxOpsNum) == 8 &&
                  offsetof(UncoreMetrics, rxOuterNum) == 16 && offsetof(UncoreMetrics, rxScclNum) == 24 &&
                  offsetof(UncoreMetrics, numaScore) == 32,
              "UncoreMetrics");
static_assert(offsetof(TaskMetrics, migrateCostTimeUs) == 0 && offsetof(TaskMetrics, threadsNum) == 4 &&
                  offsetof(TaskMetrics, bindSuccessNum) == 8 && offsetof(TaskMetrics, bindFailNum) == 12,
              "TaskMetrics");
static_assert(offsetof(MemMetrics, migrateCostTimeUs) == 0 && offsetof(MemMetrics, nonmigratedKb) == 4 &&
                  offsetof(MemMetrics, migratedKb) == 8 && offsetof(MemMetrics, failedProcessNum) == 12 &&
                  offsetof(MemMetrics, failedKb) == 16 && offsetof(MemMetrics, migrateMatrix) == 20 &&
                  offsetof(MemMetrics, freeMemKb) == 1044 && offsetof(MemMetrics, giveUpKb) == 1108,
              "MemMetrics");

#endif  // COMMON_METRICS_H
