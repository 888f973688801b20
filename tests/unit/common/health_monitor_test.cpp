// SPDX-License-Identifier: MIT

#include "common/health_monitor.h"

#include <climits>
#include <clocale>
#include <locale>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "common/monotonic_ns.h"

namespace {

std::uint64_t g_now = 0;

std::uint64_t HandMovedClock()
{
    return g_now;
}

class HealthMonitorTest : public testing::Test {
protected:
    void SetUp() override
    {
        g_now = 1000;
        systemSource = runtime::monotonicSource;
        runtime::monotonicSource = HandMovedClock;
    }
    void TearDown() override { runtime::monotonicSource = systemSource; }

    HealthMonitor monitor;

private:
    std::uint64_t (*systemSource)() = nullptr;
};

/// Lines of the report without the leading empty one.
std::vector<std::string> Lines(const std::string& report)
{
    std::vector<std::string> lines;
    std::istringstream text(report);
    std::string line;
    while (std::getline(text, line)) {
        lines.push_back(line);
    }
    return lines;
}

TEST_F(HealthMonitorTest, StartsEmptyWithTheFixedOrder)
{
    EXPECT_EQ(monitor.activeCount, 0U);
    EXPECT_TRUE(monitor.phases.empty());
    EXPECT_EQ(monitor.lastReportNs, 0U);
    const std::vector<std::string> order = {
        "tarnix_cycle_time", "tune_decision_interval", "collection",     "update_data", "pmu_read",
        "run_stat",          "update_collection",      "tune_algorithm", "migrate",     "MigrateThread",
        "MigratePage"};
    EXPECT_EQ(monitor.order, order);
}

TEST_F(HealthMonitorTest, FirstStartCreatesThePhase)
{
    monitor.StartPhase("migrate");
    ASSERT_EQ(monitor.phases.count("migrate"), 1U);
    const HealthPhase& phase = monitor.phases.at("migrate");
    EXPECT_EQ(phase.name, "migrate");
    EXPECT_EQ(phase.startNs, 1000U);
    EXPECT_EQ(phase.endNs, 0U);
    EXPECT_EQ(phase.durationNs, 0U);
    EXPECT_EQ(monitor.activeCount, 1U);
}

TEST_F(HealthMonitorTest, StartingAgainKeepsTheDurationAndCountsAgain)
{
    monitor.StartPhase("a");
    g_now += 70;
    monitor.PausePhase("a");
    g_now += 5;
    monitor.StartPhase("a");
    EXPECT_EQ(monitor.phases.at("a").startNs, 1075U);
    EXPECT_EQ(monitor.GetDurationNs("a"), 70U);
    EXPECT_EQ(monitor.activeCount, 2U);
}

TEST_F(HealthMonitorTest, EndTakesTheLastSegment)
{
    monitor.StartPhase("a");
    g_now += 250;
    monitor.EndPhase("a");
    EXPECT_EQ(monitor.phases.at("a").endNs, 1250U);
    EXPECT_EQ(monitor.GetDurationNs("a"), 250U);
    EXPECT_EQ(monitor.activeCount, 0U);
}

TEST_F(HealthMonitorTest, PausesAddUpAndEndReplacesTheSum)
{
    monitor.StartPhase("paused");
    monitor.StartPhase("ended");
    for (int segment = 0; segment < 3; ++segment) {
        g_now += 100;
        monitor.PausePhase("paused");
        monitor.PausePhase("ended");
        g_now += 1000;
        if (segment < 2) {
            monitor.ResumePhase("paused");
            monitor.ResumePhase("ended");
        }
    }
    EXPECT_EQ(monitor.GetDurationNs("paused"), 300U);
    monitor.ResumePhase("ended");
    g_now += 7;
    monitor.EndPhase("ended");
    EXPECT_EQ(monitor.GetDurationNs("ended"), 7U);
}

TEST_F(HealthMonitorTest, ResumeOfAKnownPhaseIsNoStart)
{
    monitor.StartPhase("a");
    g_now += 30;
    monitor.PausePhase("a");
    g_now += 4;
    monitor.ResumePhase("a");
    EXPECT_EQ(monitor.phases.at("a").startNs, 1034U);
    EXPECT_EQ(monitor.phases.at("a").endNs, 1030U);
    EXPECT_EQ(monitor.activeCount, 1U);
}

TEST_F(HealthMonitorTest, ResumeOfAnUnknownPhaseIsAStart)
{
    monitor.ResumePhase("a");
    EXPECT_EQ(monitor.phases.at("a").startNs, 1000U);
    EXPECT_EQ(monitor.activeCount, 1U);
    monitor.EndPhase("a");
    EXPECT_EQ(monitor.activeCount, 0U);
}

TEST_F(HealthMonitorTest, UnknownNamesAreIgnored)
{
    monitor.StartPhase("a");
    monitor.PausePhase("b");
    monitor.EndPhase("b");
    monitor.ArchivePhase("b", "c");
    EXPECT_EQ(monitor.phases.size(), 1U);
    EXPECT_EQ(monitor.activeCount, 1U);
    EXPECT_EQ(monitor.GetDurationNs("b"), 0U);
    EXPECT_EQ(monitor.phases.size(), 1U);
}

TEST_F(HealthMonitorTest, EndingTwiceMeasuresAgainAndNeverCountsBelowZero)
{
    monitor.StartPhase("a");
    g_now += 10;
    monitor.EndPhase("a");
    g_now += 10;
    monitor.EndPhase("a");
    EXPECT_EQ(monitor.GetDurationNs("a"), 20U);
    EXPECT_EQ(monitor.activeCount, 0U);
}

TEST_F(HealthMonitorTest, ArchiveKeepsTheDurationUnderTheOtherName)
{
    monitor.StartPhase("cycle");
    g_now += 500;
    monitor.EndPhase("cycle");
    monitor.ArchivePhase("cycle", "last");
    EXPECT_EQ(monitor.phases.at("last").name, "last");
    EXPECT_EQ(monitor.phases.at("last").durationNs, 500U);
    EXPECT_EQ(monitor.phases.at("last").startNs, 0U);
    EXPECT_EQ(monitor.phases.at("last").endNs, 0U);
    EXPECT_EQ(monitor.phases.at("cycle").startNs, 0U);
    EXPECT_EQ(monitor.GetDurationNs("cycle"), 500U);
    EXPECT_EQ(monitor.activeCount, 0U);

    monitor.StartPhase("cycle");
    g_now += 9;
    monitor.EndPhase("cycle");
    EXPECT_EQ(monitor.GetDurationNs("last"), 500U);
    monitor.StartPhase("last");
    monitor.ArchivePhase("cycle", "last");
    EXPECT_EQ(monitor.phases.at("last").durationNs, 9U);
    EXPECT_EQ(monitor.phases.at("last").startNs, 1509U) << "only the duration is copied";
}

TEST_F(HealthMonitorTest, ArchiveOntoItselfKeepsTheDuration)
{
    monitor.StartPhase("a");
    g_now += 3;
    monitor.EndPhase("a");
    monitor.ArchivePhase("a", "a");
    EXPECT_EQ(monitor.GetDurationNs("a"), 3U);
    EXPECT_EQ(monitor.phases.at("a").startNs, 0U);
    EXPECT_EQ(monitor.phases.size(), 1U);
}

TEST_F(HealthMonitorTest, ClearForgetsThePhasesOnly)
{
    monitor.StartPhase("a");
    EXPECT_NE(monitor.LogAllIfNeeded(), "");
    monitor.Clear();
    EXPECT_TRUE(monitor.phases.empty());
    EXPECT_EQ(monitor.activeCount, 0U);
    EXPECT_EQ(monitor.lastReportNs, 1000U);
    EXPECT_EQ(monitor.order.size(), 11U);
}

TEST(HealthMonitorText, DurationsAtEveryBoundary)
{
    const struct {
        unsigned long ns;
        const char* text;
    } cases[] = {
        {0, "0 ns"},
        {1, "1 ns"},
        {999, "999 ns"},
        {1000, "1.000 us"},
        {1001, "1.001 us"},
        {1499, "1.499 us"},
        {999999, "999.999 us"},
        {1000000, "1.000 ms"},
        {1500000, "1.500 ms"},
        {1234567, "1.235 ms"},
        {999999499, "999.999 ms"},
        {999999999, "1000.000 ms"},
        {1000000000, "1.000 s"},
        {2000000000, "2.000 s"},
        {61234567890, "61.235 s"},
        {ULONG_MAX, "18446744073.710 s"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(HealthMonitor::LogAllHumanRead(c.ns), c.text);
    }
}

TEST_F(HealthMonitorTest, EmptyReportToTheByte)
{
    EXPECT_EQ(monitor.LogAll(),
              "\n"
              "+============ Health Monitor Report ===========+\n"
              "| Phase                      | Duration        |\n"
              "------------------------------------------------\n"
              "+==============================================+\n");
}

TEST_F(HealthMonitorTest, ReportListsKnownPhasesInOrderToTheByte)
{
    monitor.StartPhase("MigratePage");
    monitor.StartPhase("of_my_own");
    monitor.StartPhase("tune_decision_interval");
    g_now += 1500000;
    monitor.EndPhase("tune_decision_interval");
    monitor.StartPhase("tarnix_cycle_time");
    g_now += 999;
    monitor.EndPhase("tarnix_cycle_time");
    EXPECT_EQ(monitor.LogAll(),
              "\n"
              "+============ Health Monitor Report ===========+\n"
              "| Phase                      | Duration        |\n"
              "------------------------------------------------\n"
              "| tarnix_cycle_time          | 999 ns          |\n"
              "| tune_decision_interval     | 1.500 ms        |\n"
              "| MigratePage                | 0 ns            |\n"
              "+==============================================+\n");
    EXPECT_EQ(monitor.lastReportNs, 0U) << "LogAll leaves the pacing alone";
}

TEST_F(HealthMonitorTest, EveryLineIs48CharactersWide)
{
    for (const std::string& name : monitor.order) {
        monitor.StartPhase(name);
        g_now += 123456789;
        monitor.EndPhase(name);
    }
    const std::vector<std::string> lines = Lines(monitor.LogAll());
    ASSERT_EQ(lines.size(), 5U + monitor.order.size());
    EXPECT_EQ(lines[0], "");
    for (std::size_t i = 1; i < lines.size(); ++i) {
        EXPECT_EQ(lines[i].size(), 48U) << lines[i];
    }
}

TEST_F(HealthMonitorTest, ReportsAtMostOncePerSecond)
{
    monitor.StartPhase("collection");
    const std::string first = monitor.LogAllIfNeeded();
    EXPECT_EQ(first, monitor.LogAll());
    EXPECT_EQ(monitor.lastReportNs, 1000U);
    EXPECT_EQ(monitor.LogAllIfNeeded(), "");
    g_now = 1000 + 999999999;
    EXPECT_EQ(monitor.LogAllIfNeeded(), "");
    EXPECT_EQ(monitor.lastReportNs, 1000U);
    g_now = 1000 + 1000000000;
    EXPECT_EQ(monitor.LogAllIfNeeded(), monitor.LogAll());
    EXPECT_EQ(monitor.lastReportNs, 1000U + 1000000000U);
}

TEST_F(HealthMonitorTest, AReportAtTimeZeroDoesNotCountAsOne)
{
    g_now = 0;
    EXPECT_NE(monitor.LogAllIfNeeded(), "");
    EXPECT_NE(monitor.LogAllIfNeeded(), "");
}

/// Decimal comma and grouping, as a locale of the host may have them.
class Comma : public std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
};

TEST(HealthMonitorText, IgnoresTheLocale)
{
    const std::locale before = std::locale::global(std::locale(std::locale::classic(), new Comma));
    EXPECT_EQ(HealthMonitor::LogAllHumanRead(1234500), "1.234 ms");
    EXPECT_EQ(HealthMonitor::LogAllHumanRead(1234567890123UL), "1234.568 s");
    std::locale::global(before);
}

TEST(HealthMonitorClock, TheSystemClockIsMonotonic)
{
    HealthMonitor monitor;
    monitor.StartPhase("a");
    const std::uint64_t first = monitor.phases.at("a").startNs;
    EXPECT_GT(first, 0U);
    monitor.StartPhase("a");
    EXPECT_GE(monitor.phases.at("a").startNs, first);
}

}  // namespace
