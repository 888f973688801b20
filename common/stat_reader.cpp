// SPDX-License-Identifier: MIT

#include "common/stat_reader.h"

#include <algorithm>
#include <limits>

namespace cpu_stat {

namespace {

/// Ten numbers of twenty digits fit four times over.
constexpr size_t MAX_LINE = 1023;
/// Room for white space between the lines, and an end to a file of nothing else.
constexpr size_t MARGIN_BYTES = 64U << 10;

const char* SkipSpace(const char* at, const char* end) noexcept
{
    while (at != end && probe::IsSpace(*at)) {
        ++at;
    }
    return at;
}

const char* SkipWord(const char* at, const char* end) noexcept
{
    while (at != end && !probe::IsSpace(*at)) {
        ++at;
    }
    return at;
}

/// Digits up to white space or the end. False without a digit, before any other character and beyond 64 bits.
/// By hand, since this is where a pass over hundreds of CPUs spends its time.
bool TakeNumber(const char*& at, const char* end, uint64_t& number) noexcept
{
    constexpr ptrdiff_t SAFE_DIGITS = 19;
    constexpr uint64_t MAX = std::numeric_limits<uint64_t>::max();
    const char* const begin = at;
    uint64_t value = 0;
    for (; at != end; ++at) {
        const auto digit = static_cast<unsigned>(*at) - '0';
        if (digit > 9) {
            break;
        }
        if (at - begin >= SAFE_DIGITS && (value > MAX / 10 || value * 10 > MAX - digit)) {
            return false;
        }
        value = value * 10 + digit;
    }
    number = value;
    return at != begin && (at == end || probe::IsSpace(*at));
}

}  // namespace

bool ParseTicks(std::string_view line, Ticks& ticks) noexcept
{
    const char* end = line.data() + line.size();
    const char* at = SkipWord(SkipSpace(line.data(), end), end);
    Ticks parsed;
    for (uint64_t& counter : parsed) {
        at = SkipSpace(at, end);
        if (!TakeNumber(at, end, counter)) {
            return false;
        }
    }
    ticks = parsed;
    return true;
}

bool IsCpuLine(std::string_view line) noexcept
{
    const char* end = line.data() + line.size();
    const char* label = SkipSpace(line.data(), end);
    return std::string_view(label, static_cast<size_t>(end - label)).substr(0, 3) == "cpu";
}

Percent RatesBetween(const Ticks& previous, const Ticks& current) noexcept
{
    Ticks spent;
    uint64_t sum = 0;
    bool overflow = false;
    for (size_t type = 0; type < TYPE_COUNT; ++type) {
        spent[type] = current[type] > previous[type] ? current[type] - previous[type] : 0;
        overflow = __builtin_add_overflow(sum, spent[type], &sum) || overflow;
    }
    Percent rates{};
    if (sum == 0 && !overflow) {
        return rates;
    }
    auto total = static_cast<double>(sum);
    if (overflow) {
        total = 0;
        for (const uint64_t ticks : spent) {
            total += static_cast<double>(ticks);
        }
    }
    for (size_t type = 0; type < TYPE_COUNT; ++type) {
        if (spent[type] != 0) {  // spares most of the divisions
            rates[type] = static_cast<float>(static_cast<double>(spent[type]) * 100.0 / total);
        }
    }
    return rates;
}

SampleReader::SampleReader(const char* path, size_t cpuCount) noexcept
    : file(path), lines(file, MAX_LINE, (cpuCount + 1) * MAX_LINE + MARGIN_BYTES)
{
}

bool SampleReader::Next(Ticks& ticks) noexcept
{
    probe::LinePiece piece;
    while (lines.Next(piece)) {
        const bool blank = std::all_of(piece.text.begin(), piece.text.end(), probe::IsSpace);
        if (blank || !piece.startsLine) {
            continue;
        }
        const bool wanted = first || IsCpuLine(piece.text);
        first = false;
        return wanted && ParseTicks(piece.text, ticks);
    }
    return false;
}

}  // namespace cpu_stat
