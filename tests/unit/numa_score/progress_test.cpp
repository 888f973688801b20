// SPDX-License-Identifier: MIT

#include "tools/numa_score/progress.h"

#include <string>

#include <gtest/gtest.h>

#include "tests/support/child_run.h"
#include "tests/support/manual_clock.h"

namespace numa_score {
namespace {

host::ReplayProgress Made(std::uint64_t bytes, std::uint64_t total, std::uint64_t lines,
                          std::int64_t recordedNs)
{
    host::ReplayProgress progress;
    progress.bytes = bytes;
    progress.totalBytes = total;
    progress.lines = lines;
    progress.recordedNs = recordedNs;
    return progress;
}

TEST(Progress, Text)
{
    EXPECT_EQ(ProgressText(Made(45, 100, 12345678, 3456999999999)),
              "45 %, 12345678 lines, 3456 s of recorded time");
    EXPECT_EQ(ProgressText(Made(0, 0, 0, 0)), "0 MiB, 0 lines, 0 s of recorded time");
    EXPECT_EQ(ProgressText(Made(3145727, 0, 1, 1000000000)), "2 MiB, 1 lines, 1 s of recorded time");
    EXPECT_EQ(ProgressText(Made(999, 1000, 1, 0)), "99 %, 1 lines, 0 s of recorded time");
    EXPECT_EQ(ProgressText(Made(200, 100, 1, 0)), "100 %, 1 lines, 0 s of recorded time")
        << "a file that grew meanwhile";
}

TEST(Progress, AppearsAfterASecondAndChangesTwiceASecond)
{
    const support::TempDirectory directory;
    const std::string path = directory / "err";
    support::ManualClock clock;
    cli::Output err(cli::OpenOutputFile(path), true, cli::Output::Flush::EACH_COMMIT, nullptr);
    Progress progress(err, clock);
    progress.Clear();
    EXPECT_EQ(support::FileText(path), "") << "nothing is there to be taken away";
    clock.AdvanceMs(999);
    EXPECT_FALSE(progress.IsDue());
    clock.AdvanceMs(1);
    EXPECT_TRUE(progress.IsDue());
    progress.Show(Made(1, 2, 3, 0));
    const std::string line = "\rnuma-score: 50 %, 3 lines, 0 s of recorded time\x1b[K";
    EXPECT_EQ(support::FileText(path), line);
    clock.AdvanceMs(499);
    EXPECT_FALSE(progress.IsDue());
    clock.AdvanceMs(1);
    EXPECT_TRUE(progress.IsDue());
    progress.Clear();
    progress.Clear();
    EXPECT_EQ(support::FileText(path), line + "\r\x1b[K");
}

}  // namespace
}  // namespace numa_score
