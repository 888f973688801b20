// SPDX-License-Identifier: MIT

#include "tools/tnstat/messages.h"

#include <cerrno>

#include <gtest/gtest.h>

namespace {

namespace messages = tnstat::messages;

TEST(TnstatMessages, AboutTheMetricsFile)
{
    EXPECT_EQ(messages::CannotReadMetrics("/m", ENOENT),
              "cannot read the metrics file /m: No such file or directory; tarnix writes it while it runs "
              "with metrics "
              "enabled");
    EXPECT_EQ(messages::CannotReadMetrics("/m", EACCES),
              "cannot read the metrics file /m: Permission denied; read access to the file and its directory "
              "is needed");
    EXPECT_EQ(messages::CannotReadMetrics("/m", EIO), "cannot read the metrics file /m: Input/output error");
    EXPECT_EQ(messages::MetricsNotRegular("/m"), "the metrics file /m is no regular file");
    EXPECT_EQ(
        messages::WrongMetricsSize("/m", 7),
        "the metrics file /m holds 7 bytes, expected 1248; was it written by another version of tarnix?");
    EXPECT_EQ(
        messages::WrongMetricsSize("/m", 1249),
        "the metrics file /m holds more bytes, expected 1248; was it written by another version of tarnix?");
    EXPECT_EQ(messages::ImpossibleMetrics("/m", messages::ImpossibleNodeCount(17)),
              "the metrics file /m cannot be right: it counts 17 NUMA nodes, expected 0 to 16");
    EXPECT_EQ(messages::ImpossiblePageSize(-4), "its page size is -4 kB, expected no negative figure");
    EXPECT_EQ(messages::ImpossibleScore(1.5F), "its NUMA score is 1.500000, expected 0 to 1");
}

TEST(TnstatMessages, PathsCannotForgeLinesOrCommandTerminals)
{
    EXPECT_EQ(messages::MetricsNotRegular("/a\nb\x1b[2J"),
              "the metrics file /a\\nb\\x1b[2J is no regular file");
}

TEST(TnstatMessages, AboutListening)
{
    EXPECT_EQ(messages::CannotListen("127.0.0.1", 9101, EADDRINUSE),
              "cannot listen on 127.0.0.1:9101: Address already in use; another program listens there, "
              "choose another "
              "--port");
    EXPECT_EQ(
        messages::CannotListen("::1", 9101, EADDRNOTAVAIL),
        "cannot listen on [::1]:9101: Cannot assign requested address; no interface of this machine has the "
        "address, choose another --ip");
    EXPECT_EQ(
        messages::CannotListen("0.0.0.0", 80, EACCES),
        "cannot listen on 0.0.0.0:80: Permission denied; ports below 1024 need CAP_NET_BIND_SERVICE, choose "
        "another --port");
    EXPECT_EQ(messages::CannotListen("::", 9101, EAFNOSUPPORT),
              "cannot listen on [::]:9101: Address family not supported by protocol; this kernel does not "
              "speak the "
              "protocol of the address");
    EXPECT_EQ(messages::CannotListen("0.0.0.0", 80, EMFILE),
              "cannot listen on 0.0.0.0:80: Too many open files");
    EXPECT_EQ(messages::CannotServe("::1", 1),
              "cannot serve on [::1]:1: the HTTP server did not start; are threads or memory short?");
    EXPECT_EQ(messages::Listening("http://[::1]:1/"), "serving http://[::1]:1/");
}

TEST(TnstatMessages, AboutTheOutput)
{
    EXPECT_EQ(messages::CannotWriteOutput(ENOSPC), "cannot write the output: No space left on device");
}

}  // namespace
