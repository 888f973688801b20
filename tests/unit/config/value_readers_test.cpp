// SPDX-License-Identifier: MIT

#include "config/value_readers.h"

#include <map>
#include <string>
#include <unordered_set>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/tn_result_text.h"

namespace {

using support::Told;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

using Texts = std::unordered_set<std::string>;

constexpr auto UNKNOWN_STAGE = static_cast<ParseStage>(2);

ParseInput InFile(const std::string& document)
{
    return {ParseStage::YAML, YAML::Load(document), "not the file's"};
}

ParseInput OnCommandLine(const std::string& value)
{
    return {ParseStage::CMDLINE, YAML::Load("key: 1\nlist: [a]"), value};
}

ParseInput InUnknownStage()
{
    return {UNKNOWN_STAGE, YAML::Load("key: 1\nlist: [a]"), "1"};
}

TEST(StageLog, NamesTheStages)
{
    EXPECT_EQ(GetStageLog(ParseStage::CMDLINE), "cmdline");
    EXPECT_EQ(GetStageLog(ParseStage::YAML), "/etc/tarnix.yaml");
    EXPECT_EQ(GetStageLog(UNKNOWN_STAGE), "unknown");
    EXPECT_EQ(GetStageLog(static_cast<ParseStage>(-1)), "unknown");
}

TEST(CheckYamlNodeExistTest, OnlyADefinedKeyOfAMappingExists)
{
    const YAML::Node root = YAML::Load("key: 1\nnothing:\nlist: [key]\n");
    EXPECT_TRUE(CheckYamlNodeExist(root, "key"));
    EXPECT_TRUE(CheckYamlNodeExist(root, "nothing"));
    EXPECT_FALSE(CheckYamlNodeExist(root, "absent"));
    EXPECT_FALSE(CheckYamlNodeExist(root, ""));
    EXPECT_FALSE(CheckYamlNodeExist(root["list"], "key"));
    EXPECT_FALSE(CheckYamlNodeExist(root["key"], "key"));
    EXPECT_FALSE(CheckYamlNodeExist(root["nothing"], "key"));
    EXPECT_FALSE(CheckYamlNodeExist(root["absent"], "key"));  // a node that is not valid
    EXPECT_FALSE(CheckYamlNodeExist(YAML::Node(), "key"));
    EXPECT_FALSE(CheckYamlNodeExist(YAML::Node(YAML::NodeType::Undefined), "key"));
}

TEST(CheckYamlNodeExistTest, AddsNothingToTheDocument)
{
    YAML::Node root = YAML::Load("key: {a: b}\n");
    YAML::Node empty;
    for (int i = 0; i < 3; ++i) {
        EXPECT_FALSE(CheckYamlNodeExist(root, "absent"));
        EXPECT_FALSE(CheckYamlNodeExist(empty, "absent"));
    }
    EXPECT_EQ(YAML::Dump(root), "key: {a: b}");
    EXPECT_TRUE(empty.IsNull());
}

TEST(CommonGetStringTest, CommandLineGivesTheArgument)
{
    for (const char* value : {"", "text", "5", "a,b", " ", "\xff"}) {
        std::string out = "before";
        EXPECT_EQ(Told(CommonGetString(OnCommandLine(value), "key", out)), "0: ");
        EXPECT_EQ(out, value);
    }
}

TEST(CommonGetStringTest, FileGivesTheScalarOrLeavesTheText)
{
    std::string out = "before";
    EXPECT_EQ(Told(CommonGetString(InFile("other: 1"), "key", out)), "0: yaml without opt");
    EXPECT_EQ(out, "before");
    for (const char* document : {"key:", "key: [a]", "key: {a: b}"}) {
        EXPECT_EQ(Told(CommonGetString(InFile(document), "key", out)), "1: key is not a scalar") << document;
        EXPECT_EQ(out, "before");
    }
    EXPECT_EQ(Told(CommonGetString(InFile("key: ''"), "key", out)), "0: ");
    EXPECT_EQ(out, "");
    EXPECT_EQ(Told(CommonGetString(InFile("key: a b"), "key", out)), "0: ");
    EXPECT_EQ(out, "a b");
}

TEST(CommonGetStringTest, UnknownStageLeavesTheText)
{
    std::string out = "before";
    EXPECT_EQ(Told(CommonGetString(InUnknownStage(), "key", out)), "0: ");
    EXPECT_EQ(out, "before");
}

TEST(CommonGetStringTest, NodesThatAreNotValidHaveNoKeys)
{
    const YAML::Node root = YAML::Load("key: 1");
    for (const YAML::Node& node : {root["absent"], YAML::Node(YAML::NodeType::Undefined), YAML::Node()}) {
        std::string out = "before";
        EXPECT_EQ(Told(CommonGetString({ParseStage::YAML, node, ""}, "key", out)), "0: yaml without opt");
        EXPECT_EQ(out, "before");
    }
}

TEST(CommonParseUintTest, TakesStrictDecimalsFromBothStages)
{
    for (const char* text : {"0", "1", "42", "4294967295"}) {
        std::uint32_t out = 7;
        EXPECT_EQ(Told(CommonParseUint(OnCommandLine(text), "key", out)), "0: ");
        EXPECT_EQ(std::to_string(out), text);
        out = 7;
        EXPECT_EQ(Told(CommonParseUint(InFile(std::string("key: ") + text), "key", out)), "0: ");
        EXPECT_EQ(std::to_string(out), text);
    }
}

TEST(CommonParseUintTest, RefusesAnythingElseAndLeavesTheNumber)
{
    for (const char* text : {"", "-1", "+1", "1.0", "0x1", "01", "1 ", " 1", "x", "1x", "4294967296",
                             "99999999999999999999", "\n"}) {
        const std::string end =
            std::string(" error: key should be a unsigned int value but now is ") + text + "\n";
        std::uint32_t out = 7;
        EXPECT_EQ(Told(CommonParseUint(OnCommandLine(text), "key", out)), "1: cmdline" + end);
        YAML::Node root;
        root["key"] = text;
        EXPECT_EQ(Told(CommonParseUint({ParseStage::YAML, root, ""}, "key", out)),
                  "1: /etc/tarnix.yaml" + end);
        EXPECT_EQ(out, 7U);
    }
}

TEST(CommonParseUintTest, HandsOnWhatTheTextReaderSays)
{
    std::uint32_t out = 7;
    EXPECT_EQ(Told(CommonParseUint(InFile("other: 1"), "key", out)), "0: yaml without opt");
    EXPECT_EQ(Told(CommonParseUint(InFile("key: [1]"), "key", out)), "1: key is not a scalar");
    EXPECT_EQ(Told(CommonParseUint(InUnknownStage(), "key", out)),
              "1: unknown error: key should be a unsigned int value but now is \n");
    EXPECT_EQ(out, 7U);
}

TEST(CommonParseBoolTest, PresenceOnTheCommandLineMeansTrue)
{
    for (const char* value : {"", "false", "nonsense"}) {
        bool out = false;
        EXPECT_EQ(Told(CommonParseBool(OnCommandLine(value), "key", out)), "0: ");
        EXPECT_TRUE(out);
    }
}

TEST(CommonParseBoolTest, FileSaysTrueOrFalse)
{
    bool out = false;
    EXPECT_EQ(Told(CommonParseBool(InFile("key: true"), "key", out)), "0: ");
    EXPECT_TRUE(out);
    EXPECT_EQ(Told(CommonParseBool(InFile("key: false"), "key", out)), "0: ");
    EXPECT_FALSE(out);
    out = true;
    for (const char* text : {"yes", "True", "TRUE", "1", "on", "''"}) {
        const std::string shown = std::string(text) == "''" ? "" : text;
        EXPECT_EQ(Told(CommonParseBool(InFile(std::string("metrics: ") + text), "metrics", out)),
                  "1: /etc/tarnix.yaml error: metrics should be in [false, true], now is " + shown + "\n");
    }
    EXPECT_EQ(Told(CommonParseBool(InFile("metrics:"), "metrics", out)), "1: metrics is not a scalar");
    EXPECT_EQ(Told(CommonParseBool(InFile("other: 1"), "metrics", out)), "0: yaml without opt");
    EXPECT_TRUE(out);
}

TEST(CommonParseBoolTest, UnknownStageIsARemark)
{
    for (const bool before : {false, true}) {
        bool out = before;
        EXPECT_EQ(Told(CommonParseBool(InUnknownStage(), "key", out)), "0: unknown stage");
        EXPECT_EQ(out, before);
    }
}

/// Every name gives its value in both stages, and a name that is none lists them all.
template <typename T>
void ExpectEnum(const std::map<T, std::string>& map, const std::string& list)
{
    for (const auto& [value, name] : map) {
        SCOPED_TRACE(name);
        for (const auto& [before, ignored] : map) {
            T out = before;
            EXPECT_EQ(Told(CommonParseEnum(OnCommandLine(name), "key", map, out)), "0: ");
            EXPECT_TRUE(out == value);
            out = before;
            EXPECT_EQ(Told(CommonParseEnum(InFile("key: " + name), "key", map, out)), "0: ");
            EXPECT_TRUE(out == value);
        }
    }
    const T first = map.begin()->first;
    const std::string name = map.begin()->second;
    for (const std::string& text : {std::string(), std::string("nonsense"), name + " ", " " + name,
                                    name + name, name + std::string(1, '\0')}) {
        const std::string end = " error: key should be in [" + list + "], now is " + text + "\n";
        T out = map.rbegin()->first;
        EXPECT_EQ(Told(CommonParseEnum(OnCommandLine(text), "key", map, out)), "1: cmdline" + end);
        YAML::Node root;
        root["key"] = text;
        EXPECT_EQ(Told(CommonParseEnum({ParseStage::YAML, root, ""}, "key", map, out)),
                  "1: /etc/tarnix.yaml" + end);
        EXPECT_TRUE(out == map.rbegin()->first);
    }
    T out = first;
    EXPECT_EQ(Told(CommonParseEnum(InFile("other: 1"), "key", map, out)), "0: yaml without opt");
    EXPECT_EQ(Told(CommonParseEnum(InFile("key: {a: b}"), "key", map, out)), "1: key is not a scalar");
    EXPECT_EQ(Told(CommonParseEnum(InUnknownStage(), "key", map, out)),
              "1: unknown error: key should be in [" + list + "], now is \n");
    EXPECT_TRUE(out == first);
}

TEST(CommonParseEnumTest, EveryEnumeration)
{
    ExpectEnum(g_boolMap, "false, true");
    ExpectEnum(g_logLevelMap, "trace, debug, info, warn, error, fatal");
    ExpectEnum(g_tuneModeMap, "b, t, p");
    ExpectEnum(g_helpTypeMap, "off, cmd, yaml");
    ExpectEnum(g_loadWayMap, "b, c");
    ExpectEnum(g_smtAlgMap, "off, phy-first");
    ExpectEnum(g_irqAlgMap, "o, s");
    ExpectEnum(g_policyMap, "base, cgroup");
    ExpectEnum(g_procAlgMap,
               "base, MigrateThreadsToOneNode, BalanceProcNum, MigrateThreadsToOneSocketAuto, "
               "MigrateThreadsToOneSocketFixed");
    ExpectEnum(g_tnstatExportTypeMap, "report, csv, node_exporter");
}

TEST(CommonParseEnumTest, CaseMattersAndEqualTextsGiveTheFirstValue)
{
    SysLogLevel level = SysLogLevel::FATAL;
    EXPECT_EQ(Told(CommonParseEnum(InFile("log-level: verbose"), "log-level", g_logLevelMap, level)),
              "1: /etc/tarnix.yaml error: log-level should be in [trace, debug, info, warn, error, fatal], "
              "now is verbose\n");
    EXPECT_EQ(CommonParseEnum(OnCommandLine("Info"), "log-level", g_logLevelMap, level).code, 1);
    EXPECT_EQ(level, SysLogLevel::FATAL);
    Policy policy = Policy::CGROUP;
    const std::map<Policy, std::string> same = {{Policy::BASE, "x"}, {Policy::CGROUP, "x"}};
    EXPECT_EQ(Told(CommonParseEnum(OnCommandLine("x"), "policy", same, policy)), "0: ");
    EXPECT_EQ(policy, Policy::BASE);
}

TEST(CommonParseEnumTest, AMapWithoutEntriesHasNoValue)
{
    Policy policy = Policy::CGROUP;
    EXPECT_EQ(Told(CommonParseEnum(OnCommandLine("x"), "policy", std::map<Policy, std::string>(), policy)),
              "1: cmdline error: policy should be in [], now is x\n");
    EXPECT_EQ(policy, Policy::CGROUP);
}

TEST(CommonParseRegexesSetTest, CommandLineReplacesTheSet)
{
    Texts out = {"before"};
    EXPECT_EQ(Told(CommonParseRegexesSet(OnCommandLine("a,,b,a"), "whitelist", out)), "0: ");
    EXPECT_THAT(out, UnorderedElementsAre("a", "b"));
    for (const char* nothing : {"", ",", ",,,", "\\"}) {
        EXPECT_EQ(Told(CommonParseRegexesSet(OnCommandLine(nothing), "whitelist", out)),
                  "1: whitelist params without vaild value");
        EXPECT_THAT(out, UnorderedElementsAre("a", "b"));
    }
}

TEST(CommonParseRegexesSetTest, FileReplacesTheSet)
{
    Texts out = {"before"};
    EXPECT_EQ(Told(CommonParseRegexesSet(InFile("other: 1"), "whitelist", out)), "0: whitelist not found");
    EXPECT_EQ(Told(CommonParseRegexesSet(InFile("whitelist: []"), "whitelist", out)),
              "0: whitelist params not set");
    for (const char* document : {"whitelist: a", "whitelist:", "whitelist: {a: b}", "whitelist: [a, [b]]"}) {
        EXPECT_EQ(Told(CommonParseRegexesSet(InFile(document), "whitelist", out)),
                  "1: whitelist is not a sequence")
            << document;
    }
    EXPECT_THAT(out, UnorderedElementsAre("before"));
    EXPECT_EQ(Told(CommonParseRegexesSet(InFile("whitelist: ['a,b', c\\d, a]"), "whitelist", out)), "0: ");
    EXPECT_THAT(out, UnorderedElementsAre("a,b", "c\\d", "a"));  // not split, no backslash taken away
}

TEST(CommonParseRegexesSetTest, UnknownStageFails)
{
    Texts out = {"before"};
    EXPECT_EQ(Told(CommonParseRegexesSet(InUnknownStage(), "list", out)),
              "1: list params without vaild value");
    EXPECT_THAT(out, UnorderedElementsAre("before"));
}

TEST(ParseRegexesVectorTest, SplitsAtCommas)
{
    EXPECT_THAT(ParseRegexesVector(""), IsEmpty());
    EXPECT_THAT(ParseRegexesVector(",,"), IsEmpty());
    EXPECT_THAT(ParseRegexesVector("a"), ElementsAre("a"));
    EXPECT_THAT(ParseRegexesVector("a,b,a"), ElementsAre("a", "b", "a"));
    EXPECT_THAT(ParseRegexesVector(",a,,b,"), ElementsAre("a", "b"));
    EXPECT_THAT(ParseRegexesVector(" a , b"), ElementsAre(" a ", " b"));
    EXPECT_THAT(ParseRegexesVector("a\nb,\xff"), ElementsAre("a\nb", "\xff"));
    EXPECT_THAT(ParseRegexesVector(std::string("a\0,b", 4)), ElementsAre(std::string("a\0", 2), "b"));
}

TEST(ParseRegexesVectorTest, ABackslashMakesTheNextCharacterLiteral)
{
    EXPECT_THAT(ParseRegexesVector("a\\,b"), ElementsAre("a,b"));
    EXPECT_THAT(ParseRegexesVector("\\,"), ElementsAre(","));
    EXPECT_THAT(ParseRegexesVector("a\\\\b"), ElementsAre("a\\b"));
    EXPECT_THAT(ParseRegexesVector("a\\\\,b"), ElementsAre("a\\", "b"));
    EXPECT_THAT(ParseRegexesVector("\\d+"), ElementsAre("d+"));
    EXPECT_THAT(ParseRegexesVector("\\\\d+"), ElementsAre("\\d+"));
    EXPECT_THAT(ParseRegexesVector("a\\"), ElementsAre("a"));
    EXPECT_THAT(ParseRegexesVector("a,\\"), ElementsAre("a"));
}

}  // namespace
