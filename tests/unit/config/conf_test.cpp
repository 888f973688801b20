// SPDX-License-Identifier: MIT

#include "config/conf.h"

#include <string>
#include <type_traits>

#include <gtest/gtest.h>

namespace {

ProcConf Entry(std::uint32_t confId, const std::string& paramsRegex)
{
    ProcConf entry;
    entry.confId = confId;
    entry.paramsRegex = paramsRegex;
    return entry;
}

TEST(TnResultRecord, DefaultIsSuccess)
{
    const TnResult result;
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(result.message, "");
    static_assert(std::is_same_v<decltype(result.code), std::int32_t>);
}

TEST(ConfRecord, Defaults)
{
    const Conf& conf = g_defaultConf;
    EXPECT_EQ(conf.confInfo + conf.helpInfo + conf.versionInfo, "");
    EXPECT_EQ(conf.minNumaScore, 955U);
    EXPECT_EQ(conf.maxNumaScore, 975U);
    EXPECT_EQ(conf.minRxOpsPerMs, 10000U);
    EXPECT_EQ(conf.samplingInterval, 100U);
    EXPECT_EQ(conf.watchdogTimeout, 10U);
    EXPECT_EQ(conf.samplingTimes, 10U);
    EXPECT_EQ(conf.spePeriod, 2048U);
    EXPECT_EQ(conf.pageReserve, 100000U);
    EXPECT_EQ(conf.snapshotInterval, 60U);
    EXPECT_FALSE(conf.reload || conf.version || conf.preciseLoad || conf.memNumaAggregation ||
                 conf.memBalance || conf.bindSocket || conf.clusterSchedule);
    EXPECT_TRUE(conf.metrics);
    EXPECT_EQ(conf.logFile, "stdout");
    EXPECT_EQ(conf.help, HelpType::OFF);
    EXPECT_EQ(conf.logLevel, SysLogLevel::INFO);
    EXPECT_EQ(static_cast<int>(conf.tuneMode), 0);
    EXPECT_EQ(static_cast<int>(conf.loadWay), 0);
    EXPECT_EQ(conf.smt, SmtAlg::PHY_FIRST);
    EXPECT_EQ(static_cast<int>(conf.irq), 0);
    EXPECT_EQ(conf.policy, Policy::BASE);
    EXPECT_TRUE(conf.numaRatio.empty() && conf.group.empty() && conf.blacklist.empty() &&
                conf.whitelist.empty() && conf.process.empty());
}

TEST(ConfRecord, DefaultsOfAProcessAndOfTheViewer)
{
    const ProcConf& entry = g_defaultProcConf;
    EXPECT_EQ(entry.confId, 0U);
    EXPECT_EQ(entry.needTune, 1U);
    EXPECT_EQ(entry.paramsRegex + entry.netAffinity, "");
    EXPECT_FALSE(entry.migrateAllMemory);
    EXPECT_EQ(entry.netAffinityNode, -1);
    EXPECT_EQ(entry.defaultMigMemNode, -1);
    EXPECT_EQ(entry.algorithm, ProcAlg::BASE);

    const TnStatConf viewer;
    EXPECT_FALSE(viewer.help || viewer.repeat);
    EXPECT_EQ(viewer.exportType, ExportType::REPORT);
    EXPECT_EQ(viewer.ip, "0.0.0.0");
    EXPECT_EQ(viewer.port, 9101U);
}

template <typename T>
std::string Listed(const std::map<T, std::string>& map)
{
    std::string text;
    for (const auto& entry : map) {
        text += std::to_string(static_cast<int>(entry.first)) + "=" + entry.second + " ";
    }
    return text;
}

TEST(ConfEnums, MapsHaveTheirValuesAndStrings)
{
    EXPECT_EQ(Listed(g_logLevelMap), "0=trace 1=debug 2=info 3=warn 4=error 5=fatal ");
    EXPECT_EQ(Listed(g_tuneModeMap), "0=b 1=t 2=p ");
    EXPECT_EQ(Listed(g_loadWayMap), "0=b 1=c ");
    EXPECT_EQ(Listed(g_smtAlgMap), "0=off 1=phy-first ");
    EXPECT_EQ(Listed(g_irqAlgMap), "0=o 2=s ");
    EXPECT_EQ(Listed(g_boolMap), "0=false 1=true ");
    EXPECT_EQ(Listed(g_procAlgMap),
              "0=base 1=MigrateThreadsToOneNode 2=BalanceProcNum 3=MigrateThreadsToOneSocketAuto "
              "4=MigrateThreadsToOneSocketFixed ");
    EXPECT_EQ(Listed(g_helpTypeMap), "0=off 1=cmd 2=yaml ");
    EXPECT_EQ(Listed(g_policyMap), "0=base 1=cgroup ");
    EXPECT_EQ(Listed(g_tnstatExportTypeMap), "0=report 1=csv 2=node_exporter ");
    EXPECT_EQ(TARNIX_YAML, "/etc/tarnix.yaml");
    EXPECT_EQ(YAML_WITHOUT_OPT, "yaml without opt");
}

TEST(IsNeedTuneTest, BlacklistWinsAndAnEmptyWhitelistAdmits)
{
    EXPECT_TRUE(IsNeedTune("redis", {}, {}));
    EXPECT_FALSE(IsNeedTune("redis", {}, {"redis"}));
    EXPECT_FALSE(IsNeedTune("redis", {"redis"}, {"re.*"}));
    EXPECT_TRUE(IsNeedTune("redis", {"nginx", "re.*"}, {"nginx"}));
    EXPECT_FALSE(IsNeedTune("redis-server", {"redis"}, {})) << "only the whole name counts";
    EXPECT_TRUE(IsNeedTune("redis-server", {}, {"redis"}));
    EXPECT_TRUE(IsNeedTune("x", {}, {"("})) << "a broken pattern excludes nothing";
    EXPECT_FALSE(IsNeedTune("x", {"("}, {})) << "and admits nothing";
    EXPECT_TRUE(IsNeedTune("x", {"(", "x"}, {"["}));
}

TEST(GetProcConfTest, AnEmptyNameGetsTheDefaults)
{
    Conf conf = g_defaultConf;
    conf.blacklist = {".*"};
    conf.process[""] = {Entry(7, "")};
    const ProcConf result = conf.GetProcConf("", "");
    EXPECT_EQ(result.confId, 0U);
    EXPECT_EQ(result.needTune, 1U);
}

TEST(GetProcConfTest, AnExcludedNameGetsTheDefaultsButIsNotTuned)
{
    Conf conf = g_defaultConf;
    conf.blacklist = {"redis"};
    conf.process["redis"] = {Entry(1, "")};
    conf.process["redis"][0].algorithm = ProcAlg::BALANCE_PROC_NUM;
    const ProcConf result = conf.GetProcConf("redis", "");
    EXPECT_EQ(result.needTune, 0U);
    EXPECT_EQ(result.confId, 0U);
    EXPECT_EQ(result.algorithm, ProcAlg::BASE);
}

TEST(GetProcConfTest, OneEntryWithoutPatternAppliesToEveryCommandLine)
{
    Conf conf = g_defaultConf;
    conf.process["a"] = {Entry(1, "")};
    conf.process["none"] = {};
    EXPECT_EQ(conf.GetProcConf("a", "").confId, 1U);
    EXPECT_EQ(conf.GetProcConf("a", "a --x").confId, 1U);
    EXPECT_EQ(conf.GetProcConf("b", "").confId, 0U);
    EXPECT_EQ(conf.GetProcConf("none", "").confId, 0U);
}

TEST(GetProcConfTest, SeveralEntriesAreTriedInOrder)
{
    Conf conf = g_defaultConf;
    conf.process["a"] = {Entry(1, "("), Entry(2, ".*--x.*"), Entry(3, ".*"), Entry(4, "")};
    EXPECT_EQ(conf.GetProcConf("a", "a --x").confId, 2U);
    EXPECT_EQ(conf.GetProcConf("a", "a --y").confId, 3U);
    EXPECT_EQ(conf.GetProcConf("a", "").confId, 3U);
    conf.process["b"] = {Entry(1, ""), Entry(2, "")};
    EXPECT_EQ(conf.GetProcConf("b", "").confId, 1U);
    EXPECT_EQ(conf.GetProcConf("b", "b").confId, 0U)
        << "without a pattern only an empty command line matches";
    conf.process["c"] = {Entry(1, "c --only")};
    EXPECT_EQ(conf.GetProcConf("c", "c --only").confId, 1U);
    EXPECT_EQ(conf.GetProcConf("c", "c --only more").confId, 0U);
}

TEST(GetProcConfTest, TheWholeEntryIsCopied)
{
    Conf conf = g_defaultConf;
    ProcConf entry;
    entry.confId = 3;
    entry.paramsRegex = "x";
    entry.netAffinity = "eth0";
    entry.migrateAllMemory = true;
    entry.netAffinityNode = 2;
    entry.defaultMigMemNode = 1;
    entry.algorithm = ProcAlg::MIGRATE_THREADS_TO_ONE_NODE;
    conf.process["a"] = {entry};
    const ProcConf result = conf.GetProcConf("a", "x");
    EXPECT_EQ(result.confId, 3U);
    EXPECT_EQ(result.needTune, 1U);
    EXPECT_EQ(result.paramsRegex, "x");
    EXPECT_EQ(result.netAffinity, "eth0");
    EXPECT_TRUE(result.migrateAllMemory);
    EXPECT_EQ(result.netAffinityNode, 2);
    EXPECT_EQ(result.defaultMigMemNode, 1);
    EXPECT_EQ(result.algorithm, ProcAlg::MIGRATE_THREADS_TO_ONE_NODE);
}

TEST(IntervalVarInitTest, UnknownInterfaceFails)
{
    Conf conf = g_defaultConf;
    EXPECT_EQ(conf.IntervalVarInit().code, 0);
    conf.process["a"] = {ProcConf(), ProcConf()};
    EXPECT_EQ(conf.IntervalVarInit().code, 0);
    EXPECT_EQ(conf.process["a"][0].netAffinityNode, -1);
    conf.process["a"][1].netAffinity = "eth9_absent";
    const TnResult result = conf.IntervalVarInit();
    EXPECT_EQ(result.code, 1);
    EXPECT_EQ(result.message, "net affinity node not found, net_name: eth9_absent");
    conf.process["0"].emplace_back().netAffinity = "first_by_name";
    EXPECT_EQ(conf.IntervalVarInit().message, "net affinity node not found, net_name: first_by_name");
}

}  // namespace
