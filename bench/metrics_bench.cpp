// SPDX-License-Identifier: MIT
//
// Metrics::Dump and GetMetricsFromFile against the bare system calls, on the tmpfs at /dev/shm.

#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <string>

#include <benchmark/benchmark.h>

#include "bench/ratio_report.h"
#include "common/metrics.h"

namespace {

std::string g_path;

void Dump(benchmark::State& state)
{
    Metrics metrics;
    metrics.enabled = true;
    metrics.path = g_path;
    for (auto _ : state) {
        metrics.Dump();
    }
}
BENCHMARK(Dump)->UseRealTime();

/// Unlink, create new, write, close, rename: the safe replacement of a file with nothing around it.
void RawDump(benchmark::State& state)
{
    const std::string temporary = g_path + ".tmp";
    static char record[sizeof(SystemMetrics)];
    for (auto _ : state) {
        unlink(temporary.c_str());
        const int file = open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644);
        if (write(file, record, sizeof record) != static_cast<ssize_t>(sizeof record)) {
            state.SkipWithError("write failed");
        }
        close(file);
        rename(temporary.c_str(), g_path.c_str());
    }
}
BENCHMARK(RawDump)->UseRealTime();

void Read(benchmark::State& state)
{
    Metrics metrics;
    metrics.path = g_path;
    SystemMetrics record;
    for (auto _ : state) {
        if (!metrics.GetMetricsFromFile(record)) {
            state.SkipWithError("read failed");
        }
        benchmark::DoNotOptimize(record);
    }
}
BENCHMARK(Read)->UseRealTime();

void RawRead(benchmark::State& state)
{
    char record[sizeof(SystemMetrics)];
    for (auto _ : state) {
        const int file = open(g_path.c_str(), O_RDONLY | O_CLOEXEC);
        if (read(file, record, sizeof record) != static_cast<ssize_t>(sizeof record)) {
            state.SkipWithError("read failed");
        }
        close(file);
        benchmark::DoNotOptimize(record);
    }
}
BENCHMARK(RawRead)->UseRealTime();

}  // namespace

int main(int argc, char** argv)
{
    char name[] = "/dev/shm/metrics_bench_XXXXXX";
    if (mkdtemp(name) == nullptr) {
        perror("metrics_bench: /dev/shm");
        return 1;
    }
    g_path = std::string(name) + "/metrics.bin";
    Metrics metrics;
    metrics.enabled = true;
    metrics.path = g_path;
    metrics.Dump();
    const int status = bench::RunWithRatios(
        argc, argv,
        {{"Dump against the bare calls", "Dump/real_time", "RawDump/real_time", "at most 1.15 times"},
         {"read back against the bare calls", "Read/real_time", "RawRead/real_time", "at most 1.5 times"}});
    unlink(g_path.c_str());
    rmdir(name);
    return status;
}
