// SPDX-License-Identifier: MIT
//
// Help and reports as whole texts, in tests/golden/config; UPDATE_GOLDEN=1 writes them anew.

#include <string>

#include <gtest/gtest.h>

#include "config/build_info.h"
#include "config/option_info.h"
#include "tests/support/golden_file.h"

namespace {

void ExpectText(const std::string& name, const std::string& text)
{
    support::ExpectGolden("tests/golden/config/" + name, text);
}

/// The golden file names the place of the documentation that a build without a setting of its own has.
std::string WithDefaultDocumentation(const std::string& help)
{
    const std::string built = std::string("refer to ") + build_info::DOCUMENTATION + " \n";
    const std::size_t at = help.find(built);
    EXPECT_NE(at, std::string::npos) << help;
    return at == std::string::npos
               ? help
               : std::string(help).replace(at, built.size(), "refer to the documentation of kovari \n");
}

TEST(ConfigGolden, CommandLineHelp)
{
    const OptionInfo info(ConfigType::TARNIX);
    ExpectText("help_cmd_alone.txt", WithDefaultDocumentation(info.GetHelpInfo(false, HelpType::CMD)));
    ExpectText("help_cmd_kovari.txt", info.GetHelpInfo(true, HelpType::CMD));
    ExpectText("help_tnstat.txt", OptionInfo(ConfigType::TNSTAT).GetHelpInfo(false, HelpType::CMD));
}

TEST(ConfigGolden, FileHelp)
{
    const OptionInfo info(ConfigType::TARNIX);
    ExpectText("help_yaml_alone.txt", info.GetHelpInfo(false, HelpType::YAML));
    ExpectText("help_yaml_kovari.txt", info.GetHelpInfo(true, HelpType::YAML));
}

TEST(ConfigGolden, ReportOfTheDefaults)
{
    ExpectText("report_default.txt", OptionInfo(ConfigType::TARNIX).GetConfInfo(g_defaultConf));
}

/// A configuration in which no setting has its default.
Conf FullConf()
{
    Conf conf;
    conf.minNumaScore = 1;
    conf.maxNumaScore = 2;
    conf.minRxOpsPerMs = 3;
    conf.samplingInterval = 400;
    conf.watchdogTimeout = 5;
    conf.samplingTimes = 6;
    conf.spePeriod = 4294967295U;
    conf.pageReserve = 8;
    conf.snapshotInterval = 0;
    conf.reload = true;
    conf.version = true;
    conf.preciseLoad = true;
    conf.memNumaAggregation = true;
    conf.memBalance = true;
    conf.bindSocket = true;
    conf.metrics = false;
    conf.clusterSchedule = true;
    conf.logFile = "/var/log/tarnix/tarnix.log";
    conf.help = HelpType::CMD;
    conf.logLevel = SysLogLevel::TRACE;
    conf.tuneMode = TuneMode::THREAD;
    conf.loadWay = LoadWay::CENTRALIZED;
    conf.smt = SmtAlg::OFF;
    conf.irq = IrqAlg::SOFT;
    conf.policy = Policy::CGROUP;
    conf.numaRatio = {50, 30, 20, 0};
    conf.group = {{"redis-server", "redis-cli"}, {}, {"a, b", "[c]"}};
    conf.blacklist = {"ssh.*", "^systemd(-.*)?$", "with \"quotes\" and \\d"};
    conf.whitelist = {"java", "", "line\nbreak"};
    ProcConf entry;
    entry.confId = 1;
    entry.needTune = 1;
    entry.paramsRegex = ".* -Dname=\"a, b\".*";
    entry.netAffinity = "eth0";
    entry.migrateAllMemory = true;
    entry.netAffinityNode = 1;
    entry.defaultMigMemNode = 3;
    entry.algorithm = ProcAlg::MIGRATE_THREADS_TO_ONE_SOCKET_FIXED;
    ProcConf second;
    second.confId = 2;
    conf.process["java"] = {entry, second};
    entry = ProcConf();
    entry.confId = 1;
    entry.algorithm = ProcAlg::BALANCE_PROC_NUM;
    conf.process["Web Content"] = {entry};
    return conf;
}

TEST(ConfigGolden, ReportWithEverythingSet)
{
    ExpectText("report_full.txt", OptionInfo(ConfigType::TARNIX).GetConfInfo(FullConf()));
}

TEST(ConfigGolden, ReportOfTheViewer)
{
    const OptionInfo info(ConfigType::TNSTAT);
    TnStatConf conf;
    std::string reports;
    for (const ExportType type : {ExportType::REPORT, ExportType::CSV, ExportType::NODE_EXPORTER}) {
        conf.exportType = type;
        reports += info.GetTnstatConfInfo(conf);
    }
    ExpectText("tnstat_report.txt", reports);
}

}  // namespace
