// SPDX-License-Identifier: MIT

#include "host/replay_source.h"

#include <cstdint>

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
using testing::ElementsAre;
using testing::IsEmpty;
using Status = CounterSource::Status;

const std::string FIXTURES = SOURCE_DIR "/tests/fixtures/recordings/";

TEST(Replay, CarriesTheRunningRatioAndDoesNotScaleAgain)
{
    const TemporaryFile file(
        "0.1,7000,,rx_outer,5,66.67\n0.1,5,,rx_sccl,5,0.00\n0.1,5,,rx_ops_num,5,100.01\n");
    const WholeReplay whole = ReadAll(file.Path());
    ASSERT_EQ(whole.batches.size(), 1U);
    const std::vector<CounterSample>& samples = whole.batches[0].samples;
    ASSERT_EQ(samples.size(), 3U);
    EXPECT_EQ(samples[0].count, 7000U);
    EXPECT_EQ(samples[0].runningRatio, 0.6667);
    EXPECT_EQ(samples[1].runningRatio, 0.0);
    EXPECT_EQ(samples[2].runningRatio, 1.0);
}

TEST(Replay, RoundsIntervalsToMilliseconds)
{
    // Differences of 499,999, 500,000 and 499,999 nanoseconds, and one beyond 32 bits of milliseconds.
    const TemporaryFile file(
        "0.000499999,1,,rx_outer,5,100.00\n0.000999999,1,,rx_outer,5,100.00\n"
        "0.001499998,1,,rx_outer,5,100.00\n5000000.0,1,,rx_outer,5,100.00\n");
    const WholeReplay whole = ReadAll(file.Path());
    std::vector<std::int32_t> intervalsMs;
    for (const CounterBatch& batch : whole.batches) {
        intervalsMs.push_back(batch.intervalMs);
    }
    EXPECT_THAT(intervalsMs, ElementsAre(0, 1, 0, 2147483647));
    EXPECT_EQ(whole.source->Progress().recordedNs, 5000000000000000);
}

TEST(Replay, StartsANewRunWhereTimeStepsBackOrAHeaderStands)
{
    const TemporaryFile file(
        "0.1,1,,rx_outer,5,100.00\n0.2,2,,rx_outer,5,100.00\n"
        "0.1,3,,rx_outer,5,100.00\n0.3,4,,rx_outer,5,100.00\n"
        "# started on Sat Nov 21 04:10:46 2026\n\n0.3,5,,rx_outer,5,100.00\n");
    const WholeReplay whole = ReadAll(file.Path());
    std::vector<std::pair<std::int32_t, std::int64_t>> times;
    std::vector<std::uint64_t> counts;
    for (const CounterBatch& batch : whole.batches) {
        times.emplace_back(batch.intervalMs, batch.timeNs / 1000000);
        ASSERT_EQ(batch.samples.size(), 1U);
        counts.push_back(batch.samples[0].count);
    }
    EXPECT_THAT(counts, ElementsAre(1, 2, 3, 4, 5));
    EXPECT_THAT(times, ElementsAre(std::pair(100, 100), std::pair(100, 200), std::pair(100, 300),
                                   std::pair(200, 500), std::pair(300, 800)));
    EXPECT_EQ(whole.source->Progress().segments, 3U);
}

TEST(Replay, RemarksTheFirstStepBackThatNoHeaderExplains)
{
    const std::string count = ",1,,rx_outer rx_sccl rx_ops_num,5,100.00\n";
    const TemporaryFile file("1.05" + count + "# started on x\n0.2" + count + "0.1" + count + "0.05" + count);
    const WholeReplay whole = ReadAll(file.Path());
    EXPECT_THAT(
        whole.remarks,
        ElementsAre(file.Path() + ":4: time steps back: \"0.1,1,,rx_outer rx_sccl rx_ops_num,5,100.00\" "
                                  "after 0.200000000 s is taken as the begin of another run; expected a line "
                                  "\"# started on\" before it, keep the lines as perf wrote them"));
    const TemporaryFile headed("1.05" + count + "# started on x\n0.2" + count);
    EXPECT_THAT(ReadAll(headed.Path()).remarks, IsEmpty());
}

TEST(Replay, CountsEventsThatAreMissingInTheirRun)
{
    const std::string a = ",1,,rx_outer,5,100.00\n";
    const std::string b = ",1,,rx_sccl,5,100.00\n";
    const std::string c = ",<not counted>,,rx_ops_num,0,100.00\n";
    const TemporaryFile file("0.1" + a + "0.1" + b + "0.2" + a + "0.2" + a + "0.2" + c + "0.3" + c +
                             "# started on x\n" + "0.1" + a);
    const WholeReplay whole = ReadAll(file.Path());
    std::vector<std::pair<std::uint32_t, std::uint32_t>> gaps;
    for (const CounterBatch& batch : whole.batches) {
        gaps.emplace_back(batch.notCounted, batch.missing);
    }
    EXPECT_THAT(gaps, ElementsAre(std::pair(0, 0), std::pair(1, 1), std::pair(1, 2), std::pair(0, 0)));
}

TEST(Replay, SharesTheTextOfEqualEventNames)
{
    const WholeReplay whole = ReadAll(FIXTURES + "per_cpu.csv");
    ASSERT_EQ(whole.batches.size(), 2U);
    EXPECT_EQ(whole.batches[0].samples[0].eventName, whole.batches[0].samples[1].eventName);
    EXPECT_EQ(whole.batches[0].samples[0].eventName, whole.batches[1].samples[0].eventName);
}

TEST(Replay, TakesTheLastLineWithoutLineBreakWhenItIsWhole)
{
    const std::string first = "0.1,1,,rx_outer,5,100.00\n";
    const std::string last = "0.2,2,,rx_outer,5,100.00";
    const TemporaryFile whole(first + last);
    EXPECT_EQ(ReadAll(whole.Path()).batches.size(), 2U);
    for (std::size_t length = 1; length < last.size(); ++length) {
        const TemporaryFile file(first + last.substr(0, length));
        const WholeReplay cut = ReadAll(file.Path());
        EXPECT_EQ(cut.batches.size(), 1U) << length;
        EXPECT_EQ(cut.source->Progress().badLines, 1U) << length;
        ASSERT_FALSE(cut.remarks.empty());
        EXPECT_EQ(cut.remarks.front(),
                  file.Path() + ":2: line cut off: \"" + last.substr(0, length) +
                      "\"; expected a whole line, the recording was cut while it was written or copied");
    }
}

TEST(Replay, RemarksTheFirstOfEachKindAndTheTotals)
{
    const TemporaryFile file(
        "0.1,1,,rx_outer,5,100.00\n0.1,1,,rx_sccl,5,100.00\n0.1,1,,rx_ops_num,5,100.00\n"
        "noise\x1b[2J\nmore noise\n"
        "0.2,-1,,rx_outer,5,100.00\n"
        "0.2,99999999999999999999,,rx_outer,5,100.00\n"
        "0.2,5,,rx_outer,5\n"
        "9999999999.0,5,,rx_outer,5,100.00\n"
        "0.2,5,,,5,100.00\n"
        "0.2,<not counted>,,rx_outer,0,100.00\n"
        "0.2,<not supported>,,rx_sccl:u,0,100.00\n"
        "0.2,2.5,Joules,rx_ops_num,5,100.00\n"
        "{\"interval\" : 0.2}\n"
        "5,,rx_outer,5,100.00\n"
        "time,\n");
    const WholeReplay whole = ReadAll(file.Path());
    const std::string at = file.Path() + ":";
    EXPECT_EQ(whole.status, Status::END);
    EXPECT_THAT(
        whole.remarks,
        ElementsAre(
            at + "4: nothing that perf stat -I writes: \"noise\\x1b[2J\"; expected a time stamp and \",\" "
                 "first, "
                 "record with -o FILE to keep other output out",
            at + "6: count is no number: \"0.2,-1,,rx_outer,5,100.00\"; expected digits, <not counted> or "
                 "<not "
                 "supported>",
            at + "7: count beyond 64 bits: \"0.2,99999999999999999999,,rx_outer,5,100.00\"; expected at most "
                 "18446744073709551615",
            at +
                "8: no running time: \"0.2,5,,rx_outer,5\"; expected two fields as \"100100\" and \"100.00\" "
                "behind the event, separated by \",\"",
            at + "9: time stamp too large: \"9999999999.0,5,,rx_outer,5,100.00\"; expected less than "
                 "9223372036 "
                 "seconds",
            at + "10: event name or prefix that cannot be used: \"0.2,5,,,5,100.00\"; expected 1 to 1024 "
                 "printable ASCII characters, record with the term name=",
            at + "11: <not counted>: event \"rx_outer\" got no counter in this interval, or nothing ran; "
                 "record "
                 "fewer events at once",
            at + "12: <not supported>: event \"rx_sccl:u\" was cut down to user mode for want of permission; "
                 "record as root or with CAP_PERFMON",
            at + "13: count is a fraction: \"2.5\" of event \"rx_ops_num\" is taken as 3; expected an event "
                 "that "
                 "perf does not scale",
            at + "14: JSON: \"{\"interval\" : 0.2}\"; expected fields with a separator, record with -x, "
                 "instead "
                 "of -j",
            at + "15: count without a time stamp: \"5,,rx_outer,5,100.00\"; expected a time stamp first, "
                 "record "
                 "with -I 100 and without --no-csv-summary",
            at + "16: header of --metric-only: \"time,\"; expected counts, record without --metric-only",
            at + " 2 lines in all: nothing that perf stat -I writes"));
    EXPECT_EQ(whole.source->Progress().badLines, 10U);
    EXPECT_EQ(whole.source->Progress().lines, 16U);
    EXPECT_THAT(whole.source->TakeRemarks(), IsEmpty());
}

TEST(Replay, RemarksRunsWithoutTheEventsOfTheScore)
{
    const TemporaryFile file("0.1,1,,uncore/rx_outer/,5,100.00\n0.2,1,,x_rx_sccl,5,100.00\n");
    EXPECT_THAT(
        ReadAll(file.Path()).remarks,
        ElementsAre(file.Path() +
                    ": the first interval has no event with rx_sccl, rx_ops_num in its name, so that "
                    "scores come out too good; record that too, or give another event such a name with "
                    "the term name="));
}

TEST(Replay, RemarksADecimalComma)
{
    const TemporaryFile file(
        "0.1;1;;rx_outer;5;100,00\n0.1;1;;rx_sccl;5;100,00\n0.1;1;;rx_ops_num;5;100,00\n");
    EXPECT_THAT(ReadAll(file.Path()).remarks,
                ElementsAre(file.Path() + ":1: decimal comma: \"0.1;1;;rx_outer;5;100,00\" is read that way; "
                                          "record with LC_ALL=C"));
}

TEST(Replay, TakesAGivenSeparator)
{
    const TemporaryFile file("0.1\t1\t\trx_outer\t5\t100.00\n");
    ReplayOptions options;
    options.path = file.Path();
    options.separator = "\\t";
    EXPECT_EQ(ReadAll(options).batches.size(), 1U);
    options.separator = "\t";
    EXPECT_EQ(ReadAll(options).batches.size(), 1U);
    options.separator = ";";
    const WholeReplay wrong = ReadAll(options);
    EXPECT_EQ(wrong.status, Status::FAILED);
    ASSERT_EQ(wrong.remarks.size(), 1U);
    EXPECT_EQ(wrong.remarks[0],
              file.Path() +
                  ":1: nothing that perf stat -I writes: \"0.1\\t1\\t\\trx_outer\\t5\\t100.00\"; expected a "
                  "time stamp and \";\" first, record with -o FILE to keep other output out");
}

TEST(Replay, KeepsAGivenSeparatorOverRuns)
{
    ReplayOptions options;
    options.path = FIXTURES + "appended.csv";
    options.separator = ",";
    const WholeReplay whole = ReadAll(options);
    EXPECT_EQ(whole.batches.size(), 5U);
    EXPECT_EQ(whole.source->Progress().badLines, 6U);
}

TEST(Replay, RefusesASeparatorThatSeparatesNothing)
{
    for (const std::string separator : {"x", "7", ".", "\n", ",.,", ",,,,,,,,,"}) {
        ReplayOptions options;
        options.path = FIXTURES + "comma.csv";
        options.separator = separator;
        const ReplayResult result = OpenReplaySource(options);
        EXPECT_EQ(result.source, nullptr);
        EXPECT_EQ(
            result.error,
            "separator \"" + (separator == "\n" ? "\\n" : separator) +
                "\": expected 1 to 8 characters, none of them a letter, a digit, a dot or a line break; "
                "leave it out to have it found");
    }
}

TEST(Replay, PassesOverAByteOrderMarkAndCarriageReturns)
{
    const TemporaryFile file(
        "\xEF\xBB\xBF"
        "0.1,1,,rx_outer,5,100.00\r\n0.2,1,,rx_outer,5,100.00\r\n");
    const WholeReplay whole = ReadAll(file.Path());
    EXPECT_EQ(whole.batches.size(), 2U);
    EXPECT_EQ(whole.source->Progress().badLines, 0U);
}

TEST(Replay, PassesOverLinesThatAreTooLong)
{
    const std::string good = "0.1,1,,rx_outer,5,100.00\n";
    const TemporaryFile file(good + std::string(1000000, 'x') + "\n" + good + std::string(70000, ',') + "\n" +
                             good);
    const WholeReplay whole = ReadAll(file.Path());
    ASSERT_EQ(whole.batches.size(), 1U);
    EXPECT_EQ(whole.batches[0].samples.size(), 3U);
    EXPECT_EQ(whole.source->Progress().badLines, 2U);
    EXPECT_EQ(whole.source->Progress().lines, 5U);
    EXPECT_EQ(whole.source->Progress().bytes, whole.source->Progress().totalBytes);
    ASSERT_FALSE(whole.remarks.empty());
    EXPECT_EQ(whole.remarks[0], file.Path() + ":2: line too long: \"" + std::string(80, 'x') +
                                    "...\"; expected at most 65536 bytes up to the line break");
}

TEST(Replay, GivesALargeIntervalInParts)
{
    std::string content;
    const std::size_t lines = 2 * ReplaySource::MAX_SAMPLES + 10;
    for (std::size_t i = 0; i < lines; ++i) {
        content += "0.1,1,,rx_outer,5,100.00\n";
    }
    content += "0.1,<not counted>,,rx_sccl,0,100.00\n0.2,1,,rx_outer,5,100.00\n";
    const TemporaryFile file(content);
    const WholeReplay whole = ReadAll(file.Path());
    ASSERT_EQ(whole.batches.size(), 4U);
    for (std::size_t part = 0; part < 2; ++part) {
        EXPECT_EQ(whole.batches[part].samples.size(), ReplaySource::MAX_SAMPLES);
        EXPECT_FALSE(whole.batches[part].endsPeriod);
        EXPECT_EQ(whole.batches[part].intervalMs, 0);
        EXPECT_EQ(whole.batches[part].timeNs, 100000000);
    }
    EXPECT_EQ(whole.batches[2].samples.size(), 10U);
    EXPECT_TRUE(whole.batches[2].endsPeriod);
    EXPECT_EQ(whole.batches[2].intervalMs, 100);
    EXPECT_EQ(whole.batches[2].notCounted, 1U);
    EXPECT_EQ(whole.batches[3].missing, 1U);
    EXPECT_EQ(whole.source->Progress().samples, lines + 1);
}

TEST(Replay, KeepsNoMoreNamesThanItCan)
{
    std::string content;
    for (int i = 0; i < 65540; ++i) {
        content += "0.1,1,,rx_outer" + std::to_string(i) + ",5,100.00\n";
    }
    content += "0.1,1,,rx_outer0,5,100.00\n";
    const TemporaryFile file(content);
    const WholeReplay whole = ReadAll(file.Path());
    EXPECT_EQ(whole.source->Progress().samples, 65537U);
    EXPECT_EQ(whole.source->Progress().badLines, 4U);
    ASSERT_FALSE(whole.remarks.empty());
    EXPECT_THAT(
        whole.remarks,
        testing::Contains(file.Path() +
                          ":65537: too many different events: \"0.1,1,,rx_outer65536,5,100.00\"; expected "
                          "at most 65536 different events, record fewer at once"));
}

TEST(Replay, ReturnsBetweenLongStretchesWithoutACount)
{
    std::string content = "0.1,1,,rx_outer,5,100.00\n";
    const std::string comment = "#" + std::string(998, 'x') + "\n";
    while (content.size() < ReplaySource::MAX_BYTES + 1000) {
        content += comment;
    }
    content += "0.2,1,,rx_outer,5,100.00\n";
    const TemporaryFile file(content);
    const WholeReplay whole = ReadAll(file.Path());
    ASSERT_EQ(whole.batches.size(), 3U);
    EXPECT_FALSE(whole.batches[0].endsPeriod);
    EXPECT_TRUE(whole.batches[1].endsPeriod);
    EXPECT_TRUE(whole.batches[2].endsPeriod);
}

TEST(Replay, GivesTheSameTwice)
{
    const WholeReplay first = ReadAll(FIXTURES + "composed_uncore.csv");
    const WholeReplay second = ReadAll(FIXTURES + "composed_uncore.csv");
    ASSERT_EQ(first.batches.size(), second.batches.size());
    for (std::size_t i = 0; i < first.batches.size(); ++i) {
        EXPECT_EQ(first.batches[i].timeNs, second.batches[i].timeNs);
        ASSERT_EQ(first.batches[i].samples.size(), second.batches[i].samples.size());
        for (std::size_t k = 0; k < first.batches[i].samples.size(); ++k) {
            EXPECT_EQ(first.batches[i].samples[k].count, second.batches[i].samples[k].count);
            EXPECT_STREQ(first.batches[i].samples[k].eventName, second.batches[i].samples[k].eventName);
        }
    }
}

TEST(Replay, SaysWhatItReads)
{
    const WholeReplay whole = ReadAll(FIXTURES + "comma.csv");
    EXPECT_EQ(whole.source->Describe(), "recording " + FIXTURES + "comma.csv");
    EXPECT_FALSE(whole.source->IsLive());
    CounterBatch batch;
    EXPECT_EQ(whole.source->Read(batch), Status::END);
    EXPECT_THAT(batch.samples, IsEmpty());
}

}  // namespace
}  // namespace host
