// SPDX-License-Identifier: MIT

#include "tools/tarnix/messages.h"

#include <cerrno>

#include <gtest/gtest.h>

namespace {

namespace messages = tarnix::messages;

TEST(TarnixMessages, Startup)
{
    EXPECT_EQ(messages::CannotLock("/run/x", EACCES),
              "cannot lock /run/x: Permission denied; the directory has to exist and to be writable, "
              "TARNIX_RUNTIME_DIR names another");
    EXPECT_EQ(messages::CannotLock("/run/x", EROFS),
              "cannot lock /run/x: Read-only file system; the directory has to exist and to be writable, "
              "TARNIX_RUNTIME_DIR names another");
    EXPECT_EQ(messages::CannotLock("/run/x", EIO), "cannot lock /run/x: Input/output error");
    EXPECT_EQ(
        messages::CannotSignal(12, EPERM),
        "cannot signal process 12: Operation not permitted; run as root or as the user that runs tarnix");
    EXPECT_EQ(messages::CannotReadLock("/run/x", EACCES),
              "cannot read /run/x: Permission denied; run as root or as the user that runs tarnix");
    EXPECT_EQ(messages::CannotReadLock("/run/x", ELOOP),
              "cannot read /run/x: Too many levels of symbolic links");
    EXPECT_EQ(messages::CannotSignal(12, ESRCH), "cannot signal process 12: No such process");
    EXPECT_EQ(messages::CannotWriteOutput(ENOSPC),
              "cannot write to standard output: No space left on device");
    EXPECT_EQ(messages::Unexpected("a\nb"), "ended by a failure that was not foreseen: a\\nb");
    EXPECT_EQ(messages::CannotReadRecording("a\tb", EACCES), "TARNIX_SOURCE names a\\tb: Permission denied");
}

TEST(TarnixMessages, Log)
{
    EXPECT_EQ(messages::Started("1.2.3"), "tarnix 1.2.3 observes only: nothing is migrated or bound");
    EXPECT_EQ(messages::EngineOptions("smt, irq"),
              "set, but without effect, as the tuning engine is not part of this program: smt, irq");
    EXPECT_EQ(messages::FileFault("/etc/t.yaml", 3, 5, "odd"), "/etc/t.yaml:3:5: odd");
    EXPECT_EQ(messages::FileFault("/etc/t.yaml", 0, 0, "odd"), "/etc/t.yaml: odd");
    EXPECT_EQ(messages::MoreFaults("/etc/t.yaml", 4),
              "/etc/t.yaml: 4 more faults, tarnix-config check names them");
    EXPECT_EQ(messages::Reloaded("debug"), "reloaded: log-level is debug");
    EXPECT_EQ(messages::ReloadFailed("bad\nline"), "not reloaded, the settings stay as they are: bad\\nline");
    EXPECT_EQ(messages::Ended(3), "ended after 3 tune periods");
    EXPECT_EQ(
        messages::MetricsNotWritten("/m", EACCES),
        "the metrics file /m is not written: Permission denied; its directory has to exist, to be writable "
        "and to have room");
}

TEST(TarnixMessages, APeriod)
{
    UncoreMetrics uncore;
    uncore.interval = 1000;
    uncore.rxOpsNum = 123;
    uncore.rxOuterNum = 4;
    uncore.rxScclNum = 5;
    uncore.numaScore = 0.92683F;
    EXPECT_EQ(
        messages::PeriodScore(9, uncore),
        "period 9: score 0.9268, 123 operations, 4 from another socket, 5 from another die, in 1000 ms");
    EXPECT_EQ(messages::Status(9, true, uncore), "score 0.9268, tune period 9");
    EXPECT_EQ(messages::Status(9, false, uncore), "no score (see the log), tune period 9");
    EXPECT_EQ(messages::Status(0, true, {}), "no score yet");
}

TEST(TarnixMessages, WhatTheKernelCounted)
{
    host::OpinionReading now;
    now.timeNs = 60040000000;
    now.pmu = {1e6, 0, 0};
    now.kernel.nodesOnline = 2;
    now.kernel.nodesCounted = true;
    now.kernel.hintsCounted = true;
    now.kernel.nodes = {{0, {4900, 100, 7, 12, 5000, 0}, true}, {3, {15000, 0, 0, 0, 0, 15000}, true}};
    now.kernel.hints = {500, 120, 33};
    EXPECT_EQ(messages::PeriodKernel(host::CompareOpinions({}, now)),
              "kernel in 60.0 s: node0 hit 4900 miss 100 local 5000 other 0 interleave 12; node3 hit 15000 "
              "miss 0 local 0 other 15000 interleave 0; other node 75.00 %, misses 0.50 % of 20000 pages; "
              "hint faults 120 local 380 remote, 33 pages migrated");
    EXPECT_EQ(messages::KernelDisagrees(host::CompareOpinions({}, now)),
              "the score is doubtful: the PMU calls the traffic local (0.00% crossed), the kernel does not: "
              "75.00% of 20000 pages were allocated on another node than the CPU's, in the last 60.0 s; see "
              "that the events, or TARNIX_MAP, count what their names say");
    now.kernel.nodesCounted = false;
    now.kernel.hintsCounted = false;
    EXPECT_EQ(messages::PeriodKernel(host::CompareOpinions({}, now)),
              "kernel in 60.0 s: allocated pages not counted; hint faults not counted");
    EXPECT_EQ(messages::KernelDisagreesNoMore(), "the kernel does not disagree with the score any more");
}

TEST(TarnixMessages, CpusInTheOrderOfTheKernel)
{
    Stat stat;
    stat.Init();
    float rate = 0.0F;
    for (int type = 0; type < 10; ++type) {
        stat.rates.back()[static_cast<Stat::Type>(type)] = rate += 1.25F;
    }
    EXPECT_EQ(
        messages::PeriodCpu(stat),
        "CPUs: user 1.2 % nice 2.5 % system 3.8 % idle 5.0 % iowait 6.2 % irq 7.5 % softirq 8.8 % steal "
        "10.0 % guest 11.2 % guest_nice 12.5 %");
}

TEST(TarnixMessages, MemoryOfAtMostSixteenNodes)
{
    SystemMetrics metrics;
    metrics.numaNum = 2;
    metrics.mem.freeMemKb[0] = 10;
    metrics.mem.freeMemKb[1] = 4294967295U;
    EXPECT_EQ(messages::PeriodMemory(metrics), "free memory: node0 10 kB node1 4294967295 kB");
    metrics.numaNum = -1;
    EXPECT_EQ(messages::PeriodMemory(metrics), "free memory:");
    metrics.numaNum = 2147483647;
    EXPECT_NE(messages::PeriodMemory(metrics).find("node15 "), std::string::npos);
    EXPECT_EQ(messages::PeriodMemory(metrics).find("node16 "), std::string::npos);
}

TEST(TarnixMessages, OwnCost)
{
    messages::Cost cost;
    cost.spanNs = 60'000'000'000;
    cost.cpuNs = 1'500'000'000;
    cost.loopCpuNs = 150'000'000;
    cost.wakeups = 603;
    cost.longestNs = 2'345'678;
    cost.residentKb = 7936;
    EXPECT_EQ(
        messages::OwnCost(cost),
        "own cost in 60.0 s: CPU 1.500 s (2.50 % of a core), of these the loop 0.150 s (0.25 %); wake-ups of "
        "the loop 10.1/s; memory 7.8 MiB; longest pass 2.346 ms");
    EXPECT_EQ(
        messages::OwnCost({}),
        "own cost in 0.0 s: CPU 0.000 s (0.00 % of a core), of these the loop 0.000 s (0.00 %); wake-ups of "
        "the loop 0.0/s; memory 0.0 MiB; longest pass 0.000 ms");
}

}  // namespace
