// SPDX-License-Identifier: MIT
//
// docs/metrics.md against what the exporter says.

#include <algorithm>
#include <fstream>
#include <iterator>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "tests/support/metrics_record.h"
#include "tools/tnstat/exposition.h"
#include "tools/tnstat/quality.h"

namespace {

std::string Document()
{
    std::ifstream file(std::string(SOURCE_DIR) + "/docs/metrics.md");
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

/// The row's beginning: name, labels and type as the table writes them.
std::string RowOf(const prometheus::MetricFamily& family)
{
    std::string labels;
    for (const auto& label : family.metric.front().label) {
        labels += (labels.empty() ? "" : ",") + label.name;
    }
    return "| `" + family.name + (labels.empty() ? "" : "{" + labels + "}") + "` | " +
           (family.type == prometheus::MetricType::Counter ? "counter" : "gauge") + " | ";
}

TEST(MetricsDocument, HasEveryMetricAndNoOther)
{
    tnstat::Reading reading;
    reading.stamp = {1, 1};
    reading.record = support::TellingRecord();
    const std::string document = Document();
    std::size_t families = 0;
    for (const prometheus::MetricFamily& family : tnstat::MetricFamilies(reading)) {
        EXPECT_NE(document.find("\n" + RowOf(family)), std::string::npos) << RowOf(family);
        ++families;
    }
    std::size_t rows = 0;
    for (std::size_t at = document.find("\n| `tarnix_"); at != std::string::npos;
         at = document.find("\n| `tarnix_", at + 1)) {
        ++rows;
    }
    EXPECT_EQ(rows, families);
}

TEST(MetricsDocument, HasEveryFlag)
{
    const std::string document = Document();
    for (const auto& flag : tnstat::ScoreQuality({})) {
        EXPECT_NE(document.find("\n| `" + flag.first + "` | "), std::string::npos) << flag.first;
    }
}

}  // namespace
