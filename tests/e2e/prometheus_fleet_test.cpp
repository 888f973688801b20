// SPDX-License-Identifier: MIT
//
// A real Prometheus scrapes fifty exporters with the shipped rules, in which a minute has become a second,
// and finds the one bad server.

#include <signal.h>
#include <stdlib.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <functional>
#include <memory>
#include <regex>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <yaml-cpp/yaml.h>

#include "tests/support/exporter.h"
#include "tests/support/metrics_record.h"
#include "tests/support/prometheus_files.h"
#include "tests/support/prometheus_programs.h"
#include "tests/support/prometheus_server.h"
#include "tests/support/scratch_directory.h"

namespace {

using support::PrometheusServer;
using support::QueriedSeries;
using testing::IsEmpty;
using testing::UnorderedElementsAre;
using Clock = std::chrono::steady_clock;

/// Alert and instance.
using Alert = std::pair<std::string, std::string>;
using Alerts = std::set<Alert>;

const std::string PACKAGING = std::string(SOURCE_DIR) + "/packaging";

/// One server of the fleet: a metrics file and its exporter.
class Server {
public:
    explicit Server(std::string file) : m_file(std::move(file))
    {
        m_record.pageSizeKb = 4;
        m_record.numaNum = 2;
        m_record.mem.freeMemKb[0] = 1000000;
        m_record.mem.freeMemKb[1] = 2000000;
    }

    /// How much of its traffic crosses from now on, two thirds of it to another socket.
    void SetRemoteShare(double share)
    {
        m_record.uncore = {1000, 20000000, static_cast<std::uint64_t>(std::llround(20000000 * share * 2 / 3)),
                           static_cast<std::uint64_t>(std::llround(20000000 * share / 3)),
                           static_cast<float>(1 - share)};
    }

    /// As tarnix does it: beside, then over.
    void Dump()
    {
        ++m_record.loopCnt;
        support::WriteRecord(m_file + ".tmp", m_record);
        ASSERT_EQ(rename((m_file + ".tmp").c_str(), m_file.c_str()), 0);
    }

    void Start()
    {
        m_port = support::FreePort();
        setenv("TARNIX_METRICS_FILE", m_file.c_str(), 1);
        m_exporter = support::StartDependent(
            {TNSTAT, "-e", "node_exporter", "--ip", "127.0.0.1", "--port", std::to_string(m_port)});
    }

    /// Until it serves; started again when another program took the port in between.
    bool AwaitServing()
    {
        return support::Eventually([this] {
            const std::string said = m_exporter->Err();
            if (said.find("already in use") != std::string::npos) {
                Start();
            }
            return said.find("serving") != std::string::npos;
        });
    }

    void End()
    {
        m_exporter->Signal(SIGTERM);
        EXPECT_EQ(m_exporter->Wait().status, 0);
    }

    std::string Instance() const { return "127.0.0.1:" + std::to_string(m_port); }

private:
    std::string m_file;
    SystemMetrics m_record;
    unsigned m_port = 0;
    std::unique_ptr<support::Program> m_exporter;
};

class PrometheusFleetTest : public testing::Test {
protected:
    static constexpr std::size_t SERVERS = 50;
    static constexpr std::size_t BAD = 17;
    static constexpr std::size_t GONE = 31;

    void StartServers()
    {
        for (std::size_t i = 0; i < SERVERS; ++i) {
            servers.emplace_back(scratch / ("metrics" + std::to_string(i) + ".bin"));
            servers[i].SetRemoteShare(GoodShare(i));
            servers[i].Dump();
            servers[i].Start();
        }
        for (Server& server : servers) {
            ASSERT_TRUE(server.AwaitServing());
        }
    }

    /// 1 to 2.47 %.
    static double GoodShare(std::size_t i) { return 0.01 + 0.0003 * static_cast<double>(i); }

    /// The example configuration with this fleet, these rules, and seconds for minutes.
    std::string WriteConfiguration() const
    {
        YAML::Node file = YAML::LoadFile(PACKAGING + "/prometheus/tarnix-scrape.yml");
        for (auto rules : file["rule_files"]) {
            const auto name = rules.as<std::string>();
            support::CopyRulesShortened(PACKAGING + "/prometheus/" + name, scratch / name);
        }
        file["global"]["scrape_interval"] = "1s";
        file["global"]["evaluation_interval"] = "500ms";
        YAML::Node job = file["scrape_configs"][0];
        job["scrape_timeout"] = "1s";
        YAML::Node targets;
        for (const Server& server : servers) {
            targets.push_back(server.Instance());
        }
        job["static_configs"][0]["targets"] = targets;
        std::ofstream(scratch / "prometheus.yml") << file << "\n";
        return scratch / "prometheus.yml";
    }

    std::vector<QueriedSeries> Query(const std::string& expression) const
    {
        std::string fault;
        std::vector<QueriedSeries> series = prometheus->Query(expression, fault);
        EXPECT_EQ(fault, "") << expression;
        return series;
    }

    Alerts AlertsOf(const std::string& expression) const
    {
        Alerts alerts;
        for (QueriedSeries& series : Query(expression)) {
            alerts.insert({series.labels["alertname"], series.labels["instance"]});
        }
        return alerts;
    }

    Alerts Firing() const { return AlertsOf("ALERTS{alertstate=\"firing\"}"); }
    /// Those that may still become alerts included.
    Alerts PendingOrFiring() const { return AlertsOf("ALERTS"); }

    /// What to know when the fleet does not get where it should.
    std::string State() const
    {
        return "alerts: " + testing::PrintToString(PendingOrFiring()) + "\n" + prometheus->Log();
    }

    /// The fleet works on until the condition holds, at most 60 s.
    bool Work(const std::function<bool()>& condition)
    {
        const auto end = Clock::now() + std::chrono::seconds(60);
        while (!condition()) {
            if (Clock::now() > end) {
                return false;
            }
            for (Server& server : servers) {
                server.Dump();
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(200));
        }
        return true;
    }

    void WorkFor(std::chrono::milliseconds time)
    {
        const auto end = Clock::now() + time;
        Work([end] { return Clock::now() >= end; });
    }

    support::ScratchDirectory scratch;
    std::vector<Server> servers;
    std::unique_ptr<PrometheusServer> prometheus;
};

/// A panel's expression with every server chosen.
std::string WithVariables(const std::string& expression)
{
    return std::regex_replace(std::regex_replace(expression, std::regex(R"(\$(job|instance))"), ".+"),
                              std::regex(R"(\$__[a-z_]+)"), "5s");
}

TEST_F(PrometheusFleetTest, FindsTheOneBadServer)
{
    REQUIRE_PROMETHEUS_PROGRAM(program, "prometheus");
    if (std::string(SANITIZERS) != "") {
        GTEST_SKIP() << "fifty instrumented exporters prove no more; the plain builds run this test";
    }
    StartServers();
    prometheus = std::make_unique<PrometheusServer>(program, WriteConfiguration(), scratch / "data");
    ASSERT_TRUE(prometheus->IsReady()) << prometheus->Log();

    // Fifty good servers, all judged: nothing, not even on its way.
    ASSERT_TRUE(Work([this] {
        const auto judged = Query("job:tarnix_uncore_remote_per_op:busy_count");
        return judged.size() == 1 && judged[0].value == SERVERS && PendingOrFiring().empty();
    })) << State();
    // One scrape of fifty may be late on a busy machine, and an alert be on its way for a moment.
    WorkFor(std::chrono::seconds(3));
    EXPECT_THAT(Firing(), IsEmpty());
    EXPECT_TRUE(Work([this] { return PendingOrFiring().empty(); })) << State();

    // One becomes bad.
    const std::string bad = servers[BAD].Instance();
    servers[BAD].SetRemoteShare(0.14);
    const Alerts expected = {{"TarnixNumaScoreLow", bad}, {"TarnixServerWorseThanFleet", bad}};
    ASSERT_TRUE(Work([&] { return Firing().size() >= expected.size(); })) << State();
    EXPECT_EQ(Firing(), expected);
    EXPECT_TRUE(Work([&] { return PendingOrFiring() == expected; })) << State();
    for (const QueriedSeries& series : Query("instance:tarnix_uncore_remote_per_op:busy_excess > 0.05")) {
        EXPECT_EQ(series.labels.at("instance"), bad);
        EXPECT_NEAR(series.value, 0.14 - GoodShare(25), 0.002);
    }

    // Every panel shows something.
    for (const support::DashboardQuery& query : support::QueriesOf(PACKAGING + "/grafana/tarnix.json")) {
        EXPECT_THAT(Query(WithVariables(query.expression)), testing::Not(IsEmpty())) << query.where;
    }

    // It recovers, and another exporter ends.
    servers[BAD].SetRemoteShare(GoodShare(BAD));
    servers[GONE].End();
    const Alerts down = {{"TarnixDown", servers[GONE].Instance()}};
    ASSERT_TRUE(Work([&] { return PendingOrFiring() == down && Firing() == down; })) << State();

    // In all that time nothing else.
    Alerts ever = expected;
    ever.insert(down.begin(), down.end());
    EXPECT_EQ(AlertsOf("max_over_time(ALERTS{alertstate=\"firing\"}[10m])"), ever);
    EXPECT_THAT(prometheus->Log(), testing::Not(testing::HasSubstr("Evaluating rule failed")));
    EXPECT_EQ(prometheus->Stop(), 0) << prometheus->Log();
}

}  // namespace
