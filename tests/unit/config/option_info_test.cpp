// SPDX-License-Identifier: MIT

#include "config/option_info.h"

#include <string>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "config/build_info.h"

namespace {

TEST(OptionInfoTest, TypesAndCopying)
{
    static_assert(static_cast<int>(ConfigType::TARNIX) == 0);
    static_assert(static_cast<int>(ConfigType::TNSTAT) == 1);
    static_assert(!std::is_copy_constructible_v<OptionInfo>);
    static_assert(!std::is_copy_assignable_v<OptionInfo>);
    static_assert(!std::is_convertible_v<ConfigType, OptionInfo>);
}

TEST(OptionInfoTest, NumbersOfOptionsWithoutALetter)
{
    int next = 1000;
    for (const Option& opt : OptionInfo(ConfigType::TARNIX).GetAllOptions()) {
        EXPECT_EQ(opt.shortOpt >= 1000, !opt.IsAttr(OptAttr::SHORT_OPT)) << opt.name;
        if (opt.shortOpt >= 1000) {
            EXPECT_EQ(opt.shortOpt, next++) << opt.name;
        }
    }
    EXPECT_EQ(next, 1019);
}

TEST(OptionInfoTest, ShortOptions)
{
    EXPECT_EQ(OptionInfo(ConfigType::TARNIX).GetShortOpt(), "p:i:t:s:l:m:w:h:vW:b:");
    EXPECT_EQ(OptionInfo(ConfigType::TNSTAT).GetShortOpt(), "e:h");
}

struct LongOpt {
    const char* name;
    int kind;
    int value;
};

void ExpectLongOpts(const OptionInfo& info, const std::vector<LongOpt>& expected)
{
    const std::vector<option> records = info.GetLongOptArray();
    ASSERT_EQ(records.size(), expected.size() + 1);
    for (std::size_t i = 0; i < expected.size(); ++i) {
        EXPECT_STREQ(records[i].name, expected[i].name);
        EXPECT_EQ(records[i].has_arg, expected[i].kind) << expected[i].name;
        EXPECT_EQ(records[i].flag, nullptr) << expected[i].name;
        EXPECT_EQ(records[i].val, expected[i].value) << expected[i].name;
    }
    const option& end = records.back();
    EXPECT_TRUE(end.name == nullptr && end.has_arg == 0 && end.flag == nullptr && end.val == 0);
}

TEST(OptionInfoTest, LongOptionsOfTheTool)
{
    const OptionInfo info(ConfigType::TARNIX);
    ExpectLongOpts(info, {{"policy", 1, 'p'},
                          {"sampling-interval", 1, 'i'},
                          {"sampling-times", 1, 't'},
                          {"spe-period", 1, 's'},
                          {"log-level", 1, 'l'},
                          {"log-file", 1, 1001},
                          {"snapshot-interval", 1, 1002},
                          {"metrics", 0, 1003},
                          {"tune-mode", 1, 'm'},
                          {"load-way", 1, 'w'},
                          {"smt", 1, 1005},
                          {"irq", 1, 1006},
                          {"help", 1, 'h'},
                          {"cluster-schedule", 0, 1007},
                          {"version", 0, 'v'},
                          {"whitelist", 1, 'W'},
                          {"blacklist", 1, 'b'},
                          {"precise-load", 0, 1014},
                          {"mem-numa-aggregation", 0, 1015},
                          {"mem-balance", 0, 1016},
                          {"reload", 0, 1017}});
}

TEST(OptionInfoTest, LongOptionsOfTheViewer)
{
    const OptionInfo info(ConfigType::TNSTAT);
    ExpectLongOpts(
        info,
        {{"export", 1, 'e'}, {"help", 0, 'h'}, {"repeat", 0, 1000}, {"ip", 1, 1001}, {"port", 1, 1002}});
}

TEST(OptionInfoTest, BuildingTheTablesAgainChangesNothing)
{
    OptionInfo info(ConfigType::TARNIX);
    const std::string shortOpt = info.GetShortOpt();
    const std::size_t longOpts = info.GetLongOptArray().size();
    info.InitTarnixOptions();
    info.InitShortOpt();
    info.InitLongOpts();
    EXPECT_EQ(info.GetShortOpt(), shortOpt);
    EXPECT_EQ(info.GetLongOptArray().size(), longOpts);
    EXPECT_EQ(info.GetAllOptions().size(), 30U);
    EXPECT_EQ(info.GetAllOptions().back().shortOpt, 1018);
}

TEST(OptionInfoTest, OptionsAreHandedOutAsCopies)
{
    const OptionInfo info(ConfigType::TARNIX);
    std::vector<Option> copies = info.GetAllOptions();
    copies.front().longOpt = "changed";
    copies.clear();
    EXPECT_EQ(info.GetAllOptions().front().longOpt, "policy");
    EXPECT_STREQ(info.GetLongOptArray().front().name, "policy");
}

TEST(OptionInfoTest, StoredHelpIsWhatTheBuildersMake)
{
    const OptionInfo info(ConfigType::TARNIX);
    for (const bool underKovari : {false, true}) {
        for (const HelpType type : {HelpType::CMD, HelpType::YAML}) {
            EXPECT_EQ(info.GetHelpInfo(underKovari, type), info.InitHelpInfo(underKovari, type));
            EXPECT_NE(info.GetHelpInfo(underKovari, type), "");
        }
        for (const HelpType type : {HelpType::OFF, static_cast<HelpType>(3), static_cast<HelpType>(-1)}) {
            EXPECT_EQ(info.GetHelpInfo(underKovari, type), "");
            EXPECT_EQ(info.InitHelpInfo(underKovari, type), "");
        }
    }
    EXPECT_NE(info.GetHelpInfo(false, HelpType::CMD), info.GetHelpInfo(true, HelpType::CMD));
    EXPECT_NE(info.GetHelpInfo(false, HelpType::YAML), info.GetHelpInfo(true, HelpType::YAML));
}

TEST(OptionInfoTest, HelpOfTheViewer)
{
    const OptionInfo info(ConfigType::TNSTAT);
    for (const bool underKovari : {false, true}) {
        EXPECT_EQ(info.GetHelpInfo(underKovari, HelpType::CMD), info.InitTnstatHelpInfo());
        EXPECT_EQ(info.GetHelpInfo(underKovari, HelpType::YAML), "");
        EXPECT_EQ(info.GetHelpInfo(underKovari, HelpType::OFF), "");
    }
}

/// The long options that a command-line help describes, in its order.
std::string OptionsOf(const std::string& help)
{
    const std::string mark = " --";
    std::string names;
    for (const std::string& line : SplitByNewline(help)) {
        const std::size_t begin = line.find(mark);
        if (begin != std::string::npos) {
            const std::string rest = line.substr(begin + mark.size());
            names += (names.empty() ? "" : " ") + rest.substr(0, rest.find(' '));
        }
    }
    return names;
}

/// The keys that a help of the file describes, in its order.
std::string KeysOf(const std::string& help)
{
    std::string keys;
    for (const std::string& line : SplitByNewline(help)) {
        if (line.front() != ' ' && line.find("Usage") != 0) {
            keys += (keys.empty() ? "" : " ") + line.substr(0, line.find(':'));
        }
    }
    return keys;
}

TEST(OptionInfoTest, OptionsThatHelpShows)
{
    const OptionInfo info(ConfigType::TARNIX);
    EXPECT_EQ(OptionsOf(info.GetHelpInfo(false, HelpType::CMD)),
              "policy sampling-interval sampling-times spe-period log-level log-file snapshot-interval "
              "metrics tune-mode load-way smt irq help cluster-schedule version whitelist blacklist "
              "precise-load mem-numa-aggregation mem-balance reload");
    EXPECT_EQ(OptionsOf(info.GetHelpInfo(true, HelpType::CMD)),
              "sampling-interval sampling-times snapshot-interval metrics tune-mode load-way smt help "
              "version whitelist blacklist precise-load mem-numa-aggregation mem-balance");
    EXPECT_EQ(OptionsOf(OptionInfo(ConfigType::TNSTAT).GetHelpInfo(false, HelpType::CMD)),
              "export help repeat ip port");
}

TEST(OptionInfoTest, KeysThatTheFileHelpShows)
{
    const OptionInfo info(ConfigType::TARNIX);
    EXPECT_EQ(KeysOf(info.GetHelpInfo(false, HelpType::YAML)),
              "policy sampling-interval sampling-times spe-period log-level watchdog-timeout "
              "snapshot-interval metrics tune-mode load-way bind-socket smt irq cluster-schedule whitelist "
              "blacklist group min-numa-score max-numa-score min-rx-ops-per-ms numa-ratio page-reserve "
              "precise-load mem-numa-aggregation mem-balance process");
    EXPECT_EQ(KeysOf(info.GetHelpInfo(true, HelpType::YAML)),
              "sampling-interval sampling-times snapshot-interval metrics tune-mode load-way bind-socket smt "
              "whitelist blacklist group min-numa-score max-numa-score min-rx-ops-per-ms numa-ratio "
              "page-reserve precise-load mem-numa-aggregation mem-balance process");
}

TEST(VersionInfo, NamesVersionAndRevision)
{
    EXPECT_EQ(GetVersionInfo(),
              std::string("tarnix version: ") + build_info::VERSION + "\ngit info: " + build_info::REVISION);
    EXPECT_NE(std::string(build_info::VERSION), "");
    EXPECT_NE(std::string(build_info::REVISION), "");
}

}  // namespace
