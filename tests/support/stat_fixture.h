// SPDX-License-Identifier: MIT

#ifndef TESTS_SUPPORT_STAT_FIXTURE_H
#define TESTS_SUPPORT_STAT_FIXTURE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "common/logger_ctl.h"
#include "common/stat.h"
#include "tests/support/probe_tree.h"

namespace support {

using Lines = std::vector<std::string>;
constexpr size_t TYPE_COUNT = 10;
/// The machine's row first, then the CPUs'.
using Rows = std::vector<std::vector<uint64_t>>;

inline std::string TextOf(const Rows& rows)
{
    std::string text;
    for (size_t row = 0; row < rows.size(); ++row) {
        text += row == 0 ? "cpu " : "cpu" + std::to_string(row - 1);
        for (const uint64_t value : rows[row]) {
            text += " " + std::to_string(value);
        }
        text += "\n";
    }
    return text + "intr 100 1 2 3 4 5 6 7 8 9 10 11 12\nctxt 7\nbtime 8\n";
}

inline Rows SomeRows(size_t cpus)
{
    Rows rows;
    for (uint64_t row = 0; row <= cpus; ++row) {
        rows.push_back({1000 + row, 20, 300 + row, 50000, 40, 5, 6, 7, 8, 9});
    }
    return rows;
}

/// A sampler of a machine with `cpus` CPUs whose /proc is a temporary tree, and what it logged.
class StatTest : public testing::Test {
protected:
    StatTest()
    {
        const auto keep = [this](LogLevel level, const std::string& message) {
            log.push_back(message);
            EXPECT_EQ(level, LogLevel::ERROR);
        };
        LoggerCtl::GetInstance().SetLogFunc(LogType::RUNTIME, keep, keep);
    }
    ~StatTest() override
    {
        LoggerCtl::GetInstance().SetLogFunc(LogType::RUNTIME, DefaultLogFunc, DefaultSnapFunc);
    }

    void Resize(int cpus)
    {
        ASSERT_TRUE(stat.Init());
        stat.cpuNum = cpus;
        stat.counters.assign(static_cast<size_t>(cpus) + 1, {});
        stat.rates.assign(static_cast<size_t>(cpus) + 1, {});
    }
    void Write(const std::string& text) const { tree.Write("proc/stat", text); }

    /// The row of the file that belongs to an entry.
    static size_t RowOf(size_t entry, size_t cpus) { return entry == cpus ? 0 : entry + 1; }

    support::ProbeTree tree;
    Stat stat;
    Lines log;
};

}  // namespace support

#endif  // TESTS_SUPPORT_STAT_FIXTURE_H
