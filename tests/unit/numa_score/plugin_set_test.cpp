// SPDX-License-Identifier: MIT

#include "tools/numa_score/plugin_set.h"

#include <stdlib.h>
#include <unistd.h>

#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/child_run.h"
#include "tests/support/fake_instance.h"

namespace numa_score {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::SizeIs;

cli::Environment Chosen(const char* value)
{
    return [value](const char* name) { return std::string(name) == "NUMA_SCORE_PLUGIN" ? value : nullptr; };
}

void Make(const std::string& path)
{
    std::ofstream(path) << "no library";
}

TEST(PluginSet, SearchOrder)
{
    const std::vector<std::string> places = PluginPlaces(Chosen(nullptr), "/opt/x/bin");
    ASSERT_THAT(places, SizeIs(4));
    EXPECT_EQ(places[0], "/opt/x/bin/../lib/libscenario_numa.so");
    EXPECT_THAT(places[1], testing::StartsWith("/opt/x/bin/../lib"));
    EXPECT_THAT(places[1], EndsWith("/libscenario_numa.so"));
    EXPECT_EQ(places[2], PLUGIN_DIR "/libscenario_numa.so");
    EXPECT_THAT(places[3], testing::MatchesRegex("/.*lib.*/libscenario_numa.so"));

    EXPECT_EQ(PluginPlaces(Chosen(""), "/opt/x/bin"), places) << "an empty choice is none";
    EXPECT_THAT(PluginPlaces(Chosen("/my/p.so"), "/opt/x/bin"), ElementsAre("/my/p.so"));
    EXPECT_THAT(PluginPlaces(Chosen(nullptr), ""), ElementsAre(places[2], places[3]));
}

TEST(PluginSet, TheFirstPlaceThatExistsIsTaken)
{
    const support::TempDirectory directory;
    const std::string a = directory / "a";
    const std::string b = directory / "b";
    const std::string c = directory / "c";
    EXPECT_EQ(FindPlugin({a, b, c}), "");
    EXPECT_EQ(FindPlugin({}), "");
    Make(c);
    EXPECT_EQ(FindPlugin({a, b, c}), c);
    Make(b);
    EXPECT_EQ(FindPlugin({a, b, c}), b);
    EXPECT_EQ(FindPlugin({a}), a) << "what was chosen is tried even if it is not there";
}

TEST(PluginSet, ExecutableDirectory)
{
    EXPECT_EQ(access((ExecutableDirectory() + "/plugin_set_test").c_str(), X_OK), 0) << ExecutableDirectory();
}

TEST(PluginSet, LoadsALibrary)
{
    const PluginSetResult result = LoadScorePlugins(PLUGIN_FILE);
    EXPECT_EQ(result.error, "");
    EXPECT_THAT(result.set.plugins, SizeIs(1));
    EXPECT_THAT(result.set.remarks, SizeIs(0));
    const ScorePublisher found = FindScorePublisher(result.set.Instances());
    ASSERT_NE(found.instance, nullptr);
    EXPECT_EQ(found.instance->name, "scenario_numa");
    EXPECT_EQ(found.topic.topicName, "system_score");
}

TEST(PluginSet, LeavesOutOfADirectoryWhatCannotBeLoaded)
{
    const support::TempDirectory directory;
    Make(directory / "a.so");
    const PluginSetResult none = LoadPlugins(directory.Path());
    EXPECT_THAT(none.error, HasSubstr(directory / "a.so"));
    EXPECT_THAT(none.set.plugins, SizeIs(0));

    ASSERT_EQ(symlink(PLUGIN_FILE, (directory / "b.so").c_str()), 0);
    const PluginSetResult one = LoadPlugins(directory.Path());
    EXPECT_EQ(one.error, "");
    EXPECT_THAT(one.set.plugins, SizeIs(1));
    EXPECT_THAT(one.set.remarks, ElementsAre(none.error));
}

TEST(PluginSet, RemarksWhatIsLeftOutOfALibrary)
{
    const PluginSetResult result = LoadPlugins(SAMPLE_DIR "/sample_some_null.so");
    EXPECT_EQ(result.error, "");
    EXPECT_THAT(result.set.plugins, SizeIs(1));
    EXPECT_THAT(result.set.remarks, ElementsAre(HasSubstr("sample_some_null.so: ")));
}

TEST(PluginSet, SaysWhatIsWrong)
{
    const support::TempDirectory directory;
    EXPECT_THAT(LoadPlugins(directory / "absent.so").error, HasSubstr("absent.so"));
    EXPECT_THAT(LoadPlugins(directory.Path()).error, HasSubstr(directory.Path()));
    EXPECT_EQ(LoadScorePlugins(SAMPLE_DIR "/sample_good.so").error,
              "\"" SAMPLE_DIR
              "/sample_good.so\": no instance publishes the topic \"system_score\"; give --plugin a "
              "library that does");
}

TEST(PluginSet, TheEnvironmentChooses)
{
    ASSERT_EQ(setenv("NUMA_SCORE_PLUGIN", "/absent/p.so", 1), 0);
    EXPECT_THAT(LoadScorePlugins("").error, HasSubstr("/absent/p.so"));
    EXPECT_EQ(LoadScorePlugins(PLUGIN_FILE).error, "") << "--plugin goes first";
    ASSERT_EQ(setenv("NUMA_SCORE_PLUGIN", PLUGIN_FILE, 1), 0);
    EXPECT_EQ(LoadScorePlugins("").error, "");
    ASSERT_EQ(unsetenv("NUMA_SCORE_PLUGIN"), 0);
}

TEST(PluginSet, TheFirstPublisherOfAScore)
{
    const auto other = std::make_shared<support::FakeInstance>("other", nullptr);
    const auto first = std::make_shared<support::FakeInstance>("first", nullptr);
    const auto second = std::make_shared<support::FakeInstance>("second", nullptr);
    other->supportTopics = {{"other", "score", ""}};
    first->supportTopics = {{"first", "x", ""}, {"first", "system_score", "p"}};
    second->supportTopics = {{"second", "system_score", ""}};
    const ScorePublisher found = FindScorePublisher({other, first, second});
    EXPECT_EQ(found.instance, first);
    EXPECT_EQ(found.topic.params, "p");
    EXPECT_EQ(FindScorePublisher({other}).instance, nullptr);
    EXPECT_EQ(FindScorePublisher({}).instance, nullptr);
}

}  // namespace
}  // namespace numa_score
