// SPDX-License-Identifier: MIT
//
// A program that is not position-independent and links the library: the linker gives it copies of the
// variables that it reads, and the library has to use the very same ones.

#include <cstdint>

#include <string>

#include <gtest/gtest.h>

#include "common/logger_ctl.h"
#include "config/conf.h"
#include "config/conf_enums.h"
#include "config/option_info.h"
#include "config/value_readers.h"
#include "tests/support/plugin_library.h"

#if defined(__PIE__) || defined(__PIC__)
#error "this test has to be built without -fPIC and -fPIE"
#endif

namespace {

template <typename T>
std::string MapText(const std::map<T, std::string>& map)
{
    std::string text;
    for (const auto& [value, name] : map) {
        text += std::to_string(static_cast<int>(value)) + " " + name + ";";
    }
    return text;
}

TEST(ExportedVariables, HaveTheirContents)
{
    EXPECT_EQ(MapText(g_logLevelMap), "0 trace;1 debug;2 info;3 warn;4 error;5 fatal;");
    EXPECT_EQ(MapText(g_tuneModeMap), "0 b;1 t;2 p;");
    EXPECT_EQ(MapText(g_loadWayMap), "0 b;1 c;");
    EXPECT_EQ(MapText(g_smtAlgMap), "0 off;1 phy-first;");
    EXPECT_EQ(MapText(g_irqAlgMap), "0 o;2 s;");
    EXPECT_EQ(MapText(g_boolMap), "0 false;1 true;");
    EXPECT_EQ(MapText(g_procAlgMap),
              "0 base;1 MigrateThreadsToOneNode;2 BalanceProcNum;3 MigrateThreadsToOneSocketAuto;"
              "4 MigrateThreadsToOneSocketFixed;");
    EXPECT_EQ(MapText(g_helpTypeMap), "0 off;1 cmd;2 yaml;");
    EXPECT_EQ(MapText(g_policyMap), "0 base;1 cgroup;");
    EXPECT_EQ(MapText(g_tnstatExportTypeMap), "0 report;1 csv;2 node_exporter;");
    EXPECT_EQ(TARNIX_YAML, "/etc/tarnix.yaml");
    EXPECT_EQ(YAML_WITHOUT_OPT, "yaml without opt");
    EXPECT_EQ(g_defaultConf.minNumaScore, 955U);
    EXPECT_EQ(g_defaultConf.logFile, "stdout");
    EXPECT_EQ(g_defaultConf.smt, SmtAlg::PHY_FIRST);
    EXPECT_TRUE(g_defaultConf.process.empty());
    EXPECT_EQ(g_defaultProcConf.needTune, 1U);
    EXPECT_EQ(g_defaultProcConf.netAffinityNode, -1);
    ASSERT_NE(logger, nullptr);
    EXPECT_EQ(logger, &LoggerCtl::GetInstance());
    EXPECT_EQ(logger->levelNames.at(LogLevel::FATAL), "FATAL");
}

TEST(ExportedVariables, AreTheOnesThatTheLibraryUses)
{
    const std::string program = support::ObjectOf(reinterpret_cast<const void*>(&MapText<TuneMode>));
    for (const void* variable :
         {static_cast<const void*>(&g_logLevelMap), static_cast<const void*>(&g_boolMap),
          static_cast<const void*>(&TARNIX_YAML), static_cast<const void*>(&YAML_WITHOUT_OPT),
          static_cast<const void*>(&g_defaultConf), static_cast<const void*>(&g_defaultProcConf)}) {
        EXPECT_EQ(support::ObjectOf(variable), program)
            << "the program holds no copy: the test shows nothing";
    }
    EXPECT_EQ(GetStageLog(ParseStage::YAML), TARNIX_YAML);
    std::string out;
    EXPECT_EQ(CommonGetString({ParseStage::YAML, YAML::Node(), ""}, "key", out).message, YAML_WITHOUT_OPT);
    bool value = true;
    EXPECT_EQ(CommonParseBool({ParseStage::YAML, YAML::Load("key: false"), ""}, "key", value).code, 0);
    EXPECT_FALSE(value);
    EXPECT_NE(OptionInfo(ConfigType::TARNIX)
                  .GetHelpInfo(false, HelpType::CMD)
                  .find("smt mode, can be [off, phy-first], default is phy-first\n"),
              std::string::npos);
    ProcConf entry = Conf().GetProcConf("", "");
    EXPECT_EQ(entry.needTune, 1U);

    // The program's assignment is the library's too.
    LoggerCtl* const before = logger;
    logger = nullptr;
    EXPECT_EQ(logger, nullptr);
    logger = before;
}

}  // namespace
