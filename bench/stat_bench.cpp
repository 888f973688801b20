// SPDX-License-Identifier: MIT
//
// Stat::Run with 320 CPUs against the plain form (fscanf into hash maps that are copied every time), and on
// the live /proc/stat against open, read and close of that file.

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <unordered_map>
#include <vector>

#include <benchmark/benchmark.h>

#include "bench/ratio_report.h"
#include "common/pseudo_file.h"
#include "common/stat.h"

namespace {

using Counters = std::vector<Stat::Counters>;
using Rates = std::vector<Stat::Rates>;

/// Samples of one machine at successive times, each a root of its own: the counters increase from one Run to
/// the next, as they do in life, without the file being written inside the measurement.
constexpr size_t SAMPLES = 32;
std::string g_directory;

std::string RootOf(int cpus, size_t sample)
{
    return g_directory + "/" + std::to_string(cpus) + "-" + std::to_string(sample % SAMPLES);
}

void WriteSamples(int cpus)
{
    for (size_t sample = 0; sample < SAMPLES; ++sample) {
        std::filesystem::create_directories(RootOf(cpus, sample) + "/proc");
        std::ofstream file(RootOf(cpus, sample) + "/proc/stat");
        const auto row = [&file, sample](const std::string& label, size_t seed) {
            file << label << ' ' << 1393280 + seed * 7 + sample * 3 << " 32966 " << 572056 + sample << ' '
                 << 133430000 + seed + sample * 96 << " 6130 0 17875 0 1233 0\n";
        };
        row("cpu ", 1000);
        for (int cpu = 0; cpu < cpus; ++cpu) {
            row("cpu" + std::to_string(cpu), static_cast<size_t>(cpu));
        }
        file << "intr 1462898";
        for (int irq = 0; irq < 2000; ++irq) {
            file << " 0";
        }
        file << "\nctxt 115315\nbtime 1062191376\nprocesses 2915\nprocs_running 1\nprocs_blocked 0\n";
    }
}

void Resize(Stat& stat, int cpus)
{
    stat.Init();
    stat.cpuNum = cpus;
    stat.counters.assign(static_cast<size_t>(cpus) + 1, {});
    stat.rates.assign(static_cast<size_t>(cpus) + 1, {});
}

void Run(benchmark::State& state)
{
    const int cpus = static_cast<int>(state.range(0));
    std::vector<std::string> roots;
    for (size_t sample = 0; sample < SAMPLES; ++sample) {
        roots.push_back(RootOf(cpus, sample));
    }
    Stat stat;
    Resize(stat, cpus);
    size_t sample = 0;
    for (auto _ : state) {
        probe::SetFileRoot(roots[sample++ % SAMPLES].c_str());
        stat.Run();
        benchmark::DoNotOptimize(stat.rates.data());
    }
    probe::SetFileRoot("");
}

bool PlainSample(const char* path, size_t cpus, Counters& counters)
{
    FILE* file = fopen(path, "re");
    if (file == nullptr) {
        return false;
    }
    for (size_t line = 0; line <= cpus; ++line) {
        unsigned long long v[10];
        if (fscanf(file, "%*s %llu %llu %llu %llu %llu %llu %llu %llu %llu %llu\n", &v[0], &v[1], &v[2],
                   &v[3], &v[4], &v[5], &v[6], &v[7], &v[8], &v[9]) != 10) {
            break;
        }
        auto& entry = counters[line == 0 ? cpus : line - 1];
        for (size_t type = 0; type < 10; ++type) {
            entry[static_cast<Stat::Type>(type)] = v[type];
        }
    }
    fclose(file);
    return true;
}

void PlainRun(benchmark::State& state)
{
    const auto cpus = static_cast<size_t>(state.range(0));
    std::vector<std::string> paths;
    for (size_t sample = 0; sample < SAMPLES; ++sample) {
        paths.push_back(RootOf(static_cast<int>(cpus), sample) + "/proc/stat");
    }
    Counters counters(cpus + 1);
    Rates rates(cpus + 1);
    size_t sample = 0;
    for (auto _ : state) {
        Counters previous = counters;
        if (!PlainSample(paths[sample++ % SAMPLES].c_str(), cpus, counters)) {
            state.SkipWithError("cannot open the sample");
        }
        for (size_t entry = 0; entry <= cpus; ++entry) {
            const uint64_t before = Stat::SumTime(previous[entry]);
            const uint64_t now = Stat::SumTime(counters[entry]);
            for (size_t index = 0; index < 10; ++index) {
                const auto type = static_cast<Stat::Type>(index);
                rates[entry][type] = before == now
                                         ? 0.0F
                                         : static_cast<float>(static_cast<double>(counters[entry][type] -
                                                                                  previous[entry][type]) *
                                                              100.0 / static_cast<double>(now - before));
            }
        }
        benchmark::DoNotOptimize(rates.data());
    }
}

void LiveRun(benchmark::State& state)
{
    Stat stat;
    stat.Init();
    for (auto _ : state) {
        stat.Run();
        benchmark::DoNotOptimize(stat.rates.data());
    }
}

void LiveOpenReadClose(benchmark::State& state)
{
    std::vector<char> buffer(256U << 10);
    for (auto _ : state) {
        const int fd = open("/proc/stat", O_RDONLY | O_CLOEXEC);
        if (read(fd, buffer.data(), buffer.size()) <= 0) {
            state.SkipWithError("cannot read /proc/stat");
        }
        close(fd);
        benchmark::DoNotOptimize(buffer.data());
    }
}

}  // namespace

int main(int argc, char** argv)
{
    char name[] = "/dev/shm/stat_bench_XXXXXX";
    if (mkdtemp(name) == nullptr) {
        perror("stat_bench: /dev/shm");
        return 1;
    }
    g_directory = name;
    std::vector<bench::Ratio> ratios;
    for (const int cpus : {2, 320}) {
        WriteSamples(cpus);
        const std::string arg = "/cpus:" + std::to_string(cpus);
        benchmark::RegisterBenchmark("Run", Run)->Arg(cpus)->ArgName("cpus");
        benchmark::RegisterBenchmark("PlainRun", PlainRun)->Arg(cpus)->ArgName("cpus");
        ratios.push_back({std::to_string(cpus) + " CPUs against the plain form", "Run" + arg,
                          "PlainRun" + arg, cpus == 320 ? "at least 4x faster" : "none"});
    }
    benchmark::RegisterBenchmark("LiveRun", LiveRun);
    benchmark::RegisterBenchmark("LiveOpenReadClose", LiveOpenReadClose);
    ratios.push_back(
        {"live file against open+read+close", "LiveRun", "LiveOpenReadClose", "at most 1.2 times"});
    const int status = bench::RunWithRatios(argc, argv, ratios);
    std::filesystem::remove_all(g_directory);
    return status;
}
