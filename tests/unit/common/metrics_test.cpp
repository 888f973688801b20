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

#include <cstring>
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/quiet_fork.h"
#include "tests/unit/common/metrics_record.h"

namespace {

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
    const pid_t child = support::ForkQuietly();
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
    const long dumps = 100000;  // scripts/soak.sh makes 1,000,000, with four readers
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
    const pid_t reader = support::ForkQuietly();
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

}  // namespace
