// SPDX-License-Identifier: MIT

#include "tools/tarnix/log_gate.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "common/logger_ctl.h"
#include "tests/support/scratch_directory.h"

namespace {

using testing::EndsWith;

class TarnixLogGate : public testing::Test {
protected:
    TarnixLogGate()
    {
        EXPECT_TRUE(logger->SetLogFile(file));
        tarnix::GateRuntimeLog();
    }
    ~TarnixLogGate() override
    {
        logger->SetLogFunc(LogType::RUNTIME, DefaultLogFunc, DefaultSnapFunc);
        logger->InitSnapshot(0);
        EXPECT_TRUE(logger->SetLogFile("stdout"));
        logger->logFile.clear();  // the next test's may be another
    }

    static std::string Text(const std::string& path)
    {
        std::ifstream input(path);
        return {std::istreambuf_iterator<char>(input), {}};
    }

    support::ScratchDirectory scratch;
    std::string file = scratch / "log";
};

TEST_F(TarnixLogGate, LinesOfOtherThreadsAreWholeWhileTheFileIsRenewed)
{
    const Log& log = logger->GetLog(LogType::RUNTIME);
    std::atomic<int> written{0};
    std::atomic<bool> stop{false};
    std::thread writer([&] {
        while (!stop) {
            log.logFunc(LogLevel::INFO, "line " + std::to_string(written) + " .");
            ++written;
            std::this_thread::yield();  // the gate is not fair
        }
    });
    constexpr int ROTATIONS = 50;
    for (int i = 0; i < ROTATIONS; ++i) {
        const int before = written;
        while (written < before + 3) {
            usleep(100);
        }
        ASSERT_EQ(rename(file.c_str(), (file + "." + std::to_string(i)).c_str()), 0);
        tarnix::RenewLogFile();
    }
    stop = true;
    writer.join();

    std::string all;
    for (int i = 0; i < ROTATIONS; ++i) {
        const std::string text = Text(file + "." + std::to_string(i));
        EXPECT_THAT(text, EndsWith(" .\n")) << i;
        all += text;
    }
    all += Text(file);
    int next = 0;
    for (std::size_t at = 0; at < all.size(); at = all.find('\n', at) + 1, ++next) {
        ASSERT_EQ(all.substr(all.find("] line ", at), 7 + std::to_string(next).size() + 3),
                  "] line " + std::to_string(next) + " .\n");
    }
    EXPECT_EQ(next, written);
}

TEST_F(TarnixLogGate, ALineOfAnotherThreadIsWaitedFor)
{
    const std::string fifo = scratch / "fifo";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    const int reader = open(fifo.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    ASSERT_GE(reader, 0);
    logger->logFile.clear();
    ASSERT_TRUE(logger->SetLogFile(fifo));
    const Log& log = logger->GetLog(LogType::RUNTIME);
    const std::string longText(1000000, 'x');
    std::thread writer([&] { log.logFunc(LogLevel::INFO, longText); });
    for (int there = 0; there == 0;) {
        ASSERT_EQ(ioctl(reader, FIONREAD, &there), 0);
    }
    std::atomic<bool> isAboutTo{false};
    std::atomic<bool> isRenewed{false};
    std::thread renewer([&isAboutTo, &isRenewed] {
        isAboutTo = true;
        tarnix::RenewLogFile();
        isRenewed = true;
    });
    while (!isAboutTo) {
        std::this_thread::yield();
    }
    usleep(50000);
    EXPECT_FALSE(isRenewed);

    std::string all;
    std::string block(65536, '\0');
    while (!isRenewed) {
        const ssize_t got = read(reader, block.data(), block.size());
        if (got > 0) {
            all.append(block, 0, static_cast<std::size_t>(got));
        }
    }
    renewer.join();
    writer.join();
    for (ssize_t got = 0; (got = read(reader, block.data(), block.size())) > 0;) {
        all.append(block, 0, static_cast<std::size_t>(got));
    }
    EXPECT_THAT(all, EndsWith("] [INFO] " + longText + "\n"));
    close(reader);
}

TEST_F(TarnixLogGate, LevelAndSnapshotsAreAsWithout)
{
    const Log& log = logger->GetLog(LogType::RUNTIME);
    log.logFunc(LogLevel::DEBUG, "dropped");
    log.snapFunc(LogLevel::DEBUG, "dropped, too");
    logger->InitSnapshot(5);
    log.snapFunc(LogLevel::DEBUG, "let through");
    EXPECT_THAT(Text(file), EndsWith("] [DEBUG] [SNAP] let through\n"));
    EXPECT_THAT(Text(file), testing::Not(testing::HasSubstr("dropped")));
}

}  // namespace
