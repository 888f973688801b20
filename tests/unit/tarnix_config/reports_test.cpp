// SPDX-License-Identifier: MIT

#include "tools/tarnix_config/reports.h"

#include <gtest/gtest.h>

#include "config/option_info.h"

namespace {

using namespace tarnix_config;

TEST(ConfigReports, FaultsAreALineEach)
{
    CheckedFile file;
    EXPECT_EQ(FaultReport("f.yaml", file), "");
    file.faults = {{3, 7, "one"}, {0, 0, "whole"}};
    EXPECT_EQ(FaultReport("f\n.yaml", file), "f\\n.yaml:3:7: one\nf\\n.yaml: whole\n");
}

TEST(ConfigReports, ShowIsTheReportOfTarnix)
{
    EXPECT_EQ(ShowReport(g_defaultConf), OptionInfo(ConfigType::TARNIX).GetConfInfo(g_defaultConf));
}

TEST(ConfigReports, DiffHoldsWhatDiffersFromTheDefaults)
{
    EXPECT_EQ(DiffReport(g_defaultConf), "");
    Conf conf = g_defaultConf;
    conf.samplingInterval = 200;
    conf.whitelist = {"a: b", "c"};
    conf.metrics = false;
    EXPECT_EQ(DiffReport(conf),
              "sampling-interval: 100 -> 200\n"
              "metrics: true -> false\n"
              "whitelist: [] -> [\"a: b\", c]\n");
}

TEST(ConfigReports, TheHashIsThatOfTheMeaning)
{
    Conf one = g_defaultConf;
    Conf other = g_defaultConf;
    one.blacklist = {"a", "b", "c"};
    other.blacklist = {"c", "b", "a"};
    EXPECT_EQ(HashReport(one), HashReport(other));
    EXPECT_EQ(HashReport(one).size(), 65U);
    other.blacklist = {"c"};
    EXPECT_NE(HashReport(one), HashReport(other));
}

}  // namespace
