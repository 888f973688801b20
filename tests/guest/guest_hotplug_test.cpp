// SPDX-License-Identifier: MIT
//
// CPUs go offline and come back while the CPU sampler and the collector run.

#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "common/cpu_probe.h"
#include "common/logger_ctl.h"
#include "common/stat.h"
#include "host/clock.h"
#include "host/live_source.h"
#include "host/perf_events.h"
#include "tests/guest/guest_machine.h"
#include "tests/guest/score_rows.h"
#include "tests/support/exporter.h"
#include "tests/support/program_run.h"

namespace {

using guest::ScoreRow;
using guest::ScoreRows;
using support::Eventually;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

const std::vector<host::EventMapping> CLOCK = {{"rx_outer", "software/config=0x3/"},
                                               {"rx_sccl", "software/config=0x4/"},
                                               {"rx_ops_num", "software/config=0x0/"}};

/// The kernel's clock, and minutes that pass at a word.
class SkippingClock : public host::MonotonicClock {
public:
    std::int64_t NowNs() override { return MonotonicClock::NowNs() + skippedNs; }

    std::int64_t skippedNs = 0;
};

class GuestHotplugStat : public testing::Test {
protected:
    void SetUp() override
    {
        const auto keep = [this](LogLevel, const std::string& message) { log.push_back(message); };
        LoggerCtl::GetInstance().SetLogFunc(LogType::RUNTIME, keep, keep);
        stat.Init();
        stat.Run();
        usleep(200000);
    }
    void TearDown() override
    {
        LoggerCtl::GetInstance().SetLogFunc(LogType::RUNTIME, DefaultLogFunc, DefaultSnapFunc);
    }

    /// True when the rates of each entry lie in 0 to 100 and come to 100, or to 0 where nothing was read.
    bool RatesArePossible() const
    {
        for (const Stat::Rates& entry : stat.rates) {
            float sum = 0.0F;
            for (const auto& rate : entry) {
                if (!(rate.second >= 0.0F && rate.second <= 100.0F)) {
                    return false;
                }
                sum += rate.second;
            }
            if (sum != 0.0F && (sum < 99.0F || sum > 101.0F)) {
                return false;
            }
        }
        return true;
    }

    Stat stat;
    std::vector<std::string> log;
};

TEST_F(GuestHotplugStat, ACpuThatGoesAndComesBack)
{
    const guest::Machine machine = guest::AskedFor();
    ASSERT_EQ(stat.cpuNum, machine.cpus);
    EXPECT_THAT(log, IsEmpty());
    EXPECT_TRUE(RatesArePossible());
    guest::CpuOffline away(3);
    EXPECT_EQ(GetCpuPhyPacketId(3), -1) << "the kernel takes the topology of an offline CPU away";
    stat.Run();
    EXPECT_THAT(log, ElementsAre("Error parsing line for CPU " + std::to_string(machine.cpus - 1)));
    EXPECT_TRUE(RatesArePossible());
    EXPECT_EQ(stat.GetCpuUtilRate(machine.cpus - 1, Stat::Type::IDLE), 0.0F);
    usleep(200000);
    stat.Run();
    EXPECT_TRUE(RatesArePossible());
    EXPECT_GT(stat.GetAllCpuUtilRate(Stat::Type::IDLE), 0.0F);
    ASSERT_TRUE(away.Return());
    stat.Run();
    usleep(200000);
    log.clear();
    stat.Run();
    EXPECT_THAT(log, IsEmpty());
    EXPECT_TRUE(RatesArePossible());
    EXPECT_GT(stat.GetCpuUtilRate(machine.cpus - 1, Stat::Type::IDLE), 0.0F);
    EXPECT_EQ(GetCpuPhyPacketId(3), machine.SocketOfCpu(3));
}

TEST_F(GuestHotplugStat, AtAnyMoment)
{
    // Until both have happened often enough, however slow the emulator is.
    constexpr int RUNS = 20;
    std::atomic<int> runs{0};
    std::atomic<bool> done{false};
    std::thread switcher([&done, &runs] {
        for (int round = 0; round < 4 || runs <= RUNS; ++round) {
            guest::CpuOffline away(1 + round % 2);
            usleep(50000);
        }
        done = true;
    });
    bool possible = true;
    for (; !done; ++runs) {
        stat.Run();
        possible = possible && RatesArePossible();
        usleep(2000);
    }
    switcher.join();
    EXPECT_TRUE(possible);
    EXPECT_THAT(log, Contains(HasSubstr("Error parsing line for CPU ")));
}

class GuestHotplugCollector : public testing::Test {
protected:
    void SetUp() override
    {
        host::LiveOptions options;
        options.mappings = CLOCK;
        options.everyCpu = true;
        host::SourceResult result = host::OpenLiveSource(options, host::SystemPerfApi(), clock);
        ASSERT_EQ(result.error, "");
        source = std::move(result.source);
    }

    /// Counts for so long; true when every counter did.
    bool Read(int milliseconds)
    {
        usleep(static_cast<useconds_t>(milliseconds) * 1000);
        EXPECT_EQ(source->Read(batch), host::CounterSource::Status::BATCH) << source->Error();
        for (std::string& remark : source->TakeRemarks()) {
            remarks.push_back(std::move(remark));
        }
        return batch.samples.size() == 3 && batch.missing + batch.notCounted == 0;
    }

    /// Until the source says that it reads other CPUs.
    bool Change(const std::string& from, const std::string& to)
    {
        const std::string text = "CPUs that it is read from changed from " + from + " to " + to;
        return Eventually([&] {
            Read(300);
            return std::any_of(remarks.begin(), remarks.end(), [&text](const std::string& remark) {
                return remark.find(text) != std::string::npos;
            });
        });
    }

    /// How many counters are open: three on each CPU.
    void ExpectCpus(int cpus) const
    {
        EXPECT_THAT(source->Describe(), HasSubstr("live: " + std::to_string(3 * cpus) + " counters"));
    }

    SkippingClock clock;
    std::unique_ptr<host::CounterSource> source;
    host::CounterBatch batch;
    std::vector<std::string> remarks;
};

TEST_F(GuestHotplugCollector, LosesACpuAndTakesItBack)
{
    const guest::Machine machine = guest::AskedFor();
    const std::string all = "0-" + std::to_string(machine.cpus - 1);
    const std::string without = "0-4,6-" + std::to_string(machine.cpus - 1);
    ASSERT_TRUE(Read(500));
    ExpectCpus(machine.cpus);
    guest::CpuOffline away(5);
    EXPECT_TRUE(Change(all, without)) << testing::PrintToString(remarks);
    EXPECT_TRUE(Read(500));
    ExpectCpus(machine.cpus - 1);
    ASSERT_TRUE(away.Return());
    EXPECT_TRUE(Read(500));
    ExpectCpus(machine.cpus - 1);
    clock.skippedNs += 61000000000;  // without a cause the CPUs are looked at once a minute
    EXPECT_TRUE(Change(without, all)) << testing::PrintToString(remarks);
    Read(300);
    EXPECT_TRUE(Read(500));
    ExpectCpus(machine.cpus);
}

class GuestHotplugScore : public testing::Test {
protected:
    static std::vector<std::string> Command()
    {
        std::vector<std::string> command{"/usr/bin/numa-score", "live", "--format", "csv"};
        for (const std::string& mapping : guest::SyscallMappings()) {
            command.insert(command.end(), {"--map", mapping});
        }
        return command;
    }
};

TEST_F(GuestHotplugScore, GoesOnWhenTheCpuThatIsCountedGoesOffline)
{
    const guest::SyscallLoad first(0);
    const guest::SyscallLoad second(1);
    support::Program score(Command());
    const auto hasRows = [&score](std::size_t count) {
        return Eventually([&] { return ScoreRows(score.Out()).size() >= count; });
    };
    ASSERT_TRUE(hasRows(5)) << score.Err();
    std::size_t then = 0;
    std::size_t moved = 0;
    {
        const guest::CpuOffline away(0);
        ASSERT_TRUE(Eventually([&] {
            return score.Err().find("CPUs that it is read from changed from 0 to 1") != std::string::npos;
        })) << score.Err();
        then = ScoreRows(score.Out()).size() + 2;
        ASSERT_TRUE(Eventually([&] {
            const std::vector<ScoreRow> rows = ScoreRows(score.Out());
            moved = rows.size();
            return moved >= then + 18 && OpsFrom(rows, then) > 1000.0;
        })) << "the load made "
            << second.Calls() << " calls\n"
            << score.Err() << score.Out();
    }
    ASSERT_TRUE(hasRows(moved + 4));
    score.Signal(SIGTERM);
    const support::ProgramResult result = score.Wait();
    EXPECT_EQ(result.status, 0) << result.err;
    const std::vector<ScoreRow> rows = ScoreRows(result.out);
    guest::ExpectTheMix({rows.begin(), rows.begin() + static_cast<std::ptrdiff_t>(moved)}, then);
    for (const ScoreRow& row : rows) {
        EXPECT_GE(row.score, 0.0);
        EXPECT_LE(row.score, 1.0);
    }
}

}  // namespace
