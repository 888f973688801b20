// SPDX-License-Identifier: MIT

#include "tests/soak/service_runs.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "common/metrics.h"
#include "tests/soak/soak.h"
#include "tests/support/scratch_directory.h"

namespace soak {
namespace {

constexpr std::size_t READERS = 4;

/// Every byte of a record follows from its number, so that two halves of different records show.
SystemMetrics RecordOf(std::uint64_t number)
{
    SystemMetrics record;
    std::memset(static_cast<void*>(&record), 0, sizeof(record));
    const auto figure = static_cast<std::uint32_t>(number * 2654435761U);
    record.loopCnt = number;
    record.pageSizeKb = 4;
    record.numaNum = METRICS_MAX_NODES;
    record.uncore.interval = 100;
    record.uncore.rxOpsNum = number * 3;
    record.uncore.rxOuterNum = number * 2;
    record.uncore.rxScclNum = number;
    record.uncore.numaScore = static_cast<float>(number % 1000) / 1000.0F;
    record.task = {figure, figure + 1, figure + 2, figure + 3};
    record.mem.migrateCostTimeUs = figure + 4;
    record.mem.nonmigratedKb = figure + 5;
    record.mem.migratedKb = figure + 6;
    record.mem.failedProcessNum = figure + 7;
    record.mem.failedKb = figure + 8;
    for (int node = 0; node < METRICS_MAX_NODES; ++node) {
        for (std::uint32_t& cell : record.mem.migrateMatrix[node]) {
            cell = figure ^ static_cast<std::uint32_t>(node);
        }
        record.mem.freeMemKb[node] = figure + 9;
        record.mem.giveUpKb[node] = figure + 10;
    }
    return record;
}

struct ReaderFigures {
    std::uint64_t reads = 0;
    std::atomic<std::uint64_t> records{0};  // different ones
    std::string fault;                      // to be read when the reader is gone
    std::atomic<bool> faulty{false};
};

/// Reads until told to stop. Only whole records, each as old as the one before or newer.
void ReadOn(const std::string& path, const std::atomic<bool>& stop, ReaderFigures& figures)
{
    Metrics metrics;
    metrics.path = path;
    std::uint64_t last = 0;
    while (!stop && figures.fault.empty()) {
        SystemMetrics record;
        if (!metrics.GetMetricsFromFile(record)) {
            figures.fault = "a reader found no whole record";
            break;
        }
        const SystemMetrics expected = RecordOf(record.loopCnt);
        if (std::memcmp(&record, &expected, sizeof(record)) != 0) {
            figures.fault = "a reader saw parts of different records";
        } else if (record.loopCnt < last) {
            figures.fault = "a reader saw an older record after a newer one";
        }
        ++figures.reads;
        if (record.loopCnt == last) {
            // Leaves the processor to the dumps; four readers that only spin would hold them up for hours.
            std::this_thread::sleep_for(std::chrono::microseconds(50));
        } else {
            ++figures.records;
        }
        last = record.loopCnt;
    }
    figures.faulty = !figures.fault.empty();
}

void DumpRecord(Metrics& metrics, std::uint64_t number)
{
    SystemMetrics record = RecordOf(number);
    metrics.UpdateLoopCnt(record.loopCnt);
    metrics.UpdateUncoreMetrics(record.uncore);
    metrics.UpdateTaskMetrics(record.task);
    metrics.UpdateMemMetrics(record.mem);
    metrics.Dump();
}

/// So few different records prove nothing.
constexpr std::uint64_t FEWEST_RECORDS = 10;
constexpr std::uint64_t MOST_MORE = 100000;

bool HaveSeenEnough(const std::vector<ReaderFigures>& figures)
{
    return std::all_of(figures.begin(), figures.end(), [](const ReaderFigures& reader) {
        return reader.records >= FEWEST_RECORDS || reader.faulty;
    });
}

/// Dumps the records `from` to `to` - 1 while readers read, and goes on while one of them has seen too few: a
/// busy machine may have started it late. Returns the next record's number; `figures` are those of this time.
std::uint64_t DumpWithReaders(Metrics& metrics, std::vector<ReaderFigures>& figures, std::uint64_t from,
                              std::uint64_t to)
{
    const std::size_t threadsBefore = ReadFootprint().threads;
    std::atomic<bool> stop{false};
    std::vector<std::thread> readers;
    for (ReaderFigures& reader : figures) {
        reader.reads = 0;
        reader.records = 0;
        readers.emplace_back([&stop, &reader, path = metrics.path] { ReadOn(path, stop, reader); });
    }
    std::uint64_t number = from;
    for (; number < to || (number < to + MOST_MORE && !HaveSeenEnough(figures)); ++number) {
        DumpRecord(metrics, number);
    }
    stop = true;
    for (std::thread& reader : readers) {
        reader.join();
    }
    WaitForThreads(threadsBefore);
    return number;
}

}  // namespace

bool Dumps(std::uint64_t dumps)
{
    const support::ScratchDirectory directory;
    Metrics metrics;
    metrics.Init(true);
    metrics.path = directory / "metrics.bin";
    metrics.metrics.pageSizeKb = 4;
    metrics.metrics.numaNum = METRICS_MAX_NODES;
    DumpRecord(metrics, 1);

    Watch watch("dumps with four readers", dumps);
    std::vector<ReaderFigures> figures(READERS);
    // In two parts, so that no reader has the file open while the footprint is taken.
    const std::uint64_t next = DumpWithReaders(metrics, figures, 2, 2 + watch.WarmUp());
    watch.EndWarmUp();
    DumpWithReaders(metrics, figures, next, next + dumps - watch.WarmUp());
    watch.Count(dumps);
    bool good = watch.End();
    for (const ReaderFigures& reader : figures) {
        std::printf("  a reader: %lu reads, %lu different records\n", reader.reads, reader.records.load());
        if (!reader.fault.empty()) {
            std::fprintf(stderr, "soak: dumps: %s\n", reader.fault.c_str());
            good = false;
        }
        if (reader.records < FEWEST_RECORDS) {
            std::fprintf(stderr, "soak: dumps: a reader saw fewer than %lu records; it proved nothing\n",
                         FEWEST_RECORDS);
            good = false;
        }
    }
    return good;
}

}  // namespace soak
