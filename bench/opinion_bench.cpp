// SPDX-License-Identifier: MIT
//
// One look at the kernel's own counts, as it happens once a second beside live counters: read, added up,
// judged; against open, read and close of the same files. On this machine, and on sixteen nodes from a
// fixture.

#include <fcntl.h>
#include <unistd.h>

#include <cstdint>

#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "bench/ratio_report.h"
#include "host/opinion_watch.h"

namespace {

struct Tree {
    std::string sysfs;
    std::string procfs;
    int nodes;
};

const std::string FIXTURE = std::string(SOURCE_DIR) + "/tests/fixtures/machines/aarch64-320cpu";

const Tree LIVE = {"/sys", "/proc", 1};
const Tree SIXTEEN = {FIXTURE + "/sys", FIXTURE + "/proc", 16};

void Look(benchmark::State& state, const Tree& tree)
{
    host::OpinionWatch watch(tree.sysfs, tree.procfs);
    std::int64_t nowNs = 0;
    watch.Start(nowNs);
    if (watch.LastReading().kernel.nodes.size() < static_cast<std::size_t>(tree.nodes)) {
        state.SkipWithError("not every node can be read");
    }
    for (auto _ : state) {
        watch.AddTraffic(1000000, 1000, 1000);
        nowNs += host::OpinionWatch::READ_NS;
        watch.ReadNow(nowNs);
        benchmark::DoNotOptimize(watch.Window().shares.allocations);
    }
}

void OpenReadClose(benchmark::State& state, const Tree& tree)
{
    std::vector<std::string> paths = {tree.sysfs + "/devices/system/node/online",
                                      tree.procfs + "/sys/kernel/numa_balancing", tree.procfs + "/vmstat"};
    for (int node = 0; node < tree.nodes; ++node) {
        paths.push_back(tree.sysfs + "/devices/system/node/node" + std::to_string(node) + "/numastat");
    }
    std::vector<char> buffer(1U << 16);
    for (auto _ : state) {
        for (const std::string& path : paths) {
            const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
            if (read(fd, buffer.data(), buffer.size()) <= 0) {
                state.SkipWithError("a file cannot be read");
            }
            close(fd);
        }
        benchmark::DoNotOptimize(buffer.data());
    }
}

}  // namespace

int main(int argc, char** argv)
{
    benchmark::RegisterBenchmark("Look/live", [](benchmark::State& state) { Look(state, LIVE); });
    benchmark::RegisterBenchmark("OpenReadClose/live",
                                 [](benchmark::State& state) { OpenReadClose(state, LIVE); });
    benchmark::RegisterBenchmark("Look/16", [](benchmark::State& state) { Look(state, SIXTEEN); });
    benchmark::RegisterBenchmark("OpenReadClose/16",
                                 [](benchmark::State& state) { OpenReadClose(state, SIXTEEN); });
    return bench::RunWithRatios(argc, argv,
                                {{"this machine", "Look/live", "OpenReadClose/live", "none"},
                                 {"sixteen nodes", "Look/16", "OpenReadClose/16", "none"}});
}
