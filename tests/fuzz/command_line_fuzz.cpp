// SPDX-License-Identifier: MIT
//
// Any text as the words of a command line, for the tool alone, under the framework and for the viewer, and as
// the framework's parameter.

#include <getopt.h>

#include <cstddef>
#include <cstdint>

#include <algorithm>
#include <string>
#include <vector>

#include "config/conf_ctl.h"
#include "tests/fuzz/input.h"
#include "tests/fuzz/require.h"

namespace {

using fuzz::Require;

/// Words end at line breaks, so that they can hold blanks; a NUL ends a word early, as it would in life.
std::vector<std::string> Words(const std::string& text)
{
    std::vector<std::string> words = {"tarnix"};
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        words.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    return words;
}

void CheckResult(const TnResult& result)
{
    Require(result.code == 0 || result.code == 1, "a parse answers 0 or 1");
    Require(!result.message.empty(), "a parse has something to say");
    Require(optind == 0 && optarg == nullptr && opterr == 1, "getopt's globals are left as promised");
}

/// `parse(argc, argv)` on an array that has to stay as it is.
template <typename Parse>
TnResult OnWords(const std::vector<std::string>& words, Parse parse)
{
    std::vector<std::string> copies = words;
    std::vector<char*> argv;
    for (std::string& word : copies) {
        argv.push_back(word.data());
    }
    argv.push_back(nullptr);
    const std::vector<char*> before = argv;
    const TnResult result = parse(static_cast<int>(words.size()), argv.data());
    CheckResult(result);
    Require(argv == before && copies == words, "the words stay as they are");
    return result;
}

/// How the tool is set up once and then parses for long.
ConfCtl& ToolCtl(bool isKovari)
{
    static ConfCtl ctl[2];
    static const bool filled = ctl[0].InitOptMap(false).code == 0 && ctl[1].InitOptMap(true).code == 0;
    Require(filled, "the option maps fill");
    return ctl[isKovari ? 1 : 0];
}

void ParseTool(const std::vector<std::string>& words, bool isKovari, bool thorough)
{
    static const OptionInfo info(ConfigType::TARNIX);
    Conf conf = g_defaultConf;
    const TnResult result = OnWords(words, [&](int argc, char** argv) {
        return ToolCtl(isKovari).ParseCmdline(argc, argv, isKovari, conf);
    });
    if (result.code == 0) {
        Require(result.message == "parse cmdline success", "a success says so");
        Require(conf.IsValid(isKovari).code == 0, "what was accepted is valid");
    }
    if (thorough) {
        Require(!info.GetConfInfo(conf).empty(), "the report can be made");
        Require(info.GetHelpInfo(isKovari, conf.help).empty() == (conf.help == HelpType::OFF),
                "help is there");
    }
}

void ParseViewer(const std::vector<std::string>& words, bool thorough)
{
    static ConfCtl ctl(ConfigType::TNSTAT);
    static const bool filled = ctl.InitOptMap(false).code == 0;
    Require(filled, "the option map fills");
    TnStatConf conf;
    const TnResult parsed =
        OnWords(words, [&](int argc, char** argv) { return ctl.ParseTnstatCmdline(argc, argv, conf); });
    Require(conf.port >= 1 && conf.port <= 65535, "the port is one");
    if (thorough) {
        static ConfCtl whole(ConfigType::TNSTAT);
        TnStatConf again;
        again.confInfo = "kept";
        const TnResult result =
            OnWords(words, [&](int argc, char** argv) { return whole.InitTnstat(argc, argv, again); });
        Require(result.code == parsed.code, "the whole way ends as the parsing does");
        Require((result.code == 0) == (again.confInfo != "kept"), "a failure leaves the caller's settings");
        Require(result.code != 0 || (again.port == conf.port && again.ip == conf.ip),
                "a success stores them");
    }
}

/// What stands between white space.
std::vector<std::string> PlainWords(const std::string& line)
{
    std::vector<std::string> words(1);
    for (const char c : line) {
        if (c == ' ' || (c >= '\t' && c <= '\r')) {
            words.emplace_back();
        } else {
            words.back() += c;
        }
    }
    words.erase(std::remove(words.begin(), words.end(), std::string()), words.end());
    return words;
}

/// The steps of ParseStringCmd, without the configuration file.
TnResult ParseParameterSteps(const std::string& text, Conf& conf)
{
    static ConfCtl ctl;
    std::string line = "kept";
    TnResult result = ctl.GetKovariCmd(text, line);
    if (result.code != 0) {
        Require(line == "kept", "a failure leaves the line");
        return result;
    }
    const auto [argc, argv] = ctl.ConvertStringCmd(line);
    const std::vector<std::string> words = PlainWords(line);
    Require(static_cast<std::size_t>(argc) == words.size() && argv[argc] == nullptr,
            "as many words as there are");
    for (std::size_t i = 0; i < words.size(); ++i) {
        Require(words[i].c_str() == std::string(argv[i]), "word by word");
    }
    Require(words.front() == "kovari_enable", "the first word is the program");
    result = ToolCtl(true).ParseCmdline(argc, argv, true, conf);
    CheckResult(result);
    ctl.FreeCommandLine(argc, argv);
    return result;
}

void ParseParameter(const std::string& text, bool thorough)
{
    Conf stepwise = g_defaultConf;
    const TnResult steps = ParseParameterSteps(text, stepwise);
    if (!thorough) {
        return;
    }
    static ConfCtl ctl;
    static const OptionInfo info(ConfigType::TARNIX);
    Conf conf = g_defaultConf;
    conf.confInfo = "kept";
    conf.samplingTimes = 7;
    const std::string before = info.GetConfInfo(conf);
    TnResult warning;
    const TnResult result = ctl.ParseStringCmd(text, conf, warning);
    CheckResult(result);
    if (warning.code != 0) {
        Require(result.code == steps.code, "without a file, the whole way ends as its steps do");
    }
    if (result.code != 0) {
        Require(conf.confInfo == "kept" && info.GetConfInfo(conf) == before && conf.helpInfo.empty() &&
                    conf.versionInfo.empty(),
                "a failure leaves the caller's configuration");
    } else {
        Require(conf.confInfo == info.GetConfInfo(conf), "the report is that of the result");
    }
}

}  // namespace

/// getopt's diagnostics would fill the log; libFuzzer's own and the sanitizers' reports stay.
extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv)
{
    static char closeStderr[] = "-close_fd_mask=2";
    static std::vector<char*> words(*argv, *argv + *argc);
    words.push_back(closeStderr);
    words.push_back(nullptr);
    *argv = words.data();
    ++*argc;
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string text(fuzz::TextOf(data, size));
    const bool thorough = fuzz::Thorough(text, 64);
    const std::vector<std::string> words = Words(text);
    ParseTool(words, false, thorough);
    ParseTool(words, true, thorough);
    ParseViewer(words, thorough);
    std::string parameter = text;
    if (parameter.rfind("cmd:", 0) != 0 && size % 2 == 0) {
        parameter = "cmd:" + parameter;
    }
    ParseParameter(parameter, thorough);
    return 0;
}
