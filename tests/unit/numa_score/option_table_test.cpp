// SPDX-License-Identifier: MIT

#include "tools/numa_score/option_table.h"

#include <cstdint>

#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using numa_score::Command;
using numa_score::CommandBit;
using numa_score::OptionRow;
using numa_score::Options;
using numa_score::OptionTable;

const OptionRow& Row(const std::string& name)
{
    for (const OptionRow& row : OptionTable()) {
        if (name == row.name) {
            return row;
        }
    }
    throw std::out_of_range(name);
}

TEST(OptionTable, SaysWhichCommandKnowsWhichOption)
{
    struct Case {
        const char* name;
        const char* commands;  // live, replay, demo, doctor, list, check
        bool takesValue;
        bool repeatable;
    };
    const Case cases[] = {
        {"--format", "lrd--c", true, false},      {"--count", "lrd---", true, false},
        {"--duration", "lrd---", true, false},    {"--interval", "lrd---", true, false},
        {"--per-pmu", "lrd---", false, false},    {"--threshold", "lrd---", true, false},
        {"--out", "lrd--c", true, false},         {"--quiet", "lrd---", false, false},
        {"--color", "lrd---", true, false},       {"--plugin", "lrdDL-", true, false},
        {"--map", "l--D--", true, true},          {"--sysfs-root", "l--DL-", true, false},
        {"--procfs-root", "l--D--", true, false}, {"--speed", "-rd---", true, false},
        {"--separator", "-r----", true, false},   {"--compare", "-r----", true, false},
        {"--seed", "--d---", true, false},        {"--repeat", "--d---", false, false},
        {"--rule", "-----c", true, true},
    };
    const Command commands[] = {Command::LIVE,   Command::REPLAY, Command::DEMO,
                                Command::DOCTOR, Command::LIST,   Command::CHECK};
    EXPECT_EQ(OptionTable().size(), std::size(cases));
    for (const Case& one : cases) {
        const OptionRow& row = Row(one.name);
        std::string known;
        for (std::size_t i = 0; i < 6; ++i) {
            known += (row.commands & CommandBit(commands[i])) != 0 ? "lrdDLc"[i] : '-';
        }
        EXPECT_EQ(known, one.commands) << one.name;
        EXPECT_EQ(row.placeholder != nullptr, one.takesValue) << one.name;
        EXPECT_EQ(row.repeatable, one.repeatable) << one.name;
        EXPECT_STRNE(row.help, "") << one.name;
    }
}

TEST(OptionTable, RefusesValuesAndSaysWhatIsExpected)
{
    const char* const count = "a whole number of periods from 1 to 1000000000000";
    const char* const seconds = "seconds above 0, up to 1000000000, for example 2.5";
    const char* const milliseconds = "whole milliseconds from 1 to 3600000";
    const char* const score = "a score from 0 to 1, for example 0.955";
    const char* const speed = "max, or how many times as fast as recorded, from 0.000001 to 1000000000";
    const char* const seed = "a whole number from 0 to 18446744073709551615";
    const char* const mapping = "rx_outer=, rx_sccl= or rx_ops_num= and PMU/event/, each event once";
    const char* const separator =
        "the 1 to 8 characters after -x of perf stat, none of them a letter, a digit, a dot or a line break; "
        "\\t is a tab";
    const std::string nul("a\0b", 3);
    const struct {
        const char* option;
        std::vector<std::string> values;
        const char* expected;
    } cases[] = {
        {"--format", {"", "xml", "CSV", "csv ", nul}, "table, csv or json"},
        {"--count",
         {"", "0", "-1", "+1", " 1", "1 ", "1.5", "1e3", "0x10", "1000000000001", "99999999999999999999999",
          "x"},
         count},
        {"--duration", {"", "0", "-1", "nan", "inf", "1000000001", "1e-10", "1e400", "2,5", "2s"}, seconds},
        {"--interval", {"", "0", "-5", "3600001", "99999999999", "1.5"}, milliseconds},
        {"--threshold", {"", "-0.1", "1.0001", "nan", "inf", "0,5"}, score},
        {"--color", {"", "yes", "Always"}, "auto, always or never"},
        {"--plugin", {"", nul}, "the path of a library or of a directory"},
        {"--out", {"", nul}, "the path of a file, or - for standard output"},
        {"--sysfs-root", {"", nul}, "the path of a directory"},
        {"--procfs-root", {"", nul}, "the path of a directory"},
        {"--compare", {"", nul}, "the path of a recording, or - for standard input"},
        {"--speed", {"", "0", "-1", "0.0000009", "1000000001", "nan", "inf", "Max"}, speed},
        {"--separator", {"", ",,,,,,,,,", "x", "7", ".", "\n", "\\n", nul}, separator},
        {"--seed", {"", "-1", "18446744073709551616", "1.0"}, seed},
        {"--rule", {"", "all", "Load", "load "}, "the name of a rule, as check shows them"},
        {"--map", {"", "rx_outer", "rx_outer=", "=x/y/", "rx=x/y/", "RX_OUTER=x/y/"}, mapping},
    };
    for (const auto& one : cases) {
        for (const std::string& value : one.values) {
            Options options;
            EXPECT_EQ(Row(one.option).set(options, value), one.expected) << one.option << " " << value;
        }
    }
}

TEST(OptionTable, TakesTheBounds)
{
    Options options;
    EXPECT_EQ(Row("--count").set(options, "1000000000000"), "");
    EXPECT_EQ(options.count, 1000000000000U);
    EXPECT_EQ(Row("--count").set(options, "1"), "");
    EXPECT_EQ(options.count, 1U);
    EXPECT_EQ(Row("--duration").set(options, "1e-9"), "");
    EXPECT_EQ(options.durationNs, 1);
    EXPECT_EQ(Row("--duration").set(options, "1000000000"), "");
    EXPECT_EQ(options.durationNs, 1000000000000000000);
    EXPECT_EQ(Row("--interval").set(options, "3600000"), "");
    EXPECT_EQ(options.intervalMs, 3600000);
    EXPECT_EQ(Row("--threshold").set(options, "0"), "");
    EXPECT_EQ(options.threshold, 0.0);
    EXPECT_EQ(Row("--threshold").set(options, "1"), "");
    EXPECT_EQ(options.threshold, 1.0);
    EXPECT_EQ(Row("--speed").set(options, "0.000001"), "");
    EXPECT_EQ(options.speed, 0.000001);
    EXPECT_EQ(Row("--speed").set(options, "1e9"), "");
    EXPECT_EQ(options.speed, 1e9);
    EXPECT_EQ(Row("--speed").set(options, "max"), "");
    EXPECT_FALSE(options.speed.has_value());
    EXPECT_EQ(Row("--seed").set(options, "18446744073709551615"), "");
    EXPECT_EQ(options.seed, UINT64_MAX);
    EXPECT_EQ(Row("--separator").set(options, ";;;;;;;;"), "");
    EXPECT_EQ(options.separator, ";;;;;;;;");
    EXPECT_EQ(Row("--separator").set(options, "\\t"), "");
    EXPECT_EQ(options.separator, "\\t");
}

TEST(OptionTable, MapsEachEventOnce)
{
    Options options;
    const OptionRow& map = Row("--map");
    EXPECT_EQ(map.set(options, "rx_outer=hub/config=0x1,config1=0x2/"), "");
    EXPECT_EQ(map.set(options, "rx_sccl=b/c/"), "");
    EXPECT_EQ(map.set(options, "rx_ops_num=b/d/"), "");
    EXPECT_NE(map.set(options, "rx_sccl=b/e/"), "");
    ASSERT_EQ(options.mappings.size(), 3U);
    EXPECT_EQ(options.mappings[0].eventName, "rx_outer");
    EXPECT_EQ(options.mappings[0].target, "hub/config=0x1,config1=0x2/");
    EXPECT_EQ(options.mappings[1].target, "b/c/");
    EXPECT_EQ(options.mappings[2].eventName, "rx_ops_num");
}

TEST(OptionTable, KeepsWhatWasThereWhenANumberIsRefused)
{
    Options options;
    Row("--threshold").set(options, "nan");
    Row("--seed").set(options, "-1");
    Row("--interval").set(options, "0");
    EXPECT_EQ(options.threshold, 0.955);
    EXPECT_EQ(options.seed, 1U);
    EXPECT_EQ(options.intervalMs, 0);
}

}  // namespace
