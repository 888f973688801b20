// SPDX-License-Identifier: MIT
//
// Heartbeat against its parts; then, with --thread, the price of the monitor thread against a bare
// usleep(100) loop, how soon a hang is detected and the process gone, and how often a stopped and continued
// process is ended.
//
//     watchdog_bench [Google Benchmark options]
//     watchdog_bench --thread [rounds]

#include <dirent.h>
#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include <benchmark/benchmark.h>

#include "bench/ratio_report.h"
#include "common/logger_ctl.h"
#include "common/passive_watchdog.h"

namespace {

std::int64_t NowNs(clockid_t clock = CLOCK_MONOTONIC)
{
    timespec now{};
    clock_gettime(clock, &now);
    return static_cast<std::int64_t>(now.tv_sec) * 1000000000 + now.tv_nsec;
}

void Heartbeat(benchmark::State& state)
{
    PassiveWatchdog watchdog;
    for (auto _ : state) {
        watchdog.Heartbeat();
    }
}

void ClockAndStore(benchmark::State& state)
{
    std::atomic<std::int64_t> heartbeat{0};
    for (auto _ : state) {
        heartbeat.store(NowNs());
    }
}

BENCHMARK(Heartbeat);
BENCHMARK(ClockAndStore);

/// Context switches that the thread called `name` made by itself.
long VoluntarySwitches(const std::string& name)
{
    long switches = 0;
    DIR* const tasks = opendir("/proc/self/task");
    while (const dirent* task = readdir(tasks)) {
        const std::string base = std::string("/proc/self/task/") + task->d_name;
        std::string comm;
        std::getline(std::ifstream(base + "/comm") >> std::ws, comm);
        if (comm != name) {
            continue;
        }
        std::ifstream status(base + "/status");
        for (std::string line; std::getline(status, line);) {
            if (line.rfind("voluntary_ctxt_switches:", 0) == 0) {
                switches += std::stol(line.substr(24));
            }
        }
    }
    closedir(tasks);
    return switches;
}

struct ThreadPrice {
    double cpuShare = 0;  // of one core
    double wakeUpsPerSecond = 0;
};

/// Watches a running thread for one second.
ThreadPrice Watch(pthread_t thread, const std::string& name, PassiveWatchdog* watchdog)
{
    clockid_t clock{};
    pthread_getcpuclockid(thread, &clock);
    const std::int64_t wallBefore = NowNs();
    const std::int64_t cpuBefore = NowNs(clock);
    const long switchesBefore = VoluntarySwitches(name);
    for (int i = 0; i < 10; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        if (watchdog != nullptr) {
            watchdog->Heartbeat();
        }
    }
    const auto cpu = static_cast<double>(NowNs(clock) - cpuBefore);
    const auto switches = static_cast<double>(VoluntarySwitches(name) - switchesBefore);
    const auto wall = static_cast<double>(NowNs() - wallBefore);
    return {cpu / wall, switches / wall * 1e9};
}

ThreadPrice PriceOfWatchdog()
{
    PassiveWatchdog watchdog;
    watchdog.Start(std::chrono::milliseconds(5000));
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    return Watch(watchdog.thread.native_handle(), "tn-watchdog", &watchdog);
}

ThreadPrice PriceOfBareLoop()
{
    std::atomic<bool> running{true};
    std::thread thread([&running] {
        pthread_setname_np(pthread_self(), "bare-loop");
        while (running) {
            usleep(100);
        }
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    const ThreadPrice price = Watch(thread.native_handle(), "bare-loop", nullptr);
    running = false;
    thread.join();
    return price;
}

double Quantile(std::vector<double> values, double quantile)
{
    std::sort(values.begin(), values.end());
    return values[static_cast<std::size_t>(quantile * static_cast<double>(values.size() - 1))];
}

void ComparePrices(int rounds)
{
    std::vector<double> ours;
    std::vector<double> bare;
    std::vector<double> oursWakeUps;
    std::vector<double> bareWakeUps;
    std::vector<double> ratios;
    for (int round = 0; round < rounds; ++round) {
        const ThreadPrice one = PriceOfWatchdog();
        const ThreadPrice other = PriceOfBareLoop();
        ours.push_back(one.cpuShare * 100);
        oursWakeUps.push_back(one.wakeUpsPerSecond);
        bare.push_back(other.cpuShare * 100);
        bareWakeUps.push_back(other.wakeUpsPerSecond);
        // Per wake-up, so that a round in which the machine was busier does not count against one side.
        ratios.push_back(one.cpuShare / one.wakeUpsPerSecond / (other.cpuShare / other.wakeUpsPerSecond));
    }
    std::printf("monitor thread:   CPU %.2f %% of one core, %.0f wake-ups/s (medians of %d rounds of 1 s)\n",
                Quantile(ours, 0.5), Quantile(oursWakeUps, 0.5), rounds);
    std::printf("bare usleep(100): CPU %.2f %% of one core, %.0f wake-ups/s\n", Quantile(bare, 0.5),
                Quantile(bareWakeUps, 0.5));
    std::printf("CPU ratio %.3f, per wake-up %.3f (goal: at most 1.1)\n",
                Quantile(ours, 0.5) / Quantile(bare, 0.5), Quantile(ratios, 0.5));
}

/// Moments that a child leaves for its parent.
struct Moments {
    std::atomic<std::int64_t> lastHeartbeat{0};
    std::atomic<std::int64_t> detected{0};
};

Moments& SharedMoments()
{
    void* const page =
        mmap(nullptr, sizeof(Moments), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (page == MAP_FAILED) {
        std::perror("mmap");
        std::exit(1);
    }
    return *new (page) Moments();
}

constexpr std::int64_t HANG_TIMEOUT_MS = 50;

/// A child whose loop hangs at once. With `hungLog` its log hangs too.
[[noreturn]] void HangingChild(Moments& moments, bool hungLog)
{
    LoggerCtl::GetInstance().SetLogFunc(
        LogType::RUNTIME,
        [&moments, hungLog](LogLevel level, const std::string&) {
            if (level == LogLevel::ERROR && moments.detected == 0) {
                moments.detected = NowNs();
            }
            while (hungLog && level == LogLevel::ERROR) {
                pause();
            }
        },
        DefaultSnapFunc);
    PassiveWatchdog watchdog;
    watchdog.Start(std::chrono::milliseconds(HANG_TIMEOUT_MS));
    moments.lastHeartbeat = watchdog.lastHeartbeat.load();
    for (;;) {
        pause();
    }
}

void MeasureLatency(int children, bool hungLog)
{
    std::vector<double> detection;
    std::vector<double> gone;
    for (int i = 0; i < children; ++i) {
        Moments& moments = SharedMoments();
        const pid_t pid = fork();
        if (pid == 0) {
            HangingChild(moments, hungLog);
        }
        int status = 0;
        waitpid(pid, &status, 0);
        const std::int64_t end = NowNs();
        if (!WIFEXITED(status) || WEXITSTATUS(status) != 4) {
            std::printf("a child ended with wait status %d\n", status);
            std::exit(1);
        }
        // The age is cut to milliseconds, so the first fatal moment is one millisecond after the timeout.
        const std::int64_t due = moments.lastHeartbeat + (HANG_TIMEOUT_MS + 1) * 1000000;
        detection.push_back(static_cast<double>(moments.detected - due) / 1000);
        gone.push_back(static_cast<double>(end - due) / 1000);
        munmap(&moments, sizeof moments);
    }
    std::printf(
        "%s: first line %.0f us after the timeout (p99 %.0f, max %.0f), process gone after %.0f us "
        "(p99 %.0f, max %.0f), %d children\n",
        hungLog ? "log hangs" : "log works", Quantile(detection, 0.5), Quantile(detection, 0.99),
        Quantile(detection, 1), Quantile(gone, 0.5), Quantile(gone, 0.99), Quantile(gone, 1), children);
}

/// Stops healthy processes for longer than their timeout and continues them; returns how many were ended.
int CountEndedAfterStop(int children)
{
    constexpr auto TIMEOUT = std::chrono::milliseconds(300);
    std::vector<pid_t> pids;
    for (int i = 0; i < children; ++i) {
        const pid_t pid = fork();
        if (pid == 0) {
            LoggerCtl::GetInstance().SetLogFile("/dev/null");
            PassiveWatchdog watchdog;
            watchdog.Start(TIMEOUT);
            const std::int64_t end = NowNs() + 1500000000;
            while (NowNs() < end) {
                watchdog.Heartbeat();
                usleep(10000);
            }
            watchdog.Stop();
            _exit(0);
        }
        pids.push_back(pid);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    for (const pid_t pid : pids) {
        kill(pid, SIGSTOP);
    }
    std::this_thread::sleep_for(2 * TIMEOUT);
    int ended = 0;
    for (const pid_t pid : pids) {
        kill(pid, SIGCONT);
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    for (const pid_t pid : pids) {
        int status = 0;
        waitpid(pid, &status, 0);
        ended += WIFEXITED(status) && WEXITSTATUS(status) == 4 ? 1 : 0;
    }
    return ended;
}

int ThreadReport(int rounds)
{
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    LoggerCtl::GetInstance().SetLogFile("/dev/null");
    ComparePrices(rounds);
    MeasureLatency(100, false);
    MeasureLatency(20, true);
    constexpr int GROUPS = 10;
    constexpr int GROUP = 10;
    int ended = 0;
    for (int group = 0; group < GROUPS; ++group) {
        ended += CountEndedAfterStop(GROUP);
    }
    std::printf("stopped for twice the timeout and continued: %d of %d healthy processes were ended\n", ended,
                GROUPS * GROUP);
    return 0;
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc > 1 && strcmp(argv[1], "--thread") == 0) {
        return ThreadReport(argc > 2 ? std::max(1, std::atoi(argv[2])) : 9);
    }
    return bench::RunWithRatios(argc, argv,
                                {{"heartbeat against one clock read and one atomic store", "Heartbeat",
                                  "ClockAndStore", "at most 2x slower"}});
}
