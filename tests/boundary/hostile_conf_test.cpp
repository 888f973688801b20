// SPDX-License-Identifier: MIT
//
// The configuration of the library, called by its symbols in a host that exports classes of the same names
// and other layouts. One test calls a source built without the linker's protection and sees it taken over,
// which shows that this host can do it.

#include <dlfcn.h>
#include <getopt.h>
#include <stdlib.h>

// Whatever the headers below include: it must not come in inside a namespace.
#include <cstddef>
#include <cstdint>

#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <yaml-cpp/yaml.h>

#include "tests/boundary/hostile_conf_classes.h"
#include "tests/support/plugin_library.h"

// The library's classes as layouts only, beside the host's of the same names.
namespace ours {
#include "config/conf_ctl.h"
}  // namespace ours

namespace {

namespace fs = std::filesystem;

using support::PluginLibrary;

#define TEXT "RKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE"

/// Some of what the library exports, and this program too.
const std::vector<const char*> EXPORTED = {
    "_ZN4Conf15IntervalVarInitEv",
    "_ZNK4Conf7IsValidEb",
    "_ZNK10TnStatConf7IsValidEv",
    "_ZNK6Option6IsAttrE7OptAttr",
    "_ZNK6Option9AttrValidEv",
    "_ZNK6Option14FormatHelpInfoB5cxx11Ev",
    "_ZN10OptionInfoC1E10ConfigType",
    "_ZN10OptionInfo17InitTarnixOptionsEv",
    "_ZNK10OptionInfo13GetAllOptionsEv",
    "_ZNK10OptionInfo11GetHelpInfoB5cxx11Eb8HelpType",
    "_ZN7ConfCtlC1E10ConfigType",
    "_ZN7ConfCtl4InitEiPPcbR4ConfR8TnResult",
    "_ZN7ConfCtl10InitOptMapEb",
    "_ZN7ConfCtl12ParseCmdlineEiPPcbR4Conf",
    "_ZN7ConfCtl18ParseTnstatCmdlineEiPPcR10TnStatConf",
    "_ZN7ConfCtl10LoadConfigE" TEXT,
    "_ZN7ConfCtl9ParseYamlE" TEXT "bbR4Conf",
    "_ZN7ConfCtl12ResetConfCtlEv",
    "_Z12GetPolicyOptv",
    "_Z14GetVersionInfoB5cxx11v",
};

class HostileConf : public testing::TestWithParam<support::LoadMode> {
protected:
    HostileConf() : library(PLUGIN_LIBRARY, GetParam().flag)
    {
        std::string name = testing::TempDir() + "hostile_conf_XXXXXX";
        if (mkdtemp(name.data()) != nullptr) {
            directory = name;
        }
        g_hijackedConfCalls = 0;
    }
    ~HostileConf() override { fs::remove_all(directory); }

    template <typename Function>
    Function Exported(const std::string& name)
    {
        void* const symbol = library.Symbol(name.c_str());
        EXPECT_EQ(support::ObjectOf(symbol), PLUGIN_LIBRARY) << name;
        return reinterpret_cast<Function>(symbol);
    }

    /// A controller of the library, made by its own constructor.
    std::unique_ptr<ours::ConfCtl, void (*)(ours::ConfCtl*)> Controller(ours::ConfigType type)
    {
        auto* const construct = Exported<void (*)(void*, ours::ConfigType)>("_ZN7ConfCtlC1E10ConfigType");
        void* const place = ::operator new(sizeof(ours::ConfCtl));
        construct(place, type);
        return {static_cast<ours::ConfCtl*>(place), [](ours::ConfCtl* ctl) {
                    ctl->~ConfCtl();
                    ::operator delete(ctl);
                }};
    }

    fs::path directory;
    PluginLibrary library;
};

TEST_P(HostileConf, ExportsItsOwnClasses)
{
    const std::string program = support::ObjectOf(&g_hijackedConfCalls);
    for (const char* name : EXPORTED) {
        const void* address = dlsym(RTLD_DEFAULT, name);
        ASSERT_NE(address, nullptr) << name;
        EXPECT_EQ(support::ObjectOf(address), program) << name;
        EXPECT_EQ(support::ObjectOf(library.Symbol(name)), PLUGIN_LIBRARY) << name;
    }
}

TEST_P(HostileConf, TheFileIsReadByTheLibrarysOwn)
{
    const auto ctl = Controller(ours::ConfigType::TARNIX);
    auto* const initOptMap = Exported<ours::TnResult (*)(ours::ConfCtl*, bool)>("_ZN7ConfCtl10InitOptMapEb");
    auto* const parseYaml =
        Exported<ours::TnResult (*)(ours::ConfCtl*, const std::string&, bool, bool, ours::Conf&)>(
            "_ZN7ConfCtl9ParseYamlE" TEXT "bbR4Conf");
    const std::string path = (directory / "f.yaml").string();
    std::ofstream(path) << "sampling-times: 7\nwhitelist: [a, b]\nprocess: [{name: x, params-regex: y}]\n";
    ASSERT_EQ(initOptMap(ctl.get(), false).message, "");
    ours::Conf conf;
    EXPECT_EQ(parseYaml(ctl.get(), path, false, false, conf).message, path + " parse success.");
    EXPECT_EQ(conf.samplingTimes, 7U);
    EXPECT_EQ(conf.whitelist.size(), 2U);
    EXPECT_EQ(conf.process.at("x").front().paramsRegex, "y");
    std::ofstream(path) << "min-numa-score: 980\n";
    const ours::TnResult result = parseYaml(ctl.get(), path, false, false, conf);
    EXPECT_EQ(result.code, 1);
    EXPECT_EQ(result.message, "min numa score is greater than max numa score\n");
    EXPECT_EQ(g_hijackedConfCalls, 0);
}

TEST_P(HostileConf, TheCommandLineIsReadByTheLibrarysOwn)
{
    const auto ctl = Controller(ours::ConfigType::TARNIX);
    auto* const parseStringCmd =
        Exported<ours::TnResult (*)(ours::ConfCtl*, const std::string&, ours::Conf&, ours::TnResult&)>(
            "_ZN7ConfCtl14ParseStringCmdE" TEXT "R4ConfR8TnResult");
    auto* const help = Exported<std::string (*)(const ours::OptionInfo*, bool, ours::HelpType)>(
        "_ZNK10OptionInfo11GetHelpInfoB5cxx11Eb8HelpType");
    auto* const construct = Exported<void (*)(void*, ours::ConfigType)>("_ZN10OptionInfoC1E10ConfigType");
    alignas(ours::OptionInfo) unsigned char place[sizeof(ours::OptionInfo)];
    construct(place, ours::ConfigType::TARNIX);
    auto* const info = reinterpret_cast<ours::OptionInfo*>(place);
    ours::Conf conf;
    ours::TnResult warning;
    // Whatever this machine's own file says, the interval of the command line counts.
    ours::TnResult result = parseStringCmd(ctl.get(), "cmd:-i 99", conf, warning);
    EXPECT_EQ(result.code, 1);
    EXPECT_EQ(result.message,
              "cmdline parse failed.\nsampling-interval value out of range, min: 100, max: 100000, current "
              "value: 99\n\n" +
                  help(info, true, ours::HelpType::CMD));
    result = parseStringCmd(ctl.get(), "cmd:-i 500 -v", conf, warning);
    EXPECT_EQ(result.message, "parse cmdline success");
    EXPECT_EQ(conf.samplingInterval, 500U);
    EXPECT_TRUE(conf.version);
    EXPECT_EQ(conf.versionInfo.rfind("tarnix version: ", 0), 0U);
    EXPECT_EQ(conf.confInfo.rfind("sampling-interval: 500\n", 0), 0U);
    info->~OptionInfo();
    EXPECT_EQ(g_hijackedConfCalls, 0);
}

TEST_P(HostileConf, TheViewersCommandLineToo)
{
    const auto ctl = Controller(ours::ConfigType::TNSTAT);
    auto* const initTnstat = Exported<ours::TnResult (*)(ours::ConfCtl*, int, char**, ours::TnStatConf&)>(
        "_ZN7ConfCtl10InitTnstatEiPPcR10TnStatConf");
    char name[] = "tnstat";
    char port[] = "--port=80";
    char* argv[] = {name, port, nullptr};
    ours::TnStatConf conf;
    EXPECT_EQ(initTnstat(ctl.get(), 2, argv, conf).message, "parse cmdline success");
    EXPECT_EQ(conf.port, 80U);
    EXPECT_EQ(conf.confInfo, "export-type: report\n");
    EXPECT_EQ(g_hijackedConfCalls, 0);
}

TEST_P(HostileConf, TakesOverASourceWithoutProtection)
{
    const PluginLibrary unprotected(UNPROTECTED_CONF, GetParam().flag);
    auto* const helpOf = reinterpret_cast<std::string (*)(const ours::Option*)>(
        unprotected.Symbol("_ZNK6Option14FormatHelpInfoB5cxx11Ev"));
    auto* const construct =
        reinterpret_cast<void (*)(void*, const std::string&, int, const std::string&, const std::string&)>(
            unprotected.Symbol("_ZN6OptionC1E" TEXT "iS7_S7_"));
    ASSERT_NE(helpOf, nullptr);
    ASSERT_NE(construct, nullptr);
    alignas(ours::Option) unsigned char place[sizeof(ours::Option)];
    construct(place, "Name", 'n', "name", "<n>");
    auto* const opt = reinterpret_cast<ours::Option*>(place);
    opt->help = "what it is\n";
    opt->attrs = 1U;
    helpOf(opt);
    EXPECT_GT(g_hijackedConfCalls, 0) << "the host's IsAttr, SplitByNewline and GetAttrStr";
    opt->~Option();
}

INSTANTIATE_TEST_SUITE_P(Modes, HostileConf, testing::ValuesIn(support::LOAD_MODES),
                         [](const auto& mode) { return std::string(mode.param.name); });

}  // namespace
