// SPDX-License-Identifier: MIT

#include "tests/support/option_documents.h"

#include <vector>

#include "tests/support/joined.h"
#include "tests/support/option_facts.h"

namespace support {
namespace {

/// Text of a table's cell.
std::string Cell(const std::string& text)
{
    std::string cell;
    for (const char c : text) {
        cell += c == '|' ? "\\|" : c == '<' ? "&lt;" : c == '>' ? "&gt;" : std::string(1, c);
    }
    return cell;
}

std::string Code(const std::string& text)
{
    std::string code;
    for (const char c : text) {
        code += c == '|' ? "\\|" : std::string(1, c);
    }
    return code.empty() ? "" : "`" + code + "`";
}

std::string Sources(const Option& opt)
{
    std::vector<std::string> sources;
    if (opt.IsAttr(OptAttr::CMD)) {
        sources.emplace_back("command line");
    }
    if (opt.IsAttr(OptAttr::YAML)) {
        sources.emplace_back("file");
    }
    if (opt.IsAttr(OptAttr::RELOAD)) {
        sources.emplace_back("reload");
    }
    return Joined(sources, ", ");
}

std::string Modes(const Option& opt)
{
    std::vector<std::string> modes;
    if (opt.IsAttr(OptAttr::ALONE)) {
        modes.emplace_back("alone");
    }
    if (opt.IsAttr(OptAttr::KOVARI)) {
        modes.emplace_back("kovari");
    }
    return Joined(modes, ", ");
}

std::string Meaning(const Option& opt)
{
    std::vector<std::string> lines = MeaningOf(opt);
    for (std::string& line : lines) {
        line = Cell(line);
    }
    return Joined(lines, "<br>");
}

std::string Row(const std::vector<std::string>& cells)
{
    std::string row = "|";
    for (const std::string& cell : cells) {
        row += cell.empty() ? " |" : " " + cell + " |";
    }
    return row + "\n";
}

std::string Letter(const Option& opt)
{
    return opt.IsAttr(OptAttr::SHORT_OPT) ? Code(std::string("-") + static_cast<char>(opt.shortOpt)) : "";
}

std::string ToolTable()
{
    std::string table = Row({"Option", "Letter", "Argument", "Value in the file", "Settable from", "Applies",
                             "Default", "Meaning"});
    table += "|---|---|---|---|---|---|---|---|\n";
    for (const Option& opt : OptionInfo(ConfigType::TARNIX).GetAllOptions()) {
        const FileHelp help = FileHelpOf(opt);
        const std::string form = help.example.empty() ? Code(help.form) : "see below";
        table +=
            Row({Code(opt.longOpt), Letter(opt), Code(ArgumentOf(opt)), opt.IsAttr(OptAttr::YAML) ? form : "",
                 Sources(opt), Modes(opt), Code(DefaultOf(opt)), Meaning(opt)});
    }
    return table;
}

std::string ViewerTable()
{
    std::string table = Row({"Option", "Letter", "Argument", "Default", "Meaning"});
    table += "|---|---|---|---|---|\n";
    for (const Option& opt : OptionInfo(ConfigType::TNSTAT).GetAllOptions()) {
        table +=
            Row({Code(opt.longOpt), Letter(opt), Code(ArgumentOf(opt)), Code(DefaultOf(opt)), Meaning(opt)});
    }
    return table;
}

/// "key:" and its example, each line after `before`.
std::string Example(const Option& opt, const std::string& before)
{
    std::string text = before + opt.longOpt + ":\n";
    for (const std::string& line : FileHelpOf(opt).example) {
        text += before + "  " + line + "\n";
    }
    return text;
}

std::string StructuredKeys()
{
    std::string text;
    for (const Option& opt : OptionInfo(ConfigType::TARNIX).GetAllOptions()) {
        const FileHelp help = FileHelpOf(opt);
        if (!help.example.empty()) {
            text += "\n" + Code(opt.longOpt) + ": " + help.lines.front() + "\n\n```yaml\n" +
                    Example(opt, "") + "```\n";
        }
    }
    return text;
}

std::string SampleEntry(const Option& opt)
{
    const FileHelp help = FileHelpOf(opt);
    std::string text = "\n";
    for (const std::string& line : help.lines) {
        text += "# " + line + "\n";
    }
    if (!opt.IsAttr(OptAttr::KOVARI)) {
        text += "# Not used under kovari.\n";
    }
    if (opt.IsAttr(OptAttr::RELOAD)) {
        text += "# Read again on a reload.\n";
    }
    if (help.example.empty()) {
        return text + "#" + opt.longOpt + ": " + DefaultOf(opt) + "\n";
    }
    const std::string example = Example(opt, "#");
    if (example.find("\"\"") != std::string::npos) {
        text +=
            "# In this example, fill in or delete each line with \"\": not every key takes an empty text.\n";
    }
    return text + example;
}

}  // namespace

std::string OptionReference()
{
    return "# Options\n"
           "\n"
           "All options of `tarnix` and `tnstat`. This page is made from the option registry (`config/`);\n"
           "the test `option_documents_test` compares it and writes it anew when `UPDATE_GOLDEN=1` is set.\n"
           "\n"
           "## tarnix\n"
           "\n"
           "An option's name is its long option on the command line (`--log-level debug`) and its key in\n"
           "`" +
           TARNIX_YAML +
           "` (`log-level: debug`). Settings take precedence in the order defaults, file,\n"
           "command line. On the command line an option without an argument stands for `true`. \"Settable\n"
           "from\" names the sources that take it, \"reload\" among them when a reload of the file reads it\n"
           "again; \"Applies\" tells whether it exists when the tool runs alone and under `kovari`.\n"
           "\n" +
           ToolTable() +
           "\n"
           "### Structured keys\n" +
           StructuredKeys() +
           "\n"
           "Of the keys of a process entry only `name` has to be there; leave out the others to keep their\n"
           "defaults.\n"
           "\n"
           "## tnstat\n"
           "\n"
           "The viewer reads no file.\n"
           "\n" +
           ViewerTable();
}

std::string SampleFile()
{
    std::string text = "# Settings of the NUMA tuning tool tarnix, read from " + TARNIX_YAML +
                       " when it starts.\n"
                       "#\n"
                       "# Every setting below is commented out and shows its default; remove the \"#\" right "
                       "before a key to\n"
                       "# set it. Settings that are left out keep their defaults, and the command line "
                       "outweighs this file.\n"
                       "# Unknown keys are ignored. A value that cannot be used discards the whole file: "
                       "tarnix then starts\n"
                       "# with its defaults and a warning. \"tarnix --help yaml\" lists the same keys.\n";
    for (const Option& opt : OptionInfo(ConfigType::TARNIX).GetAllOptions()) {
        text += opt.IsAttr(OptAttr::YAML) ? SampleEntry(opt) : "";
    }
    return text;
}

}  // namespace support
