// SPDX-License-Identifier: MIT

#ifndef TESTS_UNIT_COMMON_LOGGER_FIXTURE_H
#define TESTS_UNIT_COMMON_LOGGER_FIXTURE_H

#include <string>

#include <gtest/gtest.h>

#include "common/logger_ctl.h"
#include "tests/support/child_run.h"

/// Gives every test the logger as it is after load, and a directory for its files.
class LoggerFixture : public testing::Test {
protected:
    LoggerFixture() : ctl(LoggerCtl::GetInstance()) { Reset(); }
    ~LoggerFixture() override { Reset(); }

    void Reset()
    {
        ctl.snapshot = Snapshot();
        ctl.logs.clear();
        for (const LogType type : {LogType::RUNTIME, LogType::TOOL, LogType::FRAMEWORK}) {
            ctl.SetLogFunc(type, DefaultLogFunc, DefaultSnapFunc);
        }
        ctl.level = LogLevel::INFO;
        ctl.logFile.clear();
        ctl.stream.reset();
        ctl.reloadPending = false;
        ctl.useStdout = true;
    }

    std::string Path(const std::string& name) const { return directory / name; }

    /// The prefix of a line as a regular expression.
    std::string Prefix(const std::string& level) const
    {
        return "\\[[0-9]{2}/[0-9]{2}/[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3}\\] \\[" +
               std::to_string(ctl.tid) + "\\] \\[" + level + "\\] ";
    }

    support::TempDirectory directory;
    LoggerCtl& ctl;
};

/// The lines of a log without "[stamp] [tid] ", each with its line break.
inline std::string WithoutStamps(const std::string& text)
{
    std::string rest;
    std::size_t start = 0;
    while (start < text.size()) {
        const std::size_t end = std::min(text.find('\n', start), text.size() - 1);
        const std::string line = text.substr(start, end + 1 - start);
        const std::size_t tid = line.find("] [");
        const std::size_t level = tid == std::string::npos ? tid : line.find("] [", tid + 3);
        rest += level == std::string::npos ? line : line.substr(level + 2);
        start = end + 1;
    }
    return rest;
}

#endif  // TESTS_UNIT_COMMON_LOGGER_FIXTURE_H
