// SPDX-License-Identifier: MIT

#include "tests/support/option_facts.h"

#include <map>

namespace support {
namespace {

std::string Trimmed(const std::string& text)
{
    const std::size_t last = text.find_last_not_of(' ');
    return last == std::string::npos ? std::string() : text.substr(0, last + 1);
}

std::string DefaultOfKey(const std::string& key)
{
    static const std::map<std::string, std::string> values = [] {
        TnStatConf viewer;
        viewer.exportType = ExportType::NODE_EXPORTER;
        std::string report = OptionInfo(ConfigType::TNSTAT).GetTnstatConfInfo(viewer);
        report += OptionInfo(ConfigType::TARNIX).GetConfInfo(g_defaultConf);
        std::map<std::string, std::string> found;
        for (const std::string& line : SplitByNewline(report)) {
            const std::size_t colon = line.find(": ");
            found[line.substr(0, colon)] = line.substr(colon + 2);
        }
        found["export"] = g_tnstatExportTypeMap.at(TnStatConf().exportType);
        return found;
    }();
    const auto value = values.find(key);
    return value == values.end() ? "false" : value->second;
}

}  // namespace

std::vector<std::string> TrimmedLines(const std::string& text)
{
    std::vector<std::string> lines = SplitByNewline(text);
    for (std::string& line : lines) {
        line = Trimmed(line);
    }
    return lines;
}

FileHelp FileHelpOf(const Option& opt)
{
    const std::string mark = "# ";
    FileHelp help;
    help.lines = TrimmedLines(opt.yamlHelp);
    if (help.lines.empty()) {
        return help;
    }
    std::string& first = help.lines.front();
    if (first.compare(0, mark.size(), mark) == 0) {
        help.example.assign(help.lines.begin() + 1, help.lines.end());
        help.lines.resize(1);
    } else {
        const std::size_t blank = first.find(' ');
        help.form = first.substr(0, blank);
        first.erase(0, blank + 1);
    }
    if (first.compare(0, mark.size(), mark) == 0) {
        first.erase(0, mark.size());
    }
    return help;
}

std::vector<std::string> MeaningOf(const Option& opt)
{
    std::vector<std::string> lines = TrimmedLines(opt.help);
    return lines.empty() ? FileHelpOf(opt).lines : lines;
}

std::string ArgumentOf(const Option& opt)
{
    if (!opt.IsAttr(OptAttr::REQUIRED_ARG)) {
        return {};
    }
    return opt.placeholder.empty() ? FileHelpOf(opt).form : opt.placeholder;
}

std::vector<std::string> ArgumentWords(const Option& opt)
{
    const std::string before = " should be in [";
    const std::string after = "], now is ";
    Conf conf;
    TnStatConf viewer;
    const ParseInput input{ParseStage::CMDLINE, {}, "?"};
    const std::string message =
        (opt.parseFunc ? opt.parseFunc(input, conf) : opt.tnstatParseFunc(input, viewer)).message;
    const std::size_t mark = message.find(before);
    const std::size_t end = message.find(after);
    std::vector<std::string> words;
    if (mark == std::string::npos || end == std::string::npos) {
        return words;
    }
    const std::string list = message.substr(mark + before.size(), end - mark - before.size()) + ", ";
    for (std::size_t begin = 0; begin < list.size();) {
        const std::size_t comma = list.find(", ", begin);
        words.push_back(list.substr(begin, comma - begin));
        begin = comma + 2;
    }
    return words;
}

std::string DefaultOf(const Option& opt)
{
    return DefaultOfKey(opt.longOpt == "help" && opt.parseFunc ? "help-type" : opt.longOpt);
}

}  // namespace support
