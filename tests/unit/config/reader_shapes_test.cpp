// SPDX-License-Identifier: MIT
//
// Every reader on every shape that a value can have in a file: no exception, the result of the shape's class,
// and the target as it was wherever nothing was stored.

#include <cstdint>

#include <set>
#include <string>
#include <unordered_set>
#include <vector>

#include <gtest/gtest.h>

#include "config/structured_readers.h"
#include "config/value_readers.h"
#include "tests/support/tn_result_text.h"
#include "tests/support/value_shapes.h"

namespace {

using support::ShapeClass;
using support::Told;
using support::ValueShape;
using support::ValueShapes;

using Texts = std::unordered_set<std::string>;

/// Calls `check` with each shape and its input; an exception fails the shape that caused it.
template <typename Check>
void ForEachShape(const std::string& key, Check check)
{
    for (const ValueShape& shape : ValueShapes(key)) {
        SCOPED_TRACE(shape.name);
        const ParseInput input{ParseStage::YAML, YAML::Load(shape.document), "not the file's"};
        EXPECT_NO_THROW(check(shape, input));
    }
}

/// The result of a reader of one scalar; `taken` and `refused` are for those it can and cannot store.
std::string OfScalar(const ValueShape& shape, const std::string& key, bool isTaken,
                     const std::string& refused)
{
    if (shape.kind == ShapeClass::ABSENT) {
        return "0: yaml without opt";
    }
    if (shape.kind != ShapeClass::SCALAR) {
        return "1: " + key + " is not a scalar";
    }
    return isTaken ? "0: " : "1: /etc/tarnix.yaml error: " + key + refused + shape.text + "\n";
}

TEST(ValueShapesTable, HasEveryClassAndDistinctNames)
{
    std::set<std::string> names;
    std::set<ShapeClass> kinds;
    for (const ValueShape& shape : ValueShapes("key")) {
        EXPECT_TRUE(names.insert(shape.name).second) << shape.name;
        kinds.insert(shape.kind);
    }
    EXPECT_GE(names.size(), 60U);
    EXPECT_EQ(kinds.size(), 7U);
}

TEST(ValueShapesTest, Existence)
{
    ForEachShape("key", [](const ValueShape& shape, const ParseInput& input) {
        EXPECT_EQ(CheckYamlNodeExist(input.node, "key"), shape.kind != ShapeClass::ABSENT);
    });
}

TEST(ValueShapesTest, Text)
{
    ForEachShape("key", [](const ValueShape& shape, const ParseInput& input) {
        std::string out = "before";
        EXPECT_EQ(Told(CommonGetString(input, "key", out)), OfScalar(shape, "key", true, ""));
        EXPECT_EQ(out, shape.kind == ShapeClass::SCALAR ? shape.text : "before");
    });
}

TEST(ValueShapesTest, Uint)
{
    ForEachShape("page-reserve", [](const ValueShape& shape, const ParseInput& input) {
        std::uint32_t out = 77;
        EXPECT_EQ(Told(CommonParseUint(input, "page-reserve", out)),
                  OfScalar(shape, "page-reserve", shape.number.has_value(),
                           " should be a unsigned int value but now is "));
        EXPECT_EQ(out, shape.number.value_or(77));
    });
}

TEST(ValueShapesTest, Bool)
{
    ForEachShape("metrics", [](const ValueShape& shape, const ParseInput& input) {
        const bool isTrue = shape.kind == ShapeClass::SCALAR && shape.text == "true";
        const bool isFalse = shape.kind == ShapeClass::SCALAR && shape.text == "false";
        for (const bool before : {false, true}) {
            bool out = before;
            EXPECT_EQ(Told(CommonParseBool(input, "metrics", out)),
                      OfScalar(shape, "metrics", isTrue || isFalse, " should be in [false, true], now is "));
            EXPECT_EQ(out, isTrue || (before && !isFalse));
        }
    });
}

TEST(ValueShapesTest, Enum)
{
    ForEachShape("log-level", [](const ValueShape& shape, const ParseInput& input) {
        const bool isInfo = shape.text == "info";
        SysLogLevel out = SysLogLevel::FATAL;
        EXPECT_EQ(Told(CommonParseEnum(input, "log-level", g_logLevelMap, out)),
                  OfScalar(shape, "log-level", isInfo,
                           " should be in [trace, debug, info, warn, error, fatal], now is "));
        EXPECT_EQ(out, isInfo ? SysLogLevel::INFO : SysLogLevel::FATAL);
    });
}

std::string OfPatterns(const ValueShape& shape)
{
    if (shape.kind == ShapeClass::ABSENT) {
        return "0: whitelist not found";
    }
    if (shape.kind != ShapeClass::TEXTS) {
        return "1: whitelist is not a sequence";
    }
    return shape.items.empty() ? "0: whitelist params not set" : "0: ";
}

TEST(ValueShapesTest, Patterns)
{
    ForEachShape("whitelist", [](const ValueShape& shape, const ParseInput& input) {
        Texts out = {"before"};
        EXPECT_EQ(Told(CommonParseRegexesSet(input, "whitelist", out)), OfPatterns(shape));
        EXPECT_EQ(out, shape.items.empty() ? Texts{"before"} : Texts(shape.items.begin(), shape.items.end()));
    });
}

/// What numa-ratio makes of the texts: the figures before the first that is none, and the result.
std::string OfRatios(const ValueShape& shape, std::vector<std::uint32_t>& ratios)
{
    if (shape.kind != ShapeClass::TEXTS) {
        return "0: numa-ratio not found";
    }
    if (shape.items.empty()) {
        return "0: numa-ratio is empty";
    }
    ratios.assign(shape.items.size(), 0);
    for (std::size_t i = 0; i < shape.items.size(); ++i) {
        if (shape.items[i].size() != 1 || shape.items[i] < "0" || shape.items[i] > "9") {
            return "1:  numa-ratio is not a unsigned int value, value is " + shape.items[i];
        }
        ratios[i] = static_cast<std::uint32_t>(shape.items[i].front() - '0');
    }
    return "0: ";
}

TEST(ValueShapesTest, Ratios)
{
    ForEachShape("numa-ratio", [](const ValueShape& shape, const ParseInput& input) {
        std::vector<std::uint32_t> expected = {77};
        const std::string result = OfRatios(shape, expected);
        Conf conf;
        conf.numaRatio = {77};
        EXPECT_EQ(Told(ParseCfgNumaRatio(input, conf)), result);
        EXPECT_EQ(conf.numaRatio, expected);
    });
}

std::string OfGroups(const ValueShape& shape)
{
    if (shape.kind == ShapeClass::ABSENT) {
        return "0: group not found";
    }
    if (shape.kind == ShapeClass::TEXTS && shape.items.empty()) {
        return "0: group is empty";
    }
    return shape.kind == ShapeClass::LISTS ? "0: " : "1: group is not a sequence";
}

TEST(ValueShapesTest, Groups)
{
    ForEachShape("group", [](const ValueShape& shape, const ParseInput& input) {
        std::vector<Texts> expected;
        for (const std::vector<std::string>& names : shape.lists) {
            expected.emplace_back(names.begin(), names.end());
        }
        Conf conf;
        conf.group = {{"before"}};
        EXPECT_EQ(Told(ParseCfgGroup(input, conf)), OfGroups(shape));
        EXPECT_EQ(conf.group, shape.kind == ShapeClass::LISTS ? expected : std::vector<Texts>{{"before"}});
    });
}

/// No entry of the table has a name, so that a list with anything in it fails at its first item.
std::string OfProcesses(const ValueShape& shape)
{
    switch (shape.kind) {
        case ShapeClass::ABSENT:
            return "0: process not found";
        case ShapeClass::TEXTS:
            return shape.items.empty() ? "0: " : "1: process name is empty";
        case ShapeClass::LISTS:
        case ShapeClass::OTHER_LIST:
            return "1: process name is empty";
        case ShapeClass::SCALAR:
        case ShapeClass::NULL_VALUE:
        case ShapeClass::MAP:
            break;
    }
    return "1: process is not a sequence";
}

TEST(ValueShapesTest, Processes)
{
    ForEachShape("process", [](const ValueShape& shape, const ParseInput& input) {
        Conf conf;
        conf.process["before"].resize(1);
        EXPECT_EQ(Told(ParseCfgProcess(input, conf)), OfProcesses(shape));
        EXPECT_EQ(conf.process.size(), 1U);
        EXPECT_EQ(conf.process.count("before"), 1U);
    });
}

/// What an entry makes of the value of `key`, which is not its name.
std::string OfEntryValue(const ValueShape& shape, const std::string& key)
{
    bool isTaken = true;
    std::string refused;
    if (key == "algorithm") {
        isTaken = false;
        refused =
            " should be in [base, MigrateThreadsToOneNode, BalanceProcNum, "
            "MigrateThreadsToOneSocketAuto, MigrateThreadsToOneSocketFixed], now is ";
    } else if (key == "migrate-all-memory") {
        isTaken = shape.text == "true" || shape.text == "false";
        refused = " should be in [false, true], now is ";
    } else if (key == "default-mig-mem-node") {
        isTaken = shape.number.value_or(UINT32_MAX) <= INT32_MAX;
        refused = " should be a unsigned int value but now is ";
    }
    const std::string told = OfScalar(shape, key, isTaken, refused);
    return told == "0: yaml without opt" ? "0: " : told;
}

TEST(ValueShapesTest, NameOfAnEntry)
{
    ForEachShape("name", [](const ValueShape& shape, const ParseInput& input) {
        YAML::Node root;
        root["process"].push_back(input.node);
        Conf conf;
        const std::string told = Told(ParseCfgProcess({ParseStage::YAML, root, ""}, conf));
        const bool isStored = shape.kind == ShapeClass::SCALAR && !shape.text.empty();
        if (isStored) {
            EXPECT_EQ(told, "0: ");
        } else if (shape.kind == ShapeClass::ABSENT || shape.kind == ShapeClass::SCALAR) {
            EXPECT_EQ(told, "1: process name is empty");
        } else {
            EXPECT_EQ(told, "1: name is not a scalar");
        }
        EXPECT_EQ(conf.process.size(), isStored ? 1U : 0U);
        EXPECT_EQ(conf.process.count(shape.text), isStored ? 1U : 0U);
    });
}

/// The values inside an entry are read like those of the file, the entry taking the place of the root.
TEST(ValueShapesTest, OtherValuesOfAnEntry)
{
    for (const std::string key :
         {"params-regex", "net-affinity", "algorithm", "migrate-all-memory", "default-mig-mem-node"}) {
        ForEachShape(key, [&key](const ValueShape& shape, const ParseInput& input) {
            const YAML::Node& file = input.node;
            if (!file.IsMap()) {
                return;
            }
            YAML::Node entry;
            for (const auto& pair : file) {
                entry.force_insert(pair.first, pair.second);
            }
            entry["name"] = "p";
            YAML::Node root;
            root["process"].push_back(entry);
            Conf conf;
            const std::string expected = OfEntryValue(shape, key);
            EXPECT_EQ(Told(ParseCfgProcess({ParseStage::YAML, root, ""}, conf)), expected) << key;
            EXPECT_EQ(conf.process.size(), expected == "0: " ? 1U : 0U);
        });
    }
}

}  // namespace
