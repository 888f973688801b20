// SPDX-License-Identifier: MIT

#include "host/recording_line.h"

#include <cstdint>

#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

namespace host {

void PrintTo(LineKind kind, std::ostream* out)
{
    *out << "LineKind " << static_cast<int>(kind);
}

namespace {

struct GoodCase {
    std::string_view line;
    std::string_view separator;
    LineKind kind;
    std::int64_t timeNs;
    std::string_view prefix;
    std::string_view event;
    std::uint64_t count;
    std::uint32_t runningHundredths;
    bool rounded = false;
    bool decimalComma = false;
};

constexpr LineKind COUNT = LineKind::COUNT;

// One row for each form in which perf writes a count.
const std::vector<GoodCase> GOOD = {
    {"     0.100199598,560840627,,msr/tsc/,200772080,100.00,2.793,G/sec", ",", COUNT, 100199598, "",
     "msr/tsc/", 560840627, 10000},
    {"0.100199598,560840627,,msr/tsc/,200772080,100.00,,", ",", COUNT, 100199598, "", "msr/tsc/", 560840627,
     10000},
    {"     0.100220246,0,,msr/smi/,200901382,100.00", ",", COUNT, 100220246, "", "msr/smi/", 0, 10000},
    {"123456.000000001,7,,rx_outer,5,3.07,,", ",", COUNT, 123456000000001, "", "rx_outer", 7, 307},
    {"1.5,7,,rx_outer,5,0.00", ",", COUNT, 1500000000, "", "rx_outer", 7, 0},
    {"0.1,7,,rx_outer,5,99.99\r", ",", COUNT, 100000000, "", "rx_outer", 7, 9999},
    {"0.1,7,,rx_outer,5,100.00\r", ",", COUNT, 100000000, "", "rx_outer", 7, 10000},
    {"0.1,18446744073709551615,,rx_outer,5,100.00", ",", COUNT, 100000000, "", "rx_outer",
     18446744073709551615U, 10000},
    // aggregation
    {"0.1,S0,2,560803768,,msr/tsc/,200758859,100.00,,", ",", COUNT, 100000000, "S0", "msr/tsc/", 560803768,
     10000},
    {"0.1,S12-D3,128,5,,msr/tsc/,9,100.00,,", ",", COUNT, 100000000, "S12-D3", "msr/tsc/", 5, 10000},
    {"0.1,S0-D0-C1,1,280571528,,msr/tsc/,100440431,100.00,,", ",", COUNT, 100000000, "S0-D0-C1", "msr/tsc/",
     280571528, 10000},
    {"0.1|N0|2|560654915||msr/tsc/|200705227|100.00||", "|", COUNT, 100000000, "N0", "msr/tsc/", 560654915,
     10000},
    {"0.1,CPU0,280520451,,msr/tsc/,100421420,100.00,,", ",", COUNT, 100000000, "CPU0", "msr/tsc/", 280520451,
     10000},
    {"0.1,sleep-1234,17,,page-faults,100421420,100.00,,", ",", COUNT, 100000000, "sleep-1234", "page-faults",
     17, 10000},
    {"0.1,7z-12,17,,page-faults,100421420,100.00,,", ",", COUNT, 100000000, "7z-12", "page-faults", 17,
     10000},
    {"0.1,S0,2,200.70,msec,cpu-clock,200704345,100.00,2.007,CPUs utilized", ",", COUNT, 100000000, "S0",
     "cpu-clock", 201, 10000, true},
    // no count
    {"0.1,<not counted>,,rx_outer,0,100.00,,", ",", LineKind::NOT_COUNTED, 100000000, "", "rx_outer", 0,
     10000},
    {"0.1,<not supported>,,cycles:u,0,100.00,,", ",", LineKind::NOT_SUPPORTED, 100000000, "", "cycles:u", 0,
     10000},
    {"0.1,S0,1,<not supported>,,cycles,0,100.00,,", ",", LineKind::NOT_SUPPORTED, 100000000, "S0", "cycles",
     0, 10000},
    {"0.1,bash-2987,<not counted>,,software/config=0x0/,0,100.00,,", ",", LineKind::NOT_COUNTED, 100000000,
     "bash-2987", "software/config=0x0/", 0, 10000},
    // fractions
    {"0.1,400.82,msec,cpu-clock,400807133,100.00,2.008,CPUs utilized", ",", COUNT, 100000000, "", "cpu-clock",
     401, 10000, true},
    {"0.1,400.49,msec,cpu-clock,400807133,100.00", ",", COUNT, 100000000, "", "cpu-clock", 400, 10000, true},
    {"0.1,400.50,msec,cpu-clock,400807133,100.00", ",", COUNT, 100000000, "", "cpu-clock", 401, 10000, true},
    {"0.1,400.00,,rx_outer,400807133,100.00", ",", COUNT, 100000000, "", "rx_outer", 400, 10000, false},
    // a variance, of runs that were repeated
    {"0.1,561688554,,msr/tsc/,0.09%,201074124,100.00,,", ",", COUNT, 100000000, "", "msr/tsc/", 561688554,
     10000},
    // names
    {"0.1,5,,msr/config=0x0,config1=0x0/,200752221,100.00,,", ",", COUNT, 100000000, "",
     "msr/config=0x0,config1=0x0/", 5, 10000},
    {"0.1,5,,msr/config=0x0,config1=0x0/,1.50%,200752221,100.00,,", ",", COUNT, 100000000, "",
     "msr/config=0x0,config1=0x0/", 5, 10000},
    {"0.1,5,,rx_outer,system.slice,200752221,42.10,,", ",", COUNT, 100000000, "", "rx_outer,system.slice", 5,
     4210},
    {"0.1;5;;msr/config=0x0,config1=0x0/;200752221;100.00;;", ";", COUNT, 100000000, "",
     "msr/config=0x0,config1=0x0/", 5, 10000},
    {"0.1,5,,rx_outer [uncore_l3c4],2,100.00,,", ",", COUNT, 100000000, "", "rx_outer [uncore_l3c4]", 5,
     10000},
    // separators
    {"0.1\t5\t\trx_outer\t2\t100.00\t\t", "\t", COUNT, 100000000, "", "rx_outer", 5, 10000},
    {"     0.1 5  rx_outer 2 100.00  ", " ", COUNT, 100000000, "", "rx_outer", 5, 10000},
    {"0.1::5::::rx_outer::2::100.00::::", "::", COUNT, 100000000, "", "rx_outer", 5, 10000},
    {"0.1:|:5:|::|:rx_outer:|:2:|:100.00", ":|:", COUNT, 100000000, "", "rx_outer", 5, 10000},
    // a locale with a decimal comma
    {"0.1;560629914;;rx_outer;200696319;99,50;2;G/sec", ";", COUNT, 100000000, "", "rx_outer", 560629914,
     9950, false, true},
    {"0.1;200,70;msec;cpu-clock;200696319;100,00;2;x", ";", COUNT, 100000000, "", "cpu-clock", 201, 10000,
     true, true},
    {"0.1,560853118,,rx_outer,200778373,99,05,2,G/sec", ",", COUNT, 100000000, "", "rx_outer", 560853118,
     9905, false, true},
    {"0.1,200,78,msec,cpu-clock,200776425,100,00,2,CPUs utilized", ",", COUNT, 100000000, "", "cpu-clock",
     201, 10000, true, true},
    {"0.1,S0,2,200,28,msec,cpu-clock,200776425,100,00,2,CPUs utilized", ",", COUNT, 100000000, "S0",
     "cpu-clock", 200, 10000, true, true},
    {"0.1,560472256,,rx_outer,45,26%,200640167,100,00,,", ",", COUNT, 100000000, "", "rx_outer", 560472256,
     10000, false, true},
};

TEST(RecordingLine, TakesEveryFormOfACount)
{
    for (const GoodCase& expected : GOOD) {
        SCOPED_TRACE(std::string(expected.line));
        RecordingLine line;
        EXPECT_EQ(ParseRecordingLine(expected.line, expected.separator, line), expected.kind);
        EXPECT_EQ(line.timeNs, expected.timeNs);
        EXPECT_EQ(line.prefix, expected.prefix);
        EXPECT_EQ(line.event, expected.event);
        EXPECT_EQ(line.count, expected.count);
        EXPECT_EQ(line.runningHundredths, expected.runningHundredths);
        EXPECT_EQ(line.rounded, expected.rounded);
        EXPECT_EQ(line.decimalComma, expected.decimalComma);
    }
}

TEST(RecordingLine, FindsTheSeparatorOfEveryForm)
{
    for (const GoodCase& expected : GOOD) {
        SCOPED_TRACE(std::string(expected.line));
        EXPECT_EQ(DetectSeparator(expected.line), expected.separator);
    }
}

TEST(RecordingLine, KeepsTheCountAsItWasWritten)
{
    RecordingLine line;
    ASSERT_EQ(ParseRecordingLine("0.1,400.82,msec,cpu-clock,4,100.00", ",", line), COUNT);
    EXPECT_EQ(line.value, "400.82");
    ASSERT_EQ(ParseRecordingLine("0.1,<not counted>,,rx_outer,4,100.00", ",", line), LineKind::NOT_COUNTED);
    EXPECT_EQ(line.value, "<not counted>");
}

struct OtherCase {
    std::string_view line;
    LineKind kind;
    std::string_view separator = ",";
};

const std::vector<OtherCase> OTHERS = {
    {"", LineKind::BLANK},
    {"    ", LineKind::BLANK},
    {"\r", LineKind::BLANK},
    {"", LineKind::BLANK, ""},
    {"# started on Sat Nov 21 04:10:46 2026", LineKind::STARTED},
    {"# started on Sat Nov 21 04:10:46 2026", LineKind::STARTED, ""},
    {"#           time             counts unit events", LineKind::COMMENT},
    {"#", LineKind::COMMENT, ""},
    {"         summary,1963661625,,msr/tsc/,702956339,100.00,2.793,G/sec", LineKind::SUMMARY},
    {"         summary,702.96,msec,cpu-clock,702957374,100.00,1.999,x", LineKind::SUMMARY, ""},
    {"summary of the day", LineKind::OTHER_TEXT},
    {"summary;5;;rx_outer;5;100.00", LineKind::SUMMARY, ";"},
    {"summary;5;;rx_outer;5;100.00", LineKind::OTHER_TEXT, ","},
    {"0.1,,,,,,,0.50,remote share", LineKind::METRIC},
    {"0.1,S0,2,,,,,,,0.51,remote share", LineKind::METRIC},
    {"0.1,CPU3,,,,,,,0.51,remote share", LineKind::METRIC},
    {"{\"interval\" : 0.100204040, \"counter-value\" : \"561272637.000000\"}", LineKind::JSON},
    {" time,", LineKind::METRIC_ONLY},
    {" time,socket,cpus", LineKind::METRIC_ONLY, ""},
    {"timeout", LineKind::OTHER_TEXT},
    {"     0.100219123          561381398      msr/tsc/      ", LineKind::FOR_PEOPLE, ""},
    {"1963433287,,msr/tsc/,702874380,100.00,,", LineKind::NO_TIME},
    {"S0,2,1963433287,,msr/tsc/,702874380,100.00,,", LineKind::NO_TIME},
    {"<not supported>,,cycles,0,100.00,,", LineKind::NO_TIME},
    {"noise", LineKind::OTHER_TEXT},
    {"more, noise", LineKind::OTHER_TEXT},
    {"more, noise", LineKind::OTHER_TEXT, ""},
    {"-0.1,5,,rx_outer,5,100.00", LineKind::OTHER_TEXT},
    {"0x1.5,5,,rx_outer,5,100.00", LineKind::OTHER_TEXT},
    {"1.5e3,5,,rx_outer,5,100.00", LineKind::OTHER_TEXT},
    {".5,5,,rx_outer,5,100.00", LineKind::OTHER_TEXT},
    {"5.,5,,rx_outer,5,100.00", LineKind::OTHER_TEXT},
    {"0.1234567891,5,,rx_outer,5,100.00", LineKind::OTHER_TEXT},
    {"0.1;5;;rx_outer;5;100.00", LineKind::OTHER_TEXT},
    {"9223372036.0,5,,rx_outer,5,100.00", LineKind::BAD_TIME},
    {"99999999999999999999.0,5,,rx_outer,5,100.00", LineKind::BAD_TIME},
    {"0.1,-5,,rx_outer,5,100.00", LineKind::BAD_COUNT},
    {"0.1,+5,,rx_outer,5,100.00", LineKind::BAD_COUNT},
    {"0.1, 5,,rx_outer,5,100.00", LineKind::BAD_COUNT},
    {"0.1,1e5,,rx_outer,5,100.00", LineKind::BAD_COUNT},
    {"0.1,0x10,,rx_outer,5,100.00", LineKind::BAD_COUNT},
    {"0.1,5.,,rx_outer,5,100.00", LineKind::BAD_COUNT},
    {"0.1,nan,,rx_outer,5,100.00", LineKind::BAD_COUNT},
    {"0.1,<not here>,,rx_outer,5,100.00", LineKind::BAD_COUNT},
    {"0.1,,,rx_outer,5,100.00", LineKind::BAD_COUNT},
    {"0.1;560,840;;rx_outer;5;100.00", LineKind::BAD_COUNT, ";"},
    {"0.1;560.84;;rx_outer;5;100,00", LineKind::BAD_COUNT, ";"},
    {"0.1,18446744073709551616,,rx_outer,5,100.00", LineKind::COUNT_TOO_LARGE},
    {"0.1,18446744073709551615.50,,rx_outer,5,100.00", LineKind::COUNT_TOO_LARGE},
    {"0.1,99999999999999999999999999,,rx_outer,5,100.00", LineKind::COUNT_TOO_LARGE},
    {"0.1,5,,,5,100.00", LineKind::BAD_NAME},
    {"0.1,5,,,5,5,100.00", LineKind::BAD_NAME},
    {"0.1,5,,rx\x1b[31m_outer,5,100.00", LineKind::BAD_NAME},
    {"0.1,5,,rx_\xc3\xa4,5,100.00", LineKind::BAD_NAME},
    {std::string_view("0.1,5,,rx\0_outer,5,100.00", 25), LineKind::BAD_NAME},
    {"0.1,b\xc3\xa4-1,5,,rx_outer,5,100.00", LineKind::BAD_NAME},
    {"0.1,S0,2,-5,,rx_outer,5,100.00", LineKind::BAD_NAME},
    {"0.1", LineKind::NO_RUNNING_TIME},
    {"0.1,", LineKind::NO_RUNNING_TIME},
    {"0.1,5", LineKind::NO_RUNNING_TIME},
    {"0.1,5,,rx_outer", LineKind::NO_RUNNING_TIME},
    {"0.1,5,,rx_outer,5", LineKind::NO_RUNNING_TIME},
    {"0.1,5,,rx_outer,5,100", LineKind::NO_RUNNING_TIME},
    {"0.1,5,,rx_outer,5,100.0", LineKind::NO_RUNNING_TIME},
    {"0.1,5,,rx_outer,5,1000.00", LineKind::NO_RUNNING_TIME},
    {"0.1,5,,rx_outer,-5,100.00", LineKind::NO_RUNNING_TIME},
    {"0.100181836,,,", LineKind::NO_RUNNING_TIME},
    {"0.1 good morning", LineKind::NO_RUNNING_TIME, ""},
};

TEST(RecordingLine, TellsOtherLinesApart)
{
    for (const OtherCase& expected : OTHERS) {
        SCOPED_TRACE(std::string(expected.line) + " by " + std::string(expected.separator));
        RecordingLine line;
        EXPECT_EQ(ParseRecordingLine(expected.line, expected.separator, line), expected.kind);
    }
}

TEST(RecordingLine, BoundsNames)
{
    RecordingLine line;
    const std::string longest(MAX_EVENT, 'x');
    EXPECT_EQ(ParseRecordingLine("0.1,5,," + longest + ",5,100.00", ",", line), COUNT);
    EXPECT_EQ(ParseRecordingLine("0.1,5,," + longest + "x,5,100.00", ",", line), LineKind::BAD_NAME);
    const std::string prefix(MAX_PREFIX, 'p');
    EXPECT_EQ(ParseRecordingLine("0.1," + prefix + ",5,,rx,5,100.00", ",", line), COUNT);
    EXPECT_EQ(ParseRecordingLine("0.1," + prefix + "p,5,,rx,5,100.00", ",", line), LineKind::BAD_NAME);
}

TEST(RecordingLine, ReadsNoFurtherThanItsFieldsGo)
{
    RecordingLine line;
    std::string commas = "0.1,5,,rx_outer";
    for (int i = 0; i < 100000; ++i) {
        commas += ",a";
    }
    EXPECT_EQ(ParseRecordingLine(commas + ",5,100.00", ",", line), LineKind::NO_RUNNING_TIME);
    EXPECT_EQ(DetectSeparator(commas + ",5,100.00"), "");
}

TEST(RecordingLine, ForgetsTheLineBefore)
{
    RecordingLine line;
    ASSERT_EQ(ParseRecordingLine("0.1,S0,2,400.82,msec,cpu-clock,4,50.00", ",", line), COUNT);
    ASSERT_EQ(ParseRecordingLine("0.2,<not counted>,,rx_outer,0,100.00", ",", line), LineKind::NOT_COUNTED);
    EXPECT_EQ(line.prefix, "");
    EXPECT_EQ(line.count, 0U);
    EXPECT_FALSE(line.rounded);
}

TEST(RecordingLine, FindsASeparatorOnlyWhereItGivesACount)
{
    EXPECT_EQ(DetectSeparator("1963433287,,msr/tsc/,702874380,100.00,,"), ",");
    EXPECT_EQ(DetectSeparator("<not supported>;;cycles;0;100.00;;"), ";");
    EXPECT_EQ(DetectSeparator("0.1,(sd-pam)-12,5,,rx_outer,5,100.00"), ",");
    for (const char* const line :
         {"", " ", "noise", "0.1", "0.1,", "0.1,,,,,,,0.50,remote share", "0.1.5..rx_outer.5.100.00", "<not",
          "0.1x5xxrx_outerx5x100.00", "     0.100219123          561381398      msr/tsc/      ",
          "0.1,,,,,,,,,,,,,,,,,,,,,,,,,,,,", "# started on Sat", "summary,5,,rx_outer,5,100.00"}) {
        EXPECT_EQ(DetectSeparator(line), "") << line;
    }
}

TEST(PmuOfEvent, IsReadFromTheName)
{
    EXPECT_EQ(PmuOfEvent("uncore_l3c0/rx_outer/"), "uncore_l3c0");
    EXPECT_EQ(PmuOfEvent("msr/tsc/u"), "msr");
    EXPECT_EQ(PmuOfEvent("rx_outer [uncore_l3c4]"), "uncore_l3c4");
    EXPECT_EQ(PmuOfEvent("rx_outer"), "");
    EXPECT_EQ(PmuOfEvent("cycles:u"), "");
    EXPECT_EQ(PmuOfEvent("/rx_outer/"), "");
    EXPECT_EQ(PmuOfEvent("rx_outer [uncore"), "");
    EXPECT_EQ(PmuOfEvent("rx_outer []"), "");
    EXPECT_EQ(PmuOfEvent(""), "");
}

}  // namespace
}  // namespace host
