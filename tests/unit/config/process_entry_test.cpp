// SPDX-License-Identifier: MIT

#include "config/process_entry.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <yaml-cpp/yaml.h>

namespace {

struct Outcome {
    TnResult result;
    std::string name;
    ProcConf conf;
};

Outcome Read(const std::string& yaml, ParseStage stage = ParseStage::YAML)
{
    const std::string key = "process";
    ListBudget budget(key);
    const YAML::Node node = YAML::Load(yaml);
    Outcome outcome;
    outcome.result = process_entry::Read(stage, node, budget, outcome.name, outcome.conf);
    return outcome;
}

TEST(ProcessEntry, EveryKeyFillsItsField)
{
    const Outcome entry = Read(
        "{default-mig-mem-node: 2147483647, net-affinity: eth0, migrate-all-memory: true, "
        "algorithm: MigrateThreadsToOneNode, params-regex: '.*x', name: java}");
    EXPECT_EQ(entry.result.code, 0);
    EXPECT_EQ(entry.result.message, "");
    EXPECT_EQ(entry.name, "java");
    EXPECT_EQ(entry.conf.paramsRegex, ".*x");
    EXPECT_EQ(entry.conf.netAffinity, "eth0");
    EXPECT_EQ(entry.conf.algorithm, ProcAlg::MIGRATE_THREADS_TO_ONE_NODE);
    EXPECT_TRUE(entry.conf.migrateAllMemory);
    EXPECT_EQ(entry.conf.defaultMigMemNode, 2147483647);
}

TEST(ProcessEntry, AbsentKeysLeaveTheDefaults)
{
    const Outcome entry = Read("{name: java, unknown: [1, 2], ? [complex] : key, ~: null key}");
    EXPECT_EQ(entry.result.code, 0);
    EXPECT_EQ(entry.result.message, "");
    EXPECT_EQ(entry.conf.paramsRegex, "");
    EXPECT_EQ(entry.conf.netAffinity, "");
    EXPECT_EQ(entry.conf.algorithm, ProcAlg::BASE);
    EXPECT_FALSE(entry.conf.migrateAllMemory);
    EXPECT_EQ(entry.conf.defaultMigMemNode, -1);
    EXPECT_EQ(entry.conf.confId, 0U);
}

TEST(ProcessEntry, OfEqualKeysTheFirstCounts)
{
    const Outcome entry = Read("name: first\nname: second\nalgorithm: base\nalgorithm: none\n");
    EXPECT_EQ(entry.result.code, 0);
    EXPECT_EQ(entry.name, "first");
    EXPECT_EQ(Read("name: ~\nname: second\n").result.message, "name is not a scalar");
}

TEST(ProcessEntry, ReportsTheFirstFaultInTheOrderOfTheFields)
{
    struct Row {
        const char* yaml;
        const char* message;
    };
    const std::vector<Row> rows = {
        {"text", "process name is empty"},
        {"[name, java]", "process name is empty"},
        {"~", "process name is empty"},
        {"{}", "process name is empty"},
        {"{name: '', algorithm: none}", "process name is empty"},
        {"{name: [java], algorithm: none}", "name is not a scalar"},
        {"{name: ~}", "name is not a scalar"},
        {"{algorithm: none, name: java, net-affinity: ~, params-regex: {a: b}}",
         "params-regex is not a scalar"},
        {"{algorithm: none, name: java, net-affinity: ~}", "net-affinity is not a scalar"},
        {"{migrate-all-memory: x, algorithm: [], name: java}", "algorithm is not a scalar"},
        {"{migrate-all-memory: x, algorithm: none, name: java}",
         "/etc/tarnix.yaml error: algorithm should be in [base, MigrateThreadsToOneNode, BalanceProcNum, "
         "MigrateThreadsToOneSocketAuto, MigrateThreadsToOneSocketFixed], now is none\n"},
        {"{default-mig-mem-node: x, migrate-all-memory: yes, name: java}",
         "/etc/tarnix.yaml error: migrate-all-memory should be in [false, true], now is yes\n"},
        {"{default-mig-mem-node: ~, migrate-all-memory: ~, name: java}",
         "migrate-all-memory is not a scalar"},
        {"{default-mig-mem-node: ~, name: java}", "default-mig-mem-node is not a scalar"},
        {"{default-mig-mem-node: -1, name: java}",
         "/etc/tarnix.yaml error: default-mig-mem-node should be a unsigned int value but now is -1\n"},
        {"{default-mig-mem-node: 2147483648, name: java}",
         "/etc/tarnix.yaml error: default-mig-mem-node should be a unsigned int value but now is "
         "2147483648\n"},
    };
    for (const Row& row : rows) {
        const Outcome entry = Read(row.yaml);
        EXPECT_EQ(entry.result.code, 1) << row.yaml;
        EXPECT_EQ(entry.result.message, row.message) << row.yaml;
    }
}

TEST(ProcessEntry, IsReadFromTheFileOnly)
{
    for (const ParseStage stage : {ParseStage::CMDLINE, static_cast<ParseStage>(7)}) {
        const Outcome entry = Read("{name: java}", stage);
        EXPECT_EQ(entry.result.code, 1);
        EXPECT_EQ(entry.result.message, "process name is empty");
    }
}

/// An entry of many keys that is named many times is a small file, but every mention costs a pass over them.
TEST(ProcessEntry, AliasesOfALargeEntryEnd)
{
    std::string keys;
    for (int i = 0; i < 9999; ++i) {
        keys += ", k" + std::to_string(i);
    }
    const std::string key = "process";
    ListBudget budget(key);
    const YAML::Node node = YAML::Load("{name: java" + keys + "}");
    ASSERT_EQ(node.size(), 10000U);
    std::string name;
    ProcConf conf;
    for (std::size_t mention = 0; mention < ListBudget::MAX_KEYS / 10000; ++mention) {
        ASSERT_EQ(process_entry::Read(ParseStage::YAML, node, budget, name, conf).code, 0);
    }
    const TnResult result = process_entry::Read(ParseStage::YAML, node, budget, name, conf);
    EXPECT_EQ(result.code, 1);
    EXPECT_EQ(result.message, "process has more than 1048576 keys");
}

TEST(ProcessEntry, TextsCountAgainstTheBudget)
{
    const std::string key = "process";
    ListBudget budget(key);
    const std::string megabyte(1U << 20U, 'x');
    const YAML::Node node = YAML::Load("{name: java, params-regex: " + megabyte + "}");
    std::string name;
    ProcConf conf;
    for (int mention = 0; mention < 3; ++mention) {
        ASSERT_EQ(process_entry::Read(ParseStage::YAML, node, budget, name, conf).code, 0);
    }
    EXPECT_EQ(conf.paramsRegex, megabyte);
    conf.paramsRegex.clear();
    const TnResult result = process_entry::Read(ParseStage::YAML, node, budget, name, conf);
    EXPECT_EQ(result.code, 1);
    EXPECT_EQ(result.message, "process has more than 4194304 bytes of text");
    EXPECT_EQ(conf.paramsRegex, "");
}

}  // namespace
