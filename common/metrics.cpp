// SPDX-License-Identifier: MIT

#include "common/metrics.h"

#include <errno.h>
#include <fcntl.h>
#include <numa.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <iomanip>
#include <locale>
#include <new>
#include <sstream>

#include "common/probes.h"
#include "common/pseudo_file.h"
#include "common/retried_open.h"

namespace {

constexpr std::size_t PADDING_AFTER_SCORE = 52;
constexpr std::size_t PADDING_AT_END = 1244;
constexpr std::size_t PADDING_SIZE = 4;

/// Creates the temporary file, never through something that somebody else put there: a leftover is removed,
/// and what appears in between makes the creation fail.
int CreateNew(const std::string& name)
{
    unlink(name.c_str());
    return runtime::OpenRetrying(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644);
}

bool WriteAll(int descriptor, const unsigned char* bytes, std::size_t size)
{
    while (size > 0) {
        const ssize_t written = write(descriptor, bytes, size);
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            return false;
        }
        bytes += written;
        size -= static_cast<std::size_t>(written);
    }
    return true;
}

bool ReadAll(int descriptor, unsigned char* bytes, std::size_t size)
{
    while (size > 0) {
        const ssize_t got = read(descriptor, bytes, size);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got <= 0) {
            return false;
        }
        bytes += got;
        size -= static_cast<std::size_t>(got);
    }
    return true;
}

void ReplaceFile(const std::string& path, const unsigned char* bytes, std::size_t size)
{
    const std::string temporary = path + ".tmp";
    const int descriptor = CreateNew(temporary);
    if (descriptor < 0) {
        return;
    }
    const bool written = WriteAll(descriptor, bytes, size);
    const bool closed = close(descriptor) == 0;
    if (!written || !closed || rename(temporary.c_str(), path.c_str()) != 0) {
        unlink(temporary.c_str());
    }
}

void ReportUncore(std::ostringstream& text, const UncoreMetrics& uncore)
{
    text << "Uncore metrics\n  interval(ms): " << uncore.interval << '\n';
    if (uncore.interval != 0) {
        text << "  rx ops num  (ops/ms): " << uncore.rxOpsNum / uncore.interval << '\n'
             << "  rx outer num(ops/ms): " << uncore.rxOuterNum / uncore.interval << '\n'
             << "  rx sccl num (ops/ms): " << uncore.rxScclNum / uncore.interval << '\n';
    }
    text << "  numa score: " << uncore.numaScore << '\n';
}

void ReportTask(std::ostringstream& text, const TaskMetrics& task)
{
    text << "Task metrics\n  threads num: " << task.threadsNum
         << "\n  threads bind success num: " << task.bindSuccessNum
         << "\n  threads bind fail num: " << task.bindFailNum
         << "\n  migrate cost time(us): " << task.migrateCostTimeUs << '\n';
}

void ReportMem(std::ostringstream& text, const MemMetrics& mem, int nodes)
{
    text << "Mem metrics\n  migrated memory(kb): " << mem.migratedKb
         << "\n  nonmigrated memory(kb): " << mem.nonmigratedKb
         << "\n  migrate failed process num: " << mem.failedProcessNum
         << "\n  migrate failed memory(kb): " << mem.failedKb
         << "\n  migrate cost time(us): " << mem.migrateCostTimeUs
         << "\n  numa migrate memory(src->dst, kB): \n";
    text << "  src\\dst ";
    for (int node = 0; node < nodes; ++node) {
        text << std::setw(10) << node << ' ';
    }
    text << '\n';
    for (int source = 0; source < nodes; ++source) {
        text << "        " << source << ' ';
        for (int target = 0; target < nodes; ++target) {
            text << std::setw(10) << mem.migrateMatrix[source][target] << ' ';
        }
        text << '\n';
    }
    text << "NUMA ID:                    ";
    for (int node = 0; node < nodes; ++node) {
        text << std::setw(10) << node;
    }
    text << "\nFree memory(MB):            ";
    for (int node = 0; node < nodes; ++node) {
        text << std::setw(10) << Kb2Mb(static_cast<float>(mem.freeMemKb[node]));
    }
    text << "\nGive up migrate memory(kB): ";
    for (int node = 0; node < nodes; ++node) {
        text << std::setw(10) << mem.giveUpKb[node];
    }
    text << '\n';
}

}  // namespace

bool Metrics::Init(bool enable)
{
    path = "/var/log/tarnix/metrics.bin";
    enabled = enable;
    metrics.pageSizeKb = GetPageSizeKb();
    metrics.numaNum = std::min(numa_num_configured_nodes(), METRICS_MAX_NODES);
    return true;
}

void Metrics::UpdateUncoreMetrics(UncoreMetrics& uncore)
{
    metrics.uncore = uncore;
}

void Metrics::UpdateTaskMetrics(TaskMetrics& task)
{
    metrics.task = task;
}

void Metrics::UpdateMemMetrics(MemMetrics& mem)
{
    metrics.mem = mem;
}

void Metrics::UpdateLoopCnt(unsigned long count)
{
    metrics.loopCnt = count;
}

void Metrics::UpdatePageSizeKb(int kb)
{
    metrics.pageSizeKb = kb;
}

void Metrics::ClearMetrics()
{
    metrics.uncore = UncoreMetrics();
    metrics.task = TaskMetrics();
    metrics.mem = MemMetrics();
}

void Metrics::Dump()
{
    if (!enabled) {
        return;
    }
    unsigned char bytes[sizeof(SystemMetrics)];
    std::memcpy(bytes, &metrics, sizeof bytes);
    std::memset(bytes + PADDING_AFTER_SCORE, 0, PADDING_SIZE);
    std::memset(bytes + PADDING_AT_END, 0, PADDING_SIZE);
    try {
        ReplaceFile(path, bytes, sizeof bytes);
    } catch (const std::bad_alloc&) {
        // No memory for the temporary file's name: a dump that failed.
    }
    ClearMetrics();
}

bool Metrics::GetMetricsFromFile(SystemMetrics& out)
{
    // Non-blocking, so that a FIFO somebody put there gives an answer; it makes no difference to a regular
    // file.
    const int descriptor = probe::OpenDescriptor(path.c_str(), O_RDONLY);
    if (descriptor < 0) {
        return false;
    }
    const bool complete = ReadAll(descriptor, reinterpret_cast<unsigned char*>(&out), sizeof out);
    close(descriptor);
    return complete;
}

std::string GetSystemMetricsReport(const SystemMetrics& metrics)
{
    const int nodes = std::clamp(metrics.numaNum, 0, METRICS_MAX_NODES);
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text.exceptions(std::ios::badbit);  // memory that runs out ends the report, rather than shortening it
    text << "Show tarnix metrics\n  tarnix loop count: " << metrics.loopCnt
         << "\n  numa num: " << metrics.numaNum << "\n  page size(kb): " << metrics.pageSizeKb << '\n';
    ReportUncore(text, metrics.uncore);
    ReportTask(text, metrics.task);
    ReportMem(text, metrics.mem, nodes);
    return text.str();
}
