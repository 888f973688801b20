// SPDX-License-Identifier: MIT

#include "host/cpu_list.h"

#include <algorithm>
#include <charconv>

#include "host/escape.h"
#include "host/text_file.h"

namespace host {
namespace {

std::string ExpectedMessage(std::string_view text, std::size_t position, const std::string& expected)
{
    return "CPU list '" + EscapeText(text, 64) + "': expected " + expected + " at column " +
           std::to_string(position + 1) + "; a list reads like 0-3,8,10-11";
}

std::string TooLargeMessage(std::string_view text, std::size_t position)
{
    return "CPU list '" + EscapeText(text, 64) + "': the number at column " + std::to_string(position + 1) +
           " is above " + std::to_string(MAX_CPU);
}

std::string BackwardsMessage(std::string_view text, std::uint32_t first, std::uint32_t last)
{
    return "CPU list '" + EscapeText(text, 64) + "': the range " + std::to_string(first) + "-" +
           std::to_string(last) + " runs backwards";
}

std::string GroupMessage(std::string_view text, std::uint32_t used, std::uint32_t size)
{
    return "CPU list '" + EscapeText(text, 64) + "': ':" + std::to_string(used) + "/" + std::to_string(size) +
           "' takes more of a group than it has, or none; a group reads like 0-31:2/4";
}

std::string TooManyMessage(std::string_view text)
{
    return "CPU list '" + EscapeText(text, 64) + "': names more than " + std::to_string(MAX_CPU + 1) +
           " CPUs";
}

struct Range {
    std::uint32_t first = 0;
    std::uint32_t last = 0;
    std::uint32_t used = 1;  // of every `size` CPUs the first `used`
    std::uint32_t size = 1;
};

class Parser {
public:
    explicit Parser(std::string_view list) : text(list), seen(MAX_CPU + 1U) {}

    CpuListResult Parse()
    {
        CpuListResult result;
        while (true) {
            Range range;
            if (!ParseRange(range) || !Mark(range)) {
                result.error = error;
                return result;
            }
            if (position == text.size()) {
                break;
            }
            if (!Take(',')) {
                result.error = ExpectedMessage(text, position, "',' or the end");
                return result;
            }
        }
        for (std::uint32_t cpu = 0; cpu <= largest; ++cpu) {
            if (seen[cpu]) {
                result.cpus.push_back(cpu);
            }
        }
        return result;
    }

private:
    bool Take(char c)
    {
        if (position < text.size() && text[position] == c) {
            ++position;
            return true;
        }
        return false;
    }

    bool ParseNumber(std::uint32_t& value)
    {
        const char* begin = text.data() + position;
        const auto [end, code] = std::from_chars(begin, text.data() + text.size(), value);
        if (code == std::errc::invalid_argument) {
            error = ExpectedMessage(text, position, "a number");
            return false;
        }
        if (code != std::errc() || value > MAX_CPU) {
            error = TooLargeMessage(text, position);
            return false;
        }
        position += static_cast<std::size_t>(end - begin);
        return true;
    }

    bool ParseRange(Range& range)
    {
        if (!ParseNumber(range.first)) {
            return false;
        }
        range.last = range.first;
        if (!Take('-')) {
            return true;
        }
        if (!ParseNumber(range.last)) {
            return false;
        }
        if (range.last < range.first) {
            error = BackwardsMessage(text, range.first, range.last);
            return false;
        }
        if (!Take(':')) {
            return true;
        }
        if (!ParseNumber(range.used)) {
            return false;
        }
        if (!Take('/')) {
            error = ExpectedMessage(text, position, "'/' and the size of the groups");
            return false;
        }
        if (!ParseNumber(range.size)) {
            return false;
        }
        if (range.used == 0 || range.used > range.size) {
            error = GroupMessage(text, range.used, range.size);
            return false;
        }
        return true;
    }

    // The kernel names each CPU once. Counting repeats too bounds the work that a hostile list can ask for.
    bool Mark(const Range& range)
    {
        named += range.last - range.first + 1U;
        if (named > MAX_CPU + 1U) {
            error = TooManyMessage(text);
            return false;
        }
        largest = std::max(largest, range.last);
        for (std::uint32_t cpu = range.first; cpu <= range.last; ++cpu) {
            if ((cpu - range.first) % range.size < range.used) {
                seen[cpu] = true;
            }
        }
        return true;
    }

    std::string_view text;
    std::size_t position = 0;
    std::uint64_t named = 0;
    std::uint32_t largest = 0;
    std::vector<bool> seen;
    std::string error;
};

}  // namespace

CpuListResult ParseCpuList(std::string_view text)
{
    const std::string_view list = TrimText(text);
    if (list.empty()) {
        return {};
    }
    return Parser(list).Parse();
}

std::string FormatCpuList(const std::vector<std::uint32_t>& cpus)
{
    if (cpus.empty()) {
        return "none";
    }
    std::string list;
    for (std::size_t i = 0; i < cpus.size();) {
        std::size_t end = i + 1;
        while (end < cpus.size() && cpus[end] == cpus[end - 1] + 1) {
            ++end;
        }
        if (!list.empty()) {
            list += ',';
        }
        list += std::to_string(cpus[i]);
        if (end - i > 1) {
            list += '-';
            list += std::to_string(cpus[end - 1]);
        }
        i = end;
    }
    return list;
}

}  // namespace host
