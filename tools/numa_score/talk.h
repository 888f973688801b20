// SPDX-License-Identifier: MIT

#ifndef TOOLS_NUMA_SCORE_TALK_H
#define TOOLS_NUMA_SCORE_TALK_H

#include <cstddef>
#include <cstdint>

#include <string>

#include "tools/cli/output.h"

namespace numa_score {

/// What is said to people on standard error. Results never go here.
class Talk {
public:
    /// So many remarks are printed; what comes after is counted.
    static constexpr std::size_t MAX_REMARKS = 200;

    /// `errorOutput` must outlive the talk. `quiet` drops remarks; errors are printed all the same.
    Talk(cli::Output& errorOutput, bool quiet) : err(errorOutput), silent(quiet) {}
    Talk(const Talk&) = delete;
    Talk& operator=(const Talk&) = delete;

    void Error(const std::string& line) { Say(line); }
    void Remark(const std::string& line);

    /// True when the next Remark will be printed.
    bool RemarkShows() const { return !silent && remarks < MAX_REMARKS; }

    /// Text of more than one line, as it is, unless quiet.
    void Print(const std::string& text);

    /// Says how many remarks were left out, if any.
    void End();

private:
    void Say(const std::string& line);

    cli::Output& err;
    bool silent;
    std::uint64_t remarks = 0;
};

}  // namespace numa_score

#endif  // TOOLS_NUMA_SCORE_TALK_H
