// SPDX-License-Identifier: MIT

#ifndef TESTS_SUPPORT_PROMETHEUS_FILES_H
#define TESTS_SUPPORT_PROMETHEUS_FILES_H

#include <map>
#include <set>
#include <string>
#include <vector>

namespace support {

/// One rule of packaging/prometheus.
struct PrometheusRule {
    std::string record;  ///< empty for an alert
    std::string alert;   ///< empty for a record
    std::string expression;
    std::string pendingFor;  ///< as written; empty when it does not say
    std::map<std::string, std::string> labels;
    std::map<std::string, std::string> annotations;
};

/// The rules of a file, group by group.
std::vector<PrometheusRule> RulesOf(const std::string& path);

/// Minutes made seconds, in a text with durations such as an expression: "[5m]" becomes "[5s]", "1h" becomes
/// "60s". Names that end in a duration keep it.
std::string MinutesAsSeconds(const std::string& text);

/// Copies a rule file with its expressions and pending times so shortened.
void CopyRulesShortened(const std::string& from, const std::string& to);

/// One query of a dashboard.
struct DashboardQuery {
    std::string where;       ///< title of the panel or name of the variable
    std::string expression;  ///< PromQL; of a variable that lists the values of a label, the selector alone
    std::string label;       ///< the label that such a variable lists; empty for a panel
    std::string legend;      ///< empty when it has none
};

std::vector<DashboardQuery> QueriesOf(const std::string& path);

/// A scrape: the labels of each metric with their values.
using ScrapedNames = std::map<std::string, std::map<std::string, std::set<std::string>>>;

/// The names in a text of format 0.0.4.
ScrapedNames NamesOfScrape(const std::string& text);

/// What is wrong with the names in an expression, by what a scrape holds and which records there are besides:
/// a line for each metric, label and value that occurs nowhere.
std::vector<std::string> UnknownNames(const std::string& expression, const ScrapedNames& scraped,
                                      const std::set<std::string>& records);

}  // namespace support

#endif  // TESTS_SUPPORT_PROMETHEUS_FILES_H
