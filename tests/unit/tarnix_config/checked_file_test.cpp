// SPDX-License-Identifier: MIT

#include "tools/tarnix_config/checked_file.h"

#include <sys/stat.h>

#include <fstream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/scratch_directory.h"
#include "tools/tarnix_config/reports.h"

namespace {

using testing::HasSubstr;
using testing::StartsWith;

class CheckedFileTest : public testing::Test {
protected:
    std::string Check(const std::string& text, bool underKovari = false)
    {
        std::ofstream(path, std::ios::binary) << text;
        return tarnix_config::FaultReport("f", tarnix_config::CheckFile(path, underKovari));
    }

    support::ScratchDirectory scratch;
    std::string path = scratch / "tarnix.yaml";
};

TEST_F(CheckedFileTest, GoodFilesHaveNoFaults)
{
    EXPECT_EQ(Check(""), "");
    EXPECT_EQ(Check("# only a comment\n"), "");
    EXPECT_EQ(Check("log-level: debug\nsampling-interval: 200\n"), "");
    EXPECT_EQ(Check("process:\n- {name: a}\n- {name: a, params-regex: '.*x'}\n"), "");
}

TEST_F(CheckedFileTest, FillsTheConfiguration)
{
    std::ofstream(path) << "log-level: debug\nprocess: [{name: a}, {name: a, algorithm: BalanceProcNum}]\n";
    const tarnix_config::CheckedFile file = tarnix_config::CheckFile(path, false);
    EXPECT_EQ(file.conf.logLevel, SysLogLevel::DEBUG);
    ASSERT_EQ(file.conf.process.at("a").size(), 2U);
    EXPECT_EQ(file.conf.process.at("a")[1].confId, 2U);
    EXPECT_EQ(file.conf.process.at("a")[1].algorithm, ProcAlg::BALANCE_PROC_NUM);
}

TEST_F(CheckedFileTest, NamesEveryFaultWithItsPlace)
{
    const struct {
        const char* what;
        const char* text;
        const char* faults;
    } cases[] = {
        {"value", "log-level: verbose\n",
         "f:1:12: log-level should be in [trace, debug, info, warn, error, fatal], now is verbose\n"},
        {"number", "\n  \nspe-period: -1\n",
         "f:3:13: spe-period should be a unsigned int value but now is -1\n"},
        {"shape", "metrics:\n", "f:1:1: metrics is not a scalar\n"},
        {"unknown", "sampling-intervall: 1\n",
         "f:1:1: unknown key 'sampling-intervall' is not read, did you mean 'sampling-interval'?\n"},
        {"quite unknown", "\"a\\nb\": 1\n", "f:1:1: unknown key 'a\\nb' is not read\n"},
        {"repeated", "smt: off\nirq: o\nsmt: off\n",
         "f:3:1: key 'smt' is given again: the one in line 1 counts, this one is not read\n"},
        {"command line only", "log-file: x\n",
         "f:1:1: key 'log-file' is not read from the file: it is an option of the command line\n"},
        {"no text", "? [a]\n: 1\n", "f:1:3: a key has to be a text: this one is not read\n"},
        {"a value after it", "? [a]\n: 1\nsmt: x\nlog-level: x\n",
         "f:1:3: a key has to be a text: this one is not read\n"
         "f:3:6: smt should be in [off, phy-first], now is x\n"
         "f:4:12: log-level should be in [trace, debug, info, warn, error, fatal], now is x\n"},
        {"pattern", "blacklist: [ok, '(']\n",
         "f:1:17: blacklist: pattern '(' never matches: the pattern does not compile: Mismatched '(' and ')' "
         "in regular "
         "expression\n"},
        {"entry", "process:\n- {name: a}\n- {algorithm: base}\n", "f:3:3: process name is empty\n"},
        {"entries that are no mappings", "process:\n- 5\n- [name, a]\n",
         "f:2:3: process name is empty\nf:3:3: process name is empty\n"},
        {"no list of entries", "process: 5\n", "f:1:10: process is not a sequence\n"},
        {"no list of patterns", "blacklist: x\n", "f:1:12: blacklist is not a sequence\n"},
        {"no pattern", "process:\n- name: a\n  params-regex: [x]\n", "f:2:3: params-regex is not a scalar\n"},
        {"key of an entry", "process:\n- name: a\n  params-regx: x\n",
         "f:3:3: unknown key 'params-regx' of a process entry is not read, did you mean 'params-regex'?\n"},
        {"pattern of an entry", "process:\n- name: a\n  params-regex: '['\n",
         "f:3:17: params-regex: pattern '[' never matches: the pattern does not compile: Unexpected "
         "character within "
         "'[...]' in regular expression\n"},
        {"validation", "sampling-interval: 99\nsampling-times: 0\n",
         "f:1:20: sampling-interval value out of range, min: 100, max: 100000, current value: 99\n"
         "f:2:17: sampling-times value out of range, min: 1, max: 1000, current value: 0\n"},
        {"interface", "process: [{name: a, net-affinity: no-such-if}]\n",
         "f:1:10: net affinity node not found, net_name: no-such-if\n"},
        {"list", "- a\n- b\n", "f:1:1: the file is no mapping of keys to values: nothing in it is read\n"},
        {"scalar", "text\n", "f:1:1: the file is no mapping of keys to values: nothing in it is read\n"},
        {"syntax", "a: b\n[\n", "f:3:1: end of sequence flow not found\n"},
        {"several", "group: x\nmetrics: yes\nlog-level: x\n",
         "f:1:8: group is not a sequence\n"
         "f:2:10: metrics should be in [false, true], now is yes\n"
         "f:3:12: log-level should be in [trace, debug, info, warn, error, fatal], now is x\n"},
    };
    for (const auto& [what, text, faults] : cases) {
        if (std::string(what) == "syntax" || std::string(what) == "pattern of an entry" ||
            std::string(what) == "pattern") {
            // The texts of the YAML and the regular-expression library are theirs: only the places are
            // pinned.
            const std::string expected = faults;
            EXPECT_THAT(Check(text), StartsWith(expected.substr(0, expected.find(": ", 4)))) << what;
        } else {
            EXPECT_EQ(Check(text), faults) << what;
        }
    }
}

TEST_F(CheckedFileTest, TheFrameworkHasRulesOfItsOwn)
{
    EXPECT_EQ(Check("sampling-interval: 150\n", false), "");
    EXPECT_EQ(Check("sampling-interval: 150\n", true),
              "f:1:20: error: sampling-interval is not a multiple of 100\n");
    EXPECT_EQ(Check("spe-period: 0\n", true), "") << "not read under the framework";
    EXPECT_THAT(Check("spe-period: 0\n", false), HasSubstr("spePeriod value out of range"));
}

TEST_F(CheckedFileTest, WhatIsNoFileIsAFault)
{
    EXPECT_THAT(tarnix_config::FaultReport("f", tarnix_config::CheckFile(scratch / "absent", false)),
                StartsWith("f: YAML loading error: "));
    const std::string fifo = scratch / "fifo";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    EXPECT_EQ(tarnix_config::FaultReport("f", tarnix_config::CheckFile(fifo, false)),
              "f: YAML loading error: " + fifo + " is a FIFO, expected a regular file\n");
    EXPECT_EQ(Check(std::string((1U << 20U) + 1, '#')),
              "f: YAML loading error: " + path + " is larger than 1048576 bytes\n");
}

TEST_F(CheckedFileTest, HostileFilesAreAnswered)
{
    EXPECT_NE(Check(std::string(100000, '[')), "");
    EXPECT_NE(Check("a: &a [*a]\nwhitelist: *a\n"), "");
    std::string bomb = "a: &a {name: x, b: c}\nprocess:\n";
    for (int i = 0; i < 70000; ++i) {
        bomb += "- *a\n";
    }
    EXPECT_THAT(Check(bomb), HasSubstr("process has more than 65536 items"));
    EXPECT_NE(Check(std::string("log-level: \0x\n", 14)), "");
    std::string nodes = "[";
    for (int i = 0; i < 300001; ++i) {
        nodes += "a,";
    }
    EXPECT_THAT(Check(nodes + "]"), HasSubstr("the file has more than 300000 scalars, lists and mappings"));
}

}  // namespace
