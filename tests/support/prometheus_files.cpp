// SPDX-License-Identifier: MIT

#include "tests/support/prometheus_files.h"

#include <fstream>
#include <functional>
#include <regex>
#include <sstream>

#include <yaml-cpp/yaml.h>
#include <nlohmann/json.hpp>

#include "tests/support/promql_names.h"

namespace support {
namespace {

/// What Prometheus itself adds: series about the scrape and the alerts, and the labels of a target.
const std::map<std::string, std::set<std::string>> OWN_SERIES = {
    {"up", {}},
    {"scrape_duration_seconds", {}},
    {"ALERTS", {"alertname", "alertstate", "severity"}},
};
const std::set<std::string> TARGET_LABELS = {"job", "instance"};

std::map<std::string, std::string> Texts(const YAML::Node& node)
{
    std::map<std::string, std::string> texts;
    for (const auto& entry : node) {
        texts[entry.first.as<std::string>()] = entry.second.as<std::string>();
    }
    return texts;
}

std::string TextOf(const YAML::Node& node)
{
    return node ? node.as<std::string>() : "";
}

void CollectQueries(const nlohmann::json& panels, std::vector<DashboardQuery>& queries)
{
    for (const nlohmann::json& panel : panels) {
        for (const nlohmann::json& target : panel.value("targets", nlohmann::json::array())) {
            queries.push_back({panel.at("title"), target.at("expr"), "", target.value("legendFormat", "")});
        }
        // A folded row keeps its panels to itself.
        CollectQueries(panel.value("panels", nlohmann::json::array()), queries);
    }
}

DashboardQuery VariableQuery(const std::string& name, const std::string& query)
{
    static const std::regex labelValues(R"(label_values\((.*),\s*([A-Za-z_]+)\))");
    std::smatch parts;
    if (!std::regex_match(query, parts, labelValues)) {
        return {name, query, "", ""};
    }
    return {name, parts[1], parts[2], ""};
}

std::vector<std::string> SplitAlternatives(const std::string& text)
{
    std::vector<std::string> parts;
    std::istringstream stream(text);
    for (std::string part; std::getline(stream, part, '|');) {
        parts.push_back(part);
    }
    return parts;
}

/// True for a value that is spelt out, so that it can be looked for.
bool IsPlain(const std::string& value)
{
    return value.find_first_of("$.*+?[](){}^\\") == std::string::npos;
}

void CheckSelector(const MetricSelector& selector, const ScrapedNames& scraped,
                   const std::set<std::string>& records, std::vector<std::string>& faults)
{
    const auto own = OWN_SERIES.find(selector.metric);
    const auto metric = scraped.find(selector.metric);
    const bool isRecord = records.count(selector.metric) != 0;
    if (own == OWN_SERIES.end() && metric == scraped.end() && !isRecord) {
        faults.push_back("no metric " + selector.metric);
        return;
    }
    for (const LabelMatcher& matcher : selector.matchers) {
        if (TARGET_LABELS.count(matcher.label) != 0 ||
            (own != OWN_SERIES.end() && own->second.count(matcher.label) != 0)) {
            continue;
        }
        if (metric == scraped.end() || metric->second.count(matcher.label) == 0) {
            faults.push_back("no label " + matcher.label + " of " + selector.metric);
            continue;
        }
        for (const std::string& value : SplitAlternatives(matcher.value)) {
            if (IsPlain(value) && metric->second.at(matcher.label).count(value) == 0) {
                faults.push_back("no " + matcher.label + "=\"" + value + "\" of " + selector.metric);
            }
        }
    }
}

}  // namespace

std::vector<PrometheusRule> RulesOf(const std::string& path)
{
    std::vector<PrometheusRule> rules;
    for (const auto& group : YAML::LoadFile(path)["groups"]) {
        for (const auto& rule : group["rules"]) {
            rules.push_back({TextOf(rule["record"]), TextOf(rule["alert"]), TextOf(rule["expr"]),
                             TextOf(rule["for"]), Texts(rule["labels"]), Texts(rule["annotations"])});
        }
    }
    return rules;
}

std::string MinutesAsSeconds(const std::string& text)
{
    static const std::regex duration(R"(\b([0-9]+)([mh])\b)");
    std::string result;
    auto at = text.cbegin();
    for (std::sregex_iterator found(text.begin(), text.end(), duration), end; found != end; ++found) {
        result.append(at, (*found)[0].first);
        const long count = std::stol((*found)[1]) * ((*found)[2] == "h" ? 60 : 1);
        result += std::to_string(count) + "s";
        at = (*found)[0].second;
    }
    return result.append(at, text.cend());
}

void CopyRulesShortened(const std::string& from, const std::string& to)
{
    YAML::Node file = YAML::LoadFile(from);
    for (auto group : file["groups"]) {
        for (auto rule : group["rules"]) {
            for (const char* const key : {"expr", "for"}) {
                if (rule[key]) {
                    rule[key] = MinutesAsSeconds(rule[key].as<std::string>());
                }
            }
        }
    }
    std::ofstream(to) << file << "\n";
}

std::vector<DashboardQuery> QueriesOf(const std::string& path)
{
    std::ifstream file(path);
    const nlohmann::json dashboard = nlohmann::json::parse(file);
    std::vector<DashboardQuery> queries;
    for (const nlohmann::json& variable : dashboard.at("templating").at("list")) {
        if (variable.at("type") == "query") {
            queries.push_back(VariableQuery(variable.at("name"), variable.at("query").at("query")));
        }
    }
    CollectQueries(dashboard.at("panels"), queries);
    return queries;
}

ScrapedNames NamesOfScrape(const std::string& text)
{
    ScrapedNames names;
    static const std::regex sample(R"(([A-Za-z_:][A-Za-z0-9_:]*)(\{(.*)\})? .*)");
    static const std::regex label(R"re(([A-Za-z_][A-Za-z0-9_]*)="([^"]*)")re");
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        std::smatch parts;
        if (line.rfind('#', 0) == 0 || !std::regex_match(line, parts, sample)) {
            continue;
        }
        auto& labels = names[parts[1]];
        const std::string list = parts[3];
        for (std::sregex_iterator found(list.begin(), list.end(), label), end; found != end; ++found) {
            labels[(*found)[1]].insert((*found)[2]);
        }
    }
    return names;
}

std::vector<std::string> UnknownNames(const std::string& expression, const ScrapedNames& scraped,
                                      const std::set<std::string>& records)
{
    std::vector<std::string> faults;
    const PromqlNames names = NamesOf(expression);
    for (const MetricSelector& selector : names.selectors) {
        CheckSelector(selector, scraped, records, faults);
    }
    std::set<std::string> labels = TARGET_LABELS;
    for (const auto& [metric, own] : scraped) {
        for (const auto& entry : own) {
            labels.insert(entry.first);
        }
    }
    for (const MetricSelector& selector : names.selectors) {
        if (const auto own = OWN_SERIES.find(selector.metric); own != OWN_SERIES.end()) {
            labels.insert(own->second.begin(), own->second.end());
        }
    }
    for (const std::string& label : names.grouped) {
        if (labels.count(label) == 0) {
            faults.push_back("no label " + label);
        }
    }
    return faults;
}

}  // namespace support
