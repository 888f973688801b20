// SPDX-License-Identifier: MIT
//
// How tnstat ends: signals at any moment, outputs that are full or closed, and standard descriptors that are
// missing.

#include <fcntl.h>
#include <netinet/in.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/exporter.h"
#include "tests/support/http_client.h"
#include "tests/support/metrics_record.h"
#include "tests/support/program_run.h"
#include "tests/support/scratch_directory.h"

namespace {

using support::Connection;
using support::Eventually;
using support::Exporter;
using support::Program;
using support::ProgramResult;
using testing::AnyOf;
using testing::HasSubstr;

const char* const LOOPBACK = "127.0.0.1";

class TnstatEnding : public testing::Test {
protected:
    void SetUp() override
    {
        setenv("LC_ALL", "C.UTF-8", 1);
        setenv("TARNIX_METRICS_FILE", file.c_str(), 1);
        support::WriteRecord(file, support::TellingRecord());
    }

    support::ScratchDirectory scratch;
    std::string file = scratch / "metrics.bin";
};

/// The moments at which signals come.
std::chrono::microseconds RandomMoment(std::mt19937& random)
{
    return std::chrono::microseconds(std::uniform_int_distribution<int>(0, 30000)(random));
}

TEST_F(TnstatEnding, SignalsAtAnyMomentEndItCleanly)
{
    std::mt19937 random(977);
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        for (int round = 0; round < 6; ++round) {
            const Exporter exporter(TNSTAT, LOOPBACK);
            ASSERT_NE(exporter.port, 0U) << exporter.program->Err();
            const Connection half(LOOPBACK, exporter.port);
            half.Send("GET /metr");
            std::atomic<bool> ended{false};
            std::vector<std::thread> scrapers;
            for (const char* const path : {"/metrics", "/state.json"}) {
                scrapers.emplace_back([&, path] {
                    while (!ended) {
                        exporter.Get(path);
                    }
                });
            }
            std::this_thread::sleep_for(RandomMoment(random));
            exporter.program->Signal(signal);
            const ProgramResult result = exporter.program->Wait();
            ended = true;
            for (std::thread& scraper : scrapers) {
                scraper.join();
            }
            EXPECT_EQ(result.status, 0) << strsignal(signal);
            EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
        }
    }
}

TEST_F(TnstatEnding, SignalsEndTheRepeatedReport)
{
    std::mt19937 random(978);
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        Program tnstat({TNSTAT, "--export", "csv", "--repeat"});
        ASSERT_TRUE(Eventually([&] { return !tnstat.Out().empty(); }));
        std::this_thread::sleep_for(RandomMoment(random));
        tnstat.Signal(signal);
        const ProgramResult result = tnstat.Wait();
        EXPECT_EQ(result.status, 0) << strsignal(signal);
        EXPECT_EQ(result.err, "");
    }
}

TEST_F(TnstatEnding, AHangUpThatIsIgnoredStaysIgnored)
{
    Program tnstat({"/bin/sh", "-c", "trap '' HUP; exec '" TNSTAT "' --export csv --repeat"});
    ASSERT_TRUE(Eventually([&] { return !tnstat.Out().empty(); }));
    tnstat.Signal(SIGHUP);
    const std::string before = tnstat.Out();
    support::WriteRecord(file + ".tmp", support::TellingRecord());
    ASSERT_EQ(rename((file + ".tmp").c_str(), file.c_str()), 0);
    EXPECT_TRUE(Eventually([&] { return tnstat.Out() != before; }));
    tnstat.Signal(SIGTERM);
    EXPECT_EQ(tnstat.Wait().status, 0);
}

TEST_F(TnstatEnding, AFullOutputIsAFailureInEveryForm)
{
    const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
    ASSERT_GE(full, 0);
    for (const std::vector<std::string>& arguments : {std::vector<std::string>{TNSTAT},
                                                      {TNSTAT, "-e", "csv"},
                                                      {TNSTAT, "-h"},
                                                      {TNSTAT, "--version"},
                                                      {TNSTAT, "--repeat"},
                                                      {TNSTAT, "-e", "csv", "--repeat"}}) {
        const ProgramResult result = Program(arguments, "/dev/null", full).Wait();
        EXPECT_EQ(result.status, 1) << arguments.back();
        EXPECT_EQ(result.err, "tnstat: cannot write the output: No space left on device\n");
    }
    close(full);
}

ProgramResult Shell(const std::string& command)
{
    return support::RunProgram({"/bin/sh", "-c", command});
}

TEST_F(TnstatEnding, AClosedOutputIsAFailureInEveryForm)
{
    for (const char* const arguments : {"", "-e csv", "-h", "--version", "--repeat", "-e csv --repeat"}) {
        const ProgramResult result = Shell(std::string("exec '" TNSTAT "' ") + arguments + " >&-");
        EXPECT_EQ(result.status, 1) << arguments;
        EXPECT_EQ(result.err, "tnstat: cannot write the output: Bad file descriptor\n") << arguments;
    }
    EXPECT_EQ(Shell("exec '" TNSTAT "' <&- >&- 2>&-").status, 1) << "nor can it say so";
}

/// A port that nobody listens on at the moment.
unsigned FreePort()
{
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof(address);
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const bool bound = bind(fd, reinterpret_cast<sockaddr*>(&address), size) == 0 &&
                       getsockname(fd, reinterpret_cast<sockaddr*>(&address), &size) == 0;
    close(fd);
    return bound ? ntohs(address.sin_port) : 0;
}

std::string LinkTarget(const std::string& link)
{
    char target[256] = {};
    return readlink(link.c_str(), target, sizeof(target) - 1) < 0 ? "" : target;
}

TEST_F(TnstatEnding, TheExporterDoesWithoutStandardDescriptors)
{
    for (const char* const without : {"<&- >&- 2>&-", ">&- 2>&-", "2>/dev/full"}) {
        const unsigned port = FreePort();
        Program tnstat({"/bin/sh", "-c",
                        "exec '" TNSTAT "' -e node_exporter --ip 127.0.0.1 --port " + std::to_string(port) +
                            " " + without});
        EXPECT_TRUE(Eventually([&] {
            return support::Request(LOOPBACK, port, "GET", "/metrics").status == 200;
        })) << without;
        for (const char* const number : {"0", "1", "2"}) {
            EXPECT_THAT(LinkTarget("/proc/" + std::to_string(tnstat.Pid()) + "/fd/" + number),
                        AnyOf("/dev/null", "/dev/full", HasSubstr("memfd")))
                << number << ' ' << without;
        }
        tnstat.Signal(SIGTERM);
        EXPECT_EQ(tnstat.Wait().status, 0) << without;
    }
}

}  // namespace
