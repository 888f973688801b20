// SPDX-License-Identifier: MIT

#ifndef TESTS_SUPPORT_PROMQL_NAMES_H
#define TESTS_SUPPORT_PROMQL_NAMES_H

#include <set>
#include <string>
#include <vector>

namespace support {

/// One condition of a selector: `label op "value"`.
struct LabelMatcher {
    std::string label;
    std::string op;
    std::string value;
};

/// A metric as an expression selects it.
struct MetricSelector {
    std::string metric;
    std::vector<LabelMatcher> matchers;
};

/// What an expression takes from outside.
struct PromqlNames {
    std::vector<MetricSelector> selectors;  ///< in order, repetitions included
    std::set<std::string> grouped;          ///< labels of by, without, on, ignoring, group_left, group_right
};

/// The names in a PromQL expression that Prometheus would accept; variables of a dashboard ($name) may stand
/// in texts and ranges. A selector without a metric name is not understood: std::invalid_argument, as for a
/// text or a bracket that does not end.
PromqlNames NamesOf(const std::string& expression);

}  // namespace support

#endif  // TESTS_SUPPORT_PROMQL_NAMES_H
