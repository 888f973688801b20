// SPDX-License-Identifier: MIT

#ifndef COMMON_STAT_READER_H
#define COMMON_STAT_READER_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "common/pseudo_file.h"

/// The grammar and the arithmetic of the CPU sampler, apart from its containers. Not exported.
namespace cpu_stat {

constexpr size_t TYPE_COUNT = 10;
using Ticks = std::array<uint64_t, TYPE_COUNT>;
using Percent = std::array<float, TYPE_COUNT>;

/// Takes the ten counters after the label of a line; further columns are ignored. False, with `ticks`
/// untouched, for fewer than ten decimal numbers of 64 bits.
bool ParseTicks(std::string_view line, Ticks& ticks) noexcept;

/// Whether the label of a line begins with "cpu".
bool IsCpuLine(std::string_view line) noexcept;

/// Share of each category in the time between two samples. A counter that decreased counts as unchanged, so
/// that every rate lies in 0 to 100; all are 0 when nothing increased.
Percent RatesBetween(const Ticks& previous, const Ticks& current) noexcept;

/// One pass over the file: the machine's line, then one line per CPU.
class SampleReader {
public:
    SampleReader(const char* path, size_t cpuCount) noexcept;

    bool IsOpen() const noexcept { return file.IsOpen(); }

    /// The next line's counters. False, with `ticks` untouched, when the line is not what its place wants, or
    /// there is none; the pass is over then.
    bool Next(Ticks& ticks) noexcept;

private:
    probe::PseudoFile file;
    probe::LineReader lines;
    bool first = true;
};

}  // namespace cpu_stat

#endif  // COMMON_STAT_READER_H
