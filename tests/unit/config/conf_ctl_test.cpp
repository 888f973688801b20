// SPDX-License-Identifier: MIT

#include "config/conf_ctl.h"

#include <cstring>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/conf_text.h"
#include "tests/support/words.h"

namespace {

using support::ConfText;
using support::TnStatConfText;
using support::Words;

const char* const NOT_FOUND = "option not found, please check cmdline by help";
const char* const REPEATED = " not support repeat option, please check cmdline by help";
const char* const EXTRA = "cmdline not support extra parameter, please check cmdline by help";

TnResult Parse(bool isKovari, Words& words, Conf& conf)
{
    ConfCtl ctl;
    const TnResult prepared = ctl.InitOptMap(isKovari);
    EXPECT_EQ(prepared.code, 0);
    EXPECT_EQ(prepared.message, "");
    return ctl.ParseCmdline(words.Count(), words.Array(), isKovari, conf);
}

struct CmdlineCase {
    std::vector<std::string> words;
    bool isKovari;
    std::int32_t code;
    std::string message;
};

class ParseCmdline : public testing::TestWithParam<CmdlineCase> {};

TEST_P(ParseCmdline, Answers)
{
    Words words(GetParam().words);
    Conf conf;
    const TnResult result = Parse(GetParam().isKovari, words, conf);
    EXPECT_EQ(result.code, GetParam().code);
    EXPECT_EQ(result.message, GetParam().message);
}

const std::vector<CmdlineCase> CMDLINE_CASES = {
    {{}, false, 0, "parse cmdline success"},
    {{}, true, 0, "parse cmdline success"},
    {{"-i", "200"}, true, 0, "parse cmdline success"},
    {{"-l", "debug"}, false, 0, "parse cmdline success"},
    // Options that do not apply in this way of running are not in the map.
    {{"-l", "debug"}, true, 1, NOT_FOUND},
    {{"-p", "base"}, true, 1, NOT_FOUND},
    {{"-s", "1"}, true, 1, NOT_FOUND},
    {{"--log-file", "stdout"}, true, 1, NOT_FOUND},
    {{"--irq", "s"}, true, 1, NOT_FOUND},
    {{"--cluster-schedule"}, true, 1, NOT_FOUND},
    {{"--reload"}, true, 1, NOT_FOUND},
    // Options of the file alone have no long name for getopt.
    {{"--watchdog-timeout", "5"}, false, 1, NOT_FOUND},
    {{"--page-reserve", "5"}, false, 1, NOT_FOUND},
    {{"--bind-socket"}, false, 1, NOT_FOUND},
    {{"--min-numa-score", "5"}, false, 1, NOT_FOUND},
    {{"--group", "a"}, false, 1, NOT_FOUND},
    {{"--numa-ratio", "1"}, false, 1, NOT_FOUND},
    {{"--process", "a"}, false, 1, NOT_FOUND},
    {{"-i", "200", "-i", "200"}, false, 1, REPEATED},
    {{"-i", "200", "word"}, false, 1, EXTRA},
    // A reader's failure, unchanged.
    {{"-i", "x"}, false, 1, "cmdline error: sampling-interval should be a unsigned int value but now is x\n"},
    {{"-m", "q"}, false, 1, "cmdline error: tune-mode should be in [b, t, p], now is q\n"},
    {{"--irq", "1"}, false, 1, "cmdline error: irq should be in [o, s], now is 1\n"},
    {{"-W", ","}, false, 1, "whitelist params without vaild value"},
    {{"-b", ""}, false, 1, "blacklist params without vaild value"},
    // The first failure counts.
    {{"-i", "x", "-i", "1", "word"},
     false,
     1,
     "cmdline error: sampling-interval should be a unsigned int value but now is x\n"},
    {{"-q", "-i", "x"}, false, 1, NOT_FOUND},
    // The word is moved behind the options; repetition is seen first.
    {{"word", "-v", "-v"}, false, 1, REPEATED},
    // Validation.
    {{"-i", "99"},
     false,
     1,
     "sampling-interval value out of range, min: 100, max: 100000, current value: 99\n"},
    {{"-i", "150"}, true, 1, "error: sampling-interval is not a multiple of 100\n\n"},
    {{"-i", "150"}, false, 0, "parse cmdline success"},
    {{"-s", "0"}, false, 1, "spePeriod value out of range, min: 1, max: 4294967295, current value: 0\n"},
    {{"--log-file", ""}, false, 1, "log-file is empty\n"},
    {{"--cluster-schedule"}, false, 1, "cluster-schedule=true only support policy=cgroup\n"},
    {{"--cluster-schedule", "-p", "cgroup"}, false, 0, "parse cmdline success"},
};

INSTANTIATE_TEST_SUITE_P(Table, ParseCmdline, testing::ValuesIn(CMDLINE_CASES));

TEST(ConfCtlCmdline, EveryOptionOfTheToolReachesItsField)
{
    Words words({"-p",
                 "cgroup",
                 "-i",
                 "1000",
                 "-t",
                 "20",
                 "-s",
                 "4096",
                 "-l",
                 "trace",
                 "--log-file",
                 "/tmp/x.log",
                 "--snapshot-interval",
                 "0",
                 "--metrics",
                 "-m",
                 "p",
                 "-w",
                 "c",
                 "--smt",
                 "off",
                 "--irq",
                 "s",
                 "-h",
                 "yaml",
                 "--cluster-schedule",
                 "-v",
                 "-W",
                 "a,b\\,c",
                 "-b",
                 "d,,e\\\\",
                 "--precise-load",
                 "--mem-numa-aggregation",
                 "--reload"});
    Conf conf;
    conf.metrics = false;
    ASSERT_EQ(Parse(false, words, conf).message, "parse cmdline success");
    Conf expected;
    expected.policy = Policy::CGROUP;
    expected.samplingInterval = 1000;
    expected.samplingTimes = 20;
    expected.spePeriod = 4096;
    expected.logLevel = SysLogLevel::TRACE;
    expected.logFile = "/tmp/x.log";
    expected.snapshotInterval = 0;
    expected.tuneMode = TuneMode::PAGE;
    expected.loadWay = LoadWay::CENTRALIZED;
    expected.smt = SmtAlg::OFF;
    expected.irq = IrqAlg::SOFT;
    expected.help = HelpType::YAML;
    expected.clusterSchedule = true;
    expected.version = true;
    expected.whitelist = {"a", "b,c"};
    expected.blacklist = {"d", "e\\"};
    expected.preciseLoad = true;
    expected.memNumaAggregation = true;
    expected.reload = true;
    EXPECT_EQ(ConfText(conf), ConfText(expected));

    Words balance({"--mem-balance"});
    ASSERT_EQ(Parse(false, balance, expected).message,
              "mem-balance=true and load-way=centralized can not be set at the same time\n");
    EXPECT_TRUE(expected.memBalance) << "what was applied before a failure stays applied";
}

TEST(ConfCtlCmdline, TheNodeOfAnInterfaceIsLookedUpBeforeValidation)
{
    Conf conf;
    ProcConf entry;
    entry.netAffinity = "no-such-interface";
    conf.process["redis"] = {entry};
    Words words({"-i", "99"});
    const TnResult result = Parse(false, words, conf);
    EXPECT_EQ(result.code, 1);
    EXPECT_EQ(result.message, "net affinity node not found, net_name: no-such-interface");
}

TEST(ConfCtlCmdline, NothingIsFoundBeforeTheMapIsFilledAndAfterItIsEmptied)
{
    ConfCtl ctl;
    Conf conf;
    Words words({"-v"});
    EXPECT_EQ(ctl.ParseCmdline(words.Count(), words.Array(), false, conf).message, NOT_FOUND);
    ASSERT_EQ(ctl.InitOptMap(false).code, 0);
    EXPECT_EQ(ctl.ParseCmdline(words.Count(), words.Array(), false, conf).code, 0);
    ctl.ResetConfCtl();
    EXPECT_EQ(ctl.ParseCmdline(words.Count(), words.Array(), false, conf).message, NOT_FOUND);
    ctl.ResetConfCtl();
    ASSERT_EQ(ctl.InitOptMap(false).code, 0);
    EXPECT_EQ(ctl.ParseCmdline(words.Count(), words.Array(), false, conf).code, 0);
}

TEST(ConfCtlCmdline, TheMapHoldsTheOptionsOfOneWayOfRunning)
{
    ConfCtl ctl;
    Conf conf;
    Words words({"-l", "debug"});
    ASSERT_EQ(ctl.InitOptMap(true).code, 0);
    EXPECT_EQ(ctl.ParseCmdline(words.Count(), words.Array(), true, conf).message, NOT_FOUND);
    ASSERT_EQ(ctl.InitOptMap(false).code, 0) << "it empties the tables itself";
    EXPECT_EQ(ctl.ParseCmdline(words.Count(), words.Array(), false, conf).code, 0);
    ASSERT_EQ(ctl.InitOptMap(true).code, 0);
    EXPECT_EQ(ctl.ParseCmdline(words.Count(), words.Array(), true, conf).message, NOT_FOUND);
}

struct TnstatCase {
    std::vector<std::string> words;
    std::string message;  ///< empty: success
};

class ParseTnstatCmdline : public testing::TestWithParam<TnstatCase> {};

TEST_P(ParseTnstatCmdline, Answers)
{
    ConfCtl ctl(ConfigType::TNSTAT);
    ASSERT_EQ(ctl.InitOptMap(false).message, "");
    TnStatConf conf;
    Words words(GetParam().words);
    const TnResult result = ctl.ParseTnstatCmdline(words.Count(), words.Array(), conf);
    EXPECT_EQ(result.code, GetParam().message.empty() ? 0 : 1);
    EXPECT_EQ(result.message, GetParam().message.empty() ? "parse cmdline success" : GetParam().message);
}

const std::string BAD_IP =
    "ip should be a valid IPv4 or IPv6 address (e.g., 0.0.0.0, 127.0.0.1, ::1, or 2001:db8::1) but now is ";
const std::string BAD_PORT = "port should be in range 1-65535 but now is ";

const std::vector<TnstatCase> TNSTAT_CASES = {
    {{}, ""},
    {{"-h"}, ""},
    {{"--repeat"}, ""},
    {{"-e", "csv", "--ip", "::1", "--port", "65535"}, ""},
    {{"-e"}, NOT_FOUND},
    {{"-q"}, NOT_FOUND},
    {{"-i", "100"}, NOT_FOUND},
    {{"--repeat=1"}, NOT_FOUND},
    {{"--help=cmd"}, NOT_FOUND},
    {{"-h", "--help"}, REPEATED},
    {{"-h", "cmd"}, EXTRA},
    {{"-e", "xml"}, "cmdline error: export should be in [report, csv, node_exporter], now is xml\n"},
    {{"--ip", "1.2.3"}, BAD_IP + "1.2.3"},
    {{"--ip", ""}, BAD_IP},
    {{"--port", "0"}, BAD_PORT + "0"},
    {{"--port", "65536"}, BAD_PORT + "65536"},
    {{"--port", "http"}, BAD_PORT + "http"},
    {{"--port="}, BAD_PORT},
};

INSTANTIATE_TEST_SUITE_P(Table, ParseTnstatCmdline, testing::ValuesIn(TNSTAT_CASES));

TEST(InitTnstat, FillsTheRecordAndItsTexts)
{
    ConfCtl ctl(ConfigType::TNSTAT);
    Words words({"-e", "node_exporter", "--ip", "::1", "--port", "80", "--repeat", "-h"});
    TnStatConf conf;
    conf.ip = "left over";
    const TnResult result = ctl.InitTnstat(words.Count(), words.Array(), conf);
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(result.message, "parse cmdline success");
    TnStatConf expected;
    expected.exportType = ExportType::NODE_EXPORTER;
    expected.ip = "::1";
    expected.port = 80;
    expected.repeat = true;
    expected.help = true;
    expected.confInfo = "export-type: node_exporter\nip: ::1\nport: 80\n";
    expected.versionInfo = GetVersionInfo();
    expected.helpInfo = OptionInfo(ConfigType::TNSTAT).GetHelpInfo(false, HelpType::CMD);
    EXPECT_EQ(expected.helpInfo.rfind("Usage: tnstat [options][<param>]\nOptions:\n", 0), 0U);
    EXPECT_EQ(TnStatConfText(conf), TnStatConfText(expected));

    // The next one starts from the defaults again.
    Words none({});
    ASSERT_EQ(ctl.InitTnstat(none.Count(), none.Array(), conf).code, 0);
    TnStatConf fresh;
    fresh.confInfo = "export-type: report\n";
    fresh.versionInfo = expected.versionInfo;
    fresh.helpInfo = expected.helpInfo;
    EXPECT_EQ(TnStatConfText(conf), TnStatConfText(fresh));
}

TEST(InitTnstat, PutsTheReasonFirstAndLeavesTheRecord)
{
    const std::string help = OptionInfo(ConfigType::TNSTAT).GetHelpInfo(false, HelpType::CMD);
    TnStatConf conf;
    conf.ip = "untouched";
    conf.confInfo = "x";
    conf.port = 7;
    const std::string before = TnStatConfText(conf);
    ConfCtl ctl(ConfigType::TNSTAT);
    for (const auto& [words, reason] : std::vector<std::pair<std::vector<std::string>, std::string>>{
             {{"--repeat", "--port", "0"}, BAD_PORT + "0"},
             {{"-q"}, NOT_FOUND},
             {{"-h", "-h"}, REPEATED},
             {{"word"}, EXTRA}}) {
        Words given(words);
        const TnResult result = ctl.InitTnstat(given.Count(), given.Array(), conf);
        EXPECT_EQ(result.code, 1);
        EXPECT_EQ(result.message, reason + " cmdline parse failed.\n" + help);
        EXPECT_EQ(TnStatConfText(conf), before);
    }
}

TEST(ConfCtlKinds, DoNotMix)
{
    // A viewer's controller knows none of the tool's options, whichever way it is asked to run.
    ConfCtl ctl(ConfigType::TNSTAT);
    ASSERT_EQ(ctl.InitOptMap(true).code, 0);
    TnStatConf conf;
    Words words({"--repeat"});
    EXPECT_EQ(ctl.ParseTnstatCmdline(words.Count(), words.Array(), conf).code, 0);
    EXPECT_TRUE(conf.repeat);

    // Calls of the wrong kind fail and name the option instead of ending the process.
    Conf wrong;
    EXPECT_EQ(ctl.ParseCmdline(words.Count(), words.Array(), false, wrong).message,
              "repeat cannot be read: bad_function_call");
    ConfCtl tool;
    Words version({"-v"});
    const TnResult result = tool.InitTnstat(version.Count(), version.Array(), conf);
    EXPECT_EQ(result.code, 1);
    EXPECT_EQ(result.message, "version cannot be read: bad_function_call cmdline parse failed.\n" +
                                  OptionInfo(ConfigType::TARNIX).GetHelpInfo(false, HelpType::CMD));
}

struct KovariCase {
    std::string in;
    std::int32_t code;
    std::string message;
    std::string out;
};

class GetKovariCmd : public testing::TestWithParam<KovariCase> {};

TEST_P(GetKovariCmd, Answers)
{
    std::string out = "as before";
    const TnResult result = ConfCtl().GetKovariCmd(GetParam().in, out);
    EXPECT_EQ(result.code, GetParam().code);
    EXPECT_EQ(result.message, GetParam().message);
    EXPECT_EQ(out, GetParam().out);
}

const char* const ONLY_CMD = "only support '-cmd'";
const char* const NO_COLONS = "only support '-cmd' and params must not contain ':'";
const std::string MANY(9000, 'x');

const std::vector<KovariCase> KOVARI_CASES = {
    {"", 0, "", "kovari_enable"},
    {"cmd:", 0, "", "kovari_enable "},
    {"cmd:-l debug", 0, "", "kovari_enable -l debug"},
    {"cmd: -i\t200\n", 0, "", "kovari_enable  -i\t200\n"},
    {"cmd:-W \"a b\"", 0, "", "kovari_enable -W \"a b\""},
    {"cmd:" + MANY, 0, "", "kovari_enable " + MANY},
    {"c", 1, ONLY_CMD, "as before"},
    {"cm", 1, ONLY_CMD, "as before"},
    {"cmd", 1, ONLY_CMD, "as before"},
    {"cfg:-a", 1, ONLY_CMD, "as before"},
    {"CMD:-a", 1, ONLY_CMD, "as before"},
    {" cmd:-a", 1, ONLY_CMD, "as before"},
    {":", 1, ONLY_CMD, "as before"},
    {"cfg:a:b", 1, ONLY_CMD, "as before"},
    {"cmd::", 1, NO_COLONS, "as before"},
    {"cmd:-a x:y", 1, NO_COLONS, "as before"},
    {"cmd:" + MANY + ":", 1, NO_COLONS, "as before"},
    {std::string("cmd:\0-v", 7), 0, "", std::string("kovari_enable \0-v", 17)},
};

INSTANTIATE_TEST_SUITE_P(Table, GetKovariCmd, testing::ValuesIn(KOVARI_CASES));

TEST(ConfCtlWords, AreMadeAndReleasedByTheController)
{
    ConfCtl ctl;
    const auto [argc, argv] = ctl.ConvertStringCmd(" kovari_enable\t-l  debug\n");
    ASSERT_EQ(argc, 3);
    EXPECT_STREQ(argv[0], "kovari_enable");
    EXPECT_STREQ(argv[1], "-l");
    EXPECT_STREQ(argv[2], "debug");
    EXPECT_EQ(argv[3], nullptr);
    ctl.FreeCommandLine(argc, argv);
    ctl.FreeCommandLine(0, nullptr);
    ctl.FreeCommandLine(3, nullptr);
}

}  // namespace
