// SPDX-License-Identifier: MIT
//
// Any bytes as /proc/stat: line by line against a plain parser, the whole pass against a plain walk over the
// text, and the rates between the samples that came out against the formula.

#include <cstddef>
#include <cstdint>

#include <algorithm>
#include <string_view>
#include <vector>

#include "common/stat_reader.h"
#include "tests/fuzz/input.h"
#include "tests/fuzz/memory_file.h"
#include "tests/fuzz/require.h"

namespace {

using cpu_stat::Percent;
using cpu_stat::Ticks;
using cpu_stat::TYPE_COUNT;
using fuzz::Require;

constexpr Ticks UNTOUCHED = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
constexpr std::string_view SPACES = " \t\n\v\f\r";
/// A line longer than this is cut, and what is behind the cut is no line of its own.
constexpr std::size_t MAX_LINE = 1023;
constexpr std::size_t CPUS = 3;

std::vector<std::string_view> Words(std::string_view line, std::size_t most)
{
    std::vector<std::string_view> words;
    words.reserve(most);
    while (words.size() < most) {
        const std::size_t begin = std::min(line.find_first_not_of(SPACES), line.size());
        line.remove_prefix(begin);
        if (line.empty()) {
            break;
        }
        const std::size_t end = std::min(line.find_first_of(SPACES), line.size());
        words.push_back(line.substr(0, end));
        line.remove_prefix(end);
    }
    return words;
}

bool PlainNumber(std::string_view word, std::uint64_t& value)
{
    value = 0;
    for (const char c : word) {
        if (c < '0' || c > '9' || __builtin_mul_overflow(value, std::uint64_t{10}, &value) ||
            __builtin_add_overflow(value, static_cast<std::uint64_t>(c - '0'), &value)) {
            return false;
        }
    }
    return !word.empty();
}

/// A label and ten numbers; what follows is of no interest.
bool PlainTicks(std::string_view line, Ticks& ticks)
{
    const std::vector<std::string_view> words = Words(line, TYPE_COUNT + 1);
    Ticks parsed{};
    if (words.size() <= TYPE_COUNT) {
        return false;
    }
    for (std::size_t i = 0; i < TYPE_COUNT; ++i) {
        if (!PlainNumber(words[i + 1], parsed[i])) {
            return false;
        }
    }
    ticks = parsed;
    return true;
}

bool PlainIsCpuLine(std::string_view line)
{
    const std::size_t begin = line.find_first_not_of(SPACES);
    return begin != std::string_view::npos && line.substr(begin, 3) == "cpu";
}

/// The pass as it is described: the machine's line whatever its label, then one line per CPU; blank lines
/// count for nothing, and the first line that is not what its place wants ends it.
std::vector<Ticks> PlainPass(std::string_view text)
{
    std::vector<Ticks> samples;
    while (!text.empty() && samples.size() <= CPUS) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        const std::string_view line = text.substr(0, std::min(end, MAX_LINE));
        text.remove_prefix(std::min(end + 1, text.size()));
        if (line.find_first_not_of(SPACES) == std::string_view::npos) {
            continue;
        }
        Ticks ticks{};
        if ((!samples.empty() && !PlainIsCpuLine(line)) || !PlainTicks(line, ticks)) {
            break;
        }
        samples.push_back(ticks);
    }
    return samples;
}

void CheckRates(const Ticks& previous, const Ticks& current)
{
    const Percent rates = cpu_stat::RatesBetween(previous, current);
    double total = 0;
    for (std::size_t i = 0; i < TYPE_COUNT; ++i) {
        total += current[i] > previous[i] ? static_cast<double>(current[i] - previous[i]) : 0.0;
    }
    double sum = 0;
    for (std::size_t i = 0; i < TYPE_COUNT; ++i) {
        Require(rates[i] >= 0.0F && rates[i] <= 100.0F, "a rate is 0 to 100");
        const double spent = current[i] > previous[i] ? static_cast<double>(current[i] - previous[i]) : 0.0;
        const double expected = total > 0 ? spent * 100.0 / total : 0.0;
        Require(rates[i] >= expected * (1 - 1e-6) && rates[i] <= expected * (1 + 1e-6),
                "a rate is the share of its category");
        sum += static_cast<double>(rates[i]);
    }
    Require(total > 0 ? sum > 99.999 && sum < 100.001 : sum <= 0, "rates add up to 100, or to nothing");
}

void CheckLine(std::string_view line)
{
    Ticks ticks = UNTOUCHED;
    Ticks expected = UNTOUCHED;
    const bool good = PlainTicks(line, expected);
    Require(cpu_stat::ParseTicks(line, ticks) == good, "the plain parser agrees about what is a line");
    Require(ticks == expected, "the ten counters, or what was there before");
    Require(cpu_stat::IsCpuLine(line) == PlainIsCpuLine(line), "a CPU's line begins with cpu");
}

void CheckPass(std::string_view text)
{
    static fuzz::MemoryFile file;
    file.Set(text);
    const std::vector<Ticks> expected = PlainPass(text);
    cpu_stat::SampleReader reader(file.Path().c_str(), CPUS);
    Require(reader.IsOpen(), "the file opens");
    Ticks previous{};
    for (std::size_t i = 0; i <= CPUS; ++i) {
        Ticks ticks = UNTOUCHED;
        if (!reader.Next(ticks)) {
            Require(i == expected.size() && ticks == UNTOUCHED, "a pass ends where the plain one ends");
            return;
        }
        Require(i < expected.size() && ticks == expected[i], "a pass gives what the plain one gives");
        CheckRates(previous, ticks);
        CheckRates(ticks, previous);
        previous = ticks;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view text = fuzz::TextOf(data, size);
    for (std::size_t begin = 0; begin <= text.size();) {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        CheckLine(text.substr(begin, end - begin));
        begin = end + 1;
    }
    if (fuzz::Thorough(text, 4)) {
        CheckPass(text);
    }
    return 0;
}
