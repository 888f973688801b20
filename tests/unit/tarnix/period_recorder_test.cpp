// SPDX-License-Identifier: MIT

#include "tools/tarnix/period_recorder.h"

#include <sys/stat.h>
#include <time.h>

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

#include "common/numa_probe.h"
#include "common/system_probe.h"
#include "tests/support/scratch_directory.h"

namespace {

using support::ScratchDirectory;
using tarnix::PeriodRecorder;
using tarnix::Remark;

UncoreMetrics Counted()
{
    UncoreMetrics uncore;
    uncore.interval = 1000;
    uncore.rxOpsNum = 4000;
    uncore.rxOuterNum = 300;
    uncore.rxScclNum = 100;
    uncore.numaScore = 0.9F;
    return uncore;
}

SystemMetrics FileAt(const std::string& path)
{
    Metrics reader;
    reader.path = path;
    SystemMetrics record;
    EXPECT_TRUE(reader.GetMetricsFromFile(record)) << path;
    return record;
}

TEST(TarnixPeriodRecorder, WritesTheFigures)
{
    const ScratchDirectory scratch;
    const std::string path = scratch / "made/metrics.bin";
    PeriodRecorder recorder(true, path);
    HealthMonitor health;
    const timespec pause{0, 50000000};
    nanosleep(&pause, nullptr);  // some ticks for the CPU sampler
    recorder.Record(7, Counted(), health);
    const SystemMetrics record = FileAt(path);
    EXPECT_EQ(record.loopCnt, 7U);
    EXPECT_EQ(record.pageSizeKb, GetPageSizeKb());
    EXPECT_GE(record.numaNum, 1);
    EXPECT_EQ(record.uncore.interval, 1000U);
    EXPECT_EQ(record.uncore.rxOpsNum, 4000U);
    EXPECT_EQ(record.uncore.rxOuterNum, 300U);
    EXPECT_EQ(record.uncore.rxScclNum, 100U);
    EXPECT_FLOAT_EQ(record.uncore.numaScore, 0.9F);
    EXPECT_EQ(record.mem.freeMemKb[0] > 0, GetNumaFreeMem(0) > 0);
    EXPECT_EQ(record.task.threadsNum, 0U);
    EXPECT_EQ(record.mem.migratedKb, 0U);
    EXPECT_EQ(recorder.Last().loopCnt, 7U);
    EXPECT_EQ(recorder.Last().uncore.rxOpsNum, 4000U);
    EXPECT_GT(recorder.Cpus().cpuNum, 0);
    float all = 0.0F;
    for (int type = 0; type < 10; ++type) {
        all += recorder.Cpus().GetAllCpuUtilRate(static_cast<Stat::Type>(type));
    }
    EXPECT_NEAR(all, 100.0F, 1.0F);
    EXPECT_GT(health.GetDurationNs("run_stat"), 0U);
    EXPECT_GT(health.GetDurationNs("update_data"), 0U);
    EXPECT_EQ(health.activeCount, 0U);
    EXPECT_TRUE(recorder.TakeRemarks().empty());
}

TEST(TarnixPeriodRecorder, ADisabledFileIsNotTouched)
{
    const ScratchDirectory scratch;
    PeriodRecorder recorder(false, scratch / "made/metrics.bin");
    HealthMonitor health;
    recorder.Record(1, Counted(), health);
    EXPECT_FALSE(std::filesystem::exists(scratch / "made"));
    EXPECT_EQ(recorder.Last().uncore.rxOpsNum, 4000U);
    EXPECT_TRUE(recorder.TakeRemarks().empty());
}

TEST(TarnixPeriodRecorder, TellsOnceThatTheFileIsNotWrittenAndOnceThatItIsAgain)
{
    const ScratchDirectory scratch;
    const std::string path = scratch / "a/b/metrics.bin";
    PeriodRecorder recorder(true, path);
    HealthMonitor health;
    recorder.Record(1, Counted(), health);
    recorder.Record(2, Counted(), health);
    std::vector<Remark> remarks = recorder.TakeRemarks();
    ASSERT_EQ(remarks.size(), 1U);
    EXPECT_EQ(remarks[0].level, LogLevel::WARN);
    EXPECT_EQ(remarks[0].text,
              "the metrics file " + path +
                  " is not written: No such file or directory; its directory has to exist, to "
                  "be writable and to have room");
    std::filesystem::create_directories(scratch / "a/b");
    recorder.Record(3, Counted(), health);
    recorder.Record(4, Counted(), health);
    remarks = recorder.TakeRemarks();
    ASSERT_EQ(remarks.size(), 1U);
    EXPECT_EQ(remarks[0].level, LogLevel::INFO);
    EXPECT_EQ(remarks[0].text, "the metrics file " + path + " is written again");
    EXPECT_EQ(FileAt(path).loopCnt, 4U);
}

TEST(TarnixPeriodRecorder, WhatIsNoFileIsNotReplaced)
{
    const ScratchDirectory scratch;
    const std::string fifo = scratch / "fifo";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    for (const std::string& path : {fifo, scratch / "dir", scratch / "dir/"}) {
        std::filesystem::create_directories(scratch / "dir");
        HealthMonitor health;
        PeriodRecorder recorder(true, path);
        recorder.Record(1, Counted(), health);
        recorder.Record(2, Counted(), health);
        const std::vector<Remark> remarks = recorder.TakeRemarks();
        ASSERT_EQ(remarks.size(), 1U) << path;
        EXPECT_EQ(remarks[0].text,
                  "the metrics file " + path +
                      " is not written: something that is no regular file stands there; remove it, "
                      "or set TARNIX_METRICS_FILE");
        EXPECT_FALSE(std::filesystem::is_regular_file(path));
    }
    HealthMonitor health;
    PeriodRecorder recorder(true, fifo);
    recorder.Record(1, Counted(), health);
    ASSERT_EQ(std::remove(fifo.c_str()), 0);
    recorder.Record(2, Counted(), health);
    ASSERT_EQ(recorder.TakeRemarks().size(), 2U);
    EXPECT_EQ(FileAt(fifo).loopCnt, 2U);
}

TEST(TarnixPeriodRecorder, APlantedLinkIsReplacedAndNotFollowed)
{
    const ScratchDirectory scratch;
    std::ofstream(scratch / "victim") << "precious";
    std::filesystem::create_symlink(scratch / "victim", scratch / "metrics.bin");
    HealthMonitor health;
    PeriodRecorder recorder(true, scratch / "metrics.bin");
    recorder.Record(1, Counted(), health);
    EXPECT_EQ(std::filesystem::file_size(scratch / "victim"), 8U);
    EXPECT_FALSE(std::filesystem::is_symlink(scratch / "metrics.bin"));
    EXPECT_EQ(FileAt(scratch / "metrics.bin").loopCnt, 1U);
}

TEST(TarnixPeriodRecorder, AnOldFileThatStaysIsNoDump)
{
    const ScratchDirectory scratch;
    const std::string path = scratch / "metrics.bin";
    HealthMonitor health;
    PeriodRecorder(true, path).Record(1, Counted(), health);
    std::filesystem::create_directory(path + ".tmp");  // a dump cannot replace it
    PeriodRecorder recorder(true, path);
    recorder.Record(2, Counted(), health);
    const std::vector<Remark> remarks = recorder.TakeRemarks();
    ASSERT_EQ(remarks.size(), 1U);
    EXPECT_EQ(remarks[0].text,
              "the metrics file " + path +
                  " is not written: no new file came into being; its directory has to exist, "
                  "to be writable and to have room");
    EXPECT_EQ(FileAt(path).loopCnt, 1U);
}

}  // namespace
