// SPDX-License-Identifier: MIT

// The programs under faults: memory that runs out and calls on files that fail. Each ends by itself with one
// of its exit statuses, says why when it fails, and leaves no file half written.

#include <errno.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <sys/syscall.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>

#include <gtest/gtest.h>

#include "common/metrics.h"
#include "tests/faults/program_faults.h"
#include "tests/support/scratch_directory.h"

namespace {

using faults::FaultyProgram;
using faults::FaultyRun;

constexpr int NO_FILTER = 77;
/// Of the requests for memory of a program, which are thousands, the first ones and a selection of the rest;
/// of the calls of a kind the first ones. Fewer for a program that takes its time.
struct Breadth {
    std::size_t firstRequests;
    std::size_t steps;
    std::size_t calls;
};
constexpr Breadth QUICK = {25, 35, 12};
constexpr Breadth SLOW = {8, 14, 4};

Breadth BreadthOf(const FaultyProgram& program)
{
    return program.endMs > 0 ? SLOW : QUICK;
}

std::string Contents(const std::string& name)
{
    std::ifstream file(name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

class ProgramFaults : public testing::Test {
protected:
    void SetUp() override
    {
        Metrics metrics;
        metrics.Init(true);
        metrics.path = scratch / "metrics.bin";
        metrics.metrics.numaNum = 2;
        metrics.metrics.loopCnt = 1;
        metrics.Dump();
        old = Contents(scratch / "metrics.bin");
        ASSERT_EQ(old.size(), sizeof(SystemMetrics));
        std::ofstream(scratch / "tarnix.yaml") << "log-level: debug\nsampling-interval: 200\n";
        setenv("LC_ALL", "C.UTF-8", 1);
        setenv("TARNIX_METRICS_FILE", (scratch / "metrics.bin").c_str(), 1);
        setenv("TARNIX_RUNTIME_DIR", (scratch / "run").c_str(), 1);
        setenv("TARNIX_SYSFS_ROOT", (scratch / "sys").c_str(), 1);
        setenv("TARNIX_SOURCE", "demo", 1);
        for (const char* name : {"TARNIX_MAP", "NOTIFY_SOCKET", "WATCHDOG_USEC", "WATCHDOG_PID"}) {
            unsetenv(name);
        }
    }

    /// One run with a fault.
    void Check(const std::string& fault, bool harmless, const FaultyProgram& program)
    {
        const FaultyRun run = faults::RunWithFault(fault, program);
        const support::ProgramResult& result = run.result;
        SCOPED_TRACE(fault + ": status " + std::to_string(result.status) + "\n" + result.err);
        // 4 is that of a daemon that hangs.
        EXPECT_LE(result.status, 3);
        if (harmless) {
            EXPECT_EQ(result.status, 0);
        }
        // The host of a plug-in goes on when one has raised an exception, and says so.
        if (result.status == 0 && program.endMs == 0 &&
            result.err.find("raised an exception: std::bad_alloc") == std::string::npos) {
            EXPECT_EQ(result.out, goodOutput);
        }
        // A failure is told, unless that is what fails.
        if (result.status != 0 && run.failedErrorWrites == 0) {
            EXPECT_NE(result.err, "");
        }
        if (program.endMs == 0) {
            EXPECT_GT(run.failed, 0U) << "nothing failed";
        }
        EXPECT_FALSE(std::filesystem::exists(scratch / "metrics.bin.tmp"));
        EXPECT_EQ(Contents(scratch / "metrics.bin").size(), old.size());
        std::filesystem::remove(scratch / "metrics.bin.tmp");
        injected += run.failed > 0 ? 1 : 0;
    }

    void SweepMemory(const FaultyProgram& program)
    {
        const FaultyRun plain = faults::RunWithFault("memory 0 one", program);
        ASSERT_EQ(plain.result.status, 0) << plain.result.err;
        ASSERT_GT(plain.requests, 10U);
        goodOutput = plain.result.out;
        const std::size_t step = std::max<std::size_t>(1, plain.requests / BreadthOf(program).steps);
        for (std::size_t nth = 1; nth <= plain.requests && !HasFailure();
             nth += nth < BreadthOf(program).firstRequests ? 1 : step) {
            for (const bool andLater : {false, true}) {
                Check(faults::MemoryFaultText(nth, andLater), false, program);
            }
        }
        std::printf("%zu requests for memory, %zu runs with a failure\n", plain.requests, injected);
        EXPECT_GT(injected, 10U);
    }

    void SweepCalls(const FaultyProgram& program)
    {
        const FaultyRun plain = faults::RunWithFault(faults::NO_FAULT, program);
        if (plain.result.status == NO_FILTER) {
            GTEST_SKIP() << "system calls cannot be filtered here";
        }
        ASSERT_EQ(plain.result.status, 0) << plain.result.err;
        ASSERT_FALSE(plain.calls.empty());
        goodOutput = plain.result.out;
        for (const auto& [kind, count] : plain.calls) {
            for (const int error : kind.errors) {
                // A close that was interrupted may have lost what was written.
                const bool harmless = (error == EINTR || error == faults::SHORT) && kind.number != SYS_close;
                for (std::size_t nth = 1; nth <= std::min(count, BreadthOf(program).calls) && !HasFailure();
                     ++nth) {
                    SCOPED_TRACE(kind.name);
                    Check(faults::CallFaultText(kind, nth, false, error), harmless, program);
                }
            }
        }
        std::printf("%zu runs with a failed call\n", injected);
        EXPECT_GT(injected, 3U);
    }

    /// Without any memory: one line, and the status of the program for it.
    void ExpectOutOfMemory(const std::string& name, int status, const FaultyProgram& program)
    {
        const FaultyRun run = faults::RunWithFault(faults::MemoryFaultText(1, true), program);
        EXPECT_EQ(run.result.status, status);
        EXPECT_EQ(run.result.err, name + ": out of memory\n");
        EXPECT_EQ(run.result.out, "");
        EXPECT_GT(run.failed, 0U);
    }

    const support::ScratchDirectory scratch;
    std::string old;
    std::string goodOutput;
    std::size_t injected = 0;
};

TEST_F(ProgramFaults, EachTellsInOneLineThatItHasNoMemory)
{
    ExpectOutOfMemory("tnstat", 1, {{TNSTAT}});
    ExpectOutOfMemory("tarnix-config", 3, {{TARNIX_CONFIG, "show", scratch / "tarnix.yaml"}});
    ExpectOutOfMemory("tarnix", 1, {{TARNIX, "--sampling-times", "1", "--metrics"}, 150});
    ExpectOutOfMemory("numa-score", 1,
                      {{NUMA_SCORE, "replay", RECORDING, "--format", "csv"}, 0, FAULT_PRELOAD_MALLOC});
}

TEST_F(ProgramFaults, TnstatWithoutMemory)
{
    SweepMemory({{TNSTAT}});
}

TEST_F(ProgramFaults, TnstatWhoseCallsFail)
{
    SweepCalls({{TNSTAT}});
}

TEST_F(ProgramFaults, TarnixConfigWithoutMemory)
{
    SweepMemory({{TARNIX_CONFIG, "show", scratch / "tarnix.yaml"}});
}

TEST_F(ProgramFaults, TarnixConfigWhoseCallsFail)
{
    SweepCalls({{TARNIX_CONFIG, "show", scratch / "tarnix.yaml"}});
}

TEST_F(ProgramFaults, TarnixWithoutMemory)
{
    SweepMemory({{TARNIX, "--sampling-times", "1", "--metrics"}, 150});
}

TEST_F(ProgramFaults, TarnixWhoseCallsFail)
{
    SweepCalls({{TARNIX, "--sampling-times", "1", "--metrics"}, 150});
}

TEST_F(ProgramFaults, NumaScoreWithoutMemory)
{
    // It has an operator new of its own; what that asks for is failed.
    SweepMemory({{NUMA_SCORE, "replay", RECORDING, "--format", "csv"}, 0, FAULT_PRELOAD_MALLOC});
}

TEST_F(ProgramFaults, NumaScoreWhoseCallsFail)
{
    SweepCalls({{NUMA_SCORE, "replay", RECORDING, "--format", "csv"}});
}

}  // namespace
