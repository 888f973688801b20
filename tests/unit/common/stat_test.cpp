// SPDX-License-Identifier: MIT

#include "common/stat.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <filesystem>
#include <random>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "common/logger_ctl.h"
#include "tests/support/counted_new.h"
#include "tests/support/probe_tree.h"

namespace {

using Lines = std::vector<std::string>;
using Type = Stat::Type;

constexpr size_t TYPE_COUNT = 10;
/// The machine's row first, then the CPUs'.
using Rows = std::vector<std::vector<uint64_t>>;

std::string TextOf(const Rows& rows)
{
    std::string text;
    for (size_t row = 0; row < rows.size(); ++row) {
        text += row == 0 ? "cpu " : "cpu" + std::to_string(row - 1);
        for (const uint64_t value : rows[row]) {
            text += " " + std::to_string(value);
        }
        text += "\n";
    }
    return text + "intr 100 1 2 3 4 5 6 7 8 9 10 11 12\nctxt 7\nbtime 8\n";
}

Rows SomeRows(size_t cpus)
{
    Rows rows;
    for (uint64_t row = 0; row <= cpus; ++row) {
        rows.push_back({1000 + row, 20, 300 + row, 50000, 40, 5, 6, 7, 8, 9});
    }
    return rows;
}

/// A sampler of a machine with `cpus` CPUs whose /proc is a temporary tree, and what it logged.
class StatTest : public testing::Test {
protected:
    StatTest()
    {
        const auto keep = [this](LogLevel level, const std::string& message) {
            log.push_back(message);
            EXPECT_EQ(level, LogLevel::ERROR);
        };
        LoggerCtl::GetInstance().SetLogFunc(LogType::RUNTIME, keep, keep);
    }
    ~StatTest() override
    {
        LoggerCtl::GetInstance().SetLogFunc(LogType::RUNTIME, DefaultLogFunc, DefaultSnapFunc);
    }

    void Resize(int cpus)
    {
        ASSERT_TRUE(stat.Init());
        stat.cpuNum = cpus;
        stat.counters.assign(static_cast<size_t>(cpus) + 1, {});
        stat.rates.assign(static_cast<size_t>(cpus) + 1, {});
    }
    void Write(const std::string& text) const { tree.Write("proc/stat", text); }

    /// The row of the file that belongs to an entry.
    static size_t RowOf(size_t entry, size_t cpus) { return entry == cpus ? 0 : entry + 1; }

    support::ProbeTree tree;
    Stat stat;
    Lines log;
};

TEST_F(StatTest, HasTheColumnsInOrder)
{
    const Type order[] = {Type::USER, Type::NICE,     Type::SYSTEM, Type::IDLE,  Type::IO_WAIT,
                          Type::IRQ,  Type::SOFT_IRQ, Type::STEAL,  Type::GUEST, Type::GUEST_NICE};
    for (size_t value = 0; value < TYPE_COUNT; ++value) {
        EXPECT_EQ(static_cast<size_t>(order[value]), value);
    }
    static_assert(std::is_same_v<decltype(Stat::cpuNum), int32_t>);
    static_assert(std::is_same_v<Stat::Counters::mapped_type, uint64_t>);
    static_assert(std::is_same_v<Stat::Rates::mapped_type, float>);
}

TEST_F(StatTest, InitSizesAndEmptiesEverything)
{
    stat.counters = {{{Type::USER, 5}}, {}, {}, {}, {}, {}, {}, {}, {}};
    stat.rates = {{{Type::USER, 5.0F}}};
    ASSERT_TRUE(stat.Init());
    EXPECT_EQ(stat.cpuNum, sysconf(_SC_NPROCESSORS_CONF));
    EXPECT_EQ(stat.counters.size(), static_cast<size_t>(stat.cpuNum) + 1);
    EXPECT_EQ(stat.rates.size(), static_cast<size_t>(stat.cpuNum) + 1);
    EXPECT_TRUE(stat.counters[0].empty());
    EXPECT_TRUE(stat.rates[0].empty());
    ASSERT_EQ(stat.types.size(), TYPE_COUNT);
    size_t next = 0;
    for (const Type type : stat.types) {
        EXPECT_EQ(static_cast<size_t>(type), next++);
    }
    EXPECT_EQ(log, Lines{});
}

TEST_F(StatTest, FirstRunYieldsTheAveragesSinceBoot)
{
    Resize(2);
    Write("cpu  10 0 20 60 10 0 0 0 0 0\ncpu0 1 0 0 3 0 0 0 0 0 0\ncpu1 0 0 0 0 0 0 0 0 0 0\nintr 5\n");
    stat.Run();
    EXPECT_EQ(stat.GetAllCpuUtilRate(Type::USER), 10);
    EXPECT_EQ(stat.GetAllCpuUtilRate(Type::SYSTEM), 20);
    EXPECT_EQ(stat.GetAllCpuUtilRate(Type::IDLE), 60);
    EXPECT_EQ(stat.GetAllCpuUtilRate(Type::IO_WAIT), 10);
    EXPECT_EQ(stat.GetCpuUtilRate(0, Type::USER), 25);
    EXPECT_EQ(stat.GetCpuUtilRate(0, Type::IDLE), 75);
    EXPECT_EQ(stat.GetCpuUtilRate(1, Type::IDLE), 0);
    EXPECT_EQ(log, Lines{});
}

TEST_F(StatTest, SecondRunComparesWithTheFirst)
{
    for (const int cpus : {2, 8, 320}) {
        Resize(cpus);
        const auto count = static_cast<size_t>(cpus);
        Rows rows = SomeRows(count);
        Write(TextOf(rows));
        stat.Run();
        for (size_t row = 0; row < rows.size(); ++row) {
            rows[row][0] += 1 + row;        // user
            rows[row][3] += 99 - row % 90;  // idle
        }
        Write(TextOf(rows));
        stat.Run();
        for (size_t entry = 0; entry <= count; ++entry) {
            const size_t row = RowOf(entry, count);
            const auto user = static_cast<double>(1 + row);
            const auto idle = static_cast<double>(99 - row % 90);
            const int cpu = static_cast<int>(entry);
            EXPECT_EQ(stat.GetCpuUtilRate(cpu, Type::USER), static_cast<float>(user * 100.0 / (user + idle)));
            EXPECT_EQ(stat.GetCpuUtilRate(cpu, Type::IDLE), static_cast<float>(idle * 100.0 / (user + idle)));
            EXPECT_EQ(stat.GetCpuUtilRate(cpu, Type::SYSTEM), 0);
            for (size_t type = 0; type < TYPE_COUNT; ++type) {
                EXPECT_EQ(stat.counters[entry].at(static_cast<Type>(type)), rows[row][type]);
            }
        }
        EXPECT_EQ(log, Lines{}) << cpus;
    }
}

TEST_F(StatTest, AnUnchangedFileGivesZeros)
{
    Resize(2);
    Write(TextOf(SomeRows(2)));
    stat.Run();
    stat.Run();
    for (const auto& entry : stat.rates) {
        ASSERT_EQ(entry.size(), TYPE_COUNT);
        for (const auto& [type, rate] : entry) {
            EXPECT_EQ(rate, 0) << static_cast<int>(type);
        }
    }
}

TEST_F(StatTest, ACounterThatSteppedBackCountsAsUnchangedButIsKept)
{
    Resize(1);
    Write(TextOf({{0, 0, 0, 0, 40, 0, 0, 0, 0, 0}, {100, 0, 50, 1000, 40, 0, 0, 0, 0, 0}}));
    stat.Run();
    Write(TextOf({{0, 0, 0, 0, 39, 0, 0, 0, 0, 0}, {101, 0, 51, 1098, 39, 0, 0, 0, 0, 0}}));
    stat.Run();
    EXPECT_EQ(stat.GetCpuUtilRate(0, Type::USER), 1);
    EXPECT_EQ(stat.GetCpuUtilRate(0, Type::IDLE), 98);
    EXPECT_EQ(stat.GetCpuUtilRate(0, Type::IO_WAIT), 0);
    EXPECT_EQ(stat.GetAllCpuUtilRate(Type::IO_WAIT), 0);
    EXPECT_EQ(stat.counters[0].at(Type::IO_WAIT), 39U);
    EXPECT_EQ(stat.counters[1].at(Type::IO_WAIT), 39U);
}

TEST_F(StatTest, LogsAFileThatCannotBeOpenedAndKeepsTheSample)
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

TEST_F(StatTest, EndsThePassAtTheFirstBrokenLine)
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

TEST_F(StatTest, ALineThatIsTooShortLeavesItsWholeEntryAlone)
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

TEST_F(StatTest, ADirectoryInPlaceOfTheFileIsAnUnreadableFirstLine)
{
    Resize(1);
    std::filesystem::create_directories(tree.Path("proc/stat"));
    stat.Run();
    EXPECT_EQ(log, Lines{"Error parsing first line."});
}

TEST_F(StatTest, UpdateProcStatTakesASampleAndNoRates)
{
    Resize(1);
    Write(TextOf(SomeRows(1)));
    stat.UpdateProcStat();
    EXPECT_EQ(stat.counters[1].at(Type::USER), 1000U);
    EXPECT_EQ(stat.counters[0].at(Type::USER), 1001U);
    EXPECT_TRUE(stat.rates[0].empty());
}

TEST_F(StatTest, UpdateCpuUtilRateComparesWithWhatItIsGiven)
{
    Resize(1);
    Write("cpu 30 0 0 70 0 0 0 0 0 0\ncpu0 30 0 0 70 0 0 0 0 0 0\n");
    stat.UpdateCpuUtilRate({{{Type::USER, 20}, {Type::IDLE, 40}}, {{Type::IDLE, 60}}});
    EXPECT_EQ(stat.GetCpuUtilRate(0, Type::USER), 25);
    EXPECT_EQ(stat.GetCpuUtilRate(0, Type::IDLE), 75);
    EXPECT_EQ(stat.GetAllCpuUtilRate(Type::USER), 75);
    EXPECT_EQ(stat.GetAllCpuUtilRate(Type::IDLE), 25);
    stat.UpdateCpuUtilRate({});
    EXPECT_EQ(stat.GetCpuUtilRate(0, Type::USER), 30);
    EXPECT_EQ(stat.GetAllCpuUtilRate(Type::IDLE), 70);
    stat.UpdateCpuUtilRate({{}, {}, {}, {}, {}});
    EXPECT_EQ(stat.GetCpuUtilRate(0, Type::USER), 30);
}

TEST_F(StatTest, TheTablesAreTheOnlyMemory)
{
    Resize(1);
    Write("cpu 30 0 0 70 0 0 0 0 0 0\ncpu0 30 0 0 70 0 0 0 0 0 0\n");
    stat.Run();
    // Whatever the owner puts into the tables is what the next sample is compared with.
    stat.counters[0][Type::USER] = 10;
    stat.counters[0][Type::IDLE] = 10;
    stat.counters[1].clear();
    stat.rates[0].clear();
    stat.Run();
    EXPECT_EQ(stat.GetCpuUtilRate(0, Type::USER), 25);
    EXPECT_EQ(stat.GetAllCpuUtilRate(Type::USER), 30);
    EXPECT_EQ(stat.counters[1].at(Type::IDLE), 70U);
    EXPECT_EQ(stat.counters[0].size(), TYPE_COUNT);
}

TEST_F(StatTest, AForeignKeyInATableDoesNoHarm)
{
    Resize(1);
    Write(TextOf(SomeRows(1)));
    stat.Run();
    stat.counters[0].erase(Type::USER);
    stat.counters[0][static_cast<Type>(77)] = 5;  // ten keys again
    stat.rates[0].erase(Type::USER);
    stat.rates[0][static_cast<Type>(-1)] = 5;
    stat.Run();
    EXPECT_EQ(stat.counters[0].at(Type::USER), 1001U);
    EXPECT_EQ(stat.GetCpuUtilRate(0, Type::USER), 100);
    EXPECT_EQ(Stat::SumTime(stat.counters[0]), 1001U + 20 + 301 + 50000 + 40 + 5 + 6 + 7 + 8 + 9 + 5);
}

TEST_F(StatTest, SumTimeAddsUp)
{
    EXPECT_EQ(Stat::SumTime({}), 0U);
    EXPECT_EQ(stat.SumTime({{Type::USER, 1}, {Type::GUEST_NICE, 2}}), 3U);
    EXPECT_EQ(Stat::SumTime({{Type::USER, ~0ULL}, {Type::NICE, 2}}), 1U);
}

TEST_F(StatTest, RatesOfWhatDoesNotExistAreZero)
{
    EXPECT_EQ(stat.GetAllCpuUtilRate(Type::IDLE), 0);
    Resize(1);
    EXPECT_EQ(stat.GetAllCpuUtilRate(Type::IDLE), 0);
    Write("cpu 0 0 0 7 0 0 0 0 0 0\ncpu0 0 0 0 7 0 0 0 0 0 0\n");
    stat.Run();
    EXPECT_EQ(stat.GetCpuUtilRate(1, Type::IDLE), 100);  // entry cpuNum is the machine
    EXPECT_EQ(stat.GetCpuUtilRate(2, Type::IDLE), 0);
    EXPECT_EQ(stat.GetCpuUtilRate(-1, Type::IDLE), 0);
    EXPECT_EQ(stat.GetCpuUtilRate(0, static_cast<Type>(10)), 0);
}

TEST_F(StatTest, ASecondInitForgetsTheSample)
{
    Resize(1);
    Write("cpu 30 0 0 70 0 0 0 0 0 0\ncpu0 30 0 0 70 0 0 0 0 0 0\n");
    stat.Run();
    stat.Run();
    EXPECT_EQ(stat.GetCpuUtilRate(0, Type::USER), 0);
    stat.Init();
    stat.Run();
    EXPECT_EQ(stat.GetCpuUtilRate(0, Type::USER), 30);
}

TEST_F(StatTest, RunWithoutInitSamplesTheMachine)
{
    Write("cpu 30 0 0 70 0 0 0 0 0 0\ncpu0 1 0 0 0 0 0 0 0 0 0\n");
    stat.Run();
    EXPECT_EQ(stat.GetAllCpuUtilRate(Type::USER), 30);
    EXPECT_EQ(log, Lines{});
    stat.cpuNum = -5;
    stat.Run();
    EXPECT_EQ(stat.counters.size(), 1U);
    EXPECT_EQ(log, Lines{});
}

TEST_F(StatTest, NoExceptionOfALogFunctionLeavesIt)
{
    Resize(1);
    const auto raise = [](LogLevel, const std::string&) { throw std::runtime_error("log"); };
    LoggerCtl::GetInstance().SetLogFunc(LogType::RUNTIME, raise, raise);
    EXPECT_NO_THROW(stat.Run());
    LoggerCtl::GetInstance().SetLogFunc(LogType::RUNTIME, nullptr, nullptr);
    EXPECT_NO_THROW(stat.Run());
}

TEST_F(StatTest, AllocatesNothingAfterTheFirstRun)
{
    Resize(8);
    Write(TextOf(SomeRows(8)));
    stat.Run();
    const size_t before = support::Allocations();
    for (int round = 0; round < 10; ++round) {
        stat.Run();
    }
    EXPECT_EQ(support::Allocations(), before);
}

TEST_F(StatTest, LeavesNoDescriptorOpen)
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

/// The plain form: every table copied, every value looked up.
void PlainRun(const Rows& rows, size_t cpus, std::vector<Stat::Counters>& counters,
              std::vector<Stat::Rates>& rates)
{
    const std::vector<Stat::Counters> previous = counters;
    for (size_t row = 0; row < rows.size(); ++row) {
        for (size_t type = 0; type < TYPE_COUNT; ++type) {
            counters[row == 0 ? cpus : row - 1][static_cast<Type>(type)] = rows[row][type];
        }
    }
    for (size_t entry = 0; entry <= cpus; ++entry) {
        uint64_t sum = 0;
        for (size_t type = 0; type < TYPE_COUNT; ++type) {
            const auto key = static_cast<Type>(type);
            const uint64_t old = previous[entry].count(key) > 0 ? previous[entry].at(key) : 0;
            sum += counters[entry][key] > old ? counters[entry][key] - old : 0;
        }
        for (size_t type = 0; type < TYPE_COUNT; ++type) {
            const auto key = static_cast<Type>(type);
            const uint64_t old = previous[entry].count(key) > 0 ? previous[entry].at(key) : 0;
            const uint64_t spent = counters[entry][key] > old ? counters[entry][key] - old : 0;
            rates[entry][key] =
                sum == 0 ? 0
                         : static_cast<float>(static_cast<double>(spent) * 100.0 / static_cast<double>(sum));
        }
    }
}

TEST_F(StatTest, AgreesWithThePlainForm)
{
    std::mt19937_64 random(35);
    for (const int cpus : {0, 1, 2, 8, 320}) {
        Resize(cpus);
        const auto count = static_cast<size_t>(cpus);
        std::vector<Stat::Counters> counters(count + 1);
        std::vector<Stat::Rates> rates(count + 1);
        Rows rows = SomeRows(count);
        for (int round = 0; round < 20; ++round) {
            for (auto& row : rows) {
                for (uint64_t& value : row) {
                    value = random() % 50 == 0 ? value - value % 7 : value + random() % 100;
                }
            }
            Write(TextOf(rows));
            stat.Run();
            PlainRun(rows, count, counters, rates);
            ASSERT_EQ(stat.counters, counters) << cpus << " " << round;
            ASSERT_EQ(stat.rates, rates) << cpus << " " << round;
        }
        EXPECT_EQ(log, Lines{});
    }
}

TEST(StatLive, SamplesThisMachine)
{
    std::vector<std::string> log;
    const auto keep = [&log](LogLevel, const std::string& message) { log.push_back(message); };
    LoggerCtl::GetInstance().SetLogFunc(LogType::RUNTIME, keep, keep);
    Stat stat;
    ASSERT_TRUE(stat.Init());
    const bool allOnline = sysconf(_SC_NPROCESSORS_CONF) == sysconf(_SC_NPROCESSORS_ONLN);
    for (int round = 0; round < 100; ++round) {
        stat.Run();
        float sum = 0;
        for (const Type type : stat.types) {
            const float rate = stat.GetAllCpuUtilRate(type);
            ASSERT_TRUE(rate >= 0 && rate <= 100) << rate;
            sum += rate;
        }
        ASSERT_TRUE(sum == 0 || (sum > 99.9F && sum < 100.1F)) << sum;
        ASSERT_TRUE(round > 0 || sum > 0) << "the averages since boot are never all zero";
    }
    LoggerCtl::GetInstance().SetLogFunc(LogType::RUNTIME, DefaultLogFunc, DefaultSnapFunc);
    if (!allOnline) {
        GTEST_SKIP() << "a CPU is offline here: the pass ends before the last one, as it should";
    }
    EXPECT_EQ(log, std::vector<std::string>{});
    EXPECT_GT(stat.counters[0].at(Type::IDLE), 0U);
}

}  // namespace
