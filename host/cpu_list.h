// SPDX-License-Identifier: MIT

#ifndef HOST_CPU_LIST_H
#define HOST_CPU_LIST_H

#include <cstdint>

#include <string>
#include <string_view>
#include <vector>

namespace host {

/// Largest CPU or node number that is taken.
constexpr std::uint32_t MAX_CPU = 65535;

/// CPU numbers of a list, or one line that says what is wrong with it.
struct CpuListResult {
    std::vector<std::uint32_t> cpus;  ///< ascending, each once; empty for an empty list
    std::string error;                ///< names the value and what was expected; empty on success
};

/// Parses a list as the kernel writes it into cpumask, cpus and online files: numbers and ranges joined by
/// commas ("0-3,8,10-11"), also ranges of groups ("0-31:2/4": the first 2 of every 4). Blanks and line breaks
/// around the list are ignored; an empty text is an empty list. Text of any content and length is safe: the
/// work is bounded by `MAX_CPU`.
CpuListResult ParseCpuList(std::string_view text);

/// The shortest list of ranges for ascending numbers, for example "0-3,8"; "none" when there are none.
std::string FormatCpuList(const std::vector<std::uint32_t>& cpus);

}  // namespace host

#endif  // HOST_CPU_LIST_H
