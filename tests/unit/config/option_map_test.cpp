// SPDX-License-Identifier: MIT

#include "config/option_map.h"

#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

/// An option that passes every check, with the attributes given besides the one of its way of running.
Option Sound(const std::string& name, int letter, const std::string& longName)
{
    Option opt(name, letter, longName, "");
    opt.help = "help\n";
    opt.SetAttr({OptAttr::CMD, OptAttr::SHORT_OPT, OptAttr::LONG_OPT, OptAttr::ALONE});
    opt.parseFunc = [](const ParseInput&, Conf&) { return TnResult(); };
    opt.tnstatParseFunc = [](const ParseInput&, TnStatConf&) { return TnResult(); };
    return opt;
}

struct FaultCase {
    std::string message;
    std::function<void(Option&)> spoil;  ///< applied to the second of two sound options
};

const std::vector<FaultCase> FAULTS = {
    {"", [](Option&) {}},
    {"Aopt name repeat", [](Option& opt) { opt.name = "A"; }},
    {"Bshort opt repeat", [](Option& opt) { opt.shortOpt = 'a'; }},
    {"Blong opt empty", [](Option& opt) { opt.longOpt.clear(); }},
    {"Blong opt repeat", [](Option& opt) { opt.longOpt = "alpha"; }},
    {"B cmd with required and optional params",
     [](Option& opt) {
         opt.SetAttr({OptAttr::CMD, OptAttr::LONG_OPT, OptAttr::SHORT_OPT, OptAttr::REQUIRED_ARG,
                      OptAttr::OPTIONAL_ARG, OptAttr::ALONE});
     }},
    {"B short opt invalid", [](Option& opt) { opt.shortOpt = 1000; }},
    {"B no cmd but with short or long opt", [](Option& opt) { opt.attrs &= ~1ULL; }},
    {"Bhelp info empty", [](Option& opt) { opt.help.clear(); }},
    {"Bparse func null", [](Option& opt) { opt.parseFunc = nullptr; }},
    // the order of the checks
    {"Aopt name repeat",
     [](Option& opt) {
         opt.name = "A";
         opt.shortOpt = 'a';
     }},
    {"Bshort opt repeat",
     [](Option& opt) {
         opt.shortOpt = 'a';
         opt.longOpt.clear();
     }},
    {"Blong opt empty",
     [](Option& opt) {
         opt.longOpt.clear();
         opt.shortOpt = 1000;
     }},
    {"Blong opt repeat",
     [](Option& opt) {
         opt.longOpt = "alpha";
         opt.shortOpt = 1000;
     }},
    {"B short opt invalid",
     [](Option& opt) {
         opt.shortOpt = 1000;
         opt.help.clear();
     }},
    {"Bhelp info empty",
     [](Option& opt) {
         opt.help.clear();
         opt.parseFunc = nullptr;
     }},
    // without effect
    {"", [](Option& opt) { opt.tnstatParseFunc = nullptr; }},
    {"",
     [](Option& opt) {  // help is asked only of what the command line takes
         opt.help.clear();
         opt.shortOpt = 1000;
         opt.SetAttr({OptAttr::YAML, OptAttr::ALONE});
     }},
    {"",
     [](Option& opt) {  // the long name counts only where it is one
         opt.longOpt = "alpha";
         opt.SetAttr({OptAttr::CMD, OptAttr::SHORT_OPT, OptAttr::ALONE});
     }},
    {"",
     [](Option& opt) {  // of another way of running: not looked at
         opt.name = "A";
         opt.help.clear();
         opt.attrs = 1ULL << static_cast<unsigned>(OptAttr::KOVARI);
     }},
};

TEST(OptionMap, NamesTheOptionAndItsFault)
{
    for (const FaultCase& fault : FAULTS) {
        std::vector<Option> options = {Sound("A", 'a', "alpha"), Sound("B", 'b', "beta")};
        fault.spoil(options.back());
        OptionMap map;
        const TnResult result = BuildOptionMap(options, OptAttr::ALONE, ConfigType::TARNIX, map);
        EXPECT_EQ(result.code, fault.message.empty() ? 0 : 1) << fault.message;
        EXPECT_EQ(result.message, fault.message);
        EXPECT_EQ(map.count('a'), 1U) << "what came before the fault stays";
    }
}

TEST(OptionMap, AsksForTheParseFunctionOfItsKind)
{
    Option opt = Sound("A", 'a', "alpha");
    opt.SetAttr({OptAttr::CMD, OptAttr::SHORT_OPT, OptAttr::TNSTAT});
    opt.parseFunc = nullptr;
    OptionMap map;
    EXPECT_EQ(BuildOptionMap({opt}, OptAttr::TNSTAT, ConfigType::TNSTAT, map).message, "");
    opt.parseFunc = [](const ParseInput&, Conf&) { return TnResult(); };
    opt.tnstatParseFunc = nullptr;
    map.clear();
    const TnResult result = BuildOptionMap({opt}, OptAttr::TNSTAT, ConfigType::TNSTAT, map);
    EXPECT_EQ(result.code, 1);
    EXPECT_EQ(result.message, "Aparse tnstat func null");
    EXPECT_TRUE(map.empty());
}

TEST(OptionMap, HoldsTheOptionsOfEachWayOfRunning)
{
    const std::vector<Option> tool = OptionInfo(ConfigType::TARNIX).GetAllOptions();
    for (const auto& [mode, count] : std::vector<std::pair<OptAttr, std::size_t>>{
             {OptAttr::ALONE, 30}, {OptAttr::KOVARI, 22}, {OptAttr::TNSTAT, 0}}) {
        OptionMap map;
        EXPECT_EQ(BuildOptionMap(tool, mode, ConfigType::TARNIX, map).message, "");
        EXPECT_EQ(map.size(), count);
        for (const auto& [value, opt] : map) {
            EXPECT_EQ(value, opt.shortOpt);
            EXPECT_TRUE(opt.IsAttr(mode)) << opt.name;
        }
    }
    OptionMap viewer;
    EXPECT_EQ(BuildOptionMap(OptionInfo(ConfigType::TNSTAT).GetAllOptions(), OptAttr::TNSTAT,
                             ConfigType::TNSTAT, viewer)
                  .message,
              "");
    EXPECT_EQ(viewer.size(), 5U);
}

}  // namespace
