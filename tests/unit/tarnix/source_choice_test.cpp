// SPDX-License-Identifier: MIT

#include "tools/tarnix/source_choice.h"

#include <fstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/scratch_directory.h"

namespace {

using support::ScratchDirectory;
using tarnix::OpenSource;
using tarnix::ParseMappings;
using tarnix::ParseSource;
using tarnix::SourceChoice;

TEST(TarnixSourceChoice, KnowsThreeKinds)
{
    SourceChoice choice;
    EXPECT_EQ(ParseSource("demo", choice), "");
    EXPECT_EQ(choice.kind, SourceChoice::Kind::DEMO);
    EXPECT_EQ(ParseSource("live", choice), "");
    EXPECT_EQ(choice.kind, SourceChoice::Kind::LIVE);
    EXPECT_EQ(ParseSource("replay:a:b c", choice), "");
    EXPECT_EQ(choice.kind, SourceChoice::Kind::REPLAY);
    EXPECT_EQ(choice.recording, "a:b c");
}

TEST(TarnixSourceChoice, RefusesEverythingElse)
{
    for (const std::string text : {"", "Live", "live ", "replay", "replay:", "Replay:x", "\x1b[2J"}) {
        SourceChoice choice;
        const std::string shown = text == "\x1b[2J" ? "\\x1b[2J" : text;
        EXPECT_EQ(ParseSource(text, choice),
                  "TARNIX_SOURCE is \"" + shown +
                      "\", expected live, demo or replay: followed by the path of a recording");
        EXPECT_EQ(choice.kind, SourceChoice::Kind::LIVE);
    }
}

TEST(TarnixSourceChoice, ReadsMappings)
{
    SourceChoice choice;
    EXPECT_EQ(ParseMappings("", choice), "");
    EXPECT_EQ(ParseMappings(" rx_outer=cpu/config=0x1,umask=0x2/  rx_sccl=hub/ev/\t", choice), "");
    ASSERT_EQ(choice.mappings.size(), 2U);
    EXPECT_EQ(choice.mappings[0].eventName, "rx_outer");
    EXPECT_EQ(choice.mappings[0].target, "cpu/config=0x1,umask=0x2/");
    EXPECT_EQ(choice.mappings[1].eventName, "rx_sccl");
    EXPECT_EQ(choice.mappings[1].target, "hub/ev/");
}

TEST(TarnixSourceChoice, RefusesWhatIsNoMapping)
{
    for (const std::string text : {"rx_outer", "=hub/ev/", "rx_outer=", "rx_outer=hub", "rx_outr=hub/ev/"}) {
        SourceChoice choice;
        EXPECT_EQ(ParseMappings("rx_sccl=a/b/ " + text, choice),
                  "TARNIX_MAP has \"" + text +
                      "\", expected rx_outer=PMU/event/, rx_sccl=PMU/event/ or rx_ops_num=PMU/event/, with "
                      "blanks between");
    }
}

TEST(TarnixSourceChoice, RefusesAnEventMappedTwice)
{
    SourceChoice choice;
    EXPECT_EQ(ParseMappings("rx_sccl=a/b/ rx_outer=a/c/ rx_sccl=a/d/", choice),
              "TARNIX_MAP has rx_sccl twice, expected it once");
}

TEST(TarnixSourceChoice, LiveCountersThatAreNotThereAreExplainedInItsOwnTerms)
{
    const ScratchDirectory scratch;
    SourceChoice choice;
    choice.sysfsRoot = scratch / "sys";
    EXPECT_THAT(OpenSource(choice).error, testing::HasSubstr(scratch / "sys"));
    std::filesystem::create_directories(scratch / "sys/bus/event_source/devices");
    EXPECT_THAT(OpenSource(choice).error,
                testing::HasSubstr("take the counts from other events with TARNIX_MAP=rx_outer=PMU/event/"));
    choice.mappings = {{"rx_outer", "hub/ev/"}};
    EXPECT_THAT(OpenSource(choice).error, testing::StartsWith("TARNIX_MAP=rx_outer=hub/ev/: no PMU 'hub'"));
}

TEST(TarnixSourceChoice, TheDemonstrationFollowsTheInterval)
{
    SourceChoice choice;
    choice.kind = SourceChoice::Kind::DEMO;
    for (const auto& [asked, expected] : {std::pair{250, 250}, {100000, 60000}, {0, 1}}) {
        choice.intervalMs = asked;
        const host::SourceResult result = OpenSource(choice);
        ASSERT_NE(result.source, nullptr);
        host::CounterBatch batch;
        EXPECT_EQ(result.source->Read(batch), host::CounterSource::Status::BATCH);
        EXPECT_EQ(batch.intervalMs, expected);
    }
}

TEST(TarnixSourceChoice, ARecordingHasToBeARegularFile)
{
    const ScratchDirectory scratch;
    SourceChoice choice;
    choice.kind = SourceChoice::Kind::REPLAY;
    choice.recording = scratch / "none";
    EXPECT_EQ(OpenSource(choice).error,
              "TARNIX_SOURCE names " + choice.recording + ": No such file or directory");
    choice.recording = scratch / ".";
    EXPECT_EQ(OpenSource(choice).error,
              "TARNIX_SOURCE names " + choice.recording + ", which is no regular file");
    choice.recording = "-";
    EXPECT_EQ(OpenSource(choice).error, "TARNIX_SOURCE names -: No such file or directory");
    choice.recording = scratch / "recording";
    std::ofstream(choice.recording) << "1.0,5,,rx_outer,100,100.00,,\n";
    EXPECT_NE(OpenSource(choice).source, nullptr);
}

}  // namespace
