// SPDX-License-Identifier: MIT
//
// tnstat with metrics files that change under it, are damaged, or are no files.

#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/exporter.h"
#include "tests/support/exposition_text.h"
#include "tests/support/http_client.h"
#include "tests/support/metrics_record.h"
#include "tests/support/program_run.h"
#include "tests/support/scratch_directory.h"

namespace {

using support::Connection;
using support::Exporter;
using support::ExpositionText;
using support::HttpReply;
using support::ParseExposition;
using support::ProgramResult;
using support::TellingRecord;
using testing::AnyOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

const char* const LOOPBACK = "127.0.0.1";

/// A client that keeps its connection, and makes a new one when the exporter ends it.
class Scraper {
public:
    explicit Scraper(unsigned exporterPort) : port(exporterPort) {}

    HttpReply Get(const std::string& path)
    {
        const std::string request = "GET " + path + " HTTP/1.1\r\nHost: t\r\n\r\n";
        for (int attempt = 0; attempt < 2; ++attempt) {
            if (!connection) {
                connection = std::make_unique<Connection>(LOOPBACK, port);
            }
            if (connection->Send(request)) {
                const HttpReply reply = connection->ReceiveReply();
                if (reply.status != 0) {
                    return reply;
                }
            }
            connection.reset();
        }
        return {};
    }

private:
    unsigned port;
    std::unique_ptr<Connection> connection;
};

class TnstatBadFile : public testing::Test {
protected:
    void SetUp() override
    {
        setenv("LC_ALL", "C.UTF-8", 1);
        setenv("TARNIX_METRICS_FILE", file.c_str(), 1);
    }

    /// Puts a new file in the place of what is there.
    void Replace(const SystemMetrics& record, std::size_t size = sizeof(SystemMetrics)) const
    {
        support::WriteRecord(file + ".tmp", record, size);
        ASSERT_EQ(rename((file + ".tmp").c_str(), file.c_str()), 0);
    }

    static ProgramResult Run(const char* form) { return support::RunProgram({TNSTAT, "-e", form}); }

    support::ScratchDirectory scratch;
    std::string file = scratch / "metrics.bin";
};

/// A record in which every figure that the exporter shows is `number`.
SystemMetrics Uniform(std::uint32_t number)
{
    SystemMetrics record;
    record.loopCnt = number;
    record.pageSizeKb = static_cast<std::int32_t>(number);
    record.numaNum = METRICS_MAX_NODES;
    record.uncore = {number, number, number, number, 0.5F};
    record.task = {number, number, number, number};
    MemMetrics& mem = record.mem;
    mem.migrateCostTimeUs = mem.nonmigratedKb = mem.migratedKb = mem.failedProcessNum = mem.failedKb = number;
    std::fill(&mem.migrateMatrix[0][0], &mem.migrateMatrix[0][0] + METRICS_MAX_NODES * METRICS_MAX_NODES,
              number);
    std::fill(std::begin(mem.freeMemKb), std::end(mem.freeMemKb), number);
    std::fill(std::begin(mem.giveUpKb), std::end(mem.giveUpKb), number);
    return record;
}

/// The samples that differ from what Uniform of the same loop count gives; empty when there are none.
std::string MixedUp(const ExpositionText& scrape)
{
    const double number = scrape["tarnix_loops_total"];
    std::string wrong;
    const auto expect = [&](const std::string& name, double value) {
        if (!(std::abs(scrape[name] - value) <= 1e-9 * value)) {
            wrong +=
                name + " is " + std::to_string(scrape[name]) + ", expected " + std::to_string(value) + "\n";
        }
    };
    for (const char* const name : {"tarnix_uncore_rx_ops", "tarnix_uncore_rx_outer", "tarnix_uncore_rx_sccl",
                                   "tarnix_threads", "tarnix_threads_bind_success",
                                   "tarnix_threads_bind_failed", "tarnix_mem_migrate_failed_processes"}) {
        expect(name, number);
    }
    expect("tarnix_mem_migrated_bytes", number * 1024);
    for (int node = 0; node < METRICS_MAX_NODES; ++node) {
        const std::string id = std::to_string(node);
        expect("tarnix_node_memory_free_bytes{node=\"" + id + "\"}", number * 1024);
        expect("tarnix_node_memory_migrate_given_up_bytes{node=\"" + id + "\"}", number * 1024);
        expect("tarnix_mem_migrated_node_bytes{source_node=\"15\",target_node=\"" + id + "\"}",
               number * 1024);
    }
    return wrong;
}

TEST_F(TnstatBadFile, AReplacedFileIsNeverAMixture)
{
    constexpr std::uint32_t REPLACEMENTS = 2000;
    constexpr int SCRAPES = 100;
    Replace(Uniform(1));
    const Exporter exporter(TNSTAT, LOOPBACK);
    ASSERT_NE(exporter.port, 0U) << exporter.program->Err();
    std::atomic<int> scrapes{0};
    std::thread writer([&] {
        for (std::uint32_t i = 1; i <= REPLACEMENTS || scrapes < SCRAPES; ++i) {
            Replace(Uniform(i));
        }
        scrapes = -1;
    });
    Scraper scraper(exporter.port);
    double last = 0;
    int seen = 0;
    for (int i = 1; scrapes >= 0; ++i) {
        const HttpReply reply = scraper.Get("/metrics");
        const ExpositionText scrape = ParseExposition(reply.body);
        EXPECT_EQ(reply.status, 200);
        EXPECT_EQ(scrape.fault, "");
        EXPECT_EQ(scrape["tarnix_up"], 1);
        EXPECT_EQ(MixedUp(scrape), "");
        EXPECT_GE(scrape["tarnix_loops_total"], last) << "an older file again";
        seen += scrape["tarnix_loops_total"] > last ? 1 : 0;
        last = scrape["tarnix_loops_total"];
        if (testing::Test::HasFailure()) {
            scrapes = SCRAPES;
            break;
        }
        int before = i - 1;
        scrapes.compare_exchange_strong(before, i);
        if (i % 50 == 0) {
            const ProgramResult csv = Run("csv");
            EXPECT_EQ(csv.status, 0) << csv.err;
        }
    }
    writer.join();
    EXPECT_GT(seen, 10) << "the file did change between scrapes";
}

TEST_F(TnstatBadFile, ATruncatedFileIsAnAnswerAtEverySize)
{
    const Exporter exporter(TNSTAT, LOOPBACK);
    ASSERT_NE(exporter.port, 0U) << exporter.program->Err();
    Scraper scraper(exporter.port);
    Replace(TellingRecord());
    const int fd = open(file.c_str(), O_WRONLY | O_CLOEXEC);
    ASSERT_GE(fd, 0);
    for (off_t size = sizeof(SystemMetrics) + 1; size >= 0; --size) {
        ASSERT_EQ(ftruncate(fd, size), 0);
        const HttpReply reply = scraper.Get("/metrics");
        const ExpositionText scrape = ParseExposition(reply.body);
        ASSERT_EQ(reply.status, 200) << size;
        ASSERT_EQ(scrape.fault, "") << size;
        ASSERT_EQ(scrape["tarnix_up"], size == sizeof(SystemMetrics) ? 1 : 0) << size;
        ASSERT_EQ(scrape.samples.count("tarnix_loops_total"), size == sizeof(SystemMetrics) ? 1U : 0U)
            << size;
    }
    close(fd);
    const ProgramResult report = Run("report");
    EXPECT_EQ(report.status, 3);
    EXPECT_THAT(report.err, HasSubstr(" holds 0 bytes, expected 1248"));
}

/// The record with one bit turned over.
SystemMetrics Flipped(const SystemMetrics& record, std::size_t bit)
{
    char bytes[sizeof(SystemMetrics)];
    std::memcpy(bytes, &record, sizeof(record));
    bytes[bit / 8] = static_cast<char>(bytes[bit / 8] ^ (1 << bit % 8));
    SystemMetrics flipped;
    std::memcpy(&flipped, bytes, sizeof(flipped));
    return flipped;
}

/// Every bit up to the blocks of memory figures, where one figure governs others, and many of the rest.
std::vector<std::size_t> BitsToFlip()
{
    std::vector<std::size_t> bits;
    for (std::size_t bit = 0; bit < 8 * offsetof(SystemMetrics, mem); ++bit) {
        bits.push_back(bit);
    }
    std::mt19937 random(1248);
    std::uniform_int_distribution<std::size_t> any(8 * offsetof(SystemMetrics, mem),
                                                   8 * sizeof(SystemMetrics) - 1);
    while (bits.size() < 2000) {
        bits.push_back(any(random));
    }
    return bits;
}

TEST_F(TnstatBadFile, AFlippedBitIsAFigureOrAFaultNeverNonsense)
{
    Replace(TellingRecord());
    const Exporter exporter(TNSTAT, LOOPBACK);
    ASSERT_NE(exporter.port, 0U) << exporter.program->Err();
    Scraper scraper(exporter.port);
    int good = 0;
    int bad = 0;
    for (const std::size_t bit : BitsToFlip()) {
        Replace(Flipped(TellingRecord(), bit));
        const HttpReply reply = scraper.Get("/metrics");
        const ExpositionText scrape = ParseExposition(reply.body);
        ASSERT_EQ(reply.status, 200) << bit;
        ASSERT_EQ(scrape.fault, "") << bit;
        const double up = scrape["tarnix_up"];
        if (up == 1) {
            ++good;
            ASSERT_GE(scrape["tarnix_numa_score_ratio"], 0) << bit;
            ASSERT_LE(scrape["tarnix_numa_score_ratio"], 1) << bit;
            ASSERT_LE(scrape["tarnix_numa_nodes"], METRICS_MAX_NODES) << bit;
        } else {
            ++bad;
            ASSERT_EQ(up, 0) << bit;
            ASSERT_EQ(scrape.samples.size(), 3U) << bit;
        }
        for (const auto& [name, value] : scrape.samples) {
            ASSERT_GE(value, 0) << name << " at bit " << bit;
            ASSERT_LE(value, 1.9e19) << name << " at bit " << bit;
        }
        if (bit % 16 == 0) {
            ASSERT_EQ(scraper.Get("/state.json").status, 200) << bit;
        }
    }
    EXPECT_GT(good, 1500);
    EXPECT_GT(bad, 20);
}

TEST_F(TnstatBadFile, AFlippedBitIsAReportOrOneLine)
{
    for (std::size_t bit = 64; bit < 8 * sizeof(SystemMetrics); bit += bit < 448 ? 11 : 397) {
        Replace(Flipped(TellingRecord(), bit));
        for (const char* const form : {"report", "csv"}) {
            const ProgramResult result = Run(form);
            if (result.status == 0) {
                EXPECT_EQ(result.err, "") << bit;
                EXPECT_NE(result.out, "") << bit;
            } else {
                EXPECT_EQ(result.status, 3) << bit;
                EXPECT_EQ(result.out, "") << bit;
                EXPECT_THAT(result.err, HasSubstr(" cannot be right: ")) << bit;
            }
        }
    }
}

/// What may stand where the metrics file should, and how tnstat ends its line about it.
struct Oddity {
    const char* what;
    std::function<void(const std::string& path)> make;
    const char* fault;
};

std::vector<Oddity> Oddities()
{
    const auto link = [](const std::string& target) {
        return [target](const std::string& path) { ASSERT_EQ(symlink(target.c_str(), path.c_str()), 0); };
    };
    return {
        {"nothing", [](const std::string&) {},
         "No such file or directory; tarnix writes it while it runs with metrics enabled"},
        {"FIFO", [](const std::string& path) { ASSERT_EQ(mkfifo(path.c_str(), 0600), 0); },
         "is no regular file"},
        {"directory", [](const std::string& path) { ASSERT_EQ(mkdir(path.c_str(), 0700), 0); },
         "is no regular file"},
        {"link to itself", link("metrics.bin"), "Too many levels of symbolic links"},
        {"link to nowhere", link("nowhere"),
         "No such file or directory; tarnix writes it while it runs with metrics enabled"},
        {"link through a file", link("/proc/self/status/x"),
         "Not a directory; tarnix writes it while it runs with metrics enabled"},
        {"endless device", link("/dev/zero"), "is no regular file"},
        {"terminal", link("/dev/tty"), nullptr},
        {"file that cannot be read", link("/proc/self/mem"), "Input/output error"},
        {"file without size", link("/proc/self/status"),
         "expected 1248; was it written by another version of tarnix?"},
        {"huge file",
         [](const std::string& path) {
             support::WriteRecord(path, TellingRecord());
             ASSERT_EQ(truncate(path.c_str(), off_t{1} << 36), 0);
         },
         "holds more bytes, expected 1248; was it written by another version of tarnix?"},
    };
}

TEST_F(TnstatBadFile, WhatIsNoMetricsFileIsAnAnswer)
{
    const Exporter exporter(TNSTAT, LOOPBACK);
    ASSERT_NE(exporter.port, 0U) << exporter.program->Err();
    Scraper scraper(exporter.port);
    for (const Oddity& oddity : Oddities()) {
        std::filesystem::remove_all(file);
        oddity.make(file);
        for (const char* const form : {"report", "csv"}) {
            const ProgramResult result = Run(form);
            EXPECT_EQ(result.status, 3) << oddity.what;
            EXPECT_EQ(result.out, "") << oddity.what;
            EXPECT_THAT(result.err, StartsWith("tnstat: ")) << oddity.what;
            EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
            if (oddity.fault != nullptr) {
                EXPECT_THAT(result.err, EndsWith(std::string(oddity.fault) + "\n")) << oddity.what;
            }
        }
        const HttpReply reply = scraper.Get("/metrics");
        EXPECT_EQ(reply.status, 200) << oddity.what;
        EXPECT_EQ(ParseExposition(reply.body)["tarnix_up"], 0) << oddity.what;
        const std::string fault = oddity.fault == nullptr ? "" : oddity.fault;
        EXPECT_THAT(scraper.Get("/state.json").body, HasSubstr(fault)) << oddity.what;
        std::filesystem::remove_all(file);
        Replace(TellingRecord());
        EXPECT_EQ(ParseExposition(scraper.Get("/metrics").body)["tarnix_up"], 1) << "after " << oddity.what;
    }
}

TEST_F(TnstatBadFile, TheExporterSaysWhatTurnedBadAndSaysItOnce)
{
    Replace(TellingRecord());
    const Exporter exporter(TNSTAT, LOOPBACK);
    ASSERT_NE(exporter.port, 0U) << exporter.program->Err();
    const auto says = [&exporter](const std::string& text) {
        return support::Eventually([&] { return exporter.program->Err().find(text) != std::string::npos; });
    };
    Replace(TellingRecord(), 7);
    EXPECT_TRUE(says(" holds 7 bytes, expected 1248"));
    std::filesystem::remove(file);
    EXPECT_TRUE(says("tnstat: cannot read the metrics file " + file + ": No such file or directory"));
    const std::string err = exporter.program->Err();
    EXPECT_EQ(std::count(err.begin(), err.end(), '\n'), 3) << err;
}

TEST_F(TnstatBadFile, APathNoFileCanHaveIsAnAnswer)
{
    const struct {
        std::string path;
        const char* fault;
    } cases[] = {
        {std::string(5000, 'x'), "File name too long\n"},
        {"/" + std::string(300, 'x'), "File name too long\n"},
        {scratch / "a\nb\x1b[2J", "; tarnix writes it while it runs with metrics enabled\n"},
    };
    for (const auto& [path, fault] : cases) {
        setenv("TARNIX_METRICS_FILE", path.c_str(), 1);
        const ProgramResult result = Run("report");
        EXPECT_EQ(result.status, 3);
        EXPECT_THAT(result.err, EndsWith(fault));
        EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
        EXPECT_EQ(result.err.find('\x1b'), std::string::npos);
    }
}

TEST_F(TnstatBadFile, AFileOfSomebodyElseIsAnAnswer)
{
#if defined(WITH_COVERAGE)
    GTEST_SKIP() << "another user cannot write the counts of coverage down, and says so";
#endif
    Replace(TellingRecord());
    ASSERT_EQ(chmod(file.c_str(), 0), 0);
    std::vector<std::string> command = {TNSTAT};
    if (geteuid() == 0) {
        if (system("setpriv --reuid=65534 --regid=65534 --clear-groups -- test -x '" TNSTAT "'") != 0) {
            GTEST_SKIP() << "no other user can run " TNSTAT " here (or setpriv is missing)";
        }
        command = {"/usr/bin/setpriv", "--reuid=65534", "--regid=65534", "--clear-groups", "--", TNSTAT};
    }
    const ProgramResult result = support::RunProgram(command);
    EXPECT_EQ(result.status, 3);
    EXPECT_EQ(result.err, "tnstat: cannot read the metrics file " + file +
                              ": Permission denied; read access to the file and its directory is needed\n");
}

TEST_F(TnstatBadFile, AFileOfAnyDateIsAnAnswer)
{
    Replace(TellingRecord());
    const Exporter exporter(TNSTAT, LOOPBACK);
    ASSERT_NE(exporter.port, 0U) << exporter.program->Err();
    for (const std::int64_t seconds :
         {std::int64_t{-62135596800}, std::int64_t{-1}, std::int64_t{0}, std::int64_t{4102444800},
          std::int64_t{15032385535}, std::int64_t{9300000000000}, INT64_MAX / 2, INT64_MIN / 2}) {
        const timespec times[] = {{seconds, 1}, {seconds, 1}};
        if (utimensat(AT_FDCWD, file.c_str(), times, 0) != 0) {
            continue;  // beyond what this file system stores
        }
        const ExpositionText scrape = ParseExposition(exporter.Get("/metrics").body);
        EXPECT_EQ(scrape.fault, "") << seconds;
        EXPECT_EQ(scrape["tarnix_up"], 1) << seconds;
        EXPECT_EQ(exporter.Get("/state.json").status, 200) << seconds;
        const ProgramResult csv = Run("csv");
        EXPECT_EQ(csv.status, 0) << seconds;
        EXPECT_THAT(csv.out, testing::ContainsRegex("\n[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9:.]{12}Z,4711,"))
            << seconds;
    }
}

}  // namespace
