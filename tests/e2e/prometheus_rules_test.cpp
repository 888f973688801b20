// SPDX-License-Identifier: MIT
//
// The files for Prometheus and Grafana under packaging/, against Prometheus's own checker and against what
// tnstat really serves.

#include <stdlib.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <map>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <yaml-cpp/yaml.h>
#include <nlohmann/json.hpp>

#include "tests/support/exporter.h"
#include "tests/support/metrics_record.h"
#include "tests/support/program_run.h"
#include "tests/support/prometheus_files.h"
#include "tests/support/prometheus_programs.h"
#include "tests/support/promql_names.h"
#include "tests/support/scratch_directory.h"

namespace {

using support::ProgramResult;
using testing::ElementsAre;
using testing::IsEmpty;

const std::string ROOT = SOURCE_DIR;
const std::string RECORDING = ROOT + "/packaging/prometheus/tarnix-recording.rules.yml";
const std::string ALERTING = ROOT + "/packaging/prometheus/tarnix-alerting.rules.yml";
const std::string SCRAPE = ROOT + "/packaging/prometheus/tarnix-scrape.yml";
const std::string RECORDING_TEST = ROOT + "/packaging/prometheus/tests/recording_test.yml";
const std::string ALERTING_TEST = ROOT + "/packaging/prometheus/tests/alerting_test.yml";
const std::string DASHBOARD = ROOT + "/packaging/grafana/tarnix.json";
const std::string PROVISIONING = ROOT + "/packaging/grafana/tarnix-provisioning.yml";

std::string ReadFile(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void ExpectContent(const std::string& promtool, const std::vector<std::string>& arguments)
{
    std::vector<std::string> command = {promtool};
    command.insert(command.end(), arguments.begin(), arguments.end());
    const ProgramResult result = support::RunProgram(command);
    EXPECT_EQ(result.status, 0) << result.out << result.err;
}

TEST(PromtoolTest, AcceptsTheRules)
{
    REQUIRE_PROMETHEUS_PROGRAM(promtool, "promtool");
    ExpectContent(promtool, {"check", "rules", "--lint=all", "--lint-fatal", RECORDING, ALERTING});
}

TEST(PromtoolTest, AcceptsTheExampleConfiguration)
{
    REQUIRE_PROMETHEUS_PROGRAM(promtool, "promtool");
    ExpectContent(promtool, {"check", "config", "--lint=all", "--lint-fatal", SCRAPE});
}

TEST(PromtoolTest, PassesTheTestsOfTheRules)
{
    REQUIRE_PROMETHEUS_PROGRAM(promtool, "promtool");
    ExpectContent(promtool, {"test", "rules", RECORDING_TEST, ALERTING_TEST});
}

TEST(RulesTest, EveryAlertIsTestedBothWays)
{
    std::map<std::string, std::set<bool>> seen;
    for (const auto& test : YAML::LoadFile(ALERTING_TEST)["tests"]) {
        for (const auto& check : test["alert_rule_test"]) {
            seen[check["alertname"].as<std::string>()].insert(check["exp_alerts"].size() > 0);
        }
    }
    std::size_t alerts = 0;
    for (const support::PrometheusRule& rule : support::RulesOf(ALERTING)) {
        EXPECT_EQ(seen[rule.alert].size(), 2U) << rule.alert << " fires in one case and is quiet in another";
        ++alerts;
    }
    EXPECT_GE(alerts, 5U);
    EXPECT_EQ(seen.size(), alerts) << "tests of alerts that there are";
}

TEST(RulesTest, EveryRecordIsUsedAndNamedByTheConvention)
{
    std::string uses;
    for (const std::string& path : {RECORDING, ALERTING}) {
        for (const support::PrometheusRule& rule : support::RulesOf(path)) {
            uses += rule.expression + "\n";
        }
    }
    const std::regex convention("(instance|job):tarnix_[a-z_]+:[a-z0-9_]+");
    std::size_t records = 0;
    for (const support::PrometheusRule& rule : support::RulesOf(RECORDING)) {
        EXPECT_TRUE(std::regex_match(rule.record, convention)) << rule.record;
        EXPECT_NE(uses.find(rule.record), std::string::npos) << rule.record << " is used by no rule";
        ++records;
    }
    EXPECT_GE(records, 5U);
}

TEST(RulesTest, EveryAlertSaysWhatItIsAndWhereItsSectionStands)
{
    const std::regex camelCase("Tarnix([A-Z][a-z]+)+");
    std::vector<support::PrometheusRule> rules = support::RulesOf(ALERTING);
    for (support::PrometheusRule& rule : rules) {
        ASSERT_TRUE(std::regex_match(rule.alert, camelCase)) << rule.alert;
        EXPECT_NE(rule.pendingFor, "") << rule.alert;
        EXPECT_THAT(rule.labels["severity"], testing::AnyOf("info", "warning", "critical")) << rule.alert;
        EXPECT_NE(rule.annotations["summary"], "") << rule.alert;
        EXPECT_NE(rule.annotations["description"], "") << rule.alert;
        const std::string url = rule.annotations["runbook_url"];
        std::string anchor = rule.alert;
        std::transform(anchor.begin(), anchor.end(), anchor.begin(),
                       [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
        const std::size_t hash = url.find('#');
        EXPECT_EQ(url.substr(hash + 1), anchor);
        EXPECT_NE(ReadFile(ROOT + "/" + url.substr(0, hash)).find("\n### " + rule.alert + "\n"),
                  std::string::npos)
            << url << " leads to no section";
    }
}

/// The records of the rules, and a scrape of tnstat with everything that it can serve.
class ServedNamesTest : public testing::Test {
protected:
    void SetUp() override
    {
        setenv("TARNIX_METRICS_FILE", file.c_str(), 1);
        support::WriteRecord(file, support::TellingRecord());
        const support::Exporter exporter(TNSTAT, "127.0.0.1");
        ASSERT_NE(exporter.port, 0U) << exporter.program->Err();
        scraped = support::NamesOfScrape(exporter.Get("/metrics").body);
        ASSERT_EQ(scraped.count("tarnix_up"), 1U);
        ASSERT_EQ(scraped["tarnix_score_quality_flags"]["flag"].size(), 4U);
        for (const support::PrometheusRule& rule : support::RulesOf(RECORDING)) {
            records.insert(rule.record);
        }
    }

    void ExpectKnown(const std::string& where, const std::string& expression) const
    {
        EXPECT_THAT(support::UnknownNames(expression, scraped, records), IsEmpty()) << where;
        EXPECT_THAT(support::NamesOf(expression).selectors, testing::Not(IsEmpty())) << where;
    }

    support::ScratchDirectory scratch;
    std::string file = scratch / "metrics.bin";
    support::ScrapedNames scraped;
    std::set<std::string> records;
};

TEST_F(ServedNamesTest, FindsWhatIsNotServed)
{
    EXPECT_THAT(
        support::UnknownNames("sum by (job, rack) (rate(tarnix_bogus{job=\"x\"}[5m]))", scraped, records),
        ElementsAre("no metric tarnix_bogus", "no label rack"));
    EXPECT_THAT(support::UnknownNames(
                    "tarnix_up{flag=\"a\"} + tarnix_score_quality_flags{flag=~\"idle|no_interval\"}", scraped,
                    records),
                ElementsAre("no label flag of tarnix_up", "no flag=\"idle\" of tarnix_score_quality_flags"));
    EXPECT_THAT(support::UnknownNames("1 - instance:tarnix_bogus:avg5m > on (job) group_left () (2 * up)",
                                      scraped, records),
                ElementsAre("no metric instance:tarnix_bogus:avg5m"));
}

TEST_F(ServedNamesTest, TheRulesUseNothingElse)
{
    for (const std::string& path : {RECORDING, ALERTING}) {
        for (const support::PrometheusRule& rule : support::RulesOf(path)) {
            ExpectKnown(rule.record + rule.alert, rule.expression);
        }
    }
}

TEST_F(ServedNamesTest, TheDashboardUsesNothingElse)
{
    std::set<std::string> labels = {"job", "instance", "alertname"};
    for (const auto& [metric, own] : scraped) {
        for (const auto& entry : own) {
            labels.insert(entry.first);
        }
    }
    const std::regex placeholder(R"(\{\{\s*([a-z_]+)\s*\}\})");
    for (const support::DashboardQuery& query : support::QueriesOf(DASHBOARD)) {
        ExpectKnown(query.where, query.expression);
        if (!query.label.empty()) {
            EXPECT_EQ(labels.count(query.label), 1U) << query.where << ": " << query.label;
        }
        for (std::sregex_iterator found(query.legend.begin(), query.legend.end(), placeholder), end;
             found != end; ++found) {
            EXPECT_EQ(labels.count((*found)[1]), 1U) << query.where << ": " << query.legend;
        }
    }
}

TEST_F(ServedNamesTest, EveryMetricHasItsPlaceInTheDashboard)
{
    std::string uses;
    for (const support::DashboardQuery& query : support::QueriesOf(DASHBOARD)) {
        uses += query.expression + "\n";
    }
    for (const support::PrometheusRule& rule : support::RulesOf(RECORDING)) {
        uses += rule.expression + "\n";
    }
    for (const auto& entry : scraped) {
        EXPECT_NE(uses.find(entry.first), std::string::npos) << entry.first;
    }
}

/// Every panel, those of folded rows too.
void Flatten(const nlohmann::json& panels, std::vector<nlohmann::json>& all)
{
    for (const nlohmann::json& panel : panels) {
        all.push_back(panel);
        Flatten(panel.value("panels", nlohmann::json::array()), all);
    }
}

TEST(DashboardTest, CanBeProvisioned)
{
    const nlohmann::json dashboard = nlohmann::json::parse(ReadFile(DASHBOARD));
    EXPECT_TRUE(dashboard.at("id").is_null()) << "Grafana gives it";
    EXPECT_EQ(dashboard.at("uid"), "tarnix") << "links to the dashboard outlast an update";
    EXPECT_GE(dashboard.at("schemaVersion"), 36);
    std::map<std::string, nlohmann::json> variables;
    for (const nlohmann::json& variable : dashboard.at("templating").at("list")) {
        variables[variable.at("name")] = variable;
        if (variable.at("type") == "query") {
            EXPECT_EQ(variable.at("datasource").at("uid"), "${datasource}") << variable.at("name");
        }
    }
    EXPECT_EQ(variables["datasource"]["type"], "datasource");
    EXPECT_EQ(variables["datasource"]["query"], "prometheus");
    EXPECT_EQ(variables["instance"]["type"], "query");
    EXPECT_EQ(variables["job"]["allValue"], "tarnix.*")
        << "All means all of ours, not all of that Prometheus";

    const YAML::Node provisioning = YAML::LoadFile(PROVISIONING);
    EXPECT_EQ(provisioning["apiVersion"].as<int>(), 1);
    ASSERT_EQ(provisioning["providers"].size(), 1U);
    EXPECT_EQ(provisioning["providers"][0]["type"].as<std::string>(), "file");
    EXPECT_EQ(provisioning["providers"][0]["options"]["path"].as<std::string>().front(), '/');
}

TEST(DashboardTest, EveryPanelHasAUnitAPlaceAndTheChosenSource)
{
    std::vector<nlohmann::json> panels;
    Flatten(nlohmann::json::parse(ReadFile(DASHBOARD)).at("panels"), panels);
    std::set<int> ids;
    std::map<std::pair<int, int>, std::string> cells;
    std::size_t graphs = 0;
    for (const nlohmann::json& panel : panels) {
        const std::string title = panel.at("title");
        EXPECT_TRUE(ids.insert(panel.at("id").get<int>()).second) << title << ": the id is taken";
        const nlohmann::json& place = panel.at("gridPos");
        for (int x = place.at("x"); x < place.at("x").get<int>() + place.at("w").get<int>(); ++x) {
            EXPECT_LT(x, 24) << title;
            for (int y = place.at("y"); y < place.at("y").get<int>() + place.at("h").get<int>(); ++y) {
                EXPECT_TRUE(cells.insert({{x, y}, title}).second) << title << " lies on " << cells[{x, y}];
            }
        }
        if (panel.at("type") == "row") {
            continue;
        }
        ++graphs;
        EXPECT_NE(panel.at("description"), "") << title;
        EXPECT_THAT(panel.at("fieldConfig").at("defaults").at("unit").get<std::string>(),
                    testing::AnyOf("percentunit", "bytes", "ops", "s", "short", "none", "bool"))
            << title;
        EXPECT_EQ(panel.at("datasource").at("uid"), "${datasource}") << title;
        EXPECT_FALSE(panel.at("targets").empty()) << title;
        for (const nlohmann::json& target : panel.at("targets")) {
            EXPECT_EQ(target.at("datasource").at("uid"), "${datasource}") << title;
        }
    }
    EXPECT_GE(graphs, 10U);
}

}  // namespace
