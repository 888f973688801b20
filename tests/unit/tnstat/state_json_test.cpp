// SPDX-License-Identifier: MIT

#include "tools/tnstat/state_json.h"

#include <string>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/support/metrics_record.h"

namespace {

using tnstat::History;
using tnstat::Reading;
using tnstat::StateJson;

constexpr std::int64_t SECOND = 1000000000;

Reading Good()
{
    Reading reading;
    reading.stamp = {100 * SECOND, 7};
    reading.record = support::TellingRecord();
    return reading;
}

TEST(TnstatStateJson, HoldsWhatThePageShows)
{
    History history;
    history.Note(Good());
    EXPECT_EQ(
        StateJson(Good(), history, 102 * SECOND + SECOND / 2),
        R"({"up":true,"fault":"","now_ms":102500,"age_seconds":2.5,"stale":false,"score":0.95,"operations_per_second":2000000.0,)"
        R"("flags":[],"loops":4711,)"
        R"("nodes":[{"free_bytes":52224,"given_up_bytes":62464},{"free_bytes":53248,"given_up_bytes":63488}],)"
        R"("migrated_bytes":[[0,41984],[43008,0]],"history":[[100000,0.95]]})"
        "\n");
}

TEST(TnstatStateJson, WithoutARecordSaysWhy)
{
    Reading bad;
    bad.fault = "gone";
    EXPECT_EQ(StateJson(bad, History(), 0),
              R"({"up":false,"fault":"gone","now_ms":0,"age_seconds":null,"stale":true,"history":[]})"
              "\n");
}

TEST(TnstatStateJson, OldFiguresAreStale)
{
    EXPECT_FALSE(nlohmann::json::parse(StateJson(Good(), History(), 130 * SECOND)).at("stale").get<bool>());
    EXPECT_TRUE(
        nlohmann::json::parse(StateJson(Good(), History(), 130 * SECOND + 1)).at("stale").get<bool>());
}

TEST(TnstatStateJson, FiguresOfLongPeriodsGoStaleLater)
{
    const auto isStale = [](std::uint64_t intervalMs, std::int64_t seconds) {
        Reading reading = Good();
        reading.record.uncore.interval = intervalMs;
        const std::string text = StateJson(reading, History(), (100 + seconds) * SECOND);
        return nlohmann::json::parse(text).at("stale").get<bool>();
    };
    EXPECT_FALSE(isStale(20000, 60));
    EXPECT_TRUE(isStale(20000, 61));
    EXPECT_FALSE(isStale(UINT64_MAX, 300000));
    EXPECT_TRUE(isStale(UINT64_MAX, 300001)) << "no period is longer than 100000 s";
}

TEST(TnstatStateJson, AScoreWithoutOperationsIsNoPoint)
{
    Reading idle = Good();
    idle.record.uncore = {1000, 0, 0, 0, 1.0F};
    History history;
    history.Note(idle);
    const auto state = nlohmann::json::parse(StateJson(idle, history, 100 * SECOND));
    EXPECT_EQ(state.at("history").dump(), "[[100000,null]]");
    EXPECT_EQ(state.at("flags").dump(), R"(["no_operations"])");
}

TEST(TnstatStateJson, AnIntervalOfZeroDividesNothing)
{
    Reading reading = Good();
    reading.record.uncore.interval = 0;
    const auto state = nlohmann::json::parse(StateJson(reading, History(), 100 * SECOND));
    EXPECT_EQ(state.at("operations_per_second").get<double>(), 0.0);
}

TEST(TnstatStateJson, TextThatIsNoUtf8IsReplaced)
{
    Reading bad;
    bad.fault = "\xff";
    EXPECT_EQ(nlohmann::json::parse(StateJson(bad, History(), 0)).at("fault").get<std::string>(),
              "\xef\xbf\xbd");
}

TEST(TnstatStateJson, NodeCountsOutOfRangeAreCut)
{
    Reading reading = Good();
    reading.record.numaNum = 1000000;
    const auto state = nlohmann::json::parse(StateJson(reading, History(), 100 * SECOND));
    EXPECT_EQ(state.at("nodes").size(), 16U);
    EXPECT_EQ(state.at("migrated_bytes").size(), 16U);
}

}  // namespace
