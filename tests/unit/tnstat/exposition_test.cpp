// SPDX-License-Identifier: MIT

#include "tools/tnstat/exposition.h"

#include <locale.h>

#include <algorithm>
#include <cctype>
#include <locale>
#include <set>
#include <sstream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/metrics_record.h"
#include "tools/tnstat/version.h"

namespace {

using testing::HasSubstr;
using testing::Not;
using tnstat::ExpositionText;
using tnstat::MetricFamilies;
using tnstat::Reading;

Reading Good()
{
    Reading reading;
    reading.stamp = {1700000001250000000, 7};
    reading.record = support::TellingRecord();
    return reading;
}

std::string BuildInfo()
{
    return "# HELP tarnix_build_info Version and source revision of this exporter; always 1.\n"
           "# TYPE tarnix_build_info gauge\n"
           "tarnix_build_info{version=\"" +
           tnstat::ProgramVersion() + "\",revision=\"" + tnstat::SourceRevision() + "\"} 1\n";
}

/// The lines that are no comments.
std::string Samples(const std::string& text)
{
    std::istringstream lines(text);
    std::string samples;
    for (std::string line; std::getline(lines, line);) {
        samples += line.rfind('#', 0) == 0 || line.rfind("tarnix_build_info", 0) == 0 ? "" : line + "\n";
    }
    return samples;
}

TEST(TnstatExposition, EveryFigureHasItsNameAndUnit)
{
    EXPECT_EQ(Samples(ExpositionText(Good())),
              "tarnix_up 1\n"
              "tarnix_metrics_file_mtime_timestamp_seconds 1700000001.25\n"
              "tarnix_loops_total 4711\n"
              "tarnix_numa_nodes 2\n"
              "tarnix_page_size_bytes 4096\n"
              "tarnix_numa_score_ratio 0.95\n"
              "tarnix_score_quality_flags{flag=\"no_interval\"} 0\n"
              "tarnix_score_quality_flags{flag=\"no_operations\"} 0\n"
              "tarnix_score_quality_flags{flag=\"remote_exceeds_operations\"} 0\n"
              "tarnix_score_quality_flags{flag=\"score_differs\"} 0\n"
              "tarnix_uncore_interval_seconds 1\n"
              "tarnix_uncore_rx_ops 2000000\n"
              "tarnix_uncore_rx_outer 60000\n"
              "tarnix_uncore_rx_sccl 40000\n"
              "tarnix_threads 21\n"
              "tarnix_threads_bind_success 22\n"
              "tarnix_threads_bind_failed 23\n"
              "tarnix_task_migrate_duration_seconds 0.0015\n"
              "tarnix_mem_migrated_bytes 32768\n"
              "tarnix_mem_nonmigrated_bytes 31744\n"
              "tarnix_mem_migrate_failed_bytes 34816\n"
              "tarnix_mem_migrate_failed_processes 33\n"
              "tarnix_mem_migrate_duration_seconds 0.0025\n"
              "tarnix_mem_migrated_node_bytes{source_node=\"0\",target_node=\"0\"} 0\n"
              "tarnix_mem_migrated_node_bytes{source_node=\"0\",target_node=\"1\"} 41984\n"
              "tarnix_mem_migrated_node_bytes{source_node=\"1\",target_node=\"0\"} 43008\n"
              "tarnix_mem_migrated_node_bytes{source_node=\"1\",target_node=\"1\"} 0\n"
              "tarnix_node_memory_free_bytes{node=\"0\"} 52224\n"
              "tarnix_node_memory_free_bytes{node=\"1\"} 53248\n"
              "tarnix_node_memory_migrate_given_up_bytes{node=\"0\"} 62464\n"
              "tarnix_node_memory_migrate_given_up_bytes{node=\"1\"} 63488\n");
}

TEST(TnstatExposition, WithoutARecordOnlyThatIsSaid)
{
    Reading absent;
    absent.fault = "no file";
    EXPECT_EQ(ExpositionText(absent),
              BuildInfo() +
                  "# HELP tarnix_up 1 when the metrics file could be read and its figures are "
                  "possible.\n"
                  "# TYPE tarnix_up gauge\n"
                  "tarnix_up 0\n");
    Reading impossible = Good();
    impossible.fault = "impossible";
    EXPECT_EQ(Samples(ExpositionText(impossible)),
              "tarnix_up 0\ntarnix_metrics_file_mtime_timestamp_seconds 1700000001.25\n");
}

TEST(TnstatExposition, OnlyTheLoopCountIsACounter)
{
    for (const prometheus::MetricFamily& family : MetricFamilies(Good())) {
        EXPECT_EQ(family.type == prometheus::MetricType::Counter, family.name == "tarnix_loops_total")
            << family.name;
    }
}

TEST(TnstatExposition, NamesAndHelpsAreAsPrometheusWantsThem)
{
    std::set<std::string> names;
    for (const prometheus::MetricFamily& family : MetricFamilies(Good())) {
        EXPECT_TRUE(names.insert(family.name).second) << family.name;
        EXPECT_EQ(family.name.rfind("tarnix_", 0), 0U) << family.name;
        EXPECT_TRUE(std::all_of(family.name.begin(), family.name.end(), [](char c) {
            return std::islower(static_cast<unsigned char>(c)) != 0 || c == '_';
        })) << family.name;
        EXPECT_FALSE(family.help.empty()) << family.name;
        // The serializer does not escape help texts: a line break or backslash would spoil the whole answer.
        EXPECT_EQ(family.help.find_first_of("\n\\"), std::string::npos) << family.name;
    }
    EXPECT_EQ(names.size(), 24U);
}

TEST(TnstatExposition, NoNodesMeansNoFamiliesOfNodes)
{
    Reading reading = Good();
    reading.record.numaNum = 0;
    EXPECT_THAT(ExpositionText(reading), Not(HasSubstr("node=")));
    EXPECT_THAT(ExpositionText(reading), Not(HasSubstr("tarnix_node_memory_free_bytes")));
}

TEST(TnstatExposition, NumbersHaveADotUnderEveryLocale)
{
    struct Comma : std::numpunct<char> {
        char do_decimal_point() const override { return ','; }
        std::string do_grouping() const override { return "\3"; }
    };
    const std::string expected = ExpositionText(Good());
    const std::locale before = std::locale::global(std::locale(std::locale::classic(), new Comma));
    const std::string text = ExpositionText(Good());
    std::locale::global(before);
    EXPECT_EQ(text, expected);
}

}  // namespace
