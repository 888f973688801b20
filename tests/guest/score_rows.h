// SPDX-License-Identifier: MIT

#ifndef TESTS_GUEST_SCORE_ROWS_H
#define TESTS_GUEST_SCORE_ROWS_H

#include <cstdint>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/guest/guest_machine.h"

namespace guest {

/// A period as numa-score writes it with --format csv.
struct ScoreRow {
    double score = 0.0;
    std::uint64_t ops = 0;
    std::uint64_t sccl = 0;
    std::uint64_t outer = 0;
    std::int64_t intervalMs = 0;
    std::string flags;
};

/// The periods of a CSV text: whole lines below the header. Throws std::runtime_error at a row of other
/// columns.
inline std::vector<ScoreRow> ScoreRows(const std::string& csv)
{
    std::vector<ScoreRow> rows;
    std::istringstream lines(csv.substr(0, csv.rfind('\n') + 1));
    std::string line;
    std::getline(lines, line);
    while (std::getline(lines, line)) {
        std::vector<std::string> fields(1);
        for (const char c : line) {
            if (c == ',') {
                fields.emplace_back();
            } else {
                fields.back() += c;
            }
        }
        if (fields.size() != 12) {
            throw std::runtime_error("no row of a period: " + line);
        }
        rows.push_back({std::stod(fields[2]), std::stoull(fields[3]), std::stoull(fields[4]),
                        std::stoull(fields[5]), std::stoll(fields[6]), fields[11]});
    }
    return rows;
}

/// What was counted from the row `first` on.
inline double OpsFrom(const std::vector<ScoreRow>& rows, std::size_t first)
{
    double ops = 0.0;
    for (std::size_t i = first; i < rows.size(); ++i) {
        ops += static_cast<double>(rows[i].ops);
    }
    return ops;
}

/// From the row `first` on every score is that of its counts, and together the periods show the mix of
/// SyscallLoad. How much it does in a single period is up to the emulator: it may be nothing.
inline void ExpectTheMix(const std::vector<ScoreRow>& rows, std::size_t first)
{
    const double ops = OpsFrom(rows, first);
    double sccl = 0.0;
    double outer = 0.0;
    for (std::size_t i = first; i < rows.size(); ++i) {
        if (rows[i].ops == 0) {
            continue;
        }
        const auto crossed = static_cast<double>(rows[i].outer + rows[i].sccl);
        EXPECT_NEAR(rows[i].score, 1.0 - crossed / static_cast<double>(rows[i].ops), 1e-6) << i;
        EXPECT_EQ(rows[i].flags, "") << i;
        sccl += static_cast<double>(rows[i].sccl);
        outer += static_cast<double>(rows[i].outer);
    }
    EXPECT_GT(ops, 200.0);
    EXPECT_NEAR(outer / ops, 0.10, 0.02);
    EXPECT_NEAR(sccl / ops, 0.05, 0.01);
    EXPECT_NEAR(1.0 - (outer + sccl) / ops, SYSCALL_LOAD_SCORE, 0.03);
}

}  // namespace guest

#endif  // TESTS_GUEST_SCORE_ROWS_H
