// SPDX-License-Identifier: MIT
//
// Linked twice, with the configuration's objects in either order: whatever is built at the start of a program
// must not depend on it.

#include <fstream>
#include <iterator>
#include <string>

#include <gtest/gtest.h>

#include "config/conf_ctl.h"
#include "tests/support/conf_text.h"

namespace {

std::string Golden(const std::string& name)
{
    std::ifstream in(SOURCE_DIR "/tests/golden/config/" + name, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

TEST(LinkOrder, LeavesTheDefaults)
{
    EXPECT_EQ(support::ConfText(g_defaultConf), support::ConfText(Conf()));
    EXPECT_EQ(support::ProcConfText(g_defaultProcConf), "0 1 <> <> 0 -1 -1 0");
    EXPECT_EQ(g_defaultConf.logFile, "stdout");
    EXPECT_EQ(g_logLevelMap.size() + g_tuneModeMap.size() + g_loadWayMap.size() + g_smtAlgMap.size() +
                  g_irqAlgMap.size() + g_boolMap.size() + g_procAlgMap.size() + g_helpTypeMap.size() +
                  g_policyMap.size() + g_tnstatExportTypeMap.size(),
              30U);
    EXPECT_EQ(TARNIX_YAML, "/etc/tarnix.yaml");
    EXPECT_EQ(YAML_WITHOUT_OPT, "yaml without opt");
}

TEST(LinkOrder, LeavesHelpAndReport)
{
    const OptionInfo info(ConfigType::TARNIX);
    EXPECT_EQ(info.GetHelpInfo(false, HelpType::YAML), Golden("help_yaml_alone.txt"));
    EXPECT_EQ(info.GetHelpInfo(true, HelpType::CMD), Golden("help_cmd_kovari.txt"));
    EXPECT_EQ(OptionInfo(ConfigType::TNSTAT).GetHelpInfo(false, HelpType::CMD), Golden("help_tnstat.txt"));
    EXPECT_EQ(info.GetConfInfo(g_defaultConf), Golden("report_default.txt"));
}

}  // namespace
