// SPDX-License-Identifier: MIT
//
// docs/options.md and packaging/tarnix.yaml are made from the option registry; UPDATE_GOLDEN=1 writes them
// anew.

#include "tests/support/option_documents.h"

#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "config/conf_ctl.h"
#include "tests/support/conf_text.h"
#include "tests/support/golden_file.h"
#include "tests/support/probe_tree.h"
#include "tests/support/tn_result_text.h"

namespace {

using support::OptionReference;
using support::SampleFile;
using support::SettingsText;
using support::Told;

TEST(OptionDocuments, ReferenceIsUpToDate)
{
    support::ExpectGolden("docs/options.md", OptionReference());
}

TEST(OptionDocuments, SampleIsUpToDate)
{
    support::ExpectGolden("packaging/tarnix.yaml", SampleFile());
}

TEST(OptionDocuments, ReferenceHasARowForEachOption)
{
    std::size_t rows = 0;
    for (const ConfigType type : {ConfigType::TARNIX, ConfigType::TNSTAT}) {
        for (const Option& opt : OptionInfo(type).GetAllOptions()) {
            ++rows;
            EXPECT_NE(OptionReference().find("\n| `" + opt.longOpt + "` |"), std::string::npos)
                << opt.longOpt;
        }
    }
    EXPECT_EQ(rows, 35U);
}

bool IsSetting(const std::string& line)
{
    return line.size() > 1 && line[0] == '#' && line[1] >= 'a' && line[1] <= 'z';
}

/// The sample with its scalar and list settings in force; structured keys stay comments.
std::string Uncommented(std::set<std::string>& keys)
{
    std::string text;
    for (const std::string& line : SplitByNewline(SampleFile())) {
        const bool isInForce = IsSetting(line) && line.back() != ':';
        text += (isInForce ? line.substr(1) : line) + "\n";
        if (isInForce) {
            keys.insert(line.substr(1, line.find(':') - 1));
        }
    }
    return text;
}

/// The example of a structured key in force, without its lines that hold `without`.
std::string ExampleOf(const std::string& key, const std::string& without)
{
    std::string text;
    bool isInside = false;
    for (const std::string& line : SplitByNewline(SampleFile())) {
        isInside = IsSetting(line) ? line == "#" + key + ":" : isInside && line.rfind("#  ", 0) == 0;
        if (isInside && line.find(without) == std::string::npos) {
            text += line.substr(1) + "\n";
        }
    }
    return text;
}

/// What a file with this text makes of `conf`; the result has to be a success.
void Load(const std::string& text, bool isKovari, Conf& conf)
{
    const support::TempTree directory;
    const std::string path = directory.Write("tarnix.yaml", text);
    ConfCtl ctl;
    ASSERT_EQ(Told(ctl.InitOptMap(isKovari)), "0: ");
    ASSERT_EQ(Told(ctl.ParseYaml(path, isKovari, false, conf)), "0: " + path + " parse success.");
}

/// No setting that the file can hold as a scalar has its default.
Conf Other()
{
    Conf conf;
    conf.minNumaScore = conf.maxNumaScore = conf.minRxOpsPerMs = conf.samplingTimes = conf.spePeriod = 7;
    conf.samplingInterval = 700;
    conf.watchdogTimeout = conf.pageReserve = conf.snapshotInterval = 7;
    conf.preciseLoad = conf.memNumaAggregation = conf.memBalance = conf.bindSocket = true;
    conf.clusterSchedule = true;
    conf.metrics = false;
    conf.logLevel = SysLogLevel::FATAL;
    conf.tuneMode = TuneMode::PAGE;
    conf.loadWay = LoadWay::CENTRALIZED;
    conf.smt = SmtAlg::OFF;
    conf.irq = IrqAlg::SOFT;
    conf.policy = Policy::CGROUP;
    return conf;
}

TEST(SampleFileTest, AsShippedItSetsNothing)
{
    for (const bool isKovari : {false, true}) {
        Conf conf = g_defaultConf;
        Load(SampleFile(), isKovari, conf);
        EXPECT_EQ(SettingsText(conf), SettingsText(g_defaultConf));
    }
}

TEST(SampleFileTest, WithEverySettingInForceItGivesTheDefaults)
{
    std::set<std::string> keys;
    const std::string text = Uncommented(keys);
    for (const bool isKovari : {false, true}) {
        Conf conf = g_defaultConf;
        Load(text, isKovari, conf);
        EXPECT_EQ(SettingsText(conf), SettingsText(g_defaultConf));
    }
    Conf conf = Other();
    Load(text, false, conf);
    EXPECT_EQ(SettingsText(conf), SettingsText(g_defaultConf));
}

TEST(SampleFileTest, HasEveryKeyOfTheFileAndNoOther)
{
    std::set<std::string> keys;
    Uncommented(keys);
    std::set<std::string> expected;
    for (const Option& opt : OptionInfo(ConfigType::TARNIX).GetAllOptions()) {
        if (opt.IsAttr(OptAttr::YAML)) {
            expected.insert(opt.longOpt);
        }
    }
    EXPECT_EQ(expected.erase("group") + expected.erase("process"), 2U);
    EXPECT_EQ(keys, expected);
    EXPECT_EQ(keys.size(), 24U);
}

TEST(SampleFileTest, ExamplesOfStructuredKeysLoad)
{
    Conf conf = g_defaultConf;
    Load(ExampleOf("group", "\"\""), false, conf);
    ASSERT_EQ(conf.group.size(), 1U);
    EXPECT_EQ(conf.group.front(), (std::unordered_set<std::string>{"process1", "process2", "..."}));
    Load(ExampleOf("process", "\"\""), true, conf);
    ASSERT_EQ(conf.process.count("process1"), 1U);
    ProcConf expected;
    expected.confId = 1;
    EXPECT_EQ(support::ProcConfText(conf.process["process1"].front()), support::ProcConfText(expected));
}

}  // namespace
