// SPDX-License-Identifier: MIT
//
// How lines reach their destination: one write each, whole among threads, in order with what else is written
// there.

#include <errno.h>
#include <sched.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <iostream>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "common/logger_ctl.h"
#include "tests/unit/common/logger_fixture.h"

using support::ChildResult;
using support::FileText;
using support::RunInChild;
using testing::MatchesRegex;

class LoggerOutput : public LoggerFixture {};

TEST_F(LoggerOutput, EachLineIsOneWrite)
{
    // A datagram is what one write sends.
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0, ends), 0);
    const std::size_t sizes[] = {0, 1, 1900, 2000, 2040, 2100, 60000};
    for (const std::size_t size : sizes) {
        const std::string message(size, 'm');
        const ChildResult result = RunInChild([&] {
            dup2(ends[1], STDOUT_FILENO);
            ctl.LogStandalone(LogLevel::INFO, message);
            return 0;
        });
        EXPECT_EQ(result.status, 0);
        std::string datagram(70000, '\0');
        const ssize_t received = recv(ends[0], datagram.data(), datagram.size(), MSG_DONTWAIT);
        ASSERT_GT(received, 0);
        datagram.resize(static_cast<std::size_t>(received));
        EXPECT_EQ(WithoutStamps(datagram), "[INFO] " + message + "\n");
        EXPECT_LT(recv(ends[0], datagram.data(), datagram.size(), MSG_DONTWAIT), 0);
    }
    close(ends[0]);
    close(ends[1]);
}

TEST_F(LoggerOutput, LinesOfEightThreadsNeverInterleave)
{
    ASSERT_TRUE(ctl.SetLogFile(Path("log")));
    constexpr int THREADS = 8;
    constexpr int LINES = 500;
    const auto message = [](int thread, int line) {
        // Of very different lengths, so that both ways of putting a line together meet.
        return std::to_string(thread) + ":" + std::to_string(line) + " " +
               std::string(static_cast<std::size_t>(line % 50) * 60, static_cast<char>('a' + thread)) + ".";
    };
    std::vector<std::thread> threads;
    for (int thread = 0; thread < THREADS; ++thread) {
        threads.emplace_back([&, thread] {
            for (int line = 0; line < LINES; ++line) {
                ctl.GetLog(LogType::RUNTIME).logFunc(LogLevel::INFO, message(thread, line));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    std::multiset<std::string> expected;
    for (int thread = 0; thread < THREADS; ++thread) {
        for (int line = 0; line < LINES; ++line) {
            expected.insert("[INFO] " + message(thread, line));
        }
    }
    std::multiset<std::string> found;
    std::vector<std::string> stamps;
    std::istringstream lines(FileText(Path("log")));
    for (std::string line; std::getline(lines, line);) {
        stamps.push_back(line.substr(0, 23));
        found.insert(WithoutStamps(line));
    }
    EXPECT_EQ(found, expected);
    EXPECT_TRUE(std::is_sorted(stamps.begin(), stamps.end())) << "stamps follow the order of the lines";
}

TEST_F(LoggerOutput, ALevelIsChangedWhileOthersLog)
{
    ASSERT_TRUE(ctl.SetLogFile(Path("log")));
    std::atomic<bool> stop{false};
    std::thread other([&] {
        while (!stop) {
            DefaultLogFunc(LogLevel::DEBUG, "x");
        }
    });
    for (int i = 0; i < 100; ++i) {
        ctl.SetLevel(static_cast<LogLevel>(i % 6));
    }
    ctl.SetLevel(LogLevel::TRACE);
    while (FileText(Path("log")).empty()) {
        sched_yield();
    }
    stop = true;
    other.join();
    EXPECT_NE(FileText(Path("log")), "");
}

TEST_F(LoggerOutput, ThreadsAndForkedChildrenWriteTheIdOfTheFirstThread)
{
    ASSERT_TRUE(ctl.SetLogFile(Path("log")));
    std::thread([this] { ctl.LogStandalone(LogLevel::INFO, "thread"); }).join();
    support::Child child(support::Fork([this] {
        ctl.LogStandalone(LogLevel::INFO, "child");
        return 0;
    }));
    ASSERT_EQ(child.Wait(), 0);
    EXPECT_THAT(FileText(Path("log")),
                MatchesRegex(Prefix("INFO") + "thread\n" + Prefix("INFO") + "child\n"));
}

TEST_F(LoggerOutput, TheStreamItselfWritesBetweenTheLines)
{
    ASSERT_TRUE(ctl.SetLogFile(Path("log")));
    ctl.LogStandalone(LogLevel::INFO, "1");
    *ctl.stream << "raw " << 2 << '\n';
    ctl.LogStandalone(LogLevel::INFO, "3");
    EXPECT_TRUE(ctl.stream->good());
    EXPECT_EQ(WithoutStamps(FileText(Path("log"))), "[INFO] 1\nraw 2\n[INFO] 3\n");
    ctl.stream->close();
    *ctl.stream << "nowhere";
    EXPECT_FALSE(ctl.stream->good());
}

TEST_F(LoggerOutput, WhatTheProgramPrintedBeforeComesBefore)
{
    const ChildResult result = RunInChild([this] {
        printf("from C\n");
        std::cout << "from C++\n";
        ctl.LogStandalone(LogLevel::INFO, "line");
        printf("after\n");
        return 0;
    });
    EXPECT_EQ(WithoutStamps(result.out), "from C\nfrom C++\n[INFO] line\nafter\n");
}

TEST_F(LoggerOutput, AReplacedBufferOfStandardOutputTakesTheLines)
{
    std::ostringstream sink;
    std::streambuf* const own = std::cout.rdbuf(sink.rdbuf());
    ctl.LogStandalone(LogLevel::INFO, "caught");
    std::cout.rdbuf(own);
    EXPECT_THAT(sink.str(), MatchesRegex(Prefix("INFO") + "caught\n"));
}

TEST_F(LoggerOutput, ErrnoIsLeftAlone)
{
    ASSERT_TRUE(ctl.SetLogFile("/dev/full"));
    errno = 12345;
    ctl.LogStandalone(LogLevel::INFO, "x");
    EXPECT_EQ(errno, 12345);
    Reset();
    ASSERT_TRUE(ctl.SetLogFile(Path("log")));
    ctl.LogStandalone(LogLevel::INFO, "settles the account of lost lines");
}

TEST_F(LoggerOutput, AProcessThatExitsLeavesAWholeFile)
{
    const ChildResult result = RunInChild([this]() -> int {
        ctl.SetLogFile(Path("log"));
        ctl.LogStandalone(LogLevel::INFO, "last");
        exit(0);
    });
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(WithoutStamps(FileText(Path("log"))), "[INFO] last\n");
}
