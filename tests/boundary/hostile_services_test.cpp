// SPDX-License-Identifier: MIT
//
// The runtime services that the library exports, called by their symbols in a host that exports classes of
// the same names: each is the library's own, and so is whatever it calls in turn. One test does the same with
// sources built without the linker's protection and sees them taken over, which shows that this host can do
// it.

#include <dlfcn.h>
#include <stdlib.h>
#include <unistd.h>

// Whatever the headers below include: it must not come in inside a namespace.
#include <sys/types.h>

#include <cstddef>
#include <cstdint>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <ostream>
#include <set>
#include <streambuf>
#include <string>
#include <unordered_map>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/boundary/hostile_classes.h"
#include "tests/support/plugin_library.h"

// The library's classes as layouts only, beside the host's of the same names.
namespace ours {
#include "common/logger_ctl.h"
#include "common/metrics.h"
#include "common/stat.h"
}  // namespace ours

namespace {

namespace fs = std::filesystem;

using support::PluginLibrary;
using testing::MatchesRegex;

class HostileServices : public testing::TestWithParam<support::LoadMode> {
protected:
    HostileServices() : library(PLUGIN_LIBRARY, GetParam().flag)
    {
        std::string name = testing::TempDir() + "hostile_services_XXXXXX";
        if (mkdtemp(name.data()) != nullptr) {
            directory = name;
        }
        g_hijackedCalls = 0;
    }
    ~HostileServices() override { fs::remove_all(directory); }

    /// The library's function behind a mangled name that the host exports or not.
    template <typename Function>
    Function Exported(const char* name)
    {
        void* const symbol = library.Symbol(name);
        EXPECT_EQ(support::ObjectOf(symbol), PLUGIN_LIBRARY) << name;
        return reinterpret_cast<Function>(symbol);
    }

    std::string Path(const char* name) const { return (directory / name).string(); }

    fs::path directory;
    PluginLibrary library;
};

std::string FileText(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

float SumOfRates(const ours::Stat& stat)
{
    float sum = 0;
    for (const auto& [type, rate] : stat.rates.back()) {
        sum += rate;
    }
    return sum;
}

TEST_P(HostileServices, TheSamplerIsTheLibrarysOwn)
{
    auto* const init = Exported<bool (*)(ours::Stat*)>("_ZN4Stat4InitEv");
    auto* const run = Exported<void (*)(ours::Stat*)>("_ZN4Stat3RunEv");
    auto* const update = Exported<void (*)(ours::Stat*, std::vector<ours::Stat::Counters>)>(
        "_ZN4Stat17UpdateCpuUtilRateESt6vectorISt13unordered_mapINS_4TypeEmSt4hashIS2_ESt8equal_toIS2_"
        "ESaISt4pair"
        "IKS2_mEEESaISB_EE");
    ours::Stat stat;
    EXPECT_TRUE(init(&stat));
    EXPECT_EQ(stat.types.size(), 10U);
    ASSERT_EQ(stat.rates.size(), static_cast<std::size_t>(stat.cpuNum) + 1);
    run(&stat);
    EXPECT_NEAR(SumOfRates(stat), 100.0F, 0.01F);
    EXPECT_GT(stat.counters.back().at(ours::Stat::Type::IDLE), 0U);

    // Calls UpdateProcStat, which the host has too.
    ASSERT_TRUE(init(&stat));
    update(&stat, {});
    EXPECT_NEAR(SumOfRates(stat), 100.0F, 0.01F);
    EXPECT_EQ(g_hijackedCalls, 0);
}

TEST_P(HostileServices, TheLoggerIsTheLibrarysOwn)
{
    auto* const instance = Exported<ours::LoggerCtl& (*)()>("_ZN9LoggerCtl11GetInstanceEv");
    auto* const setLogFile = Exported<bool (*)(ours::LoggerCtl*, const std::string&)>(
        "_ZN9LoggerCtl10SetLogFileERKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE");
    auto* const getLog =
        Exported<ours::Log& (*)(ours::LoggerCtl*, ours::LogType)>("_ZN9LoggerCtl6GetLogE7LogType");
    auto* const defaultLog = Exported<void (*)(ours::LogLevel, const std::string&)>(
        "_Z14DefaultLogFunc8LogLevelRKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE");
    ours::LoggerCtl& ctl = instance();
    EXPECT_EQ(ctl.levelNames.at(ours::LogLevel::INFO), "INFO");
    EXPECT_EQ(ctl.tid, getpid());
    ASSERT_TRUE(setLogFile(&ctl, Path("log")));
    defaultLog(ours::LogLevel::INFO, "directly");
    // Calls DefaultLogFunc, GetInstance and LogStandalone, which the host has too.
    getLog(&ctl, ours::LogType::RUNTIME).logFunc(ours::LogLevel::WARN, "through the channel");
    EXPECT_THAT(FileText(Path("log")),
                MatchesRegex("\\[[^]]+\\] \\[[0-9]+\\] \\[INFO\\] directly\n"
                             "\\[[^]]+\\] \\[[0-9]+\\] \\[WARN\\] through the channel\n"));
    // Programs may close the stream themselves, with nothing but the header.
    ctl.stream->close();
    EXPECT_FALSE(ctl.stream->is_open());
    EXPECT_EQ(g_hijackedCalls, 0);
}

TEST_P(HostileServices, TheMetricsAreTheLibrarysOwn)
{
    auto* const init = Exported<bool (*)(ours::Metrics*, bool)>("_ZN7Metrics4InitEb");
    auto* const dump = Exported<void (*)(ours::Metrics*)>("_ZN7Metrics4DumpEv");
    auto* const readBack = Exported<bool (*)(ours::Metrics*, ours::SystemMetrics&)>(
        "_ZN7Metrics18GetMetricsFromFileER13SystemMetrics");
    auto* const report = Exported<std::string (*)(const ours::SystemMetrics&)>(
        "_Z22GetSystemMetricsReportB5cxx11RK13SystemMetrics");
    ours::Metrics metrics;
    EXPECT_TRUE(init(&metrics, true));
    EXPECT_EQ(metrics.path, "/var/log/tarnix/metrics.bin");
    EXPECT_EQ(metrics.metrics.pageSizeKb, sysconf(_SC_PAGESIZE) / 1024);
    metrics.path = Path("metrics.bin");
    metrics.metrics.numaNum = 1;
    metrics.metrics.uncore.interval = 5;
    metrics.metrics.mem.freeMemKb[0] = 1536;
    dump(&metrics);
    EXPECT_EQ(metrics.metrics.uncore.interval, 0U) << "cleared by the library's own ClearMetrics";
    ours::SystemMetrics record;
    ASSERT_TRUE(readBack(&metrics, record));
    EXPECT_EQ(record.uncore.interval, 5U);
    EXPECT_THAT(report(record), testing::HasSubstr("Free memory(MB):                   1.5\n"));
    EXPECT_EQ(g_hijackedCalls, 0);
}

TEST_P(HostileServices, AreTakenOverWithoutProtection)
{
    const PluginLibrary unprotected(UNPROTECTED_SERVICES, GetParam().flag);
    const auto init =
        reinterpret_cast<bool (*)(ours::Metrics*, bool)>(unprotected.Symbol("_ZN7Metrics4InitEb"));
    ASSERT_NE(init, nullptr);
    ours::Metrics metrics;
    EXPECT_TRUE(init(&metrics, true));
    EXPECT_EQ(metrics.metrics.pageSizeKb, -1) << "the answer of the host's GetPageSizeKb";
    EXPECT_EQ(g_hijackedCalls, 1);
}

INSTANTIATE_TEST_SUITE_P(Modes, HostileServices, testing::ValuesIn(support::LOAD_MODES),
                         [](const auto& mode) { return std::string(mode.param.name); });

}  // namespace
