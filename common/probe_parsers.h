// SPDX-License-Identifier: MIT

#ifndef COMMON_PROBE_PARSERS_H
#define COMMON_PROBE_PARSERS_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "common/proc_probe.h"
#include "common/pseudo_file.h"

/// The grammar of the kernel's texts, apart from the files they come from. Not exported.
namespace probe {

/// Longest stretches of a line that the grammars look at.
constexpr size_t MEMINFO_LINE = 255;
constexpr size_t CPUINFO_LINE = 128;
constexpr size_t STATUS_LINE = 1023;

/// kB of the first line whose key holds "MemFree"; 0 when there is none or its number is malformed.
unsigned long ParseMemFree(LineReader& lines) noexcept;

/// 0, 1 or 2 for the recognised parts, 4 for everything else.
uint8_t ParseCpuType(LineReader& lines) noexcept;

/// Sets what "Name:" and "PPid:" give; what is absent or malformed stays as it was.
void ParseProcStatus(LineReader& lines, ProcStatus& status);

/// "major.minor" of a line of /proc/version; empty when it holds no release.
std::string ParseKernelVersion(std::string_view line);

/// Turns the NULs that end arguments into blanks, in place.
void NulsToBlanks(char* text, size_t size) noexcept;

/// Sums the N<node>=<pages> words of numa_maps, which may arrive in any portions.
class NodePageCounter {
public:
    /// `sums` outlives the counter; words about nodes beyond its size are ignored, sums stop at UINT_MAX.
    explicit NodePageCounter(std::vector<unsigned>& sums) noexcept : perNode(sums) {}

    void Feed(std::string_view portion) noexcept;
    /// Takes the last word when the text does not end in white space.
    void Finish() noexcept;

private:
    /// Longest word of interest: "N", ten digits, "=", twenty digits.
    static constexpr size_t MAX_WORD = 32;

    void Take(std::string_view entry) noexcept;

    std::vector<unsigned>& perNode;
    char word[MAX_WORD];
    size_t length = 0;
    bool skip = false;
};

}  // namespace probe

#endif  // COMMON_PROBE_PARSERS_H
