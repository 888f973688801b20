// SPDX-License-Identifier: MIT

#include "tools/numa_score/json_writer.h"

#include <cmath>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "tests/unit/numa_score/captured_output.h"

namespace {

using namespace numa_score;
using namespace std::string_view_literals;

PeriodRow Row()
{
    PeriodRow row;
    row.timeNs = 1500000000;
    row.score = 0.97F;
    row.traffic = {1000, 20, 10};
    row.intervalMs = 100;
    return row;
}

std::string Written(const PeriodRow& row, bool perPmu = false)
{
    CapturedOutput output;
    JsonWriter writer(output.Get(), perPmu);
    writer.Begin();
    writer.Write(row);
    writer.Interrupt();
    writer.End();
    return output.Text();
}

TEST(JsonWriter, WritesAPeriod)
{
    EXPECT_EQ(Written(Row()),
              "{\"time\":1.5,\"score\":0.97,\"ops\":1000,\"sccl\":20,\"outer\":10,\"interval_ms\":100,"
              "\"ops_per_ms\":10.0,\"remote_share\":0.01,\"cross_die_share\":0.02,\"running_ratio\":1.0,"
              "\"flags\":[]}\n");
}

TEST(JsonWriter, WritesWhatTheKernelCounted)
{
    host::OpinionReport report;
    report.spanNs = 1000999999;
    report.kernel.nodesCounted = true;
    report.kernel.hintsCounted = true;
    report.kernel.nodes = {{0, {90, 10, 3, 4, 75, 25}, true}, {7, {0, 0, 0, 0, 0, 0}, false}};
    report.kernel.hints = {8, 6, 2};
    report.shares = host::SharesOf(report.kernel);
    PeriodRow row = Row();
    row.kernel = &report;
    row.opinion = host::Opinion::NO_DISAGREEMENT;
    const auto kernel = [](const std::string& text) { return text.substr(text.find("\"flags\":[]")); };
    EXPECT_EQ(kernel(Written(row)),
              "\"flags\":[],\"kernel\":{\"interval_ms\":1000,\"opinion\":\"no_disagreement\","
              "\"remote_allocation_share\":0.25,\"miss_share\":0.1,\"remote_hint_fault_share\":0.25,"
              "\"nodes\":[{\"node\":0,\"online\":true,\"numa_hit\":90,\"numa_miss\":10,\"numa_foreign\":3,"
              "\"interleave_hit\":4,\"local_node\":75,\"other_node\":25},"
              "{\"node\":7,\"online\":false,\"numa_hit\":0,\"numa_miss\":0,\"numa_foreign\":0,"
              "\"interleave_hit\":0,\"local_node\":0,\"other_node\":0}],"
              "\"numa_hint_faults\":8,\"numa_hint_faults_local\":6,\"numa_pages_migrated\":2}}\n");
    const host::OpinionReport nothing;
    row.kernel = &nothing;
    row.opinion = host::Opinion::UNDECIDED;
    EXPECT_EQ(kernel(Written(row)),
              "\"flags\":[],\"kernel\":{\"interval_ms\":0,\"opinion\":\"undecided\","
              "\"remote_allocation_share\":null,\"miss_share\":null,\"remote_hint_fault_share\":null,"
              "\"nodes\":null,\"numa_hint_faults\":null,\"numa_hint_faults_local\":null,"
              "\"numa_pages_migrated\":null}}\n");
}

TEST(JsonWriter, WritesUtcAsText)
{
    PeriodRow row = Row();
    row.timeKind = TimeKind::UTC;
    row.timeNs = 1769832902123999999;
    const std::string text = Written(row);
    EXPECT_EQ(text.substr(0, text.find(",\"score\"")), "{\"time\":\"2026-01-31T04:15:02.123Z\"");
}

TEST(JsonWriter, WritesNullForWhatCannotBeComputed)
{
    PeriodRow row = Row();
    row.timeNs = 0;
    row.score = 1.0F;
    row.traffic = {0, 0, 0};
    row.intervalMs = 0;
    row.runningRatio = 0.5;
    row.flags.Set(Quality::MULTIPLEXED);
    row.flags.Set(Quality::IDLE);
    EXPECT_EQ(Written(row),
              "{\"time\":0.0,\"score\":1.0,\"ops\":0,\"sccl\":0,\"outer\":0,\"interval_ms\":0,"
              "\"ops_per_ms\":null,\"remote_share\":null,\"cross_die_share\":null,\"running_ratio\":0.5,"
              "\"flags\":[\"idle\",\"multiplexed\"]}\n");
    row.runningRatio = std::nan("");
    EXPECT_NE(Written(row).find("\"running_ratio\":null,"), std::string::npos);
}

TEST(JsonWriter, WritesHugeCountsInFull)
{
    PeriodRow row = Row();
    row.score = 0.0F;
    row.traffic = {1, UINT64_MAX, UINT64_MAX - 1};
    row.intervalMs = -7;
    row.flags.Set(Quality::CLAMPED);
    EXPECT_EQ(Written(row),
              "{\"time\":1.5,\"score\":0.0,\"ops\":1,\"sccl\":18446744073709551615,"
              "\"outer\":18446744073709551614,\"interval_ms\":-7,\"ops_per_ms\":null,"
              "\"remote_share\":1.8446744073709552e+19,\"cross_die_share\":1.8446744073709552e+19,"
              "\"running_ratio\":1.0,\"flags\":[\"clamped\"]}\n");
}

TEST(JsonWriter, WritesPmusWhenAsked)
{
    PeriodRow row = Row();
    const std::string plain = Written(row);
    EXPECT_EQ(Written(row, true), plain.substr(0, plain.size() - 2) + ",\"pmus\":[]}\n");
    row.pmus.push_back({"a", {4, 1, 2}, 0.25F, 0.5});
    row.pmus.push_back({"b", {}, 1.0F, 1.0});
    EXPECT_EQ(Written(row), plain);
    EXPECT_EQ(Written(row, true),
              plain.substr(0, plain.size() - 2) +
                  ",\"pmus\":[{\"pmu\":\"a\",\"score\":0.25,\"ops\":4,\"sccl\":1,\"outer\":2,"
                  "\"interval_ms\":100,\"ops_per_ms\":0.04,\"remote_share\":0.5,\"cross_die_share\":0.25,"
                  "\"running_ratio\":0.5},"
                  "{\"pmu\":\"b\",\"score\":1.0,\"ops\":0,\"sccl\":0,\"outer\":0,\"interval_ms\":100,"
                  "\"ops_per_ms\":0.0,\"remote_share\":null,\"cross_die_share\":null,"
                  "\"running_ratio\":1.0}]}\n");
}

TEST(JsonWriter, WritesNamesOfAnyBytes)
{
    struct Case {
        std::string_view name;
        std::string text;
    };
    const std::vector<Case> cases = {
        {"a,b"sv, "a,b"},
        {"say \"x\""sv, "say \\\"x\\\""},
        {"back\\slash"sv, "back\\\\slash"},
        {"\n\t\x1b\0"sv, "\\n\\t\\u001b\\u0000"},
        {"\xc3\xa4"sv, "\xc3\xa4"},
        {"\xff!"sv, "\xef\xbf\xbd!"},
        {"cut \xe2\x82"sv, "cut \xef\xbf\xbd"},
    };
    for (const Case& item : cases) {
        PeriodRow row = Row();
        row.pmus.push_back({item.name, {}, 1.0F, 1.0});
        const std::string text = Written(row, true);
        const std::size_t begin = text.find("{\"pmu\":\"") + 8;
        EXPECT_EQ(text.substr(begin, text.find("\",\"score\"", begin) - begin), item.text);
        EXPECT_EQ(text.find('\n'), text.size() - 1);
    }
}

}  // namespace
