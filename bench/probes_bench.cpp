// SPDX-License-Identifier: MIT
//
// The process probes against open, read and close of the same file, on this process's own /proc entries and
// on a child with 2 MB of arguments.

#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "bench/ratio_report.h"
#include "common/proc_probe.h"

namespace {

pid_t g_child = -1;

void Comm(benchmark::State& state)
{
    const pid_t pid = getpid();
    for (auto _ : state) {
        benchmark::DoNotOptimize(ProcfsGetComm(pid));
    }
}

void Status(benchmark::State& state)
{
    const auto pid = static_cast<unsigned long>(getpid());
    ProcStatus status;
    for (auto _ : state) {
        benchmark::DoNotOptimize(GetProcStatus(pid, status));
    }
}

void Cmdline(benchmark::State& state)
{
    const pid_t pid = getpid();
    for (auto _ : state) {
        benchmark::DoNotOptimize(GetCmdline(pid));
    }
}

void LongCmdline(benchmark::State& state)
{
    for (auto _ : state) {
        const std::string line = GetCmdline(g_child);
        if (line.size() < 1900000) {
            state.SkipWithError("the child has no long command line");
        }
        benchmark::DoNotOptimize(line.data());
    }
}

void OpenReadClose(benchmark::State& state, pid_t pid, const char* file, size_t size)
{
    const std::string path = "/proc/" + std::to_string(pid) + "/" + file;
    std::vector<char> buffer(size);
    for (auto _ : state) {
        const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
        if (read(fd, buffer.data(), buffer.size()) <= 0) {
            state.SkipWithError("cannot read the file");
        }
        close(fd);
        benchmark::DoNotOptimize(buffer.data());
    }
}

/// A shell that waits for input that never comes, with 2 MB of arguments.
pid_t StartChild(int waitEnd, int readyEnd)
{
    const pid_t pid = fork();
    if (pid != 0) {
        return pid;
    }
    const rlimit stack{8U << 20, RLIM_INFINITY};
    setrlimit(RLIMIT_STACK, &stack);
    dup2(waitEnd, 0);
    dup2(readyEnd, 1);
    std::vector<std::string> arguments(16, std::string(125000, 'x'));
    char shell[] = "sh";
    char option[] = "-c";
    char script[] = "printf r; read x";
    std::vector<char*> argv{shell, option, script};
    for (std::string& argument : arguments) {
        argv.push_back(argument.data());
    }
    argv.push_back(nullptr);
    char* environment[] = {nullptr};
    execve("/bin/sh", argv.data(), environment);
    _exit(1);
}

}  // namespace

int main(int argc, char** argv)
{
    int wait[2];
    int ready[2];
    if (pipe2(wait, O_CLOEXEC) != 0 || pipe2(ready, O_CLOEXEC) != 0) {
        perror("probes_bench: pipe");
        return 1;
    }
    g_child = StartChild(wait[0], ready[1]);
    close(ready[1]);
    char byte = 0;
    if (read(ready[0], &byte, 1) != 1) {
        std::fputs("probes_bench: the kernel refused a child with 2 MB of arguments\n", stderr);
        return 1;
    }
    const pid_t self = getpid();
    benchmark::RegisterBenchmark("Comm", Comm);
    benchmark::RegisterBenchmark("RawComm", OpenReadClose, self, "comm", size_t{4096});
    benchmark::RegisterBenchmark("Status", Status);
    benchmark::RegisterBenchmark("RawStatus", OpenReadClose, self, "status", size_t{4096});
    benchmark::RegisterBenchmark("Cmdline", Cmdline);
    benchmark::RegisterBenchmark("RawCmdline", OpenReadClose, self, "cmdline", size_t{4096});
    benchmark::RegisterBenchmark("LongCmdline", LongCmdline);
    benchmark::RegisterBenchmark("RawLongCmdline", OpenReadClose, g_child, "cmdline", size_t{2U << 20});
    const std::string goal = "at most 1.3 times";
    const int status = bench::RunWithRatios(
        argc, argv,
        {{"ProcfsGetComm against open+read+close", "Comm", "RawComm", goal},
         {"GetProcStatus against open+read+close", "Status", "RawStatus", goal},
         {"GetCmdline against open+read+close", "Cmdline", "RawCmdline", goal},
         {"GetCmdline of 2 MB against open+read+close", "LongCmdline", "RawLongCmdline", goal}});
    kill(g_child, SIGKILL);
    waitpid(g_child, nullptr, 0);
    return status;
}
