// SPDX-License-Identifier: MIT

#include "host/replay_source.h"

#include <cstdint>

#include <map>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/host/recording_input.h"

namespace host {
namespace {

using host_test::ReadAll;
using host_test::TemporaryFile;
using host_test::WholeReplay;
using testing::IsEmpty;
using Status = CounterSource::Status;

const std::string FIXTURES = SOURCE_DIR "/tests/fixtures/recordings/";

struct FixtureCase {
    const char* name;
    std::vector<std::int32_t> intervalsMs;
    std::int64_t recordedNs;
    std::uint64_t segments;
    std::uint64_t badLines;
    std::uint32_t notCounted;
    std::uint32_t missing;
    std::map<std::string, std::uint64_t> sums;  // by event and PMU
};

// The sums were taken from the files by a script of regular expressions, not by this parser.
const std::vector<FixtureCase> FIXTURE_CASES = {
    {"comma.csv",
     {100, 100, 100, 50},
     351268373,
     1,
     0,
     0,
     0,
     {{"rx_ops_num -", 1963243146}, {"rx_outer -", 702807055}, {"rx_sccl -", 83}}},
    {"semicolon.csv",
     {101, 101, 50},
     251795036,
     1,
     0,
     0,
     0,
     {{"rx_ops_num -", 1407618724}, {"msr/config=0x0,config1=0x0/ msr", 1407621038}}},
    {"name_with_comma.csv",
     {100, 100, 51},
     251730337,
     1,
     0,
     0,
     0,
     {{"rx_ops_num -", 1406845556}, {"msr/config=0x0,config1=0x0/ msr", 1406843818}}},
    {"tab.csv",
     {100, 100, 51},
     251306781,
     1,
     0,
     0,
     0,
     {{"rx_ops_num -", 1405026453}, {"rx_outer -", 502974862}}},
    {"bar.csv", {100, 100, 51}, 251330678, 1, 0, 0, 0, {{"rx_ops_num -", 1404733813}}},
    {"two_characters.csv", {100, 101, 50}, 251381052, 1, 0, 0, 0, {{"rx_ops_num -", 1404963387}}},
    {"per_socket.csv", {103, 101, 48}, 251368406, 1, 0, 3, 0, {{"rx_ops_num S0", 1404890012}}},
    {"per_die.csv", {100, 52}, 151677663, 1, 0, 0, 0, {{"msr/tsc/ msr S0-D0", 848099226}}},
    {"per_core.csv",
     {100, 51},
     151503637,
     1,
     0,
     0,
     0,
     {{"msr/tsc/ msr S0-D0-C0", 423434558}, {"msr/tsc/ msr S0-D0-C1", 423578206}}},
    {"per_node.csv", {100, 51}, 151353835, 1, 0, 0, 0, {{"rx_ops_num N0", 846150054}}},
    {"per_cpu.csv",
     {100, 51},
     151336965,
     1,
     0,
     0,
     0,
     {{"rx_ops_num CPU0", 422959931}, {"rx_ops_num CPU1", 423023312}}},
    {"no_merge.csv",
     {100, 51},
     151584096,
     1,
     0,
     0,
     0,
     {{"msr/tsc/ msr CPU0", 423701378},
      {"msr/tsc/ msr CPU1", 423907615},
      {"software/config=0x0/ software CPU0", 151677956},
      {"software/config=0x0/ software CPU1", 151751985}}},
    {"summary.csv",
     {100, 100, 51},
     251216206,
     1,
     0,
     0,
     0,
     {{"rx_ops_num -", 1406145932}, {"cpu-clock -", 504}}},
    {"appended.csv",
     {100, 100, 51, 100, 100, 51, 100, 52},
     654281709,
     3,
     0,
     0,
     0,
     {{"rx_ops_num -", 3657339821}, {"msr/smi/ msr", 0}}},
    {"six_columns.csv", {100, 52}, 151794203, 1, 0, 2, 0, {{"msr/smi/ msr", 0}, {"msr/tsc/ msr", 848794223}}},
    {"variance.csv", {100, 51}, 151304290, 1, 0, 0, 0, {{"rx_ops_num -", 845949186}}},
    {"mixed.csv", {100, 52}, 152071592, 1, 2, 0, 0, {{"rx_ops_num -", 850313213}}},
    {"decimal_comma.csv",
     {100, 52},
     151838863,
     1,
     0,
     0,
     0,
     {{"rx_ops_num -", 849113671}, {"cpu-clock -", 304}}},
    {"decimal_comma_semicolon.csv",
     {100, 51},
     151586444,
     1,
     0,
     0,
     0,
     {{"rx_ops_num -", 847567559}, {"cpu-clock -", 304}}},
    {"no_permission.csv", {100, 52}, 152129282, 1, 0, 2, 0, {{"software/config=0x0/u software", 1174877}}},
    {"composed_uncore.csv",
     {100, 100, 100},
     300929108,
     1,
     0,
     3,
     3,
     {{"uncore_l3c0/rx_outer/ uncore_l3c0", 3900},
      {"uncore_l3c0/rx_sccl/ uncore_l3c0", 2700},
      {"uncore_l3c0/rx_ops_num/ uncore_l3c0", 330000},
      {"uncore_l3c1/rx_outer/ uncore_l3c1", 2400},
      {"uncore_l3c1/rx_sccl/ uncore_l3c1", 1600},
      {"uncore_l3c1/rx_ops_num/ uncore_l3c1", 200000}}},
    {"composed_no_merge.csv",
     {100},
     100154461,
     1,
     0,
     0,
     0,
     {{"rx_outer [uncore_l3c0] uncore_l3c0 S0-D0", 1200},
      {"rx_outer [uncore_l3c4] uncore_l3c4 S1-D2", 2400},
      {"rx_ops_num [uncore_l3c0] uncore_l3c0 S0-D0", 100000},
      {"rx_ops_num [uncore_l3c4] uncore_l3c4 S1-D2", 200000}}},
    {"composed_metrics.csv",
     {100, 100},
     200539521,
     1,
     0,
     0,
     1,
     {{"rx_ops_num -", 560287069}, {"rx_ops_num S0", 560960267}}},
};

TEST(ReplayFixtures, ReadsWhatPerfWrites)
{
    for (const FixtureCase& expected : FIXTURE_CASES) {
        SCOPED_TRACE(expected.name);
        const WholeReplay whole = ReadAll(FIXTURES + expected.name);
        EXPECT_EQ(whole.status, Status::END);
        EXPECT_EQ(whole.error, "");
        std::vector<std::int32_t> intervalsMs;
        std::uint32_t notCounted = 0;
        std::uint32_t missing = 0;
        std::uint64_t samples = 0;
        std::map<std::string, std::uint64_t> sums;
        for (const CounterBatch& batch : whole.batches) {
            intervalsMs.push_back(batch.intervalMs);
            notCounted += batch.notCounted;
            missing += batch.missing;
            samples += batch.samples.size();
            EXPECT_TRUE(batch.endsPeriod);
            for (const CounterSample& sample : batch.samples) {
                sums[std::string(sample.eventName) + " " + std::string(sample.pmuName)] += sample.count;
            }
        }
        EXPECT_EQ(intervalsMs, expected.intervalsMs);
        EXPECT_EQ(notCounted, expected.notCounted);
        EXPECT_EQ(missing, expected.missing);
        EXPECT_EQ(sums, expected.sums);
        ASSERT_FALSE(whole.batches.empty());
        EXPECT_EQ(whole.batches.back().timeNs, expected.recordedNs);
        const ReplayProgress progress = whole.source->Progress();
        EXPECT_EQ(progress.recordedNs, expected.recordedNs);
        EXPECT_EQ(progress.segments, expected.segments);
        EXPECT_EQ(progress.badLines, expected.badLines);
        EXPECT_EQ(progress.samples, samples);
        EXPECT_EQ(progress.bytes, progress.totalBytes);
        EXPECT_GT(progress.bytes, 0U);
    }
}

struct UselessCase {
    const char* name;
    const char* error;  // behind the path
};

const char* const RECORD_WITH =
    "; record with: perf stat -a -I 100 -x, -o FILE -e PMU/rx_outer/ -e PMU/rx_sccl/ -e PMU/rx_ops_num/";

TEST(ReplayFixtures, FailsOnRecordingsWithoutACount)
{
    const std::vector<UselessCase> cases = {
        {"not_supported.csv", "not one count in 6 lines: most are <not supported>"},
        {"per_thread.csv", "not one count in 4 lines: most are <not counted>"},
        {"metric_only.csv", "not one count in 5 lines: header of --metric-only"},
        {"json.txt", "not one count in 4 lines: most are JSON"},
        {"for_people.txt", "not one count in 5 lines: most are columns made for people"},
        {"no_interval.csv", "not one count in 3 lines: most are count without a time stamp"},
    };
    for (const UselessCase& expected : cases) {
        SCOPED_TRACE(expected.name);
        const std::string path = FIXTURES + expected.name;
        WholeReplay whole = ReadAll(path);
        EXPECT_EQ(whole.status, Status::FAILED);
        EXPECT_EQ(whole.error, path + ": " + expected.error + RECORD_WITH);
        CounterBatch batch;
        EXPECT_EQ(whole.source->Read(batch), Status::FAILED);
        EXPECT_EQ(whole.source->Error(), whole.error);
    }
}

TEST(ReplayFixtures, FailsOnFilesThatAreNoRecording)
{
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"", "not one count in 0 lines: the file is empty"},
        {"\n", "not one count in 1 line: nothing but comments and blank lines, nothing was measured"},
        {"# started on Sat Nov 21 04:10:46 2026\n\n",
         "not one count in 2 lines: nothing but comments and blank lines, nothing was measured"},
        {"a\nb\n", "not one count in 2 lines: most are nothing that perf stat -I writes"},
        {"     0.1001", "not one count in 1 line: most are line cut off"},
        {std::string("\x7f"
                     "ELF\0\0\1\n\xff\0\n",
                     11),
         "not one count in 2 lines: most are nothing that perf stat -I writes"},
    };
    for (const auto& [content, cause] : cases) {
        SCOPED_TRACE(cause);
        const TemporaryFile file(content);
        const WholeReplay whole = ReadAll(file.Path());
        EXPECT_EQ(whole.status, Status::FAILED);
        EXPECT_THAT(whole.batches, IsEmpty());
        EXPECT_EQ(whole.error, file.Path() + ": " + cause + RECORD_WITH);
    }
}

TEST(ReplayFixtures, NamesOtherFormats)
{
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"PERFILE2\x68",
         "is a recording of perf record; expected text of perf stat -I, use perf stat instead"},
        {"\x1f\x8b\x08\n", "is compressed; expected text of perf stat -I, decompress it first"},
        {"\xfd\x37zXZ", "is compressed; expected text of perf stat -I, decompress it first"},
        {"BZh91", "is compressed; expected text of perf stat -I, decompress it first"},
        {"\x28\xb5\x2f\xfd\n0.1,5,,rx_outer,5,100.00\n",
         "is compressed; expected text of perf stat -I, decompress it first"},
    };
    for (const auto& [content, message] : cases) {
        const TemporaryFile file(content);
        const WholeReplay whole = ReadAll(file.Path());
        EXPECT_EQ(whole.status, Status::FAILED);
        EXPECT_EQ(whole.error, file.Path() + ": " + message);
    }
}

}  // namespace
}  // namespace host
