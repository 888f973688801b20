// SPDX-License-Identifier: MIT
//
// The parse function of every option fills its own field and no other, from the command line and from the
// file, and has its key's messages.

#include <functional>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "config/option_info.h"
#include "config/options.h"
#include "tests/support/conf_text.h"
#include "tests/support/tn_result_text.h"

namespace {

using support::SettingsText;
using support::TnStatConfText;
using support::Told;

using Change = std::function<void(Conf&)>;

/// What one value of an option makes of the defaults.
struct Case {
    Option (*build)();
    std::string argument;  ///< on the command line
    Change onCommandLine;
    std::string inFile;
    Change fromFile;
};

std::string Changed(const Change& change)
{
    Conf conf = g_defaultConf;
    change(conf);
    return SettingsText(conf);
}

Case Uint(Option (*build)(), std::uint32_t Conf::*field)
{
    return {build, "123", [field](Conf& conf) { conf.*field = 123; }, "4294967295",
            [field](Conf& conf) { conf.*field = 4294967295U; }};
}

Case Bool(Option (*build)(), bool Conf::*field, bool inFile)
{
    return {build, "", [field](Conf& conf) { conf.*field = true; }, inFile ? "true" : "false",
            [field, inFile](Conf& conf) { conf.*field = inFile; }};
}

template <typename T>
Case Enum(Option (*build)(), T Conf::*field, const std::string& name, T value)
{
    const Change change = [field, value](Conf& conf) { conf.*field = value; };
    return {build, name, change, name, change};
}

void Nothing(Conf&) {}

std::vector<Case> Cases()
{
    return {
        Enum(GetPolicyOpt, &Conf::policy, "cgroup", Policy::CGROUP),
        Uint(GetSamplingIntervalOpt, &Conf::samplingInterval),
        Uint(GetSamplingTimesOpt, &Conf::samplingTimes),
        Uint(GetSpePeriodOpt, &Conf::spePeriod),
        Enum(GetLogLevelOpt, &Conf::logLevel, "error", SysLogLevel::ERROR),
        Uint(GetWatchdogTimeoutOpt, &Conf::watchdogTimeout),
        {GetLogFileOpt, "/var/log/x", [](Conf& conf) { conf.logFile = "/var/log/x"; }, "''",
         [](Conf& conf) { conf.logFile.clear(); }},
        Uint(GetSnapshotIntervalOpt, &Conf::snapshotInterval),
        Bool(GetMetricsOpt, &Conf::metrics, false),
        Enum(GetTuneModeOpt, &Conf::tuneMode, "p", TuneMode::PAGE),
        Enum(GetLoadWayOpt, &Conf::loadWay, "c", LoadWay::CENTRALIZED),
        Bool(GetBindSocketOpt, &Conf::bindSocket, true),
        Enum(GetSmtOpt, &Conf::smt, "off", SmtAlg::OFF),
        Enum(GetIrqOpt, &Conf::irq, "s", IrqAlg::SOFT),
        Enum(GetHelpOpt, &Conf::help, "yaml", HelpType::YAML),
        Bool(GetClusterScheduleOpt, &Conf::clusterSchedule, true),
        {GetVersionOpt, "", [](Conf& conf) { conf.version = true; }, "false",
         [](Conf& conf) { conf.version = true; }},
        {GetWhitelistOpt, "a,b\\,c",
         [](Conf& conf) {
             conf.whitelist = {"a", "b,c"};
         },
         "[d]", [](Conf& conf) { conf.whitelist = {"d"}; }},
        {GetBlacklistOpt, "a,b\\,c",
         [](Conf& conf) {
             conf.blacklist = {"a", "b,c"};
         },
         "[d]", [](Conf& conf) { conf.blacklist = {"d"}; }},
        {GetGroupOpt, "[[a]]", Nothing, "[[a], [b, c]]",
         [](Conf& conf) {
             conf.group = {{"a"}, {"b", "c"}};
         }},
        Uint(GetMinNumaScoreOpt, &Conf::minNumaScore),
        Uint(GetMaxNumaScoreOpt, &Conf::maxNumaScore),
        Uint(GetMinRxOpsPerMsOpt, &Conf::minRxOpsPerMs),
        {GetNumaRatioOpt, "[1]", Nothing, "[1, 2]",
         [](Conf& conf) {
             conf.numaRatio = {1, 2};
         }},
        Uint(GetPageReserveOpt, &Conf::pageReserve),
        Bool(GetPreciseLoadOpt, &Conf::preciseLoad, true),
        Bool(GetMemNumaAggregationOpt, &Conf::memNumaAggregation, true),
        Bool(GetMemBalanceOpt, &Conf::memBalance, true),
        Bool(GetReloadOpt, &Conf::reload, true),
        {GetProcessOpt, "[{name: p}]", Nothing, "[{name: p}]",
         [](Conf& conf) {
             ProcConf entry;
             entry.confId = 1;
             conf.process["p"] = {entry};
         }},
    };
}

TEST(OptionParse, EachFillsItsField)
{
    std::set<std::string> keys;
    for (const Case& c : Cases()) {
        const Option opt = c.build();
        SCOPED_TRACE(opt.longOpt);
        keys.insert(opt.longOpt);
        const YAML::Node file = YAML::Load(opt.longOpt + ": " + c.inFile);

        Conf conf = g_defaultConf;
        EXPECT_EQ(opt.parseFunc({ParseStage::CMDLINE, file, c.argument}, conf).code, 0);
        EXPECT_EQ(SettingsText(conf), Changed(c.onCommandLine));

        conf = g_defaultConf;
        EXPECT_EQ(Told(opt.parseFunc({ParseStage::YAML, file, c.argument}, conf)), "0: ");
        EXPECT_EQ(SettingsText(conf), Changed(c.fromFile));
    }
    EXPECT_EQ(keys.size(), 30U);
}

TEST(OptionParse, TheCommandLineSetsMetricsAgain)
{
    Conf conf;
    conf.metrics = false;
    EXPECT_EQ(Told(GetMetricsOpt().parseFunc({ParseStage::CMDLINE, {}, ""}, conf)), "0: ");
    EXPECT_TRUE(conf.metrics);
}

/// Without its key in the file an option changes nothing and succeeds; "version" takes no value and is set.
TEST(OptionParse, AnAbsentKeyChangesNothing)
{
    const YAML::Node file = YAML::Load("other: 1");
    for (const Case& c : Cases()) {
        const Option opt = c.build();
        if (opt.longOpt == "version") {
            continue;
        }
        Conf conf = g_defaultConf;
        EXPECT_EQ(opt.parseFunc({ParseStage::YAML, file, c.argument}, conf).code, 0) << opt.longOpt;
        EXPECT_EQ(SettingsText(conf), SettingsText(g_defaultConf)) << opt.longOpt;
    }
}

TEST(OptionParse, MessagesNameTheOptionsOwnKey)
{
    const YAML::Node none;
    for (const Case& c : Cases()) {
        const Option opt = c.build();
        if (!opt.IsAttr(OptAttr::REQUIRED_ARG) || opt.longOpt == "log-file") {
            continue;
        }
        Conf conf = g_defaultConf;
        const TnResult result = opt.parseFunc({ParseStage::CMDLINE, none, ""}, conf);
        EXPECT_EQ(result.code, 1) << opt.longOpt;
        EXPECT_TRUE(result.message == opt.longOpt + " params without vaild value" ||
                    result.message.rfind("cmdline error: " + opt.longOpt + " should be ", 0) == 0)
            << result.message;
        EXPECT_EQ(SettingsText(conf), SettingsText(g_defaultConf)) << opt.longOpt;
    }
}

TnStatConf Viewer(const std::function<void(TnStatConf&)>& change)
{
    TnStatConf conf;
    change(conf);
    return conf;
}

void ExpectViewer(const Option& opt, const std::string& argument, const std::string& told,
                  const std::function<void(TnStatConf&)>& change)
{
    TnStatConf conf;
    EXPECT_EQ(Told(opt.tnstatParseFunc({ParseStage::CMDLINE, {}, argument}, conf)), told) << argument;
    EXPECT_EQ(TnStatConfText(conf), TnStatConfText(Viewer(change))) << argument;
}

void Unchanged(TnStatConf&) {}

TEST(ViewerOptionParse, ExportHelpAndRepeat)
{
    ExpectViewer(GetTnstatExportOpt(), "csv",
                 "0: ", [](TnStatConf& conf) { conf.exportType = ExportType::CSV; });
    ExpectViewer(GetTnstatExportOpt(), "node_exporter",
                 "0: ", [](TnStatConf& conf) { conf.exportType = ExportType::NODE_EXPORTER; });
    ExpectViewer(GetTnstatExportOpt(), "json",
                 "1: cmdline error: export should be in [report, csv, node_exporter], now is json\n",
                 Unchanged);
    ExpectViewer(GetTnstatHelpOpt(), "", "0: ", [](TnStatConf& conf) { conf.help = true; });
    ExpectViewer(GetTnstatRepeatOpt(), "", "0: ", [](TnStatConf& conf) { conf.repeat = true; });
}

TEST(ViewerOptionParse, Addresses)
{
    for (const char* address : {"127.0.0.1", "0.0.0.0", "255.255.255.255", "::1", "2001:db8::1", "::"}) {
        ExpectViewer(GetTnstatIpOpt(), address, "0: ", [address](TnStatConf& conf) { conf.ip = address; });
    }
    for (const char* address : {"", "localhost", "1.2.3", "1.2.3.256", "1.2.3.4 ", "::1%lo", "[::1]", "\n"}) {
        ExpectViewer(GetTnstatIpOpt(), address,
                     std::string("1: ip should be a valid IPv4 or IPv6 address (e.g., 0.0.0.0, 127.0.0.1, "
                                 "::1, or 2001:db8::1) but now is ") +
                         address,
                     Unchanged);
    }
}

TEST(ViewerOptionParse, Ports)
{
    for (const std::uint32_t port : {1U, 80U, 9101U, 65535U}) {
        ExpectViewer(GetTnstatPortOpt(), std::to_string(port),
                     "0: ", [port](TnStatConf& conf) { conf.port = port; });
    }
    for (const char* port : {"", "0", "65536", "4294967296", "-1", "http", "080", " 80", "8e1"}) {
        ExpectViewer(GetTnstatPortOpt(), port,
                     std::string("1: port should be in range 1-65535 but now is ") + port, Unchanged);
    }
}

}  // namespace
