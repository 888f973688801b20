// SPDX-License-Identifier: MIT

#include "tools/tnstat/metrics_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <fstream>
#include <limits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/metrics_record.h"
#include "tests/support/scratch_directory.h"

namespace {

using support::ScratchDirectory;
using support::TellingRecord;
using support::WriteRecord;
using testing::EndsWith;
using tnstat::Reading;
using tnstat::ReadMetricsFile;

/// Whether the figures agree; padding, which a copy need not keep, is left out.
bool SameFigures(const SystemMetrics& a, const SystemMetrics& b)
{
    return std::memcmp(&a.uncore, &b.uncore, offsetof(UncoreMetrics, numaScore) + sizeof(float)) == 0 &&
           std::memcmp(&a.task, &b.task, sizeof(a.task)) == 0 &&
           std::memcmp(&a.mem, &b.mem, sizeof(a.mem)) == 0 && a.loopCnt == b.loopCnt &&
           a.pageSizeKb == b.pageSizeKb && a.numaNum == b.numaNum;
}

TEST(TnstatMetricsFile, ReadsARecordWithItsTime)
{
    const ScratchDirectory scratch;
    const std::string path = scratch / "metrics.bin";
    const SystemMetrics record = TellingRecord();
    WriteRecord(path, record);
    const timespec times[] = {{1700000000, 0}, {1700000001, 250000000}};
    ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
    const Reading reading = ReadMetricsFile(path);
    EXPECT_TRUE(reading.IsGood()) << reading.fault;
    EXPECT_TRUE(SameFigures(reading.record, record));
    EXPECT_EQ(reading.stamp.modifiedNs, 1700000001250000000);
    EXPECT_NE(reading.stamp.inode, 0U);
}

TEST(TnstatMetricsFile, TimesFarFromNowAreCut)
{
    const ScratchDirectory scratch;
    const std::string path = scratch / "metrics.bin";
    WriteRecord(path, TellingRecord());
    for (const std::int64_t seconds : {std::int64_t{10000000000}, std::int64_t{-10000000000}}) {
        const timespec times[] = {{0, 0}, {seconds, 0}};
        struct stat status {};
        ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
        ASSERT_EQ(stat(path.c_str(), &status), 0);
        // The file system may have cut it already.
        const std::int64_t expected = std::clamp(std::int64_t{status.st_mtim.tv_sec},
                                                 std::int64_t{-4600000000}, std::int64_t{4600000000});
        EXPECT_EQ(ReadMetricsFile(path).stamp.modifiedNs, expected * 1000000000);
    }
}

TEST(TnstatMetricsFile, AReplacedFileHasAnotherStamp)
{
    const ScratchDirectory scratch;
    const std::string path = scratch / "metrics.bin";
    WriteRecord(path, TellingRecord());
    const Reading first = ReadMetricsFile(path);
    EXPECT_EQ(first.stamp, ReadMetricsFile(path).stamp);
    WriteRecord(path + ".tmp", TellingRecord());
    ASSERT_EQ(rename((path + ".tmp").c_str(), path.c_str()), 0);
    EXPECT_NE(first.stamp, ReadMetricsFile(path).stamp);
}

TEST(TnstatMetricsFile, EverySizeButOneIsAFault)
{
    const ScratchDirectory scratch;
    const std::string path = scratch / "metrics.bin";
    for (const std::size_t size : {0U, 1U, 8U, 1243U, 1247U}) {
        WriteRecord(path, TellingRecord(), size);
        EXPECT_EQ(ReadMetricsFile(path).fault,
                  "the metrics file " + path + " holds " + std::to_string(size) +
                      " bytes, expected 1248; was it written by another version of tarnix?");
    }
    WriteRecord(path, TellingRecord());
    std::ofstream(path, std::ios::app) << 'x';
    EXPECT_EQ(ReadMetricsFile(path).fault,
              "the metrics file " + path +
                  " holds more bytes, expected 1248; was it written by another version of tarnix?");
}

TEST(TnstatMetricsFile, WhatIsNoFileIsAFaultAndNeverWaitedFor)
{
    const ScratchDirectory scratch;
    const std::string fifo = scratch / "fifo";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    EXPECT_EQ(ReadMetricsFile(fifo).fault, "the metrics file " + fifo + " is no regular file");
    EXPECT_EQ(ReadMetricsFile("/dev/null").fault, "the metrics file /dev/null is no regular file");
    const std::string directory = scratch / "directory";
    ASSERT_EQ(mkdir(directory.c_str(), 0700), 0);
    EXPECT_EQ(ReadMetricsFile(directory).fault, "the metrics file " + directory + " is no regular file");
    const std::string loop = scratch / "loop";
    ASSERT_EQ(symlink("loop", loop.c_str()), 0);
    EXPECT_THAT(ReadMetricsFile(loop).fault, EndsWith("Too many levels of symbolic links"));
    const Reading absent = ReadMetricsFile(scratch / "absent");
    EXPECT_EQ(absent.fault,
              "cannot read the metrics file " + (scratch / "absent") +
                  ": No such file or directory; tarnix writes it while it runs with metrics enabled");
    EXPECT_EQ(absent.stamp, tnstat::FileStamp());
}

TEST(TnstatMetricsFile, FiguresThatCannotBeAreNamed)
{
    const struct {
        const char* what;
        void (*spoil)(SystemMetrics&);
        const char* figure;
    } cases[] = {
        {"17 nodes", [](SystemMetrics& m) { m.numaNum = 17; }, "it counts 17 NUMA nodes, expected 0 to 16"},
        {"-1 nodes", [](SystemMetrics& m) { m.numaNum = -1; }, "it counts -1 NUMA nodes, expected 0 to 16"},
        {"page", [](SystemMetrics& m) { m.pageSizeKb = -1; },
         "its page size is -1 kB, expected no negative figure"},
        {"above 1", [](SystemMetrics& m) { m.uncore.numaScore = 1.25F; },
         "its NUMA score is 1.250000, expected 0 to 1"},
        {"below 0", [](SystemMetrics& m) { m.uncore.numaScore = -0.5F; },
         "its NUMA score is -0.500000, expected 0 to 1"},
        {"not a number",
         [](SystemMetrics& m) { m.uncore.numaScore = std::numeric_limits<float>::quiet_NaN(); },
         "its NUMA score is nan, expected 0 to 1"},
        {"infinite", [](SystemMetrics& m) { m.uncore.numaScore = std::numeric_limits<float>::infinity(); },
         "its NUMA score is inf, expected 0 to 1"},
        {"16 nodes", [](SystemMetrics& m) { m.numaNum = 16; }, ""},
        {"no nodes", [](SystemMetrics& m) { m.numaNum = 0; }, ""},
        {"0", [](SystemMetrics& m) { m.uncore.numaScore = 0.0F; }, ""},
        {"1", [](SystemMetrics& m) { m.uncore.numaScore = 1.0F; }, ""},
    };
    const ScratchDirectory scratch;
    const std::string path = scratch / "metrics.bin";
    for (const auto& [what, spoil, figure] : cases) {
        SystemMetrics record = TellingRecord();
        spoil(record);
        EXPECT_EQ(tnstat::ImpossibleFigure(record), figure) << what;
        WriteRecord(path, record);
        const std::string expected =
            *figure == '\0' ? "" : "the metrics file " + path + " cannot be right: " + figure;
        EXPECT_EQ(ReadMetricsFile(path).fault, expected) << what;
    }
}

}  // namespace
