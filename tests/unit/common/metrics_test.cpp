// SPDX-License-Identifier: MIT
//
// The golden file tests/golden/metrics.bin is the record of Numbered(); UPDATE_GOLDEN=1 writes it anew.

#include "common/metrics.h"

#include <fcntl.h>
#include <numa.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <cstring>
#include <fstream>
#include <iostream>
#include <limits>
#include <locale>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::HasSubstr;
using testing::Not;

std::string ReadBytes(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void WriteBytes(const std::string& path, const std::string& bytes)
{
    std::ofstream file(path, std::ios::binary);
    file << bytes;
}

bool Exists(const std::string& path)
{
    struct stat status {};
    return lstat(path.c_str(), &status) == 0;
}

/// A record in which every field has a value of its own.
SystemMetrics Numbered()
{
    SystemMetrics record;
    record.loopCnt = 0x1122334455667788U;
    record.pageSizeKb = 4;
    record.numaNum = 4;
    record.uncore.interval = 100;
    record.uncore.rxOpsNum = 5000000;
    record.uncore.rxOuterNum = 123456;
    record.uncore.rxScclNum = 6543;
    record.uncore.numaScore = 0.9750002F;
    record.task = {11, 12, 13, 14};
    record.mem.migrateCostTimeUs = 21;
    record.mem.nonmigratedKb = 22;
    record.mem.migratedKb = 23;
    record.mem.failedProcessNum = 24;
    record.mem.failedKb = 25;
    for (unsigned row = 0; row < 16; ++row) {
        for (unsigned column = 0; column < 16; ++column) {
            record.mem.migrateMatrix[row][column] = 1000 * row + column;
        }
        record.mem.freeMemKb[row] = 1000000 + row;
        record.mem.giveUpKb[row] = 2000 + row;
    }
    return record;
}

class MetricsTest : public testing::Test {
protected:
    void SetUp() override
    {
        char name[] = "/tmp/metrics_test_XXXXXX";
        ASSERT_NE(mkdtemp(name), nullptr);
        directory = name;
        metrics.enabled = true;
        metrics.path = directory + "/metrics.bin";
    }
    void TearDown() override
    {
        const std::string command = "rm -rf '" + directory + "'";
        EXPECT_EQ(system(command.c_str()), 0);
    }
    std::string Temporary() const { return metrics.path + ".tmp"; }

    std::string directory;
    Metrics metrics;
};

TEST(MetricsInit, TakesPathPageSizeAndNodes)
{
    Metrics metrics;
    EXPECT_FALSE(metrics.enabled);
    EXPECT_EQ(metrics.path, "");
    EXPECT_TRUE(metrics.Init(true));
    EXPECT_TRUE(metrics.enabled);
    EXPECT_EQ(metrics.path, "/var/log/tarnix/metrics.bin");
    EXPECT_EQ(metrics.metrics.pageSizeKb, sysconf(_SC_PAGESIZE) / 1024);
    EXPECT_EQ(metrics.metrics.numaNum, std::min(numa_num_configured_nodes(), 16));
    EXPECT_GE(metrics.metrics.numaNum, 1);
    EXPECT_TRUE(metrics.Init(false));
    EXPECT_FALSE(metrics.enabled);
}

TEST_F(MetricsTest, UpdatesCopyTheirBlocks)
{
    SystemMetrics given = Numbered();
    metrics.UpdateUncoreMetrics(given.uncore);
    EXPECT_EQ(metrics.metrics.uncore.rxOuterNum, 123456U);
    EXPECT_EQ(metrics.metrics.uncore.numaScore, 0.9750002F);
    EXPECT_EQ(metrics.metrics.task.threadsNum, 0U);
    metrics.UpdateTaskMetrics(given.task);
    EXPECT_EQ(metrics.metrics.task.bindFailNum, 14U);
    EXPECT_EQ(metrics.metrics.mem.failedKb, 0U);
    metrics.UpdateMemMetrics(given.mem);
    EXPECT_EQ(std::memcmp(&metrics.metrics.mem, &given.mem, sizeof given.mem), 0);
    metrics.UpdateLoopCnt(77);
    metrics.UpdatePageSizeKb(64);
    EXPECT_EQ(metrics.metrics.loopCnt, 77U);
    EXPECT_EQ(metrics.metrics.pageSizeKb, 64);
}

TEST_F(MetricsTest, ClearKeepsLoopPageSizeAndNodes)
{
    metrics.metrics = Numbered();
    metrics.ClearMetrics();
    const SystemMetrics& record = metrics.metrics;
    EXPECT_EQ(record.loopCnt, 0x1122334455667788U);
    EXPECT_EQ(record.pageSizeKb, 4);
    EXPECT_EQ(record.numaNum, 4);
    const auto* bytes = reinterpret_cast<const unsigned char*>(&record);
    for (std::size_t i = 16; i < 1244; ++i) {
        if (i < 52 || i >= 56) {
            ASSERT_EQ(bytes[i], 0) << "offset " << i;
        }
    }
}

TEST_F(MetricsTest, DumpedBytesAreTheGoldenFile)
{
    const std::string golden = std::string(SOURCE_DIR) + "/tests/golden/metrics.bin";
    metrics.metrics = Numbered();
    std::memset(reinterpret_cast<char*>(&metrics.metrics) + 52, 0xEE, 4);
    std::memset(reinterpret_cast<char*>(&metrics.metrics) + 1244, 0xEE, 4);
    metrics.Dump();
    const std::string bytes = ReadBytes(metrics.path);
    if (getenv("UPDATE_GOLDEN") != nullptr) {
        WriteBytes(golden, bytes);
    }
    ASSERT_EQ(bytes.size(), 1248U);
    EXPECT_EQ(bytes, ReadBytes(golden));
    EXPECT_EQ(bytes.substr(0, 8), std::string("\x88\x77\x66\x55\x44\x33\x22\x11", 8));
    EXPECT_EQ(bytes.substr(52, 4), std::string(4, '\0')) << "padding";
    EXPECT_EQ(bytes.substr(1244, 4), std::string(4, '\0')) << "padding";
    std::uint32_t cell = 0;
    std::memcpy(&cell, bytes.data() + 92 + (3 * 16 + 2) * 4, sizeof cell);
    EXPECT_EQ(cell, 3002U) << "row 3, column 2";
}

TEST_F(MetricsTest, DumpReadsBackAndClears)
{
    const SystemMetrics given = Numbered();
    metrics.metrics = given;
    metrics.Dump();
    EXPECT_EQ(metrics.metrics.loopCnt, given.loopCnt);
    EXPECT_EQ(metrics.metrics.uncore.interval, 0U);
    EXPECT_EQ(metrics.metrics.mem.giveUpKb[15], 0U);
    EXPECT_FALSE(Exists(Temporary()));

    SystemMetrics read;
    ASSERT_TRUE(metrics.GetMetricsFromFile(read));
    EXPECT_EQ(std::memcmp(&read.mem, &given.mem, sizeof read.mem), 0);
    EXPECT_EQ(read.uncore.numaScore, given.uncore.numaScore);
    EXPECT_EQ(read.loopCnt, given.loopCnt);
}

TEST_F(MetricsTest, DisabledTouchesNothing)
{
    metrics.metrics = Numbered();
    metrics.enabled = false;
    metrics.Dump();
    EXPECT_FALSE(Exists(metrics.path));
    EXPECT_EQ(metrics.metrics.task.threadsNum, 12U);
}

TEST_F(MetricsTest, FileModeIs0644UnderAnyOpenUmask)
{
    const mode_t before = umask(0);
    metrics.Dump();
    umask(before);
    struct stat status {};
    ASSERT_EQ(stat(metrics.path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0644U);
}

TEST_F(MetricsTest, APlantedLinkIsNeverFollowed)
{
    const std::string victim = directory + "/victim";
    WriteBytes(victim, "keep me");
    ASSERT_EQ(symlink(victim.c_str(), Temporary().c_str()), 0);
    metrics.Dump();
    EXPECT_EQ(ReadBytes(victim), "keep me");
    struct stat status {};
    ASSERT_EQ(lstat(metrics.path.c_str(), &status), 0);
    EXPECT_TRUE(S_ISREG(status.st_mode));
    EXPECT_EQ(status.st_size, 1248);
}

TEST_F(MetricsTest, APlantedFifoDoesNotBlock)
{
    ASSERT_EQ(mkfifo(Temporary().c_str(), 0666), 0);
    alarm(20);  // a dump that waits for a reader would hang
    metrics.Dump();
    alarm(0);
    struct stat status {};
    ASSERT_EQ(lstat(metrics.path.c_str(), &status), 0);
    EXPECT_TRUE(S_ISREG(status.st_mode));
}

TEST_F(MetricsTest, ADirectoryInTheWayKeepsTheOldFileAndClears)
{
    metrics.metrics = Numbered();
    metrics.Dump();
    const std::string old = ReadBytes(metrics.path);
    ASSERT_EQ(mkdir(Temporary().c_str(), 0755), 0);
    metrics.metrics.task.threadsNum = 99;
    metrics.Dump();
    EXPECT_EQ(ReadBytes(metrics.path), old);
    EXPECT_EQ(metrics.metrics.task.threadsNum, 0U);
}

TEST_F(MetricsTest, ATargetThatIsADirectoryLeavesNoTemporaryFile)
{
    ASSERT_EQ(mkdir(metrics.path.c_str(), 0755), 0);
    metrics.metrics.task.threadsNum = 99;
    metrics.Dump();
    EXPECT_FALSE(Exists(Temporary()));
    EXPECT_EQ(metrics.metrics.task.threadsNum, 0U);
    SystemMetrics read;
    EXPECT_FALSE(metrics.GetMetricsFromFile(read));
}

TEST_F(MetricsTest, NoDirectoryIsCreated)
{
    metrics.path = directory + "/absent/metrics.bin";
    metrics.metrics.task.threadsNum = 99;
    metrics.Dump();
    EXPECT_FALSE(Exists(directory + "/absent"));
    EXPECT_EQ(metrics.metrics.task.threadsNum, 0U);
}

TEST_F(MetricsTest, AFileSizeLimitKeepsTheOldFile)
{
    // The write ends short at the limit, as on a disk that fills up in the middle of the record.
    metrics.metrics = Numbered();
    metrics.Dump();
    const std::string old = ReadBytes(metrics.path);
    const pid_t child = fork();
    if (child == 0) {
        signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{512, 512};
        setrlimit(RLIMIT_FSIZE, &limit);
        metrics.metrics.task.threadsNum = 5;
        metrics.Dump();
        _exit(metrics.metrics.task.threadsNum == 0 && !Exists(Temporary()) ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(ReadBytes(metrics.path), old);
}

TEST_F(MetricsTest, AFullDiskKeepsTheOldFile)
{
    if (mount("tmpfs", directory.c_str(), "tmpfs", 0, "size=16k") != 0) {
        GTEST_SKIP() << "no right to mount a tmpfs: " << strerror(errno);
    }
    metrics.metrics = Numbered();
    metrics.Dump();
    const std::string old = ReadBytes(metrics.path);
    WriteBytes(directory + "/filler", std::string(64 * 1024, 'x'));
    metrics.metrics.task.threadsNum = 5;
    metrics.Dump();
    EXPECT_EQ(metrics.metrics.task.threadsNum, 0U);
    EXPECT_FALSE(Exists(Temporary()));
    EXPECT_EQ(ReadBytes(metrics.path), old);
    EXPECT_EQ(old.size(), 1248U);
    unlink((directory + "/filler").c_str());
    metrics.metrics.task.threadsNum = 6;
    metrics.Dump();
    EXPECT_NE(ReadBytes(metrics.path), old) << "dumps succeed again once there is space";
    EXPECT_EQ(umount(directory.c_str()), 0);
}

TEST_F(MetricsTest, NoDescriptorStaysOpen)
{
    const int before = open("/dev/null", O_RDONLY | O_CLOEXEC);
    close(before);
    SystemMetrics read;
    for (int i = 0; i < 50; ++i) {
        metrics.Dump();
        metrics.GetMetricsFromFile(read);
    }
    metrics.path = directory;  // rename fails, read fails
    for (int i = 0; i < 50; ++i) {
        metrics.Dump();
        metrics.GetMetricsFromFile(read);
    }
    const int after = open("/dev/null", O_RDONLY | O_CLOEXEC);
    close(after);
    EXPECT_EQ(after, before);
}

TEST_F(MetricsTest, FilesOfEveryLength)
{
    SystemMetrics read;
    EXPECT_FALSE(metrics.GetMetricsFromFile(read)) << "missing";
    for (const std::size_t length : {0U, 1U, 7U, 8U, 16U, 1243U, 1244U, 1247U}) {
        WriteBytes(metrics.path, std::string(length, '\1'));
        EXPECT_FALSE(metrics.GetMetricsFromFile(read)) << length;
    }
    for (const std::size_t length : {1248U, 1249U, 2496U}) {
        WriteBytes(metrics.path, std::string(length, '\1'));
        SystemMetrics whole;
        EXPECT_TRUE(metrics.GetMetricsFromFile(whole)) << length;
        EXPECT_EQ(whole.loopCnt, 0x0101010101010101U);
        EXPECT_EQ(whole.mem.giveUpKb[15], 0x01010101U);
    }
}

TEST_F(MetricsTest, AFifoInPlaceOfTheFileDoesNotBlock)
{
    ASSERT_EQ(mkfifo(metrics.path.c_str(), 0666), 0);
    SystemMetrics read;
    alarm(20);
    EXPECT_FALSE(metrics.GetMetricsFromFile(read));
    alarm(0);
}

TEST_F(MetricsTest, AReaderSeesTheOldOrTheNewRecord)
{
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || defined(__aarch64__)
    const long dumps = 100000;  // slow builds and emulation
#else
    const long dumps = 1000000;
#endif
    std::cout << dumps << " dumps\n";
    char name[] = "/dev/shm/metrics_test_XXXXXX";
    if (mkdtemp(name) == nullptr) {
        GTEST_SKIP() << "no tmpfs at /dev/shm: " << strerror(errno);
    }
    metrics.path = std::string(name) + "/metrics.bin";
    const auto fill = [this](std::uint32_t value) {
        metrics.metrics.loopCnt = value;
        for (auto& row : metrics.metrics.mem.migrateMatrix) {
            std::fill(std::begin(row), std::end(row), value);
        }
        metrics.metrics.mem.giveUpKb[15] = value;
    };
    fill(1);
    metrics.Dump();
    int ready[2];
    ASSERT_EQ(pipe(ready), 0);
    const pid_t reader = fork();
    if (reader == 0) {
        close(ready[0]);
        SystemMetrics read;
        long reads = 0;
        std::uint64_t last = 0;
        while (read.loopCnt != static_cast<std::uint64_t>(dumps)) {
            const bool complete = metrics.GetMetricsFromFile(read);
            const std::uint64_t loop = read.loopCnt;
            if (!complete || loop < last || read.mem.giveUpKb[15] != loop ||
                read.mem.migrateMatrix[0][0] != loop || read.mem.migrateMatrix[15][15] != loop) {
                _exit(1);
            }
            last = loop;
            if (reads++ == 0 && write(ready[1], "r", 1) != 1) {
                _exit(2);
            }
        }
        _exit(reads > 2 ? 0 : 3);
    }
    close(ready[1]);
    char byte = 0;
    ASSERT_EQ(read(ready[0], &byte, 1), 1);
    close(ready[0]);
    for (long i = 2; i <= dumps; ++i) {
        fill(static_cast<std::uint32_t>(i));
        metrics.Dump();
    }
    int status = 0;
    ASSERT_EQ(waitpid(reader, &status, 0), reader);
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0) << "1: torn, short or older record; 3: too few reads";
    unlink(metrics.path.c_str());
    rmdir(name);
}

const char REPORT_HEAD[] =
    "Show tarnix metrics\n"
    "  tarnix loop count: 1234605616436508552\n";

const char REPORT_MIDDLE[] =
    "  page size(kb): 4\n"
    "Uncore metrics\n"
    "  interval(ms): 100\n"
    "  rx ops num  (ops/ms): 50000\n"
    "  rx outer num(ops/ms): 1234\n"
    "  rx sccl num (ops/ms): 65\n"
    "  numa score: 0.975\n"
    "Task metrics\n"
    "  threads num: 12\n"
    "  threads bind success num: 13\n"
    "  threads bind fail num: 14\n"
    "  migrate cost time(us): 11\n"
    "Mem metrics\n"
    "  migrated memory(kb): 23\n"
    "  nonmigrated memory(kb): 22\n"
    "  migrate failed process num: 24\n"
    "  migrate failed memory(kb): 25\n"
    "  migrate cost time(us): 21\n"
    "  numa migrate memory(src->dst, kB): \n";

std::string ReportOf(int nodes, const std::string& tables)
{
    return REPORT_HEAD + ("  numa num: " + std::to_string(nodes) + "\n") + REPORT_MIDDLE + tables;
}

/// The tables for any number of nodes, put together in another way than the code does.
std::string Tables(int nodes)
{
    char cell[32];
    std::string text = "  src\\dst ";
    const auto add = [&](const char* format, auto value) {
        snprintf(cell, sizeof cell, format, value);
        text += cell;
    };
    for (int n = 0; n < nodes; ++n) {
        add("%10d ", n);
    }
    text += "\n";
    for (int i = 0; i < nodes; ++i) {
        add("        %d ", i);
        for (int j = 0; j < nodes; ++j) {
            add("%10d ", 1000 * i + j);
        }
        text += "\n";
    }
    text += "NUMA ID:                    ";
    for (int n = 0; n < nodes; ++n) {
        add("%10d", n);
    }
    text += "\nFree memory(MB):            ";
    for (int n = 0; n < nodes; ++n) {
        add("%10g", (1000000 + n) / 1024.0);
    }
    text += "\nGive up migrate memory(kB): ";
    for (int n = 0; n < nodes; ++n) {
        add("%10d", 2000 + n);
    }
    return text + "\n";
}

TEST(MetricsReport, WithoutNodesToTheByte)
{
    SystemMetrics record = Numbered();
    record.numaNum = 0;
    EXPECT_EQ(GetSystemMetricsReport(record), ReportOf(0,
                                                       "  src\\dst \n"
                                                       "NUMA ID:                    \n"
                                                       "Free memory(MB):            \n"
                                                       "Give up migrate memory(kB): \n"));
}

TEST(MetricsReport, WithTwoNodesToTheByte)
{
    SystemMetrics record = Numbered();
    record.numaNum = 2;
    EXPECT_EQ(GetSystemMetricsReport(record), ReportOf(2,
                                                       "  src\\dst          0          1 \n"
                                                       "        0          0          1 \n"
                                                       "        1       1000       1001 \n"
                                                       "NUMA ID:                             0         1\n"
                                                       "Free memory(MB):               976.562   976.563\n"
                                                       "Give up migrate memory(kB):       2000      2001\n"));
}

TEST(MetricsReport, WithAnyNumberOfNodesToTheByte)
{
    SystemMetrics record = Numbered();
    for (const int nodes : {1, 2, 4, 10, 11, 16}) {
        record.numaNum = nodes;
        EXPECT_EQ(GetSystemMetricsReport(record), ReportOf(nodes, Tables(nodes)));
    }
}

TEST(MetricsReport, WalksAtMost16NodesAndShowsTheNumberAsStored)
{
    SystemMetrics record = Numbered();
    for (const int nodes : {17, 1000000, std::numeric_limits<int>::max()}) {
        record.numaNum = nodes;
        EXPECT_EQ(GetSystemMetricsReport(record), ReportOf(nodes, Tables(16)));
    }
    for (const int nodes : {-1, std::numeric_limits<int>::min()}) {
        record.numaNum = nodes;
        EXPECT_EQ(GetSystemMetricsReport(record), ReportOf(nodes, Tables(0)));
    }
}

TEST(MetricsReport, AnIntervalOfZeroLeavesTheRatesOut)
{
    SystemMetrics record = Numbered();
    record.uncore.interval = 0;
    const std::string report = GetSystemMetricsReport(record);
    EXPECT_THAT(report, HasSubstr("Uncore metrics\n  interval(ms): 0\n  numa score: 0.975\nTask metrics\n"));
    EXPECT_THAT(report, Not(HasSubstr("rx ops")));
}

TEST(MetricsReport, ScoresInDefaultNotation)
{
    const struct {
        float score;
        const char* text;
    } cases[] = {{0.0F, "0"},        {1.0F, "1"},          {0.5F, "0.5"}, {0.123456789F, "0.123457"},
                 {1e-7F, "1e-07"},   {3.4e38F, "3.4e+38"}, {NAN, "nan"},  {INFINITY, "inf"},
                 {-INFINITY, "-inf"}};
    SystemMetrics record;
    for (const auto& c : cases) {
        record.uncore.numaScore = c.score;
        EXPECT_THAT(GetSystemMetricsReport(record), HasSubstr(std::string("  numa score: ") + c.text + "\n"));
    }
}

class Comma : public std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
};

TEST(MetricsReport, IgnoresTheLocale)
{
    SystemMetrics record = Numbered();
    record.uncore.numaScore = 1234.5F;
    const std::string expected = GetSystemMetricsReport(record);
    EXPECT_THAT(expected, HasSubstr("1234.5"));
    const std::locale before = std::locale::global(std::locale(std::locale::classic(), new Comma));
    EXPECT_EQ(GetSystemMetricsReport(record), expected);
    std::locale::global(before);
}

TEST(MetricsReport, IsSafeForAnyBytes)
{
    std::mt19937_64 random(20);
    for (int round = 0; round < 20000; ++round) {
        unsigned char bytes[sizeof(SystemMetrics)];
        for (std::size_t i = 0; i < sizeof bytes; i += 8) {
            const std::uint64_t word = random();
            std::memcpy(bytes + i, &word, 8);
        }
        SystemMetrics record;
        std::memcpy(&record, bytes, sizeof record);
        const std::string report = GetSystemMetricsReport(record);
        ASSERT_EQ(report.rfind("Show tarnix metrics\n", 0), 0U);
        ASSERT_THAT(report, HasSubstr("\n  numa num: " + std::to_string(record.numaNum) + "\n"));
        ASSERT_LT(report.size(), 8192U);
    }
}

}  // namespace
