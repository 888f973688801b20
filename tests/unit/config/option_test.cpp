// SPDX-License-Identifier: MIT

#include "config/option.h"

#include <functional>
#include <string>
#include <type_traits>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/tn_result_text.h"

namespace {

using support::Told;
using testing::ElementsAre;
using testing::IsEmpty;

using Attrs = std::vector<OptAttr>;

constexpr int LETTER = 'x';
constexpr int NUMBER = 1000;

Option Made(int shortOpt, const std::string& longOpt, const Attrs& attrs)
{
    Option opt("Opt", shortOpt, longOpt, "<n>");
    opt.SetAttr(attrs);
    return opt;
}

TEST(OptionRecord, ConstructorSetsTheFourNames)
{
    const Option opt("LogLevelOpt", 'l', "log-level", "<level>");
    EXPECT_EQ(opt.name, "LogLevelOpt");
    EXPECT_EQ(opt.shortOpt, 'l');
    EXPECT_EQ(opt.longOpt, "log-level");
    EXPECT_EQ(opt.placeholder, "<level>");
    EXPECT_EQ(opt.help, "");
    EXPECT_EQ(opt.yamlHelp, "");
    EXPECT_EQ(opt.attrs, 0U);
    EXPECT_FALSE(opt.parseFunc);
    EXPECT_FALSE(opt.tnstatParseFunc);
}

TEST(OptionRecord, FieldsHaveTheirTypesAndOrder)
{
    static_assert(std::is_same_v<decltype(Option::shortOpt), std::int32_t>);
    static_assert(std::is_same_v<decltype(Option::attrs), std::uint64_t>);
    static_assert(
        std::is_same_v<decltype(Option::parseFunc), std::function<TnResult(const ParseInput&, Conf&)>>);
    static_assert(std::is_same_v<decltype(Option::tnstatParseFunc),
                                 std::function<TnResult(const ParseInput&, TnStatConf&)>>);
    const Option opt("n", 'l', "long", "<a>");
    const std::vector<const void*> fields = {&opt.name,        &opt.shortOpt,  &opt.longOpt,
                                             &opt.placeholder, &opt.help,      &opt.yamlHelp,
                                             &opt.attrs,       &opt.parseFunc, &opt.tnstatParseFunc};
    for (std::size_t i = 1; i < fields.size(); ++i) {
        EXPECT_LT(fields[i - 1], fields[i]) << i;
    }
}

TEST(OptionRecord, CopiesAreIndependent)
{
    Option opt = Made(LETTER, "long", {OptAttr::CMD});
    opt.parseFunc = [](const ParseInput&, Conf& conf) {
        conf.version = true;
        return TnResult();
    };
    const Option copy = opt;
    opt = Option("other", 'o', "other", "");
    Conf conf;
    EXPECT_EQ(Told(copy.parseFunc({}, conf)), "0: ");
    EXPECT_TRUE(conf.version);
    EXPECT_EQ(copy.longOpt, "long");
    EXPECT_TRUE(copy.IsAttr(OptAttr::CMD));
}

TEST(OptAttrNumbers, AreTheBits)
{
    const Attrs inOrder = {
        OptAttr::CMD,  OptAttr::SHORT_OPT, OptAttr::LONG_OPT, OptAttr::REQUIRED_ARG, OptAttr::OPTIONAL_ARG,
        OptAttr::YAML, OptAttr::RELOAD,    OptAttr::ALONE,    OptAttr::KOVARI,       OptAttr::TNSTAT};
    Option opt("n", NUMBER, "long", "");
    for (std::size_t bit = 0; bit < inOrder.size(); ++bit) {
        opt.SetAttr({inOrder[bit]});
        EXPECT_EQ(opt.attrs, std::uint64_t{1} << bit);
        for (const OptAttr attr : inOrder) {
            EXPECT_EQ(opt.IsAttr(attr), attr == inOrder[bit]);
        }
    }
    opt.SetAttr(inOrder);
    EXPECT_EQ(opt.attrs, 0x3FFU);
}

TEST(SetAttr, ReplacesTheMaskWhateverTheOrder)
{
    Option opt("n", NUMBER, "long", "");
    opt.SetAttr({OptAttr::TNSTAT, OptAttr::CMD, OptAttr::CMD});
    EXPECT_EQ(opt.attrs, 0x201U);
    opt.SetAttr({OptAttr::YAML});
    EXPECT_EQ(opt.attrs, 0x20U);
    opt.SetAttr({});
    EXPECT_EQ(opt.attrs, 0U);
}

constexpr OptAttr CMD = OptAttr::CMD;
constexpr OptAttr SHORT = OptAttr::SHORT_OPT;
constexpr OptAttr LONG = OptAttr::LONG_OPT;
constexpr OptAttr REQUIRED = OptAttr::REQUIRED_ARG;
constexpr OptAttr OPTIONAL = OptAttr::OPTIONAL_ARG;
constexpr OptAttr IN_FILE = OptAttr::YAML;
constexpr OptAttr RELOAD = OptAttr::RELOAD;
constexpr OptAttr ALONE = OptAttr::ALONE;
constexpr OptAttr KOVARI = OptAttr::KOVARI;
constexpr OptAttr TNSTAT = OptAttr::TNSTAT;

TEST(AttrValid, EachRule)
{
    const struct {
        int shortOpt;
        const char* longOpt;
        Attrs attrs;
        const char* told;
    } cases[] = {
        {LETTER, "long", {}, "1: attr is 0"},
        {LETTER, "long", {CMD, ALONE}, "1: cmd without short or long opt"},
        {LETTER, "long", {CMD, REQUIRED, IN_FILE, ALONE}, "1: cmd without short or long opt"},
        {NUMBER, "long", {IN_FILE, SHORT, ALONE}, "1: no cmd but with short or long opt"},
        {NUMBER, "long", {IN_FILE, LONG, ALONE}, "1: no cmd but with short or long opt"},
        {NUMBER, "long", {IN_FILE, REQUIRED, ALONE}, "1: no cmd but with short or long opt"},
        {NUMBER, "long", {IN_FILE, OPTIONAL, ALONE}, "1: no cmd but with short or long opt"},
        {NUMBER, "long", {CMD, LONG, REQUIRED, OPTIONAL, ALONE}, "1: cmd with required and optional params"},
        {1000, "long", {CMD, SHORT, LONG, ALONE}, "1: short opt invalid"},
        {999, "long", {CMD, LONG, ALONE}, "1: short opt invalid"},
        {LETTER, "long", {CMD, LONG, ALONE}, "1: short opt invalid"},
        {LETTER, "long", {IN_FILE, ALONE}, "1: short opt invalid"},
        {NUMBER, "", {CMD, LONG, ALONE}, "1: long opt invalid"},
        {NUMBER, "long", {CMD, LONG, RELOAD, ALONE}, "1: no supportyaml but with reload opt"},
        {NUMBER, "long", {CMD, LONG}, "1: no support run alone or kovari or tnstat"},
        {NUMBER, "long", {IN_FILE, RELOAD}, "1: no support run alone or kovari or tnstat"},
        {NUMBER, "long", {ALONE}, "1: without cmd or yaml"},
        {NUMBER, "long", {TNSTAT, KOVARI}, "1: without cmd or yaml"},
        {999, "long", {CMD, SHORT, ALONE}, "0: "},
        {LETTER, "", {CMD, SHORT, KOVARI}, "0: "},
        {1000, "long", {CMD, LONG, ALONE}, "0: "},
        {NUMBER, "", {IN_FILE, ALONE}, "0: "},
        {LETTER, "long", {CMD, SHORT, LONG, REQUIRED, IN_FILE, RELOAD, ALONE}, "0: "},
        {NUMBER, "long", {CMD, LONG, OPTIONAL, TNSTAT}, "0: "},
        {NUMBER, "long", {IN_FILE, RELOAD, KOVARI}, "0: "},
    };
    for (const auto& [shortOpt, longOpt, attrs, told] : cases) {
        const Option opt = Made(shortOpt, longOpt, attrs);
        EXPECT_EQ(Told(opt.AttrValid()), told) << shortOpt << " '" << longOpt << "' mask " << opt.attrs;
    }
}

/// Each case breaks the rule that it names and every later one that can be broken at the same time.
TEST(AttrValid, TheFirstBrokenRuleIsTold)
{
    const struct {
        int shortOpt;
        const char* longOpt;
        Attrs attrs;
        const char* told;
    } cases[] = {
        {LETTER, "", {}, "1: attr is 0"},
        {LETTER, "", {CMD, REQUIRED, OPTIONAL, RELOAD}, "1: cmd without short or long opt"},
        {LETTER, "", {LONG, REQUIRED, OPTIONAL, RELOAD}, "1: no cmd but with short or long opt"},
        {LETTER, "", {CMD, LONG, REQUIRED, OPTIONAL, RELOAD}, "1: cmd with required and optional params"},
        {LETTER, "", {CMD, LONG, RELOAD}, "1: short opt invalid"},
        {NUMBER, "", {CMD, LONG, RELOAD}, "1: long opt invalid"},
        {NUMBER, "long", {CMD, LONG, RELOAD}, "1: no supportyaml but with reload opt"},
        {NUMBER, "long", {RELOAD}, "1: no supportyaml but with reload opt"},
        {LETTER, "", {RELOAD}, "1: short opt invalid"},
    };
    for (const auto& [shortOpt, longOpt, attrs, told] : cases) {
        EXPECT_EQ(Told(Made(shortOpt, longOpt, attrs).AttrValid()), told) << told;
    }
}

TEST(GetAttrStr, LettersInTheirOrder)
{
    EXPECT_EQ(Made(NUMBER, "l", {CMD}).GetAttrStr(), "attr:c");
    EXPECT_EQ(Made(NUMBER, "l", {IN_FILE}).GetAttrStr(), "attr:y");
    EXPECT_EQ(Made(NUMBER, "l", {RELOAD}).GetAttrStr(), "attr:r");
    EXPECT_EQ(Made(NUMBER, "l", {RELOAD, IN_FILE, CMD}).GetAttrStr(), "attr:cyr");
    EXPECT_EQ(Made(NUMBER, "l", {CMD, IN_FILE, ALONE, KOVARI, SHORT, LONG, REQUIRED}).GetAttrStr(),
              "attr:cy");
    EXPECT_EQ(Made(NUMBER, "l", {}).GetAttrStr(), "attr:");
    EXPECT_EQ(Made(NUMBER, "l", {CMD, IN_FILE, RELOAD, TNSTAT}).GetAttrStr(), "");
}

std::string HelpOf(int shortOpt, const std::string& longOpt, const std::string& placeholder,
                   const Attrs& attrs, const std::string& help)
{
    Option opt("Opt", shortOpt, longOpt, placeholder);
    opt.SetAttr(attrs);
    opt.help = help;
    return opt.FormatHelpInfo();
}

TEST(FormatHelpInfo, TheHeadOfTheLine)
{
    EXPECT_EQ(HelpOf('l', "level", "<n>", {CMD, SHORT, LONG, REQUIRED}, "h\n"),
              "    -l, --level <n>                attr:c, h\n");
    EXPECT_EQ(HelpOf('l', "level", "<n>", {CMD, SHORT, LONG, OPTIONAL}, "h\n"),
              "    -l, --level <n>                attr:c, h\n");
    EXPECT_EQ(HelpOf('l', "level", "<n>", {CMD, SHORT, LONG}, "h\n"),
              "    -l, --level                    attr:c, h\n");
    EXPECT_EQ(HelpOf(NUMBER, "level", "<n>", {CMD, LONG, REQUIRED}, "h\n"),
              "        --level <n>                attr:c, h\n");
    EXPECT_EQ(HelpOf('l', "level", "<n>", {CMD, SHORT, REQUIRED}, "h\n"),
              "    -l,  <n>                       attr:c, h\n");
    EXPECT_EQ(HelpOf(NUMBER, "level", "<n>", {IN_FILE}, "h\n"),
              "                                   attr:y, h\n");
}

TEST(FormatHelpInfo, WithoutHelpThereIsOnlyTheHead)
{
    EXPECT_EQ(HelpOf('l', "level", "<n>", {CMD, SHORT, LONG, REQUIRED}, ""), "    -l, --level <n>");
    EXPECT_EQ(HelpOf(NUMBER, "", "", {}, ""), "        ");
}

TEST(FormatHelpInfo, AHeadOf35CharactersKeepsItsLineAndOneOf36DoesNot)
{
    const std::string longOpt = "abcdefghijklmnopqrstuvwxy";  // "    -l, --" and 25 letters
    const std::string blanks(35, ' ');
    EXPECT_EQ(HelpOf('l', longOpt, "", {CMD, SHORT, LONG}, "h\n"), "    -l, --" + longOpt + "attr:c, h\n");
    EXPECT_EQ(HelpOf('l', longOpt + "z", "", {CMD, SHORT, LONG}, "h\n"),
              "    -l, --" + longOpt + "z\n" + blanks + "attr:c, h\n");
    EXPECT_EQ(HelpOf('l', longOpt.substr(1), "", {CMD, SHORT, LONG}, "h\n"),
              "    -l, --" + longOpt.substr(1) + " attr:c, h\n");
    EXPECT_EQ(HelpOf('l', longOpt, "", {CMD, SHORT, LONG, REQUIRED}, "h\n"),
              "    -l, --" + longOpt + " \n" + blanks + "attr:c, h\n");  // the blank of an empty placeholder
}

TEST(FormatHelpInfo, FurtherLinesStandFourColumnsToTheRight)
{
    EXPECT_EQ(HelpOf('l', "level", "", {CMD, SHORT, LONG, IN_FILE, RELOAD}, "one\ntwo\n\nfour \n"),
              "    -l, --level                    attr:cyr, one\n" + std::string(39 + 10, ' ') + "two\n" +
                  std::string(39 + 10, ' ') + "\n" + std::string(39 + 10, ' ') + "four \n");
    EXPECT_EQ(HelpOf('l', "level", "", {CMD, SHORT, LONG, TNSTAT}, "one\ntwo"),
              "    -l, --level                    one\n" + std::string(39, ' ') + "two\n");
}

std::string YamlHelpOf(const std::string& longOpt, const std::string& yamlHelp)
{
    Option opt = Made(NUMBER, longOpt, {IN_FILE, ALONE});
    opt.yamlHelp = yamlHelp;
    return opt.FormatYamlInfo();
}

TEST(FormatYamlInfo, FirstLineIsTheKeysAndFurtherOnesAreComments)
{
    EXPECT_EQ(YamlHelpOf("level", ""), "");
    EXPECT_EQ(YamlHelpOf("level", "<n> # help\n"), "level: <n> # help\n");
    EXPECT_EQ(YamlHelpOf("level", "<n> # help"), "level: <n> # help\n");
    EXPECT_EQ(YamlHelpOf("level", "one\ntwo\n\n  three \n"),
              "level: one\n    # two\n    # \n    #   three \n");
    EXPECT_EQ(YamlHelpOf("level", "\n"), "level: \n");
    EXPECT_EQ(YamlHelpOf("", "one\n"), ": one\n");
}

TEST(SplitByNewlineTest, ATrailingLineBreakYieldsNoLine)
{
    EXPECT_THAT(SplitByNewline(""), IsEmpty());
    EXPECT_THAT(SplitByNewline("\n"), ElementsAre(""));
    EXPECT_THAT(SplitByNewline("\n\n"), ElementsAre("", ""));
    EXPECT_THAT(SplitByNewline("a"), ElementsAre("a"));
    EXPECT_THAT(SplitByNewline("a\n"), ElementsAre("a"));
    EXPECT_THAT(SplitByNewline("\na"), ElementsAre("", "a"));
    EXPECT_THAT(SplitByNewline("a\n\nb\n"), ElementsAre("a", "", "b"));
    EXPECT_THAT(SplitByNewline("a\r\nb"), ElementsAre("a\r", "b"));
    EXPECT_THAT(SplitByNewline(std::string("a\0b\nc", 5)), ElementsAre(std::string("a\0b", 3), "c"));
}

}  // namespace
