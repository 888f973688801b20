// SPDX-License-Identifier: MIT
//
// Init and ParseStringCmd with files: this program's TARNIX_YAML is "tarnix.yaml" in the working directory,
// which each test has for itself.

#include "config/conf_ctl.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "config/value_readers.h"
#include "tests/support/conf_text.h"
#include "tests/support/own_directory.h"
#include "tests/support/words.h"

namespace {

using support::ConfText;
using support::OwnDirectory;
using support::SettingsText;
using support::Words;

const std::string FELL_BACK = "yaml config parse failed, will use default value. ";

class InitWithFile : public testing::Test {
protected:
    void File(const std::string& text) { directory.Write(TARNIX_YAML, text); }

    TnResult Init(std::vector<std::string> words, bool isKovari = false)
    {
        Words given(std::move(words));
        return ctl.Init(given.Count(), given.Array(), isKovari, conf, warning);
    }

    OwnDirectory directory;
    ConfCtl ctl;
    Conf conf;
    TnResult warning{77, "as before"};
    const OptionInfo info{ConfigType::TARNIX};
};

/// A configuration as Init finishes it.
Conf Finished(Conf conf, const OptionInfo& info, bool isKovari = false)
{
    conf.confInfo = info.GetConfInfo(conf);
    conf.versionInfo = GetVersionInfo();
    conf.helpInfo = info.GetHelpInfo(isKovari, conf.help);
    return conf;
}

TEST_F(InitWithFile, UsesAPathOfItsOwn)
{
    EXPECT_EQ(TARNIX_YAML, "tarnix.yaml");
    EXPECT_EQ(GetStageLog(ParseStage::YAML), "tarnix.yaml");
}

TEST_F(InitWithFile, MissingFileIsAWarning)
{
    const TnResult result = Init({});
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(result.message, "parse cmdline success");
    EXPECT_EQ(warning.code, 1);
    EXPECT_EQ(warning.message.rfind(FELL_BACK + "YAML loading error: ", 0), 0U) << warning.message;
    EXPECT_EQ(ConfText(conf), ConfText(Finished(Conf(), info)));
    EXPECT_EQ(conf.helpInfo, "");
}

TEST_F(InitWithFile, FileThenCommandLine)
{
    File("sampling-interval: 300\nsampling-times: 7\nlog-level: warn\nwhitelist: [a, b]\nmetrics: false\n");
    const TnResult result = Init({"-i", "400", "-W", "c", "-h", "cmd", "-v"});
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(result.message, "parse cmdline success");
    EXPECT_EQ(warning.code, 0);
    EXPECT_EQ(warning.message, "tarnix.yaml parse success.");
    Conf expected;
    expected.samplingInterval = 400;
    expected.samplingTimes = 7;
    expected.logLevel = SysLogLevel::WARN;
    expected.whitelist = {"c"};
    expected.metrics = false;
    expected.help = HelpType::CMD;
    expected.version = true;
    EXPECT_EQ(ConfText(conf), ConfText(Finished(expected, info)));
    EXPECT_NE(conf.helpInfo, "");
}

TEST_F(InitWithFile, TheHelpTextIsOfTheKindAskedFor)
{
    for (const bool isKovari : {false, true}) {
        ASSERT_EQ(Init({"-h", "yaml"}, isKovari).code, 0);
        EXPECT_EQ(conf.helpInfo, info.GetHelpInfo(isKovari, HelpType::YAML));
        ASSERT_EQ(Init({"--help=cmd"}, isKovari).code, 0);
        EXPECT_EQ(conf.helpInfo, info.GetHelpInfo(isKovari, HelpType::CMD));
        ASSERT_EQ(Init({"-h", "off"}, isKovari).code, 0);
        EXPECT_EQ(conf.helpInfo, "");
    }
}

TEST_F(InitWithFile, NothingOfABadFileSurvives)
{
    const std::vector<std::pair<std::string, std::string>> cases = {
        // sampling-times is read before sampling-interval has failed the pass
        {"sampling-times: 7\nlog-level: verbose\n",
         "tarnix.yaml error: log-level should be in [trace, debug, info, warn, error, fatal], now is "
         "verbose\n"},
        {"sampling-times: 7\nwhitelist: a\n", "whitelist is not a sequence"},
        {"sampling-times: 7\nmetrics: yes\n",
         "tarnix.yaml error: metrics should be in [false, true], now is yes\n"},
        {"sampling-times: 7\nmetrics:\n", "metrics is not a scalar"},
        {"sampling-times: 7\nprocess: [{name: a, net-affinity: no-such-interface}]\n",
         "net affinity node not found, net_name: no-such-interface"},
        // readable, but not together
        {"sampling-times: 7\nmin-numa-score: 980\n", "min numa score is greater than max numa score\n"},
        {"sampling-times: 7\nbind-socket: true\n",
         "bind-socket=true and smt-alg=phy-first can not be set at the same time\n"},
        {"sampling-times: 7\nwatchdog-timeout: 201\n",
         "watchdogTimeout value out of range, min: 1, max: 200, current value: 201\n"},
    };
    for (const auto& [text, reason] : cases) {
        File(text);
        conf = Conf();
        const TnResult result = Init({"-i", "500"});
        EXPECT_EQ(result.code, 0) << text;
        EXPECT_EQ(warning.code, 1) << text;
        EXPECT_EQ(warning.message, FELL_BACK + reason);
        Conf expected;
        expected.samplingInterval = 500;
        EXPECT_EQ(ConfText(conf), ConfText(Finished(expected, info))) << text;
    }
}

TEST_F(InitWithFile, ASyntaxErrorIsAWarning)
{
    File("sampling-times: 7\nwhitelist: [a\n");
    EXPECT_EQ(Init({"-i", "500"}).code, 0);
    EXPECT_EQ(warning.code, 1);
    EXPECT_EQ(warning.message.rfind(FELL_BACK + "YAML loading error: yaml-cpp: error at line ", 0), 0U)
        << warning.message;
    Conf expected;
    expected.samplingInterval = 500;
    EXPECT_EQ(ConfText(conf), ConfText(Finished(expected, info)));
}

TEST_F(InitWithFile, ABadCommandLineLeavesTheConfigurationAndAppendsHelp)
{
    File("sampling-times: 7\n");
    conf.confInfo = "the caller's";
    conf.samplingInterval = 1;
    conf.process["p"].emplace_back();
    const std::string before = ConfText(conf);
    for (const bool isKovari : {false, true}) {
        for (const auto& [words, reason] : std::vector<std::pair<std::vector<std::string>, std::string>>{
                 {{"-i", "200", "--none"}, "option not found, please check cmdline by help"},
                 {{"-v", "-v"}, " not support repeat option, please check cmdline by help"},
                 {{"-v", "word"}, "cmdline not support extra parameter, please check cmdline by help"},
                 {{"-i", "x"},
                  "cmdline error: sampling-interval should be a unsigned int value but now is x\n"},
                 {{"-i", "99"},
                  "sampling-interval value out of range, min: 100, max: 100000, current value: 99\n"}}) {
            const TnResult result = Init(words, isKovari);
            EXPECT_EQ(result.code, 1);
            EXPECT_EQ(result.message,
                      "cmdline parse failed.\n" + reason + "\n" + info.GetHelpInfo(isKovari, HelpType::CMD));
            EXPECT_EQ(ConfText(conf), before);
            EXPECT_EQ(warning.message, "tarnix.yaml parse success.");
        }
    }
}

TEST_F(InitWithFile, FileAndCommandLineMayBeInvalidTogether)
{
    File("load-way: c\n");
    const TnResult result = Init({"--mem-balance"});
    EXPECT_EQ(warning.code, 0);
    EXPECT_EQ(result.code, 1);
    EXPECT_EQ(result.message,
              "cmdline parse failed.\nmem-balance=true and load-way=centralized can not be set "
              "at the same time\n\n" +
                  info.GetHelpInfo(false, HelpType::CMD));
}

TEST_F(InitWithFile, UnderTheFrameworkOtherKeysOfTheFileAreLeftAlone)
{
    File("log-level: verbose\npolicy: none\nspe-period: x\nwatchdog-timeout: x\nsampling-times: 7\n");
    EXPECT_EQ(Init({}, true).code, 0);
    EXPECT_EQ(warning.message, "tarnix.yaml parse success.");
    Conf expected;
    expected.samplingTimes = 7;
    EXPECT_EQ(ConfText(conf), ConfText(Finished(expected, info, true)));
    File("sampling-interval: 150\n");
    EXPECT_EQ(Init({}, true).code, 0);
    EXPECT_EQ(warning.message, FELL_BACK + "error: sampling-interval is not a multiple of 100\n\n");
}

TEST_F(InitWithFile, ASecondInitStartsFromTheBeginning)
{
    File("sampling-times: 7\nprocess: [{name: a}, {name: a, params-regex: x}]\n");
    ASSERT_EQ(Init({"-i", "200", "-v"}).code, 0);
    EXPECT_EQ(conf.process.at("a").size(), 2U);
    ASSERT_EQ(Init({"-i", "300", "-v"}).code, 0) << "neither the option map nor the options seen are kept";
    Conf expected;
    expected.samplingTimes = 7;
    expected.samplingInterval = 300;
    expected.version = true;
    ProcConf entry;
    entry.confId = 1;
    expected.process["a"].push_back(entry);
    entry.confId = 2;
    entry.paramsRegex = "x";
    expected.process["a"].push_back(entry);
    EXPECT_EQ(ConfText(conf), ConfText(Finished(expected, info)));

    File("");
    ASSERT_EQ(Init({}).code, 0);
    EXPECT_EQ(warning.message, "tarnix.yaml parse success.");
    EXPECT_EQ(ConfText(conf), ConfText(Finished(Conf(), info)));

    // Another controller, the viewer's, in between.
    TnStatConf viewer;
    Words words({"-h"});
    ASSERT_EQ(ConfCtl(ConfigType::TNSTAT).InitTnstat(words.Count(), words.Array(), viewer).code, 0);
    ASSERT_EQ(Init({"-i", "600"}).code, 0);
    EXPECT_EQ(conf.samplingInterval, 600U);
}

TEST_F(InitWithFile, TheViewerReadsNoFile)
{
    File("[");
    TnStatConf viewer;
    Words words({"-e", "csv"});
    const TnResult result = ConfCtl(ConfigType::TNSTAT).InitTnstat(words.Count(), words.Array(), viewer);
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(result.message, "parse cmdline success");
}

TEST_F(InitWithFile, TheNodeOfAnInterfaceIsDerived)
{
    const support::ProbeTree machine;
    machine.Write("sys/class/net/eth7/device/numa_node", "1\n");
    File("process: [{name: a, net-affinity: eth7}, {name: b}]\n");
    ASSERT_EQ(Init({}).code, 0);
    EXPECT_EQ(warning.message, "tarnix.yaml parse success.");
    EXPECT_EQ(conf.process.at("a").front().netAffinityNode, 1);
    EXPECT_EQ(conf.process.at("b").front().netAffinityNode, -1);
}

TEST_F(InitWithFile, AReloadTouchesOnlyTheLogLevel)
{
    File("log-level: error\nsampling-times: 7\nwhitelist: [a]\nmetrics: no\nprocess: x\n");
    ASSERT_EQ(ctl.InitOptMap(false).code, 0);
    conf.samplingInterval = 200;
    Conf expected = conf;
    expected.logLevel = SysLogLevel::ERROR;
    const TnResult result = ctl.ParseYaml(TARNIX_YAML, false, true, conf);
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(result.message, "tarnix.yaml parse success.");
    EXPECT_EQ(ConfText(conf), ConfText(expected));

    File("log-level: loud\n");
    EXPECT_EQ(ctl.ParseYaml(TARNIX_YAML, false, true, conf).message,
              "tarnix.yaml error: log-level should be in [trace, debug, info, warn, error, fatal], now is "
              "loud\n");
    // Under the framework nothing at all: log-level does not apply there.
    ASSERT_EQ(ctl.InitOptMap(true).code, 0);
    EXPECT_EQ(ctl.ParseYaml(TARNIX_YAML, true, true, conf).code, 0);
    EXPECT_EQ(ConfText(conf), ConfText(expected));
}

TEST_F(InitWithFile, AReloadValidatesTheWholeConfiguration)
{
    File("log-level: error\n");
    ASSERT_EQ(ctl.InitOptMap(false).code, 0);
    conf.samplingTimes = 0;
    const TnResult result = ctl.ParseYaml(TARNIX_YAML, false, true, conf);
    EXPECT_EQ(result.code, 1);
    EXPECT_EQ(result.message, "sampling-times value out of range, min: 1, max: 1000, current value: 0\n");
    EXPECT_EQ(conf.logLevel, SysLogLevel::ERROR);
}

TEST_F(InitWithFile, TheSameFileReportsTheSameFaultFirst)
{
    File("process: x\nmetrics: no\nsampling-times: y\nsampling-interval: z\n");
    for (int i = 0; i < 3; ++i) {
        ASSERT_EQ(Init({}).code, 0);
        EXPECT_EQ(
            warning.message,
            FELL_BACK + "tarnix.yaml error: sampling-interval should be a unsigned int value but now is z\n");
    }
}

struct StringCase {
    std::string cmd;
    std::string refused;             ///< the parameter itself is refused: the whole message
    std::string failure;             ///< the command line is refused: the reason
    std::uint32_t samplingInterval;  ///< of a success
};

class ParseStringCmd : public testing::TestWithParam<StringCase> {};

TEST_P(ParseStringCmd, Answers)
{
    const OwnDirectory directory;
    directory.Write(TARNIX_YAML, "sampling-interval: 300\n");
    Conf conf;
    conf.helpInfo = "the caller's";
    conf.samplingInterval = 1;
    const std::string before = ConfText(conf);
    TnResult warning{77, "as before"};
    const TnResult result = ConfCtl().ParseStringCmd(GetParam().cmd, conf, warning);
    const StringCase& row = GetParam();
    if (row.refused.empty() && row.failure.empty()) {
        EXPECT_EQ(result.code, 0);
        EXPECT_EQ(result.message, "parse cmdline success");
        EXPECT_EQ(conf.samplingInterval, row.samplingInterval);
        EXPECT_EQ(conf.helpInfo, "");
        EXPECT_EQ(warning.message, "tarnix.yaml parse success.");
    } else {
        EXPECT_EQ(result.code, 1);
        const std::string help = OptionInfo(ConfigType::TARNIX).GetHelpInfo(true, HelpType::CMD);
        EXPECT_EQ(result.message,
                  row.failure.empty() ? row.refused : "cmdline parse failed.\n" + row.failure + "\n" + help);
        EXPECT_EQ(warning.message, row.failure.empty() ? "as before" : "tarnix.yaml parse success.");
        EXPECT_EQ(ConfText(conf), before);
    }
}

const std::string NOT_FOUND = "option not found, please check cmdline by help";
const std::string EXTRA = "cmdline not support extra parameter, please check cmdline by help";

const std::vector<StringCase> STRING_CASES = {
    {"", "", "", 300},
    {"cmd:", "", "", 300},
    {"cmd:  \t\n ", "", "", 300},
    {"cmd:-i 500", "", "", 500},
    {"cmd:\t--sampling-interval\t500\n", "", "", 500},
    {"cmd:-i500 -W " + std::string(20000, 'a'), "", "", 500},
    {"cmd:" + std::string(20000, ' ') + "-i 500", "", "", 500},
    {"cmd:-W \"a", "", "", 300},  // a quote is a character
    {"cmd:-W \"a b\"", "", EXTRA, 0},
    {"cmd:-i \"500\"", "",
     "cmdline error: sampling-interval should be a unsigned int value but now is \"500\"\n", 0},
    {"cmd:-l debug", "", NOT_FOUND, 0},
    {"cmd:-vz", "", NOT_FOUND, 0},
    {"cmd:kovari_enable", "", EXTRA, 0},
    {"cmd:-i 150", "", "error: sampling-interval is not a multiple of 100\n\n", 0},
    {"-i 500", "only support '-cmd'", "", 0},
    {"cm", "only support '-cmd'", "", 0},
    {"cmd:-W a:b", "only support '-cmd' and params must not contain ':'", "", 0},
};

INSTANTIATE_TEST_SUITE_P(Table, ParseStringCmd, testing::ValuesIn(STRING_CASES));

}  // namespace
