// SPDX-License-Identifier: MIT

#include "config/structured_readers.h"

#include <string>
#include <unordered_set>
#include <vector>

#include <gtest/gtest.h>

#include "config/conf_enums.h"
#include "tests/support/tn_result_text.h"

namespace {

using support::Told;

using Groups = std::vector<std::unordered_set<std::string>>;
using Ratios = std::vector<std::uint32_t>;

constexpr auto UNKNOWN_STAGE = static_cast<ParseStage>(2);

const char* const FULL_FILE =
    "process: [{name: p}]\n"
    "numa-ratio: [50, 50]\n"
    "group: [[a, b]]\n";

ParseInput InFile(const std::string& document)
{
    return {ParseStage::YAML, YAML::Load(document), ""};
}

/// The entries that a file leaves in an empty configuration, one text each, in the order of `name`'s list.
std::vector<std::string> EntriesOf(const Conf& conf, const std::string& name)
{
    std::vector<std::string> texts;
    const auto found = conf.process.find(name);
    if (found == conf.process.end()) {
        return texts;
    }
    for (const ProcConf& entry : found->second) {
        texts.push_back(std::to_string(entry.confId) + " " + std::to_string(entry.needTune) + " '" +
                        entry.paramsRegex + "' '" + entry.netAffinity + "' " +
                        (entry.migrateAllMemory ? "all " : "- ") + std::to_string(entry.netAffinityNode) +
                        " " + std::to_string(entry.defaultMigMemNode) + " " +
                        g_procAlgMap.at(entry.algorithm));
    }
    return texts;
}

TEST(ProcessReader, OutsideTheFileItDoesNothing)
{
    for (const ParseStage stage : {ParseStage::CMDLINE, UNKNOWN_STAGE}) {
        Conf conf;
        EXPECT_EQ(Told(ParseCfgProcess({stage, YAML::Load(FULL_FILE), "p"}, conf)), "0: ");
        EXPECT_TRUE(conf.process.empty());
    }
}

/// Whoever does not ask for the stage gets entries that have no keys.
TEST(ProcessReader, WithoutLookingAtTheStage)
{
    for (const ParseStage stage : {ParseStage::CMDLINE, UNKNOWN_STAGE}) {
        Conf conf;
        EXPECT_EQ(Told(ParseYamlProcess({stage, YAML::Load(FULL_FILE), "p"}, conf)),
                  "1: process name is empty");
        EXPECT_TRUE(conf.process.empty());
    }
}

TEST(ProcessReader, AbsentOrNoSequence)
{
    Conf conf;
    EXPECT_EQ(Told(ParseCfgProcess(InFile("other: 1"), conf)), "0: process not found");
    EXPECT_EQ(Told(ParseYamlProcess(InFile("other: 1"), conf)), "0: process not found");
    EXPECT_EQ(Told(ParseCfgProcess(InFile("process:"), conf)), "1: process is not a sequence");
    EXPECT_EQ(Told(ParseCfgProcess(InFile("process: {name: p}"), conf)), "1: process is not a sequence");
    EXPECT_EQ(Told(ParseCfgProcess(InFile("process: []"), conf)), "0: ");
    EXPECT_TRUE(conf.process.empty());
}

TEST(ProcessReader, AnEntryWithAllKeys)
{
    Conf conf;
    EXPECT_EQ(Told(ParseCfgProcess(InFile("process:\n"
                                          "- name: java\n"
                                          "  params-regex: '.*-Dx=1.*'\n"
                                          "  net-affinity: eth0\n"
                                          "  algorithm: MigrateThreadsToOneNode\n"
                                          "  migrate-all-memory: true\n"
                                          "  default-mig-mem-node: 3\n"),
                                   conf)),
              "0: ");
    EXPECT_EQ(EntriesOf(conf, "java"),
              std::vector<std::string>{"1 1 '.*-Dx=1.*' 'eth0' all -1 3 MigrateThreadsToOneNode"});
    EXPECT_EQ(conf.process.size(), 1U);
}

TEST(ProcessReader, AbsentKeysKeepTheirDefaultsAndOthersAreIgnored)
{
    Conf conf;
    EXPECT_EQ(
        Told(ParseCfgProcess(InFile("process: [{name: p, colour: red, confId: 9, needTune: 0}]"), conf)),
        "0: ");
    EXPECT_EQ(EntriesOf(conf, "p"), std::vector<std::string>{"1 1 '' '' - -1 -1 base"});
}

TEST(ProcessReader, EntriesOfOneNameAreCountedInTheOrderOfTheFile)
{
    Conf conf;
    EXPECT_EQ(Told(ParseCfgProcess(InFile("process:\n"
                                          "- {name: a, params-regex: x}\n"
                                          "- {name: b}\n"
                                          "- {name: a, params-regex: z}\n"
                                          "- {name: a, params-regex: y}\n"),
                                   conf)),
              "0: ");
    EXPECT_EQ(EntriesOf(conf, "a"),
              (std::vector<std::string>{"1 1 'x' '' - -1 -1 base", "2 1 'z' '' - -1 -1 base",
                                        "3 1 'y' '' - -1 -1 base"}));
    EXPECT_EQ(EntriesOf(conf, "b"), std::vector<std::string>{"1 1 '' '' - -1 -1 base"});
}

TEST(ProcessReader, EntriesAccumulate)
{
    Conf conf;
    const ParseInput input = InFile("process: [{name: a}, {name: b}]");
    EXPECT_EQ(Told(ParseCfgProcess(input, conf)), "0: ");
    EXPECT_EQ(Told(ParseYamlProcess(input, conf)), "0: ");
    EXPECT_EQ(EntriesOf(conf, "a"),
              (std::vector<std::string>{"1 1 '' '' - -1 -1 base", "2 1 '' '' - -1 -1 base"}));
    EXPECT_EQ(conf.process.size(), 2U);
}

TEST(ProcessReader, Names)
{
    const struct {
        const char* entry;
        const char* told;
    } cases[] = {
        {"{}", "1: process name is empty"},
        {"{name: ''}", "1: process name is empty"},
        {"{algorithm: base}", "1: process name is empty"},
        {"{algorithm: nonsense}", "1: process name is empty"},  // the name comes first
        {"plain", "1: process name is empty"},
        {"[name, p]", "1: process name is empty"},
        {"~", "1: process name is empty"},
        {"{name: }", "1: name is not a scalar"},
        {"{name: [p]}", "1: name is not a scalar"},
        {"{name: {p: q}}", "1: name is not a scalar"},
        {"{name: ' '}", "0: "},
        {"{name: 5}", "0: "},
    };
    for (const auto& [entry, told] : cases) {
        Conf conf;
        EXPECT_EQ(Told(ParseCfgProcess(InFile(std::string("process: [") + entry + "]"), conf)), told)
            << entry;
        EXPECT_EQ(conf.process.size(), std::string(told) == "0: " ? 1U : 0U) << entry;
    }
}

TEST(ProcessReader, ValuesOfAnEntry)
{
    const std::string file = "/etc/tarnix.yaml error: ";
    const std::string algorithms =
        "algorithm should be in [base, MigrateThreadsToOneNode, BalanceProcNum, "
        "MigrateThreadsToOneSocketAuto, MigrateThreadsToOneSocketFixed], now is ";
    const std::string node = "default-mig-mem-node should be a unsigned int value but now is ";
    const struct {
        const char* value;
        std::string told;
        const char* entry;
    } cases[] = {
        {"params-regex: ''", "0: ", "1 1 '' '' - -1 -1 base"},
        {"params-regex: 5", "0: ", "1 1 '5' '' - -1 -1 base"},
        {"params-regex: ", "1: params-regex is not a scalar", ""},
        {"params-regex: [a]", "1: params-regex is not a scalar", ""},
        {"net-affinity: eth9", "0: ", "1 1 '' 'eth9' - -1 -1 base"},  // looked up later
        {"net-affinity: {a: b}", "1: net-affinity is not a scalar", ""},
        {"algorithm: base", "0: ", "1 1 '' '' - -1 -1 base"},
        {"algorithm: BalanceProcNum", "0: ", "1 1 '' '' - -1 -1 BalanceProcNum"},
        {"algorithm: balanceprocnum", "1: " + file + algorithms + "balanceprocnum\n", ""},
        {"algorithm: ''", "1: " + file + algorithms + "\n", ""},
        {"algorithm: [base]", "1: algorithm is not a scalar", ""},
        {"migrate-all-memory: false", "0: ", "1 1 '' '' - -1 -1 base"},
        {"migrate-all-memory: true", "0: ", "1 1 '' '' all -1 -1 base"},
        {"migrate-all-memory: ''", "1: " + file + "migrate-all-memory should be in [false, true], now is \n",
         ""},
        {"migrate-all-memory: ", "1: migrate-all-memory is not a scalar", ""},
        {"default-mig-mem-node: 0", "0: ", "1 1 '' '' - -1 0 base"},
        {"default-mig-mem-node: 2147483647", "0: ", "1 1 '' '' - -1 2147483647 base"},
        {"default-mig-mem-node: 2147483648", "1: " + file + node + "2147483648\n", ""},
        {"default-mig-mem-node: 4294967295", "1: " + file + node + "4294967295\n", ""},
        {"default-mig-mem-node: 4294967296", "1: " + file + node + "4294967296\n", ""},
        {"default-mig-mem-node: -1", "1: " + file + node + "-1\n", ""},
        {"default-mig-mem-node: ", "1: default-mig-mem-node is not a scalar", ""},
    };
    for (const auto& [value, told, entry] : cases) {
        Conf conf;
        EXPECT_EQ(Told(ParseCfgProcess(InFile(std::string("process: [{name: p, ") + value + "}]"), conf)),
                  told);
        const std::vector<std::string> entries = EntriesOf(conf, "p");
        ASSERT_EQ(entries.size(), *entry == '\0' ? 0U : 1U) << value;
        EXPECT_TRUE(entries.empty() || entries.front() == entry) << value << " -> " << entries.front();
    }
}

/// Which of several faults of one entry is told.
TEST(ProcessReader, ValuesAreReadInAFixedOrder)
{
    const std::vector<std::string> faults = {
        "params-regex: []",       "net-affinity: []",         "algorithm: []",
        "migrate-all-memory: []", "default-mig-mem-node: []",
    };
    std::string entry = "{name: p";
    for (auto fault = faults.rbegin(); fault != faults.rend(); ++fault) {
        entry += ", " + *fault;
        const std::string key = fault->substr(0, fault->find(':'));
        Conf conf;
        EXPECT_EQ(Told(ParseCfgProcess(InFile("process: [" + entry + "}]"), conf)),
                  "1: " + key + " is not a scalar");
    }
}

TEST(ProcessReader, EntriesBeforeAFailingOneStay)
{
    Conf conf;
    EXPECT_EQ(Told(ParseCfgProcess(InFile("process: [{name: a}, {name: ''}, {name: b}]"), conf)),
              "1: process name is empty");
    EXPECT_EQ(conf.process.size(), 1U);
    EXPECT_EQ(conf.process.count("a"), 1U);
}

TEST(RatioReader, OnlyTheFileHasRatios)
{
    for (const ParseStage stage : {ParseStage::CMDLINE, UNKNOWN_STAGE}) {
        Conf conf;
        conf.numaRatio = {1};
        EXPECT_EQ(Told(ParseCfgNumaRatio({stage, YAML::Load(FULL_FILE), "50"}, conf)),
                  "0: numa-ratio only support in yaml");
        EXPECT_EQ(conf.numaRatio, Ratios{1});
    }
}

TEST(RatioReader, Lists)
{
    const struct {
        const char* document;
        const char* told;
        Ratios ratios;
    } cases[] = {
        {"other: 1", "0: numa-ratio not found", {7}},
        {"numa-ratio: 5", "0: numa-ratio not found", {7}},
        {"numa-ratio:", "0: numa-ratio not found", {7}},
        {"numa-ratio: {a: b}", "0: numa-ratio not found", {7}},
        {"numa-ratio: [1, [2]]", "0: numa-ratio not found", {7}},
        {"numa-ratio: [x, {a: b}]", "0: numa-ratio not found", {7}},
        {"numa-ratio: []", "0: numa-ratio is empty", {7}},
        {"numa-ratio: [0]", "0: ", {0}},
        {"numa-ratio: [3, 1, 4294967295]", "0: ", {3, 1, 4294967295U}},
        {"numa-ratio: ['50', !!str 50]", "0: ", {50, 50}},
        {"numa-ratio: [1, x]", "1:  numa-ratio is not a unsigned int value, value is x", {1, 0}},
        {"numa-ratio: [x, 1]", "1:  numa-ratio is not a unsigned int value, value is x", {0, 0}},
        {"numa-ratio: [1, 2, -3, y, 5]",
         "1:  numa-ratio is not a unsigned int value, value is -3",
         {1, 2, 0, 0, 0}},
        {"numa-ratio: [4294967296]", "1:  numa-ratio is not a unsigned int value, value is 4294967296", {0}},
        {"numa-ratio: ['']", "1:  numa-ratio is not a unsigned int value, value is ", {0}},
    };
    for (const auto& [document, told, ratios] : cases) {
        Conf conf;
        conf.numaRatio = {7};
        EXPECT_EQ(Told(ParseCfgNumaRatio(InFile(document), conf)), told) << document;
        EXPECT_EQ(conf.numaRatio, ratios) << document;
    }
}

TEST(RatioReader, ARootThatIsNotValidHasNone)
{
    const YAML::Node root = YAML::Load("key: 1");
    Conf conf;
    EXPECT_EQ(Told(ParseCfgNumaRatio({ParseStage::YAML, root["absent"], ""}, conf)),
              "0: numa-ratio not found");
    EXPECT_EQ(Told(ParseCfgGroup({ParseStage::YAML, root["absent"], ""}, conf)), "0: group not found");
    EXPECT_EQ(Told(ParseCfgProcess({ParseStage::YAML, root["absent"], ""}, conf)), "0: process not found");
}

TEST(GroupReader, OnlyTheFileHasGroups)
{
    for (const ParseStage stage : {ParseStage::CMDLINE, UNKNOWN_STAGE}) {
        Conf conf;
        conf.group = {{"before"}};
        EXPECT_EQ(Told(ParseCfgGroup({stage, YAML::Load(FULL_FILE), "a"}, conf)),
                  "0: group only support in yaml");
        EXPECT_EQ(conf.group, Groups{{"before"}});
    }
}

TEST(GroupReader, Lists)
{
    const Groups before = {{"before"}};
    const char* const noSequence = "1: group is not a sequence";
    const struct {
        const char* document;
        const char* told;
        Groups groups;
    } cases[] = {
        {"other: 1", "0: group not found", before},
        {"group: a", noSequence, before},
        {"group:", noSequence, before},
        {"group: {a: b}", noSequence, before},
        {"group: [a]", noSequence, before},
        {"group: [[a], b]", noSequence, before},
        {"group: [[a], ~]", noSequence, before},
        {"group: [[a], {b: c}]", noSequence, before},
        {"group: [[a], [[b]]]", noSequence, before},
        {"group: [[a], [{b: c}]]", noSequence, before},
        {"group: []", "0: group is empty", before},
        {"group: [[]]", "0: ", Groups{{}}},
        {"group: [[process1, process2]]", "0: ", Groups{{"process1", "process2"}}},
        {"group: [[c, a, c], [a], []]", "0: ", Groups{{"a", "c"}, {"a"}, {}}},
        {"group:\n- [a, b]\n- - c\n  - 5\n", "0: ", Groups{{"a", "b"}, {"c", "5"}}},
    };
    for (const auto& [document, told, groups] : cases) {
        Conf conf;
        conf.group = before;
        EXPECT_EQ(Told(ParseCfgGroup(InFile(document), conf)), told) << document;
        EXPECT_EQ(conf.group, groups) << document;
    }
}

}  // namespace
