// SPDX-License-Identifier: MIT

#include "config/command_line.h"

#include <getopt.h>
#include <stdlib.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "config/argument_vector.h"
#include "tests/support/words.h"

namespace {

using support::Words;
using testing::ElementsAre;

const char* const NOT_FOUND = "option not found, please check cmdline by help";
const char* const REPEATED = " not support repeat option, please check cmdline by help";
const char* const EXTRA = "cmdline not support extra parameter, please check cmdline by help";

/// The walk over the tool's options alone, which notes what it was given.
class CommandLine : public testing::Test {
protected:
    CommandLine() { EXPECT_EQ(BuildOptionMap(info.GetAllOptions(), OptAttr::ALONE, type, map).code, 0); }

    TnResult Parse(int argc, char* const* argv)
    {
        applied.clear();
        return command_line::Parse(argc, argv, info, map,
                                   [this](const Option& opt, const std::string& argument) {
                                       applied.push_back(opt.longOpt + "=" + argument);
                                       return TnResult();
                                   });
    }

    std::string Parse(std::vector<std::string> given)
    {
        Words words(std::move(given));
        const std::vector<char*> pointers = words.Pointers();
        const std::vector<std::string> texts = words.Texts();
        const TnResult result = Parse(words.Count(), words.Array());
        EXPECT_EQ(words.Pointers(), pointers) << "the caller's array is not permuted";
        EXPECT_EQ(words.Texts(), texts);
        EXPECT_EQ(result.code, result.message.empty() ? 0 : 1);
        EXPECT_EQ(optind, 0);
        EXPECT_EQ(optarg, nullptr);
        EXPECT_EQ(opterr, 1);
        return result.message;
    }

    const ConfigType type = ConfigType::TARNIX;
    const OptionInfo info{type};
    OptionMap map;
    std::vector<std::string> applied;
};

TEST_F(CommandLine, GivesEachOptionWithItsArgument)
{
    EXPECT_EQ(Parse({"-i", "1", "-t2", "--spe-period", "3", "--smt=off", "-v", "--metrics"}), "");
    EXPECT_THAT(applied, ElementsAre("sampling-interval=1", "sampling-times=2", "spe-period=3", "smt=off",
                                     "version=", "metrics="));
}

TEST_F(CommandLine, EveryOptionThatTakesAnArgumentFailsWithoutOne)
{
    int tried = 0;
    for (const Option& opt : info.GetAllOptions()) {
        if (!opt.IsAttr(OptAttr::CMD) || !opt.IsAttr(OptAttr::REQUIRED_ARG)) {
            continue;
        }
        ++tried;
        EXPECT_EQ(Parse({"-v", "--" + opt.longOpt}), NOT_FOUND) << opt.longOpt;
        EXPECT_THAT(applied, ElementsAre("version="));
        if (opt.IsAttr(OptAttr::SHORT_OPT)) {
            const std::string letter(1, static_cast<char>(opt.shortOpt));
            EXPECT_EQ(Parse({"-" + letter}), NOT_FOUND) << letter;
            EXPECT_EQ(Parse({"-v" + letter}), NOT_FOUND) << letter;
        }
    }
    EXPECT_EQ(tried, 14);
}

TEST_F(CommandLine, EveryOptionTakesAnEmptyArgument)
{
    for (const Option& opt : info.GetAllOptions()) {
        if (!opt.IsAttr(OptAttr::CMD) || !opt.IsAttr(OptAttr::REQUIRED_ARG)) {
            continue;
        }
        EXPECT_EQ(Parse({"--" + opt.longOpt + "="}), "") << opt.longOpt;
        EXPECT_THAT(applied, ElementsAre(opt.longOpt + "="));
        EXPECT_EQ(Parse({"--" + opt.longOpt, ""}), "") << opt.longOpt;
        EXPECT_THAT(applied, ElementsAre(opt.longOpt + "="));
    }
}

TEST_F(CommandLine, EveryOptionFailsTheSecondTime)
{
    for (const Option& opt : info.GetAllOptions()) {
        if (!opt.IsAttr(OptAttr::CMD)) {
            continue;
        }
        const std::string longForm = "--" + opt.longOpt + (opt.IsAttr(OptAttr::REQUIRED_ARG) ? "=1" : "");
        EXPECT_EQ(Parse({longForm, longForm}), REPEATED) << opt.longOpt;
        EXPECT_THAT(applied, testing::SizeIs(1));
        if (opt.IsAttr(OptAttr::SHORT_OPT)) {
            const std::string shortForm = std::string("-") + static_cast<char>(opt.shortOpt) +
                                          (opt.IsAttr(OptAttr::REQUIRED_ARG) ? "1" : "");
            EXPECT_EQ(Parse({shortForm, longForm}), REPEATED) << opt.longOpt;
            EXPECT_EQ(Parse({longForm, shortForm}), REPEATED) << opt.longOpt;
        }
    }
}

struct WalkCase {
    std::vector<std::string> words;
    std::string message;  ///< empty: success
    std::vector<std::string> applied;
};

TEST_F(CommandLine, ForTheRestIsWhatGetoptMakesOfIt)
{
    const std::vector<WalkCase> cases = {
        {{}, "", {}},
        // abbreviated: a unique prefix stands for the option
        {{"--snap", "5"}, "", {"snapshot-interval=5"}},
        {{"--sampling-i=5"}, "", {"sampling-interval=5"}},
        {{"--me", "5"}, NOT_FOUND, {}},
        {{"--sampling=5"}, NOT_FOUND, {}},
        {{"--sampling-i=5", "-i", "5"}, REPEATED, {"sampling-interval=5"}},
        // clustered
        {{"-vi5"}, "", {"version=", "sampling-interval=5"}},
        {{"-vi", "5"}, "", {"version=", "sampling-interval=5"}},
        {{"-vv"}, REPEATED, {"version="}},
        {{"-vz"}, NOT_FOUND, {"version="}},
        {{"-iv"}, "", {"sampling-interval=v"}},
        // unknown
        {{"-z"}, NOT_FOUND, {}},
        {{"--zzz"}, NOT_FOUND, {}},
        {{"--zzz=5"}, NOT_FOUND, {}},
        {{"-?"}, NOT_FOUND, {}},
        {{"-:"}, NOT_FOUND, {}},
        {{"---"}, NOT_FOUND, {}},
        {{"-\xFF"}, NOT_FOUND, {}},
        {{"--="}, NOT_FOUND, {}},
        // an argument where none is taken
        {{"--version=1"}, NOT_FOUND, {}},
        {{"--metrics=false"}, NOT_FOUND, {}},
        {{"--metrics", "false"}, EXTRA, {"metrics="}},
        // an argument that looks like an option
        {{"-i", "-v"}, "", {"sampling-interval=-v"}},
        {{"-i", "--"}, "", {"sampling-interval=--"}},
        {{"--smt", "--smt"}, "", {"smt=--smt"}},
        // -W is an option like any other
        {{"-W", "smt=off"}, "", {"whitelist=smt=off"}},
        // the end of options
        {{"--"}, "", {}},
        {{"-v", "--"}, "", {"version="}},
        {{"--", "-v"}, EXTRA, {}},
        {{"-v", "--", "--"}, EXTRA, {"version="}},
        // stray words
        {{"word"}, EXTRA, {}},
        {{"-"}, EXTRA, {}},
        {{""}, EXTRA, {}},
        {{"word", "-v"}, EXTRA, {"version="}},
        {{"-v", "word", "-i", "5"}, EXTRA, {"version=", "sampling-interval=5"}},
        // bytes are passed on as they are
        {{"-W", "\xFF\xC0\x80\x01"}, "", {"whitelist=\xFF\xC0\x80\x01"}},
        {{"\xFF"}, EXTRA, {}},
    };
    for (const WalkCase& row : cases) {
        EXPECT_EQ(Parse(row.words), row.message) << testing::PrintToString(row.words);
        EXPECT_EQ(applied, row.applied) << testing::PrintToString(row.words);
    }
}

TEST_F(CommandLine, TakesMegabytes)
{
    const std::string large(4U << 20U, 'a');
    EXPECT_EQ(Parse({"-W", large}), "");
    ASSERT_THAT(applied, testing::SizeIs(1));
    EXPECT_EQ(applied.front(), "whitelist=" + large);
    EXPECT_EQ(Parse({"--blacklist=" + large}), "");
    EXPECT_EQ(applied.front().size(), large.size() + 10);
    EXPECT_EQ(Parse({large}), EXTRA);
    testing::internal::CaptureStderr();  // getopt repeats the whole word
    EXPECT_EQ(Parse({"--" + large}), NOT_FOUND);
    EXPECT_GT(testing::internal::GetCapturedStderr().size(), large.size());
}

TEST_F(CommandLine, StopsAtTheFirstWordUnderPosixlyCorrect)
{
    const char* const before = getenv("POSIXLY_CORRECT");
    const std::string saved = before == nullptr ? "" : before;
    setenv("POSIXLY_CORRECT", "1", 1);
    EXPECT_EQ(Parse({"-v", "word", "-i", "5"}), EXTRA);
    EXPECT_THAT(applied, ElementsAre("version="));
    EXPECT_EQ(Parse({"word", "-z"}), EXTRA);
    EXPECT_EQ(Parse({"-i", "5", "-v"}), "");
    unsetenv("POSIXLY_CORRECT");
    EXPECT_EQ(Parse({"word", "-z"}), NOT_FOUND);
    if (before != nullptr) {
        setenv("POSIXLY_CORRECT", saved.c_str(), 1);
    }
}

TEST_F(CommandLine, TakesAnEmptyOrMissingArray)
{
    char name[] = "tarnix";
    char version[] = "-v";
    char* none[] = {nullptr};
    char* hole[] = {name, nullptr, version, nullptr};
    char* unended[] = {name, version};
    EXPECT_EQ(Parse(0, nullptr).code, 0);
    EXPECT_EQ(Parse(5, nullptr).code, 0);
    EXPECT_EQ(Parse(0, none).code, 0);
    EXPECT_EQ(Parse(3, none).code, 0);
    EXPECT_EQ(Parse(-3, hole).code, 0);
    EXPECT_EQ(Parse(3, hole).code, 0) << "a null pointer ends the array";
    EXPECT_THAT(applied, ElementsAre());
    EXPECT_EQ(Parse(1, hole).code, 0);
    EXPECT_EQ(Parse(2, unended).code, 0) << "no null pointer is needed";
    EXPECT_THAT(applied, ElementsAre("version="));
}

TEST_F(CommandLine, StopsAtTheFirstFailureOfAnOption)
{
    Words words({"-v", "-i", "5", "-z", "word"});
    int calls = 0;
    const TnResult result = command_line::Parse(
        words.Count(), words.Array(), info, map, [&calls](const Option& opt, const std::string&) -> TnResult {
            ++calls;
            return opt.shortOpt == 'i' ? TnResult{1, "the option's own"} : TnResult();
        });
    EXPECT_EQ(result.code, 1);
    EXPECT_EQ(result.message, "the option's own");
    EXPECT_EQ(calls, 2);
    EXPECT_EQ(optind, 0);
    EXPECT_EQ(optarg, nullptr);
}

TEST_F(CommandLine, RefusesAnOptionWithoutTheCommandLineAttribute)
{
    OptionMap odd = map;
    odd.at('i').attrs &= ~1ULL;
    Words words({"-i", "5"});
    const TnResult result =
        command_line::Parse(words.Count(), words.Array(), info, odd, [](const Option&, const std::string&) {
            return TnResult{0, "not reached"};
        });
    EXPECT_EQ(result.code, 1);
    EXPECT_EQ(result.message, "option not support cmdline, please check cmdline by help");
}

TEST_F(CommandLine, LetsGetoptPrintItsDiagnostics)
{
    opterr = 0;  // as a host may have left it
    testing::internal::CaptureStderr();
    EXPECT_EQ(Parse({"--zzz"}), NOT_FOUND);
    EXPECT_THAT(testing::internal::GetCapturedStderr(), testing::HasSubstr("zzz"));
}

/// A host's own parsing with getopt: the letters seen, '?' for a fault, and the words left over.
std::string HostParse(std::vector<std::string> given, const char* letters)
{
    Words words(std::move(given));
    std::string seen;
    for (int value = 0; (value = getopt(words.Count(), words.Array(), letters)) != -1;) {
        seen += static_cast<char>(value);
        seen += optarg == nullptr ? "" : std::string("=") + optarg;
    }
    for (int i = optind; i < words.Count(); ++i) {
        seen += std::string(" ") + words.Array()[i];
    }
    return seen;
}

TEST_F(CommandLine, LeavesTheHostsOwnParsingWorking)
{
    optind = 0;
    EXPECT_EQ(HostParse({"-vx", "word"}, "vx"), "vx word");
    EXPECT_EQ(Parse({"-i", "5", "-v"}), "");
    EXPECT_THAT(applied, ElementsAre("sampling-interval=5", "version=")) << "from the start of its own array";
    EXPECT_EQ(HostParse({"-v", "-x", "word", "more"}, "vx"), "vx word more");
    EXPECT_EQ(Parse({"-vv"}), REPEATED);
    optind = 0;
    EXPECT_EQ(HostParse({"-xa", "-v", "word"}, "a:vx"), "xa=-v word");
    optind = 0;
}

/// Parses words that are gone afterwards, as those of a command string are.
std::string ParseAndFree(const std::string& line, const OptionInfo& info, const OptionMap& map)
{
    const auto [argc, argv] = argument_vector::Split(line);
    const TnResult result = command_line::Parse(argc, argv, info, map,
                                                [](const Option&, const std::string&) { return TnResult(); });
    argument_vector::Free(argc, argv);
    return result.message;
}

TEST_F(CommandLine, LeavesNothingOfAFailingClusterBehind)
{
    // The place inside "-xz" is in freed memory now; the host's next call must not look at it.
    EXPECT_EQ(ParseAndFree("kovari_enable -xz", info, map), NOT_FOUND);
    EXPECT_EQ(HostParse({"-v", "word"}, "v"), "v word");
    EXPECT_EQ(ParseAndFree("kovari_enable -vvvv", info, map), REPEATED);
    EXPECT_EQ(HostParse({"-v", "word"}, "v"), "v word");
    EXPECT_EQ(ParseAndFree("kovari_enable word -xz", info, map), NOT_FOUND);
    EXPECT_EQ(optarg, nullptr);
    EXPECT_EQ(HostParse({"word", "-v"}, "v"), "v word");
    optind = 0;
}

TEST_F(CommandLine, StartsAfreshInsideAClusterOfTheHosts)
{
    Words host({"-ab", "word"});
    optind = 0;
    ASSERT_EQ(getopt(host.Count(), host.Array(), "ab"), 'a');
    EXPECT_EQ(Parse({"-v", "-i", "5"}), "");
    EXPECT_THAT(applied, ElementsAre("version=", "sampling-interval=5"));
    EXPECT_EQ(HostParse({"-ab", "word"}, "ab"), "ab word");
    optind = 0;
}

}  // namespace
