// SPDX-License-Identifier: MIT

#include "common/system_probe.h"

#include <sys/resource.h>
#include <sys/utsname.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <functional>
#include <limits>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "common/probe_parsers.h"
#include "tests/support/probe_tree.h"
#include "tests/support/quiet_fork.h"

namespace {

/// Runs `check` in a child whose open-file limits are `soft` and `hard`; its result is the child's exit
/// status.
int InChildWithLimits(rlim_t soft, rlim_t hard, bool privileged, const std::function<int()>& check)
{
    const pid_t child = support::ForkQuietly();
    if (child == 0) {
        const rlimit limit{soft, hard};
        if (setrlimit(RLIMIT_NOFILE, &limit) != 0 || (!privileged && geteuid() == 0 && setuid(65534) != 0)) {
            _exit(99);
        }
        _exit(check());
    }
    int status = 0;
    return child > 0 && waitpid(child, &status, 0) == child && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

bool LimitsAre(rlim_t soft, rlim_t hard)
{
    rlimit limit{};
    return getrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur == soft && limit.rlim_max == hard;
}

TEST(SetResourceLimit, ChangesNothingWhenTheSoftLimitSuffices)
{
    EXPECT_EQ(InChildWithLimits(512, 900, false,
                                [] {
                                    return SetResourceLimit(0) && SetResourceLimit(511) &&
                                                   SetResourceLimit(512) && LimitsAre(512, 900)
                                               ? 0
                                               : 1;
                                }),
              0);
}

TEST(SetResourceLimit, RaisesBothAndLowersTheHardLimit)
{
    EXPECT_EQ(InChildWithLimits(256, 900, false,
                                [] { return SetResourceLimit(512) && LimitsAre(512, 512) ? 0 : 1; }),
              0);
}

TEST(SetResourceLimit, FailsAboveTheHardLimitWithoutPrivilege)
{
    EXPECT_EQ(InChildWithLimits(256, 512, false,
                                [] { return !SetResourceLimit(513) && LimitsAre(256, 512) ? 0 : 1; }),
              0);
}

TEST(SetResourceLimit, FailsAboveWhatTheKernelAllowsAnybody)
{
    EXPECT_EQ(InChildWithLimits(256, 512, true,
                                [] {
                                    return !SetResourceLimit(std::numeric_limits<unsigned>::max()) &&
                                                   LimitsAre(256, 512)
                                               ? 0
                                               : 1;
                                }),
              0);
}

TEST(GetPageSizeKb, IsThePageSizeInKilobytes)
{
    EXPECT_GE(GetPageSizeKb(), 4);
    EXPECT_EQ(GetPageSizeKb(), sysconf(_SC_PAGESIZE) / 1024);
    EXPECT_EQ(GetPageSizeKb(), GetPageSizeKb());
}

TEST(Kb2Mb, DividesBy1024)
{
    EXPECT_EQ(Kb2Mb(0), 0);
    EXPECT_EQ(Kb2Mb(1), 0.0009765625F);
    EXPECT_EQ(Kb2Mb(1024), 1);
    EXPECT_EQ(Kb2Mb(1536), 1.5F);
    EXPECT_EQ(Kb2Mb(-2048), -2);
    EXPECT_EQ(Kb2Mb(4294967295.0F), 4194304.0F);
    EXPECT_TRUE(std::isnan(Kb2Mb(std::numeric_limits<float>::quiet_NaN())));
}

TEST(ParseKernelVersion, TakesWhatStandsBeforeTheSecondDot)
{
    const struct {
        const char* line;
        const char* version;
    } cases[] = {{"Linux version 5.10.0-216.x86_64 (builder@host) #1 SMP", "5.10"},
                 {"Linux version 6.1.0-28-amd64 (x)", "6.1"},
                 {"Linux version 6.6-rc1 (x)", "6.6-rc1"},
                 {"Linux version 6.18.44-fc-v657 (x)", "6.18"},
                 {"Linux version 7 (x)", ""},
                 {"Linux version 5.10.0", ""},
                 {"Linux version 5.10.0\t(x)", ""},
                 {"Linux version ", ""},
                 {"Linux version  5.10.0 (x)", ""},
                 {"Linux version . x", "."},
                 {"Linux version .. x", "."},
                 {"Linux version 5. x", "5."},
                 {"prefix Linux version 4.19.90 (x)", "4.19"},
                 {"linux version 5.10.0 (x)", ""},
                 {"Linux Version 5.10.0 (x)", ""},
                 {"Linux version5.10.0 (x)", ""},
                 {"", ""}};
    for (const auto& expected : cases) {
        EXPECT_EQ(probe::ParseKernelVersion(expected.line), expected.version) << expected.line;
    }
}

TEST(GetKernelVersion, ReadsTheFirstLineOnly)
{
    const support::ProbeTree tree;
    EXPECT_EQ(GetKernelVersion(), "");
    tree.Write("proc/version", "first\nLinux version 5.10.0 (x)\n");
    EXPECT_EQ(GetKernelVersion(), "");
    tree.Write("proc/version", "");
    EXPECT_EQ(GetKernelVersion(), "");
    tree.Write("proc/version", "Linux version 5.10.0 (x)");
    EXPECT_EQ(GetKernelVersion(), "5.10");
    tree.Write("proc/version", "Linux version 5.10.0 (x)\nLinux version 6.1.0 (x)\n");
    EXPECT_EQ(GetKernelVersion(), "5.10");
    tree.Write("proc/version", std::string(1U << 20, 'x') + "Linux version 5.10.0 (x)\n");
    EXPECT_EQ(GetKernelVersion(), "");
}

TEST(GetKernelVersion, AgreesWithTheRunningKernel)
{
    utsname system{};
    ASSERT_EQ(uname(&system), 0);
    const std::string version = GetKernelVersion();
    ASSERT_FALSE(version.empty());
    EXPECT_EQ(std::string_view(system.release).substr(0, version.size()), version);
}

}  // namespace
