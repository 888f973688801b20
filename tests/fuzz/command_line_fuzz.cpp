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

void ParseTool(const std::vector<std::string>& words, bool isKovari)
{
    static ConfCtl ctl;
    static const OptionInfo info(ConfigType::TARNIX);
    Require(ctl.InitOptMap(isKovari).code == 0, "the option map fills");
    Conf conf = g_defaultConf;
    const TnResult result =
        OnWords(words, [&](int argc, char** argv) { return ctl.ParseCmdline(argc, argv, isKovari, conf); });
    if (result.code == 0) {
        Require(result.message == "parse cmdline success", "a success says so");
        Require(conf.IsValid(isKovari).code == 0, "what was accepted is valid");
    }
    Require(!info.GetConfInfo(conf).empty(), "the report can be made");
    Require(info.GetHelpInfo(isKovari, conf.help).empty() == (conf.help == HelpType::OFF), "help is there");
}

void ParseViewer(const std::vector<std::string>& words)
{
    static ConfCtl ctl(ConfigType::TNSTAT);
    TnStatConf conf;
    conf.confInfo = "kept";
    const TnResult result =
        OnWords(words, [&](int argc, char** argv) { return ctl.InitTnstat(argc, argv, conf); });
    Require((result.code == 0) == (conf.confInfo != "kept"), "a failure leaves the caller's settings");
    Require(conf.port >= 1 && conf.port <= 65535, "the port is one");
}

void ParseParameter(const std::string& text)
{
    static ConfCtl ctl;
    static const OptionInfo info(ConfigType::TARNIX);
    Conf conf = g_defaultConf;
    conf.confInfo = "kept";
    conf.samplingTimes = 7;
    const std::string before = info.GetConfInfo(conf);
    TnResult warning;
    const TnResult result = ctl.ParseStringCmd(text, conf, warning);
    CheckResult(result);
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
    const std::string text(reinterpret_cast<const char*>(data), size);
    const std::vector<std::string> words = Words(text);
    ParseTool(words, false);
    ParseTool(words, true);
    ParseViewer(words);
    std::string parameter = text;
    if (parameter.rfind("cmd:", 0) != 0 && size % 2 == 0) {
        parameter = "cmd:" + parameter;
    }
    ParseParameter(parameter);
    return 0;
}
