// SPDX-License-Identifier: MIT

#include "tests/support/option_pages.h"

#include <vector>

#include "tests/support/joined.h"
#include "tests/support/mdoc.h"
#include "tests/support/option_facts.h"

namespace support {
namespace {

const char* const BEGIN_LIST = ".Bl -tag -width Ds\n";
const char* const BEGIN_SHORT_LIST = ".Bl -tag -width Ds -compact\n";
const char* const END_LIST = ".El\n";

/// ".It Fl l Ar level , Fl \-log\-level Ar level"
std::string OptionTag(const Option& opt)
{
    const std::string argument = mdoc::Argument(ArgumentOf(opt));
    std::string tag = ".It";
    if (opt.IsAttr(OptAttr::SHORT_OPT)) {
        tag += std::string(" Fl ") + static_cast<char>(opt.shortOpt) + argument + " ,";
    }
    return tag + " Fl \\-" + mdoc::Escaped(opt.longOpt) + argument + "\n";
}

/// The first line as text, "word: meaning" lines behind it as a list.
std::string Meaning(const std::vector<std::string>& lines)
{
    std::string text = mdoc::Line(lines.front());
    if (lines.size() < 2) {
        return text;
    }
    text += BEGIN_SHORT_LIST;
    for (std::size_t i = 1; i < lines.size(); ++i) {
        const std::size_t colon = lines[i].find(": ");
        text += ".It Cm " + mdoc::Escaped(lines[i].substr(0, colon)) + "\n" +
                mdoc::Line(lines[i].substr(colon + 2));
    }
    return text + END_LIST;
}

std::string Bracketed(const std::vector<std::string>& facts)
{
    return facts.empty() ? "" : ".Pq " + mdoc::Escaped(Joined(facts, ", ")) + "\n";
}

std::string FileTag(const Option& opt, const FileHelp& help)
{
    const std::string form = help.form == "[]" ? "<list>" : help.form;
    return ".It Ic " + mdoc::Escaped(opt.longOpt) + " :" + mdoc::Argument(form) + "\n";
}

std::vector<std::string> FactsOfKey(const Option& opt, const FileHelp& help)
{
    std::vector<std::string> facts;
    const bool isSaid = help.lines.front().find("default is ") != std::string::npos;
    if (help.example.empty() && !isSaid) {
        facts.push_back("default " + DefaultOf(opt));
    }
    if (opt.IsAttr(OptAttr::CMD)) {
        facts.emplace_back("also on the command line");
    }
    if (opt.IsAttr(OptAttr::RELOAD)) {
        facts.emplace_back("read again on a reload");
    }
    if (!opt.IsAttr(OptAttr::KOVARI)) {
        facts.emplace_back("not used under kovari");
    }
    return facts;
}

/// "- name: process1 # what it means" lines as a list of the keys, any other example as it is typed.
std::string Example(const std::vector<std::string>& lines)
{
    const std::string mark = " # ";
    if (lines.empty()) {
        return {};
    }
    if (lines.front().find(mark) == std::string::npos) {
        std::string text = ".Bd -literal -compact\n";
        for (const std::string& line : lines) {
            text += mdoc::Line("  " + line);
        }
        return text + ".Ed\n";
    }
    std::string text = BEGIN_SHORT_LIST;
    for (const std::string& line : lines) {
        const std::size_t begin = line.find_first_not_of("- ");
        text += ".It Ic " + mdoc::Escaped(line.substr(begin, line.find(':') - begin)) + "\n" +
                mdoc::Line(line.substr(line.find(mark) + mark.size()));
    }
    return text + END_LIST;
}

}  // namespace

std::string ToolOptionsList()
{
    std::string list = BEGIN_LIST;
    for (const Option& opt : OptionInfo(ConfigType::TARNIX).GetAllOptions()) {
        if (!opt.IsAttr(OptAttr::ALONE) || !opt.IsAttr(OptAttr::CMD)) {
            continue;
        }
        list += OptionTag(opt) + Meaning(MeaningOf(opt));
        list += opt.IsAttr(OptAttr::YAML) ? Bracketed({"also in the file"}) : "";
    }
    return list + END_LIST;
}

std::string ViewerOptionsList()
{
    std::string list = BEGIN_LIST;
    for (const Option& opt : OptionInfo(ConfigType::TNSTAT).GetAllOptions()) {
        list += OptionTag(opt) + Meaning(MeaningOf(opt));
        const bool isSaid =
            !opt.IsAttr(OptAttr::REQUIRED_ARG) || opt.help.find("default: ") != std::string::npos;
        list += isSaid ? "" : Bracketed({"default " + DefaultOf(opt)});
    }
    return list + END_LIST;
}

std::string FileKeysList()
{
    std::string list = BEGIN_LIST;
    for (const Option& opt : OptionInfo(ConfigType::TARNIX).GetAllOptions()) {
        if (!opt.IsAttr(OptAttr::YAML)) {
            continue;
        }
        const FileHelp help = FileHelpOf(opt);
        list += FileTag(opt, help) + Meaning(help.lines) + Example(help.example) +
                Bracketed(FactsOfKey(opt, help));
    }
    return list + END_LIST;
}

}  // namespace support
