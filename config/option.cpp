// SPDX-License-Identifier: MIT

#include "config/option.h"

#include <algorithm>

namespace {

constexpr std::size_t HELP_COLUMN = 35;
constexpr std::size_t CONTINUATION_COLUMN = 39;  // deliberately four to the right of the first line's text
constexpr std::int32_t MAX_LETTER = 999;

TnResult Broken(const std::string& rule)
{
    return {1, rule};
}

}  // namespace

Option::Option(const std::string& optionName, int optionShort, const std::string& optionLong,
               const std::string& argument)
    : name(optionName), shortOpt(optionShort), longOpt(optionLong), placeholder(argument)
{
}

void Option::SetAttr(const std::vector<OptAttr>& list)
{
    attrs = 0;
    for (const OptAttr attr : list) {
        attrs |= std::uint64_t{1} << static_cast<std::uint32_t>(attr);
    }
}

bool Option::IsAttr(OptAttr attr) const
{
    return ((attrs >> static_cast<std::uint32_t>(attr)) & 1U) != 0;
}

TnResult Option::AttrValid() const
{
    const bool cmd = IsAttr(OptAttr::CMD);
    const bool letter = IsAttr(OptAttr::SHORT_OPT);
    const bool longName = IsAttr(OptAttr::LONG_OPT);
    const bool required = IsAttr(OptAttr::REQUIRED_ARG);
    const bool optional = IsAttr(OptAttr::OPTIONAL_ARG);
    const bool yaml = IsAttr(OptAttr::YAML);
    if (attrs == 0) {
        return Broken("attr is 0");
    }
    if (cmd && !letter && !longName) {
        return Broken("cmd without short or long opt");
    }
    if (!cmd && (letter || longName || required || optional)) {
        return Broken("no cmd but with short or long opt");
    }
    if (required && optional) {
        return Broken("cmd with required and optional params");
    }
    if (letter != (shortOpt <= MAX_LETTER)) {
        return Broken("short opt invalid");
    }
    if (longName && longOpt.empty()) {
        return Broken("long opt invalid");
    }
    if (IsAttr(OptAttr::RELOAD) && !yaml) {
        return Broken("no supportyaml but with reload opt");
    }
    if (!IsAttr(OptAttr::ALONE) && !IsAttr(OptAttr::KOVARI) && !IsAttr(OptAttr::TNSTAT)) {
        return Broken("no support run alone or kovari or tnstat");
    }
    if (!cmd && !yaml) {
        return Broken("without cmd or yaml");
    }
    return {};
}

std::string Option::GetAttrStr() const
{
    if (IsAttr(OptAttr::TNSTAT)) {
        return {};
    }
    std::string letters = "attr:";
    letters += IsAttr(OptAttr::CMD) ? "c" : "";
    letters += IsAttr(OptAttr::YAML) ? "y" : "";
    letters += IsAttr(OptAttr::RELOAD) ? "r" : "";
    return letters;
}

std::string Option::FormatHelpInfo() const
{
    std::string text = "    ";
    if (IsAttr(OptAttr::SHORT_OPT)) {
        text += "-";
        text += static_cast<char>(shortOpt);
        text += ", ";
    } else {
        text += "    ";
    }
    if (IsAttr(OptAttr::LONG_OPT)) {
        text += "--" + longOpt;
    }
    if (IsAttr(OptAttr::REQUIRED_ARG) || IsAttr(OptAttr::OPTIONAL_ARG)) {
        text += " " + placeholder;
    }
    const std::vector<std::string> lines = SplitByNewline(help);
    if (lines.empty()) {
        return text;
    }
    std::string attr = GetAttrStr();
    attr += attr.empty() ? "" : ", ";
    if (text.size() <= HELP_COLUMN) {
        text.resize(HELP_COLUMN, ' ');
    } else {
        text += "\n" + std::string(HELP_COLUMN, ' ');
    }
    text += attr + lines.front() + "\n";
    const std::string indent(CONTINUATION_COLUMN + attr.size(), ' ');
    for (std::size_t i = 1; i < lines.size(); ++i) {
        text += indent + lines[i] + "\n";
    }
    return text;
}

std::string Option::FormatYamlInfo() const
{
    const std::vector<std::string> lines = SplitByNewline(yamlHelp);
    if (lines.empty()) {
        return {};
    }
    std::string text = longOpt + ": " + lines.front() + "\n";
    for (std::size_t i = 1; i < lines.size(); ++i) {
        text += "    # " + lines[i] + "\n";
    }
    return text;
}

std::vector<std::string> SplitByNewline(const std::string& text)
{
    // Not through a stream, which takes memory that runs out for the end of the text.
    std::vector<std::string> lines;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        lines.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    return lines;
}
