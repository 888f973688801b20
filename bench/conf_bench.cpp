// SPDX-License-Identifier: MIT
//
// What ConfCtl::Init does with a configuration file of 200 process entries (option map, file, command line,
// report, version and help) against yaml-cpp's own load of the same file.

#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <memory>
#include <string>

#include <benchmark/benchmark.h>
#include <yaml-cpp/yaml.h>

#include "bench/ratio_report.h"
#include "config/conf_ctl.h"

namespace {

constexpr int ENTRIES = 200;
std::string g_path;

/// Every key of the file, and entries with every key that an entry may have. No interface is named: looking
/// one up is the machine's affair.
void WriteFile(const std::string& path)
{
    std::ofstream file(path);
    file << "sampling-interval: 200\nsampling-times: 20\nspe-period: 4096\nlog-level: warn\n"
            "watchdog-timeout: 30\nsnapshot-interval: 120\nmetrics: true\ntune-mode: b\nload-way: b\n"
            "bind-socket: false\nsmt: \"off\"\nirq: o\npolicy: base\ncluster-schedule: false\n"
            "whitelist: [\"java.*\", redis-server, \"worker-[0-9]+\"]\nblacklist: [sshd, systemd]\n"
            "group:\n  - [redis-server, nginx]\n  - [java, postgres]\n"
            "min-numa-score: 900\nmax-numa-score: 980\nmin-rx-ops-per-ms: 20000\n"
            "numa-ratio: [50, 50, 50, 50]\npage-reserve: 200000\nprecise-load: true\n"
            "mem-numa-aggregation: false\nmem-balance: false\nprocess:\n";
    for (int entry = 0; entry < ENTRIES; ++entry) {
        const bool all = entry % 2 == 0;
        file << "  - name: worker-" << entry / 2 << "\n    params-regex: \".*--shard=" << entry
             << "( .*)?\"\n    algorithm: " << (all ? "MigrateThreadsToOneNode" : "BalanceProcNum")
             << "\n    migrate-all-memory: \"" << (all ? "true" : "false") << "\"\n    net-affinity: \"\"\n";
        if (!all) {
            file << "    default-mig-mem-node: " << entry % 4 << "\n";
        }
    }
}

/// False with the reason in `state` when the configuration does not come out as it should.
bool InitOnce(benchmark::State& state, ConfCtl& ctl, const OptionInfo& info)
{
    char program[] = "tarnix";
    char option[] = "--sampling-times";
    char value[] = "30";
    char* argv[] = {program, option, value, nullptr};
    Conf conf = g_defaultConf;
    const TnResult map = ctl.InitOptMap(false);
    const TnResult file = ctl.ParseYaml(g_path, false, false, conf);
    const TnResult line = ctl.ParseCmdline(3, argv, false, conf);
    if (map.code != 0 || file.code != 0 || line.code != 0 || conf.process.size() != ENTRIES / 2) {
        state.SkipWithError((map.message + file.message + line.message).c_str());
        return false;
    }
    conf.confInfo = info.GetConfInfo(conf);
    conf.versionInfo = GetVersionInfo();
    conf.helpInfo = info.GetHelpInfo(false, conf.help);
    benchmark::DoNotOptimize(conf.confInfo.data());
    return true;
}

/// A start: a new controller, whose document is released within the measurement, as the baseline's is.
void Init(benchmark::State& state)
{
    const OptionInfo info(ConfigType::TARNIX);
    for (auto _ : state) {
        state.PauseTiming();
        auto ctl = std::make_unique<ConfCtl>();
        state.ResumeTiming();
        if (!InitOnce(state, *ctl, info)) {
            break;
        }
        ctl.reset();
    }
}

/// The same controller again.
void InitAgain(benchmark::State& state)
{
    const OptionInfo info(ConfigType::TARNIX);
    ConfCtl ctl;
    for (auto _ : state) {
        if (!InitOnce(state, ctl, info)) {
            break;
        }
    }
}

void LoadFile(benchmark::State& state)
{
    for (auto _ : state) {
        const YAML::Node root = YAML::LoadFile(g_path);
        benchmark::DoNotOptimize(root.size());
    }
}

}  // namespace

int main(int argc, char** argv)
{
    char name[] = "/dev/shm/conf_bench_XXXXXX";
    const int fd = mkstemp(name);
    if (fd < 0) {
        perror("conf_bench: /dev/shm");
        return 1;
    }
    close(fd);
    g_path = name;
    WriteFile(g_path);
    benchmark::RegisterBenchmark("Init", Init);
    benchmark::RegisterBenchmark("InitAgain", InitAgain);
    benchmark::RegisterBenchmark("LoadFile", LoadFile);
    const std::string goal = "at most 1.15 times";
    const int status = bench::RunWithRatios(
        argc, argv,
        {{"200 entries, a start, against yaml-cpp's load of the file", "Init", "LoadFile", goal},
         {"200 entries, the same controller again", "InitAgain", "LoadFile", goal}});
    unlink(name);
    return status;
}
