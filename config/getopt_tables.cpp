// SPDX-License-Identifier: MIT

#include "config/getopt_tables.h"

#include <cstdint>

namespace {

constexpr std::int32_t FIRST_NUMBER = 1000;

bool IsLetter(std::int32_t value)
{
    return (value >= 'A' && value <= 'Z') || (value >= 'a' && value <= 'z');
}

int ArgumentKind(const Option& opt)
{
    if (opt.IsAttr(OptAttr::REQUIRED_ARG)) {
        return required_argument;
    }
    return opt.IsAttr(OptAttr::OPTIONAL_ARG) ? optional_argument : no_argument;
}

}  // namespace

namespace getopt_tables {

void NumberOptions(std::vector<Option>& options)
{
    std::int32_t number = FIRST_NUMBER;
    for (Option& opt : options) {
        if (!IsLetter(opt.shortOpt)) {
            opt.shortOpt = number++;
        }
    }
}

std::string ShortOptions(const std::vector<Option>& options)
{
    std::string text;
    for (const Option& opt : options) {
        if (!opt.IsAttr(OptAttr::SHORT_OPT)) {
            continue;
        }
        text += static_cast<char>(opt.shortOpt);
        if (opt.IsAttr(OptAttr::REQUIRED_ARG)) {
            text += ":";
        } else if (opt.IsAttr(OptAttr::OPTIONAL_ARG)) {
            text += "::";
        }
    }
    return text;
}

std::vector<option> LongOptions(const std::vector<Option>& options)
{
    std::vector<option> records;
    for (const Option& opt : options) {
        if (opt.IsAttr(OptAttr::CMD)) {
            records.push_back({opt.longOpt.c_str(), ArgumentKind(opt), nullptr, opt.shortOpt});
        }
    }
    records.push_back({nullptr, 0, nullptr, 0});
    return records;
}

}  // namespace getopt_tables
