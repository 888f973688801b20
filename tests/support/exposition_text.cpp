// SPDX-License-Identifier: MIT

#include "tests/support/exposition_text.h"

#include <cmath>
#include <cstdlib>
#include <limits>
#include <set>
#include <sstream>

namespace support {
namespace {

const char* const NAME_LETTERS = "abcdefghijklmnopqrstuvwxyz_";

/// `name="value",...}` from `at` on; the place behind the brace, or npos.
std::size_t SkipLabels(const std::string& line, std::size_t at)
{
    for (;;) {
        const std::size_t equals = line.find_first_not_of(NAME_LETTERS, at);
        if (equals == std::string::npos || equals == at || line.compare(equals, 2, "=\"") != 0) {
            return std::string::npos;
        }
        std::size_t quote = equals + 2;
        while (quote < line.size() && line[quote] != '"') {
            quote += line[quote] == '\\' ? 2 : 1;
        }
        if (quote + 1 >= line.size()) {
            return std::string::npos;
        }
        if (line[quote + 1] == '}') {
            return quote + 2;
        }
        if (line[quote + 1] != ',') {
            return std::string::npos;
        }
        at = quote + 2;
    }
}

/// Takes the sample in; false when the line is none.
bool TakeSample(const std::string& line, std::map<std::string, double>& samples)
{
    std::size_t end = line.find_first_not_of(NAME_LETTERS);
    if (end == 0 || end == std::string::npos) {
        return false;
    }
    if (line[end] == '{') {
        end = SkipLabels(line, end + 1);
    }
    if (end == std::string::npos || end + 1 >= line.size() || line[end] != ' ') {
        return false;
    }
    const char* const digits = line.c_str() + end + 1;
    char* rest = nullptr;
    const double value = std::strtod(digits, &rest);
    const bool whole = rest == line.c_str() + line.size() && *digits != ' ';
    return whole && std::isfinite(value) && samples.emplace(line.substr(0, end), value).second;
}

}  // namespace

double ExpositionText::operator[](const std::string& name) const
{
    const auto found = samples.find(name);
    return found == samples.end() ? std::numeric_limits<double>::quiet_NaN() : found->second;
}

ExpositionText ParseExposition(const std::string& text)
{
    ExpositionText result;
    if (text.empty() || text.back() != '\n') {
        result.fault = "no line break at the end";
        return result;
    }
    std::set<std::string> typed;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        const bool isType = line.rfind("# TYPE tarnix_", 0) == 0 && typed.insert(line).second;
        if (!isType && line.rfind("# HELP tarnix_", 0) != 0 && !TakeSample(line, result.samples)) {
            result.fault = line;
            return result;
        }
    }
    return result;
}

}  // namespace support
