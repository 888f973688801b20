// SPDX-License-Identifier: MIT
//
// tnstat as its users run it: exit status, standard output, standard error, HTTP. Golden outputs are in
// tests/golden/tnstat; UPDATE_GOLDEN=1 writes them anew.

#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/exporter.h"
#include "tests/support/http_client.h"
#include "tests/support/metrics_record.h"
#include "tests/support/program_run.h"
#include "tests/support/prometheus_programs.h"
#include "tests/support/scratch_directory.h"

namespace {

using support::Eventually;
using support::Exporter;
using support::HttpReply;
using support::Program;
using support::ProgramResult;
using support::TellingRecord;
using support::WriteRecord;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

std::string ReadFile(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void ExpectGolden(const std::string& name, const std::string& text)
{
    const std::string path = std::string(SOURCE_DIR) + "/tests/golden/tnstat/" + name;
    if (getenv("UPDATE_GOLDEN") != nullptr) {
        std::ofstream(path, std::ios::binary) << text;
    }
    EXPECT_EQ(text, ReadFile(path)) << name;
    EXPECT_FALSE(text.empty()) << name;
}

class TnstatTest : public testing::Test {
protected:
    void SetUp() override
    {
        setenv("LC_ALL", "C.UTF-8", 1);
        setenv("TARNIX_METRICS_FILE", file.c_str(), 1);
    }

    /// A dump as tarnix makes it: written beside and moved over.
    void Dump(const SystemMetrics& record, std::int64_t seconds = 1700000001)
    {
        WriteRecord(file + ".tmp", record);
        const timespec times[] = {{seconds, 0}, {seconds, 250000000}};
        ASSERT_EQ(utimensat(AT_FDCWD, (file + ".tmp").c_str(), times, 0), 0);
        ASSERT_EQ(rename((file + ".tmp").c_str(), file.c_str()), 0);
    }

    static std::vector<std::string> Command(std::vector<std::string> arguments)
    {
        arguments.insert(arguments.begin(), TNSTAT);
        return arguments;
    }
    static ProgramResult Run(const std::vector<std::string>& arguments)
    {
        return support::RunProgram(Command(arguments));
    }

    support::ScratchDirectory scratch;
    std::string file = scratch / "metrics.bin";
};

TEST_F(TnstatTest, ShowsTheReport)
{
    Dump(TellingRecord());
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{}, {"-e", "report"}, {"--export", "report"}, {"--export=report"}}) {
        const ProgramResult result = Run(arguments);
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.err, "");
        ExpectGolden("report.txt", result.out);
    }
}

TEST_F(TnstatTest, ShowsCsv)
{
    Dump(TellingRecord());
    const ProgramResult result = Run({"-e", "csv"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    ExpectGolden("row.csv", result.out);
}

TEST_F(TnstatTest, TellsHelpAndVersion)
{
    for (const char* const option : {"-h", "--help"}) {
        const ProgramResult help = Run({option});
        EXPECT_EQ(help.status, 0);
        EXPECT_EQ(help.err, "");
        ExpectGolden("help.txt", help.out);
    }
    const ProgramResult version = Run({"--version"});
    EXPECT_EQ(version.status, 0);
    EXPECT_EQ(version.err, "");
    EXPECT_THAT(version.out, AllOf(StartsWith("tnstat " PROGRAM_VERSION "\ntarnix version: " PROGRAM_VERSION
                                              "\ngit info: "),
                                   EndsWith("\n")));
}

TEST_F(TnstatTest, RefusesWrongArguments)
{
    const struct {
        std::vector<std::string> arguments;
        const char* reason;
    } cases[] = {
        {{"--bogus"}, "option not found, please check cmdline by help"},
        {{"-e"}, "option not found, please check cmdline by help"},
        {{"--version", "-h"}, "option not found, please check cmdline by help"},
        {{"-h", "-h"}, " not support repeat option, please check cmdline by help"},
        {{"stray"}, "cmdline not support extra parameter, please check cmdline by help"},
        {{"-e", "xml"}, "cmdline error: export should be in [report, csv, node_exporter], now is xml\n"},
        {{"--port", "0"}, "port should be in range 1-65535 but now is 0"},
        {{"--port", "65536"}, "port should be in range 1-65535 but now is 65536"},
        {{"--port", "http"}, "port should be in range 1-65535 but now is http"},
        {{"--ip", "localhost"},
         "ip should be a valid IPv4 or IPv6 address (e.g., 0.0.0.0, 127.0.0.1, ::1, or 2001:db8::1) but now "
         "is "
         "localhost"},
    };
    const std::string help = Run({"-h"}).out;
    for (const auto& [arguments, reason] : cases) {
        const ProgramResult result = Run(arguments);
        EXPECT_EQ(result.status, 2) << reason;
        EXPECT_EQ(result.out, "") << reason;
        EXPECT_THAT(result.err,
                    EndsWith("tnstat: " + std::string(reason) + " cmdline parse failed.\n" + help));
    }
}

TEST_F(TnstatTest, ABadMetricsFileIsAnAnswer)
{
    for (const char* const form : {"report", "csv"}) {
        std::remove(file.c_str());
        const ProgramResult absent = Run({"-e", form});
        EXPECT_EQ(absent.status, 3);
        EXPECT_EQ(absent.out, "");
        EXPECT_EQ(absent.err,
                  "tnstat: cannot read the metrics file " + file +
                      ": No such file or directory; tarnix writes it while it runs with metrics enabled\n");
        WriteRecord(file, TellingRecord(), 1000);
        const ProgramResult cut = Run({"-e", form});
        EXPECT_EQ(cut.status, 3);
        EXPECT_EQ(cut.err,
                  "tnstat: the metrics file " + file +
                      " holds 1000 bytes, expected 1248; was it written by another version of tarnix?\n");
        SystemMetrics record = TellingRecord();
        record.numaNum = 1000000;
        WriteRecord(file, record);
        const ProgramResult impossible = Run({"-e", form});
        EXPECT_EQ(impossible.status, 3);
        EXPECT_EQ(impossible.err, "tnstat: the metrics file " + file +
                                      " cannot be right: it counts 1000000 NUMA nodes, expected 0 to 16\n");
    }
    std::remove(file.c_str());
    ASSERT_EQ(mkfifo(file.c_str(), 0600), 0);
    const ProgramResult fifo = Run({});
    EXPECT_EQ(fifo.status, 3);
    EXPECT_EQ(fifo.err, "tnstat: the metrics file " + file + " is no regular file\n");
}

TEST_F(TnstatTest, RepeatShowsEachDumpUntilInterrupted)
{
    SystemMetrics record = TellingRecord();
    Dump(record);
    Program tnstat(Command({"-e", "csv", "--repeat"}));
    ASSERT_TRUE(Eventually([&] { return tnstat.Out().find(",4711,") != std::string::npos; })) << tnstat.Err();
    record.loopCnt = 4712;
    Dump(record, 1700000002);
    ASSERT_TRUE(Eventually([&] { return tnstat.Out().find(",4712,") != std::string::npos; })) << tnstat.Err();
    tnstat.Signal(SIGINT);
    const ProgramResult result = tnstat.Wait();
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(std::count(result.out.begin(), result.out.end(), '\n'), 3) << "one header, two rows\n"
                                                                         << result.out;
}

TEST_F(TnstatTest, RepeatNamesAFaultOnceAndGoesOn)
{
    Program tnstat(Command({"--repeat"}));
    const std::string fault =
        "tnstat: cannot read the metrics file " + file +
        ": No such file or directory; tarnix writes it while it runs with metrics enabled\n";
    ASSERT_TRUE(Eventually([&] { return !tnstat.Err().empty(); }));
    Dump(TellingRecord());
    ASSERT_TRUE(Eventually([&] { return tnstat.Out().find("loop count: 4711") != std::string::npos; }));
    tnstat.Signal(SIGTERM);
    const ProgramResult result = tnstat.Wait();
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, fault);
    EXPECT_THAT(result.out, StartsWith("Show tarnix metrics\n")) << "no terminal, so nothing is cleared";
}

TEST_F(TnstatTest, OutputThatCannotBeWrittenIsAFailure)
{
    Dump(TellingRecord());
    const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
    ASSERT_GE(full, 0);
    const ProgramResult result = Program(Command({}), "/dev/null", full).Wait();
    close(full);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "tnstat: cannot write the output: No space left on device\n");
}

TEST_F(TnstatTest, AReaderThatWentAwayIsNoFailure)
{
    Dump(TellingRecord());
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    close(ends[0]);
    const ProgramResult result = Program(Command({}), "/dev/null", ends[1]).Wait();
    close(ends[1]);
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
}

TEST_F(TnstatTest, ServesPrometheus)
{
    Dump(TellingRecord());
    Exporter exporter(TNSTAT, "127.0.0.1");
    ASSERT_NE(exporter.port, 0U) << exporter.program->Err();
    EXPECT_EQ(exporter.program->Err(),
              "tnstat: serving http://127.0.0.1:" + std::to_string(exporter.port) + "/\n");
    const HttpReply scrape = exporter.Get("/metrics");
    EXPECT_EQ(scrape.status, 200);
    EXPECT_EQ(scrape.headers.at("content-type"), "text/plain; version=0.0.4; charset=utf-8");
    EXPECT_THAT(scrape.body,
                AllOf(HasSubstr("\ntarnix_up 1\n"), HasSubstr("\ntarnix_numa_score_ratio 0.95\n"),
                      HasSubstr("\ntarnix_loops_total 4711\n")));
    EXPECT_EQ(exporter.Get("/metrics", "HEAD").body, "");
    EXPECT_EQ(exporter.Get("/").status, 200);
    EXPECT_EQ(exporter.Get("/nothing").status, 404);
    EXPECT_EQ(exporter.Get("/metrics", "POST").status, 405);
    exporter.program->Signal(SIGTERM);
    const ProgramResult result = exporter.program->Wait();
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, "");
}

TEST_F(TnstatTest, TheExporterOutlivesABadMetricsFile)
{
    Exporter exporter(TNSTAT, "127.0.0.1");
    ASSERT_NE(exporter.port, 0U) << exporter.program->Err();
    EXPECT_THAT(exporter.Get("/metrics").body, HasSubstr("\ntarnix_up 0\n"));
    Dump(TellingRecord());
    EXPECT_THAT(exporter.Get("/metrics").body, HasSubstr("\ntarnix_up 1\n"));
    WriteRecord(file, TellingRecord(), 3);
    EXPECT_THAT(exporter.Get("/metrics").body, HasSubstr("\ntarnix_up 0\n"));
    EXPECT_THAT(exporter.Get("/state.json").body, HasSubstr("holds 3 bytes, expected 1248"));
    exporter.program->Signal(SIGINT);
    EXPECT_EQ(exporter.program->Wait().status, 0);
}

TEST_F(TnstatTest, ServesIpv6)
{
    Exporter exporter(TNSTAT, "::1");
    if (exporter.port == 0) {
        GTEST_SKIP() << "no IPv6 loopback here: " << exporter.program->Err();
    }
    EXPECT_THAT(exporter.program->Err(), HasSubstr("serving http://[::1]:"));
    EXPECT_EQ(exporter.Get("/metrics").status, 200);
}

TEST_F(TnstatTest, ABusyPortIsOneClearLine)
{
    const Exporter first(TNSTAT, "127.0.0.1");
    ASSERT_NE(first.port, 0U) << first.program->Err();
    const ProgramResult second =
        Run({"-e", "node_exporter", "--ip", "127.0.0.1", "--port", std::to_string(first.port)});
    EXPECT_EQ(second.status, 1);
    EXPECT_EQ(second.err,
              "tnstat: cannot listen on 127.0.0.1:" + std::to_string(first.port) +
                  ": Address already in use; another program listens there, choose another --port\n");
    const ProgramResult foreign = Run({"-e", "node_exporter", "--ip", "192.0.2.1"});
    EXPECT_EQ(foreign.status, 1);
    EXPECT_EQ(foreign.err,
              "tnstat: cannot listen on 192.0.2.1:9101: Cannot assign requested address; no interface of "
              "this machine "
              "has the address, choose another --ip\n");
}

TEST_F(TnstatTest, PrometheusOwnCheckerIsContent)
{
    REQUIRE_PROMETHEUS_PROGRAM(promtool, "promtool");
    Dump(TellingRecord());
    const Exporter exporter(TNSTAT, "127.0.0.1");
    ASSERT_NE(exporter.port, 0U) << exporter.program->Err();
    const std::string scrape = exporter.Get("/metrics").body;
    ASSERT_THAT(scrape, HasSubstr("\ntarnix_up 1\n"));
    std::ofstream(scratch / "scrape") << scrape;
    const ProgramResult result = Program({promtool, "check", "metrics"}, scratch / "scrape").Wait();
    EXPECT_EQ(result.status, 0) << result.out << result.err;
}

}  // namespace
