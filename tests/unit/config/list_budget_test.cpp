// SPDX-License-Identifier: MIT

#include "config/list_budget.h"

#include <cstddef>
#include <cstdint>

#include <limits>
#include <string>
#include <unordered_set>
#include <vector>

#include <gtest/gtest.h>

#include "config/structured_readers.h"
#include "config/value_readers.h"
#include "tests/support/tn_result_text.h"

namespace {

using support::Told;

constexpr std::size_t MAX_ITEMS = 65536;
constexpr std::size_t MAX_BYTES = 4194304;
constexpr std::size_t LONG_TEXT = 65536;

TEST(ListBudgetTest, TakesItemsUpToTheLimit)
{
    const std::string key = "group";
    ListBudget budget(key);
    EXPECT_EQ(Told(budget.TakeItems(0)), "0: ");
    EXPECT_EQ(Told(budget.TakeItems(65535)), "0: ");
    EXPECT_EQ(Told(budget.TakeItems(2)), "1: group has more than 65536 items");
    EXPECT_EQ(Told(budget.TakeItems(1)), "0: ");
    EXPECT_EQ(Told(budget.TakeItems(1)), "1: group has more than 65536 items");
    EXPECT_EQ(Told(budget.TakeItems(std::numeric_limits<std::size_t>::max())),
              "1: group has more than 65536 items");
    EXPECT_EQ(Told(budget.TakeItems(0)), "0: ");
}

TEST(ListBudgetTest, TakesTextUpToTheLimit)
{
    const std::string key = "whitelist";
    ListBudget budget(key);
    EXPECT_EQ(Told(budget.TakeText("")), "0: ");
    EXPECT_EQ(Told(budget.TakeText(std::string(MAX_BYTES - 1, 'x'))), "0: ");
    EXPECT_EQ(Told(budget.TakeText("ab")), "1: whitelist has more than 4194304 bytes of text");
    EXPECT_EQ(Told(budget.TakeText("a")), "0: ");
    EXPECT_EQ(Told(budget.TakeText("a")), "1: whitelist has more than 4194304 bytes of text");
    EXPECT_EQ(Told(budget.TakeText("")), "0: ");
}

TEST(ListBudgetTest, TakesKeysUpToTheLimit)
{
    const std::string key = "process";
    ListBudget budget(key);
    EXPECT_EQ(Told(budget.TakeKeys(1048575)), "0: ");
    EXPECT_EQ(Told(budget.TakeKeys(2)), "1: process has more than 1048576 keys");
    EXPECT_EQ(Told(budget.TakeKeys(1)), "0: ");
    EXPECT_EQ(Told(budget.TakeKeys(1)), "1: process has more than 1048576 keys");
}

TEST(ListBudgetTest, ItemsKeysAndTextAreSeparate)
{
    const std::string key = "k";
    ListBudget budget(key);
    EXPECT_EQ(budget.TakeKeys(1048576).code, 0);
    EXPECT_EQ(budget.TakeItems(MAX_ITEMS).code, 0);
    EXPECT_EQ(budget.TakeText(std::string(MAX_BYTES, 'x')).code, 0);
    EXPECT_EQ(budget.TakeItems(1).code, 1);
    EXPECT_EQ(budget.TakeText("a").code, 1);
}

/// "x" anchored once, and `key` a list that names it `count` times.
ParseInput Aliased(const std::string& anchored, const std::string& key, std::size_t count)
{
    std::string document = "x: &a " + anchored + "\n" + key + ": [";
    for (std::size_t i = 0; i < count; ++i) {
        document += "*a,";
    }
    return {ParseStage::YAML, YAML::Load(document + "]"), ""};
}

std::string LongText()
{
    return std::string(LONG_TEXT, '7');
}

TEST(ListLimits, Patterns)
{
    std::unordered_set<std::string> out = {"before"};
    EXPECT_EQ(Told(CommonParseRegexesSet(Aliased("5", "blacklist", MAX_ITEMS + 1), "blacklist", out)),
              "1: blacklist has more than 65536 items");
    EXPECT_EQ(Told(CommonParseRegexesSet(Aliased(LongText(), "blacklist", 65), "blacklist", out)),
              "1: blacklist has more than 4194304 bytes of text");
    EXPECT_EQ(out, std::unordered_set<std::string>{"before"});
    EXPECT_EQ(Told(CommonParseRegexesSet(Aliased("5", "blacklist", MAX_ITEMS), "blacklist", out)), "0: ");
    EXPECT_EQ(out, std::unordered_set<std::string>{"5"});
    EXPECT_EQ(Told(CommonParseRegexesSet(Aliased(LongText(), "blacklist", 64), "blacklist", out)), "0: ");
    EXPECT_EQ(out, std::unordered_set<std::string>{LongText()});
}

TEST(ListLimits, Ratios)
{
    Conf conf;
    conf.numaRatio = {1};
    EXPECT_EQ(Told(ParseCfgNumaRatio(Aliased("5", "numa-ratio", MAX_ITEMS + 1), conf)),
              "1: numa-ratio has more than 65536 items");
    EXPECT_EQ(Told(ParseCfgNumaRatio(Aliased(LongText(), "numa-ratio", 65), conf)),
              "1: numa-ratio has more than 4194304 bytes of text");
    EXPECT_EQ(conf.numaRatio, std::vector<std::uint32_t>{1});
    EXPECT_EQ(Told(ParseCfgNumaRatio(Aliased("5", "numa-ratio", MAX_ITEMS), conf)), "0: ");
    EXPECT_EQ(conf.numaRatio, std::vector<std::uint32_t>(MAX_ITEMS, 5));
}

TEST(ListLimits, Groups)
{
    Conf conf;
    conf.group = {{"before"}};
    const auto before = conf.group;
    EXPECT_EQ(Told(ParseCfgGroup(Aliased("[]", "group", MAX_ITEMS + 1), conf)),
              "1: group has more than 65536 items");
    EXPECT_EQ(Told(ParseCfgGroup(Aliased("[a, b, c]", "group", (MAX_ITEMS / 3) + 1), conf)),
              "1: group has more than 65536 items");
    EXPECT_EQ(Told(ParseCfgGroup(Aliased("[" + LongText() + "]", "group", 65), conf)),
              "1: group has more than 4194304 bytes of text");
    EXPECT_EQ(conf.group, before);
    EXPECT_EQ(Told(ParseCfgGroup(Aliased("[a, b]", "group", MAX_ITEMS / 2), conf)), "0: ");
    EXPECT_EQ(conf.group.size(), MAX_ITEMS / 2);
    EXPECT_EQ(conf.group.back().size(), 2U);
    EXPECT_EQ(Told(ParseCfgGroup(Aliased("[]", "group", MAX_ITEMS), conf)), "0: ");
    EXPECT_EQ(conf.group.size(), MAX_ITEMS);
}

TEST(ListLimits, Processes)
{
    Conf conf;
    EXPECT_EQ(Told(ParseCfgProcess(Aliased("{name: p}", "process", MAX_ITEMS + 1), conf)),
              "1: process has more than 65536 items");
    EXPECT_TRUE(conf.process.empty());
    Conf named;
    EXPECT_EQ(Told(ParseCfgProcess(Aliased("{name: " + LongText() + "}", "process", 65), named)),
              "1: process has more than 4194304 bytes of text");
    EXPECT_EQ(named.process[LongText()].size(), 64U);  // the entries before the failing one stay
    for (const char* key : {"params-regex", "net-affinity"}) {
        Conf filled;
        const std::string entry = std::string("{name: p, ") + key + ": " + LongText() + "}";
        EXPECT_EQ(Told(ParseCfgProcess(Aliased(entry, "process", 64), filled)),
                  "1: process has more than 4194304 bytes of text");
        EXPECT_EQ(filled.process["p"].size(), 63U);
    }
}

TEST(ListLimits, AsManyProcessesAsItemsMayBe)
{
    Conf conf;
    EXPECT_EQ(Told(ParseCfgProcess(Aliased("{name: p}", "process", MAX_ITEMS), conf)), "0: ");
    ASSERT_EQ(conf.process["p"].size(), MAX_ITEMS);
    EXPECT_EQ(conf.process["p"].front().confId, 1U);
    EXPECT_EQ(conf.process["p"].back().confId, MAX_ITEMS);
}

/// The limits stand in front of the copying: lists of lists of the same texts would be a gigabyte.
TEST(ListLimits, AliasesThatExpandAreRefusedBeforeTheyAreCopied)
{
    const std::string longName = "[" + std::string(8000, 'x') + "]";
    std::string list = "[";
    for (int i = 0; i < 4000; ++i) {
        list += "y,";
    }
    Conf conf;
    EXPECT_EQ(Told(ParseCfgGroup(Aliased(list + "]", "group", 4000), conf)),
              "1: group has more than 65536 items");
    EXPECT_TRUE(conf.group.empty());
    EXPECT_EQ(Told(ParseCfgGroup(Aliased(longName, "group", 4000), conf)),
              "1: group has more than 4194304 bytes of text");
    EXPECT_TRUE(conf.group.empty());
}

}  // namespace
