// SPDX-License-Identifier: MIT

#include "tools/tnstat/http_server.h"

#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/http_client.h"

namespace {

using support::Connection;
using support::HttpReply;
using support::ParseReply;
using support::Request;
using testing::HasSubstr;
using tnstat::HttpAnswer;
using tnstat::HttpServer;

const char* const LOOPBACK = "127.0.0.1";

/// Answers with the path that it was asked for.
HttpAnswer Echo(const std::string& path)
{
    if (path == "/throws") {
        throw std::runtime_error("no");
    }
    HttpAnswer answer;
    answer.status = path == "/missing" ? 404 : 200;
    answer.body = path == "/large" ? std::string(1 << 20, 'x') : "asked for " + path;
    answer.cacheable = path == "/cacheable";
    return answer;
}

class TnstatHttpServer : public testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(server.Start(LOOPBACK, 0), ""); }
    HttpReply Get(const std::string& path) const { return Request(LOOPBACK, server.Port(), "GET", path); }

    HttpServer server{Echo};
};

TEST_F(TnstatHttpServer, AnswersGetWithHeadersAndBody)
{
    const HttpReply reply = Get("/somewhere?query=1");
    EXPECT_EQ(reply.status, 200);
    EXPECT_EQ(reply.body, "asked for /somewhere");
    EXPECT_EQ(reply.headers.at("content-type"), "text/plain; charset=utf-8");
    EXPECT_EQ(reply.headers.at("content-length"), "20");
    EXPECT_EQ(reply.headers.at("cache-control"), "no-store");
    EXPECT_EQ(reply.headers.at("x-content-type-options"), "nosniff");
    EXPECT_THAT(reply.headers.at("content-security-policy"), HasSubstr("default-src 'none'"));
    EXPECT_EQ(Get("/cacheable").headers.at("cache-control"), "max-age=60");
    EXPECT_EQ(Get("/large").body.size(), 1U << 20);
    EXPECT_EQ(Get("/missing").status, 404);
}

TEST_F(TnstatHttpServer, AnswersHeadWithoutBody)
{
    const HttpReply reply = Request(LOOPBACK, server.Port(), "HEAD", "/somewhere");
    EXPECT_EQ(reply.status, 200);
    EXPECT_EQ(reply.body, "");
    EXPECT_EQ(reply.headers.at("content-length"), "20");
}

TEST_F(TnstatHttpServer, RefusesOtherMethods)
{
    for (const char* const method : {"POST", "PUT", "DELETE", "OPTIONS", "TRACE", "PATCH", "get", "BREW"}) {
        const HttpReply reply = Request(LOOPBACK, server.Port(), method, "/");
        EXPECT_EQ(reply.status, 405) << method;
        EXPECT_EQ(reply.headers.at("allow"), "GET, HEAD") << method;
        EXPECT_EQ(reply.body, "405 method not allowed, use GET or HEAD\n") << method;
    }
    const Connection connection(LOOPBACK, server.Port());
    ASSERT_TRUE(connection.Send("POST / HTTP/1.1\r\nHost: t\r\nContent-Length: 1000000000\r\n\r\n"));
    EXPECT_EQ(ParseReply(connection.ReceiveAll()).status, 405) << "without waiting for the body";
}

TEST_F(TnstatHttpServer, AHandlerThatThrowsIsAnInternalError)
{
    const HttpReply reply = Get("/throws");
    EXPECT_EQ(reply.status, 500);
    EXPECT_EQ(reply.body, "500 the answer could not be built\n");
    EXPECT_EQ(Get("/after").status, 200);
}

TEST_F(TnstatHttpServer, SurvivesWhatIsNoRequest)
{
    const std::vector<std::string> rubbish = {
        "",
        "\r\n\r\n",
        "GET\r\n\r\n",
        "GET / HTTP/9.9\r\n\r\n",
        std::string("\0\0\0\0\r\n\r\n", 8),
        "GET / HTTP/1.1\r\nHost: t\r\n" + std::string(100000, 'h') + ": v\r\n\r\n",
        "GET /" + std::string(100000, 'p') + " HTTP/1.1\r\nHost: t\r\n\r\n",
        "GET / HTTP/1.1\r\nContent-Length: -1\r\n\r\n",
        "GET / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\nzzz\r\n",
        "\x16\x03\x01\x02\x00\x01\x00\x01\xfc\x03\x03",
    };
    for (const std::string& bytes : rubbish) {
        const Connection connection(LOOPBACK, server.Port());
        connection.Send(bytes);
        EXPECT_EQ(Get("/after").status, 200) << bytes.substr(0, 40);
    }
}

TEST_F(TnstatHttpServer, HeadersLargerThanTheBoundAreRefused)
{
    const Connection connection(LOOPBACK, server.Port());
    connection.Send("GET / HTTP/1.1\r\nHost: t\r\nX: " + std::string(HttpServer::CONNECTION_BYTES, 'x') +
                    "\r\n\r\n");
    const int status = ParseReply(connection.ReceiveAll()).status;
    EXPECT_TRUE(status == 431 || status == 413 || status == 400 || status == 0) << status;
}

TEST_F(TnstatHttpServer, IdleConnectionsHoldUpNobody)
{
    std::vector<Connection> idle;
    for (int i = 0; i < 50; ++i) {
        idle.emplace_back(LOOPBACK, server.Port());
        ASSERT_TRUE(idle.back().IsOpen());
    }
    ASSERT_TRUE(idle.front().Send("GET / HTT"));
    for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(Get("/busy").status, 200);
    }
}

TEST_F(TnstatHttpServer, OneClientCannotTakeAllConnections)
{
    std::vector<Connection> greedy;
    for (unsigned i = 0; i < HttpServer::MAX_CONNECTIONS_PER_CLIENT; ++i) {
        greedy.emplace_back(LOOPBACK, server.Port());
    }
    const Connection beyond(LOOPBACK, server.Port());
    EXPECT_TRUE(beyond.IsClosedWithin(20000));
    greedy.clear();
    for (int i = 0; i < 100 && Get("/after").status != 200; ++i) {
    }
    EXPECT_EQ(Get("/after").status, 200);
}

TEST_F(TnstatHttpServer, DropsConnectionsThatAreSlowHoweverBusy)
{
    const Connection slow(LOOPBACK, server.Port());
    ASSERT_TRUE(slow.Send("GET / HTTP/1.1\r\nHo"));
    const Connection silent(LOOPBACK, server.Port());
    EXPECT_EQ(Get("/there").status, 200) << "both are accepted by now";
    server.DropSlow(std::chrono::hours(1));
    EXPECT_FALSE(slow.IsClosedWithin(100));
    server.DropSlow(std::chrono::nanoseconds(0));
    EXPECT_TRUE(slow.IsClosedWithin(5000));
    EXPECT_TRUE(silent.IsClosedWithin(5000));
    EXPECT_EQ(Get("/after").status, 200);
}

TEST_F(TnstatHttpServer, ANulByteInThePathCutsNothingOff)
{
    EXPECT_EQ(Get("/a%2fb%20c").body, "asked for /a/b c");
    EXPECT_EQ(Get("/metrics%00.html").body, "asked for /metrics%00.html");
}

TEST_F(TnstatHttpServer, KeepsAConnectionForTheNextRequest)
{
    const Connection connection(LOOPBACK, server.Port());
    ASSERT_TRUE(
        connection.Send("GET /one HTTP/1.1\r\nHost: t\r\n\r\n"
                        "GET /two HTTP/1.1\r\nHost: t\r\nConnection: close\r\n\r\n"));
    const std::string text = connection.ReceiveAll();
    EXPECT_THAT(text, HasSubstr("asked for /one"));
    EXPECT_THAT(text, HasSubstr("asked for /two"));
}

TEST_F(TnstatHttpServer, StopEndsConnectionsAndFreesThePort)
{
    const Connection idle(LOOPBACK, server.Port());
    const unsigned port = server.Port();
    EXPECT_EQ(Get("/").status, 200);
    server.Stop();
    EXPECT_TRUE(idle.IsClosedWithin(20000));
    EXPECT_FALSE(Connection(LOOPBACK, port).IsOpen());
    HttpServer next(Echo);
    EXPECT_EQ(next.Start(LOOPBACK, port), "");
}

TEST(TnstatHttpServerStart, NamesThePortItTook)
{
    HttpServer server(Echo);
    EXPECT_EQ(server.Port(), 0U);
    ASSERT_EQ(server.Start(LOOPBACK, 0), "");
    EXPECT_NE(server.Port(), 0U);
    EXPECT_EQ(server.Url(), "http://127.0.0.1:" + std::to_string(server.Port()) + "/");
}

TEST(TnstatHttpServerStart, SpeaksIpv6)
{
    HttpServer server(Echo);
    if (const std::string fault = server.Start("::1", 0); !fault.empty()) {
        GTEST_SKIP() << "this machine has no IPv6 loopback: " << fault;
    }
    EXPECT_EQ(server.Url(), "http://[::1]:" + std::to_string(server.Port()) + "/");
    EXPECT_EQ(Request("::1", server.Port(), "GET", "/x").body, "asked for /x");
}

TEST(TnstatHttpServerStart, SaysWhyItCannotListen)
{
    HttpServer first(Echo);
    ASSERT_EQ(first.Start(LOOPBACK, 0), "");
    HttpServer second(Echo);
    EXPECT_EQ(second.Start(LOOPBACK, first.Port()),
              "cannot listen on 127.0.0.1:" + std::to_string(first.Port()) +
                  ": Address already in use; another program listens there, choose another --port");
    EXPECT_EQ(
        second.Start("192.0.2.1", 1),
        "cannot listen on 192.0.2.1:1: Cannot assign requested address; no interface of this machine has the "
        "address, choose another --ip");
    EXPECT_EQ(second.Start("no address", 1), "cannot listen on no address:1: Invalid argument");
    EXPECT_EQ(second.Port(), 0U);
}

}  // namespace
