// SPDX-License-Identifier: MIT

// The CPU sampler on files that are missing, cut, forged or short of CPUs.

#include <fcntl.h>
#include <sys/resource.h>

#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "common/stat.h"
#include "tests/support/stat_fixture.h"

namespace {

using support::Lines;
using support::SomeRows;
using support::TextOf;
using support::TYPE_COUNT;
using Type = Stat::Type;

using StatFailure = support::StatTest;

TEST_F(StatFailure, LogsAFileThatCannotBeOpenedAndKeepsTheSample)
{
    Resize(1);
    Write(TextOf(SomeRows(1)));
    stat.Run();
    EXPECT_GT(stat.GetCpuUtilRate(0, Type::IDLE), 0);
    const auto kept = stat.counters;
    std::filesystem::remove(tree.Path("proc/stat"));
    stat.Run();
    EXPECT_EQ(log, Lines{"Failed to open file: " + tree.Path("proc/stat")});
    EXPECT_EQ(stat.counters, kept);
    EXPECT_EQ(stat.GetCpuUtilRate(0, Type::IDLE), 0);
    EXPECT_EQ(stat.GetAllCpuUtilRate(Type::IDLE), 0);
}

TEST(StatMessage, NamesTheRealPath)
{
    // Without room for a descriptor the real file cannot be opened either.
    std::vector<std::string> log;
    const auto keep = [&log](LogLevel, const std::string& message) { log.push_back(message); };
    LoggerCtl::GetInstance().SetLogFunc(LogType::RUNTIME, keep, keep);
    Stat stat;
    stat.Init();
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    const rlimit none{0, before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    stat.Run();
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
    LoggerCtl::GetInstance().SetLogFunc(LogType::RUNTIME, DefaultLogFunc, DefaultSnapFunc);
    EXPECT_EQ(log, std::vector<std::string>{"Failed to open file: /proc/stat"});
}

TEST_F(StatFailure, EndsThePassAtTheFirstBrokenLine)
{
    const std::string machine = "cpu 1 2 3 4 5 6 7 8 9 10\n";
    const std::string cpu0 = "cpu0 1 2 3 4 5 6 7 8 9 10\n";
    const std::string cpu1 = "cpu1 1 2 3 4 5 6 7 8 9 10\n";
    const std::string cpu2 = "cpu2 1 2 3 4 5 6 7 8 9 10\n";
    const std::string intr = "intr 1 2 3 4 5 6 7 8 9 10 11 12\n";
    const std::string first = "Error parsing first line.";
    const std::string at = "Error parsing line for CPU ";
    const struct {
        const char* what;
        std::string text;
        std::string message;
        size_t entriesRead;  // of machine, CPU 0, 1, 2
    } cases[] = {
        {"whole", machine + cpu0 + cpu1 + cpu2 + intr, "", 4},
        {"whole, no final line break", machine + cpu0 + cpu1 + "cpu2 1 2 3 4 5 6 7 8 9 10", "", 4},
        {"more CPUs than configured", machine + cpu0 + cpu1 + cpu2 + "cpu3 x\n", "", 4},
        {"eleven columns", "cpu 1 2 3 4 5 6 7 8 9 10 11\n" + cpu0 + cpu1 + cpu2, "", 4},
        {"blank lines between", machine + "\n \n" + cpu0 + cpu1 + "\t\n" + cpu2, "", 4},
        {"labels in another order", machine + cpu2 + cpu0 + cpu1, "", 4},
        {"any first label", "total 1 2 3 4 5 6 7 8 9 10\n" + cpu0 + cpu1 + cpu2, "", 4},
        {"empty", "", first, 0},
        {"only white space", "\n\n \n", first, 0},
        {"binary", std::string("\0\1\2\3\xff\n", 6), first, 0},
        {"nine columns in the first line", "cpu 1 2 3 4 5 6 7 8 9\n" + cpu0 + cpu1 + cpu2, first, 0},
        {"the next line does not fill it up", "cpu 1 2 3\n4 5 6 7 8 9 10\n" + cpu0 + cpu1, first, 0},
        {"words in the first line", "cpu a b c d e f g h i j\n" + cpu0, first, 0},
        {"a sign", "cpu -1 2 3 4 5 6 7 8 9 10\n" + cpu0, first, 0},
        {"beyond 64 bits", "cpu 18446744073709551616 2 3 4 5 6 7 8 9 10\n" + cpu0, first, 0},
        {"nothing behind the first line", machine, at + "0", 1},
        {"no CPU 0", machine + intr, at + "0", 1},
        {"nine columns for CPU 0", machine + "cpu0 1 2 3 4 5 6 7 8 9\n" + cpu1 + cpu2, at + "0", 1},
        {"cut in CPU 0", machine + "cpu0 1 2 3 4 5", at + "0", 1},
        {"one CPU offline", machine + cpu0 + cpu1 + intr, at + "2", 3},
        {"two CPUs offline", machine + cpu0 + intr, at + "1", 2},
        {"four columns, as long ago", machine + cpu0 + "cpu1 1 2 3 4\n" + cpu2, at + "1", 2},
        {"a word in CPU 1", machine + cpu0 + "cpu1 1 2 x 4 5 6 7 8 9 10\n" + cpu2, at + "1", 2},
        {"no label", machine + cpu0 + "1 2 3 4 5 6 7 8 9 10 11\n" + cpu2, at + "1", 2},
        {"cut at the end of CPU 1", machine + cpu0 + "cpu1 1 2 3 4 5 6 7 8 9 10\n", at + "2", 3},
        {"an endless line", machine + std::string(3U << 20, 'c'), at + "0", 1},
    };
    for (const auto& expected : cases) {
        Resize(3);
        log.clear();
        for (auto& entry : stat.counters) {
            for (size_t type = 0; type < TYPE_COUNT; ++type) {
                entry[static_cast<Type>(type)] = 0;
            }
        }
        Write(expected.text);
        stat.Run();
        EXPECT_EQ(log, expected.message.empty() ? Lines{} : Lines{expected.message}) << expected.what;
        for (size_t row = 0; row <= 3; ++row) {
            const size_t entry = row == 0 ? 3 : row - 1;
            const bool read = row < expected.entriesRead;
            EXPECT_EQ(stat.counters[entry].at(Type::GUEST_NICE), read ? 10U : 0U)
                << expected.what << " " << row;
            EXPECT_EQ(stat.rates[entry].at(Type::USER), read ? static_cast<float>(100.0 / 55) : 0.0F)
                << expected.what << " " << row;
        }
    }
}

TEST_F(StatFailure, ALineThatIsTooShortLeavesItsWholeEntryAlone)
{
    Resize(1);
    Write("cpu 1 2 3 4 5 6 7 8 9 10\ncpu0 1 2 3 4 5 6 7 8 9 10\n");
    stat.Run();
    Write("cpu 11 12 13 14 15 16 17 18 19 110\ncpu0 91 92 93\n");
    stat.Run();
    for (size_t type = 0; type < TYPE_COUNT; ++type) {
        EXPECT_EQ(stat.counters[0].at(static_cast<Type>(type)), type + 1);
    }
    EXPECT_EQ(stat.counters[1].at(Type::USER), 11U);
}

TEST_F(StatFailure, ADirectoryInPlaceOfTheFileIsAnUnreadableFirstLine)
{
    Resize(1);
    std::filesystem::create_directories(tree.Path("proc/stat"));
    stat.Run();
    EXPECT_EQ(log, Lines{"Error parsing first line."});
}

TEST_F(StatFailure, NoExceptionOfALogFunctionLeavesIt)
{
    Resize(1);
    const auto raise = [](LogLevel, const std::string&) { throw std::runtime_error("log"); };
    LoggerCtl::GetInstance().SetLogFunc(LogType::RUNTIME, raise, raise);
    EXPECT_NO_THROW(stat.Run());
    LoggerCtl::GetInstance().SetLogFunc(LogType::RUNTIME, nullptr, nullptr);
    EXPECT_NO_THROW(stat.Run());
}

TEST_F(StatFailure, LeavesNoDescriptorOpen)
{
    const auto descriptors = [] {
        size_t open = 0;
        for (int fd = 0; fd < 1024; ++fd) {
            open += fcntl(fd, F_GETFD) >= 0 ? 1 : 0;
        }
        return open;
    };
    Resize(2);
    const size_t before = descriptors();
    const std::string texts[] = {TextOf(SomeRows(2)), TextOf(SomeRows(1)), "", "cpu 1 2\n",
                                 "cpu 1 2 3 4 5 6 7 8 9 10\nx\n"};
    for (int round = 0; round < 20; ++round) {
        for (const std::string& text : texts) {
            Write(text);
            stat.Run();
        }
    }
    EXPECT_EQ(descriptors(), before);
}

}  // namespace
