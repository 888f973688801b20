// SPDX-License-Identifier: MIT
//
// A host without kovari::Concat: the library's own definition serves.

#include <dlfcn.h>

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/plugin_library.h"
#include "tests/support/published_score.h"

namespace {

using Parts = std::vector<std::string>;

constexpr const char* CONCAT =
    "_ZN6kovari6ConcatERKSt6vectorINSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEESaIS6_EERKS6_";

class ConcatOfTheLibrary : public testing::TestWithParam<support::LoadMode> {};

TEST_P(ConcatOfTheLibrary, ServesWhereTheHostExportsNone)
{
    ASSERT_EQ(dlsym(RTLD_DEFAULT, CONCAT), nullptr);
    const support::PluginLibrary library(PLUGIN_LIBRARY, GetParam().flag);
    support::PluginLibrary::Instances instances;
    library.GetInstance(instances);
    ASSERT_EQ(instances.size(), 1U);
    kovari::Interface& instance = *instances.front();
    instance.messageQueue = std::make_shared<RunMessageQueue>();
    RunMessageQueue& queue = *instance.messageQueue;

    ASSERT_EQ(instance.OpenTopic({"scenario_numa", "system_score", ""}).code, 0);
    std::shared_ptr<kovari::InstanceRunMessage> message = support::TakeMessage(queue);
    ASSERT_NE(message, nullptr);
    EXPECT_EQ(message->payload, (Parts{"pmu_uncore_collector::uncore::", "scenario_numa"}));

    instance.Run();
    message = support::TakeMessage(queue);
    ASSERT_NE(message, nullptr);
    EXPECT_EQ(message->payload, Parts{"scenario_numa::system_score::"});
    support::TakeScore(*message);
}

TEST_P(ConcatOfTheLibrary, JoinsAsTheHostsDoes)
{
    const support::PluginLibrary library(PLUGIN_LIBRARY, GetParam().flag);
    using Function = std::string (*)(const Parts&, const std::string&);
    const auto concat = reinterpret_cast<Function>(library.Symbol(CONCAT));
    ASSERT_NE(concat, nullptr);

    struct Case {
        Parts parts;
        std::string separator;
        std::string joined;
    };
    const std::vector<Case> cases = {
        {{}, "::", ""},
        {{""}, "::", ""},
        {{"a"}, "::", "a"},
        {{"a", "b"}, "::", "a::b"},
        {{"a", "b", ""}, "::", "a::b::"},
        {{"", "", ""}, "::", "::::"},
        {{"a", "b", "c"}, "", "abc"},
        {{std::string("a\0b", 3), "c"}, std::string("\0", 1), std::string("a\0b\0c", 5)},
        {{std::string(5000, 'x'), std::string(5000, 'y')},
         "-",
         std::string(5000, 'x') + "-" + std::string(5000, 'y')},
    };
    for (const Case& row : cases) {
        EXPECT_EQ(concat(row.parts, row.separator), row.joined);
    }
}

INSTANTIATE_TEST_SUITE_P(Modes, ConcatOfTheLibrary, testing::ValuesIn(support::LOAD_MODES),
                         [](const auto& mode) { return std::string(mode.param.name); });

}  // namespace
