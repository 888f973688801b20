// SPDX-License-Identifier: MIT
//
// The exporter under attack from the network.

#include <signal.h>
#include <stdlib.h>
#include <sys/resource.h>

#include <algorithm>
#include <fstream>
#include <memory>
#include <random>
#include <string>
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
using support::Eventually;
using support::Exporter;
using support::HttpReply;
using support::ParseReply;
using support::ProgramResult;
using testing::AnyOf;
using testing::HasSubstr;
using testing::Not;

const char* const LOOPBACK = "127.0.0.1";
const char* const SCRAPE = "GET /metrics HTTP/1.1\r\nHost: t\r\n\r\n";

/// The exporter, and what must hold for a good client whatever others do.
class TnstatAttacked : public testing::Test {
protected:
    void SetUp() override
    {
        setenv("LC_ALL", "C.UTF-8", 1);
        setenv("TARNIX_METRICS_FILE", file.c_str(), 1);
        support::WriteRecord(file, support::TellingRecord());
        exporter = std::make_unique<Exporter>(TNSTAT, LOOPBACK);
        ASSERT_NE(exporter->port, 0U) << exporter->program->Err();
    }

    void TearDown() override
    {
        exporter->program->Signal(SIGTERM);
        const ProgramResult result = exporter->program->Wait();
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1)
            << "what clients do is nothing to read about: " << result.err;
    }

    Connection Connect(const std::string& source = "") const { return {LOOPBACK, exporter->port, source}; }

    void ExpectGoodScrape(const std::string& what, const std::string& source = "") const
    {
        const HttpReply reply = exporter->Get("/metrics", "GET", source);
        EXPECT_EQ(reply.status, 200) << what;
        EXPECT_EQ(support::ParseExposition(reply.body)["tarnix_loops_total"], 4711) << what;
    }

    support::ScratchDirectory scratch;
    std::string file = scratch / "metrics.bin";
    std::unique_ptr<Exporter> exporter;
};

TEST_F(TnstatAttacked, MalformedRequestsAreRefused)
{
    const std::string end = "\r\n\r\n";
    const struct {
        const char* what;
        std::string bytes;
        int status;
    } cases[] = {
        {"HTTP/0.9", "GET /metrics\r\n", 400},
        {"no path", "GET HTTP/1.1" + end, 400},
        {"version of the future", "GET / HTTP/9.9" + end, 505},
        {"another protocol", "PRI * HTTP/2.0" + end + "SM" + end, 505},
        {"request line of 100,000 bytes", "GET /" + std::string(100000, 'p') + " HTTP/1.1" + end, 414},
        {"header of 100,000 bytes", "GET / HTTP/1.1\r\nHost: t\r\nX: " + std::string(100000, 'h') + end, 431},
        {"name of 100,000 bytes", "GET / HTTP/1.1\r\nHost: t\r\n" + std::string(100000, 'n') + ": v" + end,
         431},
        {"header without colon", "GET / HTTP/1.1\r\nHost: t\r\nno colon" + end, 400},
        {"length below zero", "GET / HTTP/1.1\r\nHost: t\r\nContent-Length: -1" + end, 400},
        {"length that is none", "GET / HTTP/1.1\r\nHost: t\r\nContent-Length: many" + end, 400},
        {"length beyond 64 bits", "GET / HTTP/1.1\r\nHost: t\r\nContent-Length: 99999999999999999999" + end,
         413},
        {"chunk that is none", "GET / HTTP/1.1\r\nHost: t\r\nTransfer-Encoding: chunked" + end + "zz\r\n",
         400},
    };
    for (const auto& [what, bytes, status] : cases) {
        const Connection connection = Connect();
        connection.Send(bytes);
        EXPECT_EQ(ParseReply(connection.ReceiveAll()).status, status) << what;
        ExpectGoodScrape(what);
    }
}

TEST_F(TnstatAttacked, FiveThousandHeadersAreRefused)
{
    std::string headers;
    for (int i = 0; i < 5000; ++i) {
        headers += "a: b\r\n";
    }
    const Connection connection = Connect();
    connection.Send("GET / HTTP/1.1\r\nHost: t\r\n" + headers + "\r\n");
    EXPECT_EQ(ParseReply(connection.ReceiveAll()).status, 431);
    ExpectGoodScrape("afterwards");
}

TEST_F(TnstatAttacked, RubbishHarmsNobody)
{
    std::vector<std::string> rubbish = {"",
                                        "\r\n\r\n\r\n\r\n",
                                        "GET",
                                        "GET /metrics HTTP/1.1\r\nHost: t\r\n",
                                        "\x16\x03\x01\x02" + std::string(3, '\0') + "\xfc\x03\x03",
                                        std::string(20000, '\0'),
                                        "GET /metrics\0/x HTTP/1.1\r\n\r\n",
                                        "GET / HTTP/1.1\r\nA: b" + std::string(1, '\0') + "c\r\n\r\n"};
    std::mt19937 random(20240607);
    std::uniform_int_distribution<int> byte(0, 255);
    for (int i = 0; i < 50; ++i) {
        std::string bytes = i % 2 == 0 ? SCRAPE : "";
        for (int at = 0; at < 200; ++at) {
            bytes += static_cast<char>(byte(random));
        }
        rubbish.push_back(bytes);
    }
    for (const std::string& bytes : rubbish) {
        Connection connection = Connect();
        connection.Send(bytes);
        connection.HalfClose();
        ExpectGoodScrape(bytes.substr(0, 20));
        connection.Reset();
    }
}

TEST_F(TnstatAttacked, OtherMethodsAreRefusedWithAnyBody)
{
    const std::string bodies[] = {
        "Content-Length: 5\r\n\r\nhello",
        "Content-Length: 0\r\n\r\n",
        "Transfer-Encoding: chunked\r\n\r\n5\r\nhello\r\n0\r\n\r\n",
        "Content-Length: 1000000000000\r\n\r\n",
        "Expect: 100-continue\r\nContent-Length: 10\r\n\r\n",
    };
    for (const char* const method :
         {"POST", "PUT", "DELETE", "PATCH", "OPTIONS", "TRACE", "CONNECT", "BREW"}) {
        for (const std::string& body : bodies) {
            const Connection connection = Connect();
            ASSERT_TRUE(connection.Send(std::string(method) + " /metrics HTTP/1.1\r\nHost: t\r\n" + body));
            const HttpReply reply = ParseReply(connection.ReceiveAll());
            EXPECT_EQ(reply.status, 405) << method << ' ' << body;
            EXPECT_EQ(reply.headers.count("allow"), 1U) << method << ' ' << body;
        }
    }
    const Connection large = Connect();
    large.Send("POST / HTTP/1.1\r\nHost: t\r\nContent-Length: 4000000\r\n\r\n" + std::string(4000000, 'x'));
    EXPECT_THAT(ParseReply(large.ReceiveAll()).status, AnyOf(405, 0)) << "0: cut off before it was sent";
    ExpectGoodScrape("afterwards");
}

TEST_F(TnstatAttacked, ABodyOfAGetMeansNothing)
{
    const Connection connection = Connect();
    ASSERT_TRUE(
        connection.Send("GET /metrics HTTP/1.1\r\nHost: t\r\nConnection: close\r\nContent-Length: 5\r\n\r\n"
                        "hello"));
    EXPECT_EQ(ParseReply(connection.ReceiveAll()).status, 200);
}

TEST_F(TnstatAttacked, NoPathLeadsToAFile)
{
    for (const char* const path :
         {"/../../../etc/passwd", "/..%2f..%2f..%2fetc%2fpasswd", "/%2e%2e/%2e%2e/etc/passwd", "//etc/passwd",
          "/metrics/../../etc/passwd", "/page/page.html", "/metrics.bin", "/....//etc/passwd",
          "file:///etc/passwd", "http://elsewhere/metrics", "*", "/\\..\\..\\etc\\passwd", "/%", "/%zz",
          "/metrics%00", "/metrics%00.html", "/%00", "/%6detrics%00"}) {
        const HttpReply reply = exporter->Get(path);
        EXPECT_EQ(reply.status, 404) << path;
        EXPECT_THAT(reply.body, Not(HasSubstr("root:"))) << path;
    }
    EXPECT_EQ(exporter->Get("/%6detrics").status, 200) << "the same path written otherwise";
}

TEST_F(TnstatAttacked, PathsWithRawNulBytesAreNoWayIn)
{
    for (const std::string& path :
         {std::string("/met\0rics", 9), std::string("/\0/etc/passwd", 13), std::string("\0", 1)}) {
        const HttpReply reply = exporter->Get(path);
        EXPECT_THAT(reply.status, AnyOf(400, 404, 200, 0));
        EXPECT_THAT(reply.body, Not(HasSubstr("root:")));
        ExpectGoodScrape("afterwards");
    }
}

TEST_F(TnstatAttacked, OneConnectionServesManyScrapes)
{
    Connection connection = Connect();
    for (int i = 0; i < 500; ++i) {
        ASSERT_TRUE(connection.Send(SCRAPE));
        const HttpReply reply = connection.ReceiveReply();
        ASSERT_EQ(reply.status, 200) << i;
        ASSERT_EQ(support::ParseExposition(reply.body)["tarnix_loops_total"], 4711) << i;
    }
}

/// A figure of /proc/PID/status; 0 when there is none.
long StatusFigure(pid_t pid, const std::string& name)
{
    std::ifstream status("/proc/" + std::to_string(pid) + "/status");
    for (std::string line; std::getline(status, line);) {
        if (line.rfind(name + ":", 0) == 0) {
            return std::stol(line.substr(name.size() + 1));
        }
    }
    return 0;
}

TEST_F(TnstatAttacked, ThousandsOfScrapesLeaveMemoryAndThreadsAsTheyWere)
{
    if (*SANITIZERS != '\0') {
        GTEST_SKIP() << "memory and threads are the sanitizers' here: " SANITIZERS;
    }
    const pid_t pid = exporter->program->Pid();
    Connection connection = Connect();
    const auto scrape = [&](int times) {
        for (int i = 0; i < times; ++i) {
            connection.Send(i % 2 == 0 ? SCRAPE : "GET /state.json HTTP/1.1\r\nHost: t\r\n\r\n");
            ASSERT_EQ(connection.ReceiveReply().status, 200);
            ExpectGoodScrape("on a connection of its own");
        }
    };
    scrape(300);
    const long before = StatusFigure(pid, "RssAnon");
    scrape(8000);
    EXPECT_GT(before, 0);
    // The kernel keeps the figure apart for each CPU and adds it up roughly.
    EXPECT_LE(StatusFigure(pid, "RssAnon"), before + 512) << "kB of memory of its own";
    EXPECT_EQ(StatusFigure(pid, "Threads"), 2);
}

TEST_F(TnstatAttacked, PipelinedRequestsAreAllAnsweredInOrder)
{
    std::string burst;
    for (int i = 0; i < 200; ++i) {
        burst += i % 2 == 0 ? SCRAPE : "GET /nothing HTTP/1.1\r\nHost: t\r\n\r\n";
    }
    Connection connection = Connect();
    ASSERT_TRUE(connection.Send(burst));
    for (int i = 0; i < 200; ++i) {
        ASSERT_EQ(connection.ReceiveReply().status, i % 2 == 0 ? 200 : 404) << i;
    }
}

TEST_F(TnstatAttacked, AClientThatReadsNothingHoldsUpNobody)
{
    std::vector<Connection> deaf;
    std::string burst;
    for (int i = 0; i < 200; ++i) {
        burst += SCRAPE;
    }
    for (int i = 0; i < 10; ++i) {
        deaf.push_back(Connect());
        deaf.back().Send(burst);
    }
    for (int i = 0; i < 20; ++i) {
        ExpectGoodScrape("beside clients that read nothing");
    }
}

TEST_F(TnstatAttacked, ARequestByteByByteIsAnsweredAndHoldsUpNobody)
{
    Connection slow = Connect();
    for (const char byte : std::string(SCRAPE)) {
        ASSERT_TRUE(slow.Send(std::string(1, byte)));
        ExpectGoodScrape("beside a slow client");
    }
    EXPECT_EQ(slow.ReceiveReply().status, 200);
}

TEST_F(TnstatAttacked, ClientsThatResetHarmNobody)
{
    for (int i = 0; i < 200; ++i) {
        Connection rude = Connect();
        rude.Send(SCRAPE);
        rude.Reset();
    }
    ExpectGoodScrape("afterwards");
}

TEST_F(TnstatAttacked, AThousandConnectionsLeaveRoomForOthers)
{
    constexpr rlim_t NEEDED = 1100;
    rlimit limit = {};
    getrlimit(RLIMIT_NOFILE, &limit);
    if (limit.rlim_max < NEEDED) {
        GTEST_SKIP() << "this test may not open " << NEEDED << " descriptors, only " << limit.rlim_max;
    }
    limit.rlim_cur = std::max(limit.rlim_cur, NEEDED);
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
    if (!Connect("127.0.0.2").IsOpen()) {
        GTEST_SKIP() << "127.0.0.2 is no address of this machine, so there is no second client";
    }
    std::vector<Connection> greedy;
    for (int i = 0; i < 1000; ++i) {
        greedy.push_back(Connect());
        greedy.back().Send("GET /metrics HT");
        if (i % 100 == 99) {
            ExpectGoodScrape("another client meanwhile", "127.0.0.2");
        }
    }
    greedy.clear();
    EXPECT_TRUE(Eventually([&] { return exporter->Get("/metrics").status == 200; }));
    ExpectGoodScrape("the same client afterwards");
}

}  // namespace
