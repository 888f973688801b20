// SPDX-License-Identifier: MIT
//
// What a recording may come from: files, pipes, FIFOs, standard input, and things that are none of these.

#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>

#include <array>
#include <fstream>
#include <string>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/replay_source.h"
#include "tests/support/sanitized.h"
#include "tests/unit/host/recording_input.h"

namespace host {
namespace {

using host_test::ReadAll;
using host_test::TemporaryFile;
using host_test::WholeReplay;
using Status = CounterSource::Status;

#ifdef HOST_TEST_EMULATED
constexpr bool SLOW = true;
#else
constexpr bool SLOW = support::SANITIZED;
#endif

void WriteAll(int fd, std::string_view text)
{
    while (!text.empty()) {
        const ssize_t written = write(fd, text.data(), text.size());
        if (written <= 0) {
            return;
        }
        text.remove_prefix(static_cast<std::size_t>(written));
    }
}

TEST(ReplayInput, RefusesWhatIsNoRecording)
{
    const auto errorOf = [](const std::string& path) { return ReadAll(path).error; };
    EXPECT_EQ(
        errorOf("/nowhere/at all\n"),
        "/nowhere/at all\\n: cannot be opened: No such file or directory; expected a recording of perf stat "
        "-I, or - for standard input");
    EXPECT_EQ(errorOf(""),
              ": cannot be opened: No such file or directory; expected a recording of perf stat -I, "
              "or - for standard input");
    EXPECT_EQ(errorOf("/"), "/: is a directory; expected a recording of perf stat -I, or a pipe");
    EXPECT_EQ(errorOf("/dev/zero"),
              "/dev/zero: is a character device; expected a recording of perf stat -I, or a pipe");
}

TEST(ReplayInput, LeavesNoDescriptorOpen)
{
    const int before = dup(0);
    close(before);
    ReadAll("/");
    ReadAll(SOURCE_DIR "/tests/fixtures/recordings/comma.csv");
    const int after = dup(0);
    close(after);
    EXPECT_EQ(after, before);
}

TEST(ReplayInput, DoesNotHandItsDescriptorToChildren)
{
    const int next = dup(0);
    close(next);
    ReplayOptions options;
    options.path = SOURCE_DIR "/tests/fixtures/recordings/comma.csv";
    const ReplayResult result = OpenReplaySource(options);
    ASSERT_NE(result.source, nullptr);
    EXPECT_EQ(fcntl(next, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
}

/// A FIFO in the test's directory, removed at the end.
class Fifo {
public:
    Fifo() : path(testing::TempDir() + "recording_fifo_" + std::to_string(getpid()))
    {
        EXPECT_EQ(mkfifo(path.c_str(), 0600), 0);
    }
    Fifo(const Fifo&) = delete;
    Fifo& operator=(const Fifo&) = delete;
    ~Fifo() { unlink(path.c_str()); }
    const std::string& Path() const { return path; }

private:
    std::string path;
};

TEST(ReplayInput, DoesNotWaitForEverForAWriterOfAFifo)
{
    const Fifo fifo;
    ReplayOptions options;
    options.path = fifo.Path();
    options.firstInputMs = 0;
    const WholeReplay whole = ReadAll(options);
    EXPECT_EQ(whole.status, Status::FAILED);
    EXPECT_EQ(whole.error,
              fifo.Path() + ": nothing was written to this FIFO for 0 ms; start perf stat -o FIFO first");
}

TEST(ReplayInput, ReadsAFifo)
{
    const Fifo fifo;
    std::thread writer([&fifo] {
        const int fd = open(fifo.Path().c_str(), O_WRONLY | O_CLOEXEC);
        WriteAll(fd, "0.1,1,,rx_outer,5,100.00\n0.2,2,,rx_outer,5,100.00\n");
        close(fd);
    });
    const WholeReplay whole = ReadAll(fifo.Path());
    writer.join();
    EXPECT_EQ(whole.batches.size(), 2U);
    EXPECT_EQ(whole.source->Progress().totalBytes, 0U);
}

/// Puts another descriptor in the place of standard input.
class StandardInput {
public:
    explicit StandardInput(int fd) : saved(dup(0)) { dup2(fd, 0); }
    StandardInput(const StandardInput&) = delete;
    StandardInput& operator=(const StandardInput&) = delete;
    ~StandardInput()
    {
        dup2(saved, 0);
        close(saved);
    }

private:
    int saved;
};

TEST(ReplayInput, ReadsStandardInput)
{
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
    WriteAll(ends[1], "0.1,1,,rx_outer,5,100.00\n0.2,1,,rx_outer,5,100.00\n0.2,x");
    close(ends[1]);
    const StandardInput input(ends[0]);
    close(ends[0]);
    const WholeReplay whole = ReadAll("-");
    EXPECT_EQ(whole.status, Status::END);
    EXPECT_EQ(whole.batches.size(), 2U);
    EXPECT_EQ(whole.source->Describe(), "recording standard input");
    ASSERT_FALSE(whole.remarks.empty());
    EXPECT_EQ(
        whole.remarks.back(),
        "standard input:3: line cut off: \"0.2,x\"; expected a whole line, the recording was cut while it "
        "was written or copied");
}

TEST(ReplayInput, AReadThatFindsNothingForAWhileSaysSo)
{
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
    const StandardInput input(ends[0]);
    close(ends[0]);
    ReplayOptions options;
    options.path = "-";
    const ReplayResult result = OpenReplaySource(options);
    ASSERT_NE(result.source, nullptr);
    CounterBatch batch;
    EXPECT_EQ(result.source->Read(batch), Status::WAITING);

    WriteAll(ends[1], "0.1,1,,rx_outer,5,100.00\n0.1,1");
    ASSERT_EQ(result.source->Read(batch), Status::BATCH);
    EXPECT_FALSE(batch.endsPeriod);
    EXPECT_EQ(batch.samples.size(), 1U);
    EXPECT_EQ(batch.intervalMs, 0);
    EXPECT_EQ(result.source->Read(batch), Status::WAITING);
    EXPECT_EQ(batch.samples.size(), 0U);

    // A counter that did not count is no sample, but something to tell of.
    WriteAll(ends[1], ",,rx_sccl,5,100.00\n0.1,<not counted>,,rx_ops_num,0,0.00\n");
    ASSERT_EQ(result.source->Read(batch), Status::BATCH);
    EXPECT_EQ(batch.samples.size(), 1U);
    EXPECT_EQ(batch.notCounted, 1U);
    WriteAll(ends[1], "0.1,<not counted>,,rx_ops_num,0,0.00\n");
    ASSERT_EQ(result.source->Read(batch), Status::BATCH);
    EXPECT_EQ(batch.samples.size(), 0U);
    EXPECT_EQ(batch.notCounted, 1U);

    close(ends[1]);
    ASSERT_EQ(result.source->Read(batch), Status::BATCH);
    EXPECT_TRUE(batch.endsPeriod);
    EXPECT_EQ(batch.intervalMs, 100);
    EXPECT_EQ(result.source->Read(batch), Status::END);
}

TEST(ReplayInput, GivesUpOnEndlessNonsense)
{
    for (const std::string& chunk : {std::string(65536, '\n'), std::string(65536, '\0')}) {
        std::array<int, 2> ends{};
        ASSERT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
        signal(SIGPIPE, SIG_IGN);
        std::thread writer([fd = ends[1], &chunk] {
            while (write(fd, chunk.data(), chunk.size()) > 0) {
            }
            close(fd);
        });
        WholeReplay whole;
        {
            const StandardInput input(ends[0]);
            close(ends[0]);
            whole = ReadAll("-");
        }
        writer.join();
        EXPECT_EQ(whole.status, Status::FAILED);
        EXPECT_THAT(whole.error,
                    testing::HasSubstr(chunk[0] == '\n' ? "not one count in 1000000 lines: nothing but"
                                                        : "not one count in 1 line: most are line "
                                                          "too long"));
    }
}

std::size_t ResidentKiB()
{
    std::ifstream status("/proc/self/statm");
    std::size_t total = 0;
    std::size_t resident = 0;
    status >> total >> resident;
    return resident * static_cast<std::size_t>(sysconf(_SC_PAGESIZE)) / 1024;
}

void WriteRecording(int fd, std::uint64_t lines)
{
    std::array<std::string, 12> tails;
    for (std::size_t i = 0; i < tails.size(); ++i) {
        static const std::array<const char*, 3> EVENTS = {"rx_outer", "rx_sccl", "rx_ops_num"};
        tails[i] = "," + std::to_string(1000 + i) + ",,uncore_l3c" + std::to_string(i / 3) + "/" +
                   EVENTS[i % 3] + "/,100100100,100.00,,\n";
    }
    std::string chunk = "# started on Sat Nov 21 04:10:46 2026\n\n";
    for (std::uint64_t i = 0; i < lines; ++i) {
        const std::uint64_t interval = i / tails.size() + 1;
        chunk += std::to_string(interval / 10);
        chunk += '.';
        chunk += std::to_string(interval % 10);
        chunk += "00000000";
        chunk += tails[i % tails.size()];
        if (chunk.size() > 60000) {
            WriteAll(fd, chunk);
            chunk.clear();
        }
    }
    WriteAll(fd, chunk);
    close(fd);
}

TEST(ReplayInput, MemoryDoesNotGrowWithTheRecording)
{
    constexpr std::uint64_t LINES = SLOW ? 600000 : 10000000;
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
    const StandardInput input(ends[0]);
    close(ends[0]);
    std::thread writer(WriteRecording, ends[1], LINES);
    ReplayOptions options;
    options.path = "-";
    const ReplayResult result = OpenReplaySource(options);
    ASSERT_NE(result.source, nullptr);
    CounterBatch batch;
    std::size_t early = 0;
    std::uint64_t batches = 0;
    std::uint64_t sum = 0;
    for (Status status = Status::WAITING; status == Status::BATCH || status == Status::WAITING;) {
        status = result.source->Read(batch);
        if (status != Status::BATCH) {
            continue;
        }
        if (++batches == 1000) {
            early = ResidentKiB();
        }
        for (const CounterSample& sample : batch.samples) {
            sum += sample.count;
        }
    }
    const std::size_t late = ResidentKiB();
    writer.join();
    std::printf("%llu lines: resident %zu KiB after 1000 intervals, %zu KiB at the end\n",
                static_cast<unsigned long long>(LINES), early, late);
    EXPECT_EQ(result.source->Progress().samples, LINES);
    EXPECT_EQ(result.source->Progress().lines, LINES + 2);
    EXPECT_EQ(batches, (LINES + 11) / 12);
    std::uint64_t expected = 0;
    for (std::uint64_t i = 0; i < 12; ++i) {
        expected += (1000 + i) * (LINES / 12 + (i < LINES % 12 ? 1 : 0));
    }
    EXPECT_EQ(sum, expected);
    // The names' table is full after one interval; an allocator may still take a little.
    EXPECT_LE(late, early + (SLOW ? 8192 : 1024));
}

}  // namespace
}  // namespace host
