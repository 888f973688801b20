// SPDX-License-Identifier: MIT

#ifndef TOOLS_NUMA_SCORE_OPTION_TABLE_H
#define TOOLS_NUMA_SCORE_OPTION_TABLE_H

#include <string>
#include <vector>

#include "tools/numa_score/options.h"

namespace numa_score {

/// One option: the one description that parsing, checking and help are made from.
struct OptionRow {
    const char* name;         ///< with its dashes
    const char* placeholder;  ///< of the value; null when the option takes none
    const char* help;
    unsigned commands;  ///< bits of the commands that know it, see CommandBit
    bool repeatable;

    /// Puts a value in its place. Empty, or what is expected of the value.
    std::string (*set)(Options& options, const std::string& value);
};

constexpr unsigned CommandBit(Command command)
{
    return 1U << static_cast<unsigned>(command);
}

const std::vector<OptionRow>& OptionTable();

}  // namespace numa_score

#endif  // TOOLS_NUMA_SCORE_OPTION_TABLE_H
