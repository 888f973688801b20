// SPDX-License-Identifier: MIT

#include "tools/tarnix/environment.h"

#include <map>
#include <string>

#include <gtest/gtest.h>

namespace {

tarnix::Environment Read(const std::map<std::string, std::string>& variables)
{
    return tarnix::ReadEnvironment([&variables](const char* name) {
        const auto found = variables.find(name);
        return found == variables.end() ? nullptr : found->second.c_str();
    });
}

TEST(TarnixEnvironment, HasDefaults)
{
    const tarnix::Environment environment = Read({});
    EXPECT_EQ(environment.metricsFile, "");
    EXPECT_EQ(environment.runtimeDir, "/run/tarnix");
    EXPECT_EQ(environment.sysfsRoot, "/sys");
    EXPECT_EQ(environment.procfsRoot, "/proc");
    EXPECT_EQ(environment.source, "live");
    EXPECT_EQ(environment.map, "");
    EXPECT_EQ(environment.notifySocket, "");
    EXPECT_EQ(environment.watchdogUsec, "");
    EXPECT_EQ(environment.watchdogPid, "");
}

TEST(TarnixEnvironment, TakesEveryVariable)
{
    const tarnix::Environment environment = Read({{"TARNIX_METRICS_FILE", "/m"},
                                                  {"TARNIX_RUNTIME_DIR", "/r"},
                                                  {"TARNIX_SYSFS_ROOT", "/s"},
                                                  {"TARNIX_PROCFS_ROOT", "/p"},
                                                  {"TARNIX_SOURCE", "demo"},
                                                  {"TARNIX_MAP", "rx_outer=a/b/"},
                                                  {"NOTIFY_SOCKET", "@n"},
                                                  {"WATCHDOG_USEC", "10"},
                                                  {"WATCHDOG_PID", "11"}});
    EXPECT_EQ(environment.metricsFile, "/m");
    EXPECT_EQ(environment.runtimeDir, "/r");
    EXPECT_EQ(environment.sysfsRoot, "/s");
    EXPECT_EQ(environment.procfsRoot, "/p");
    EXPECT_EQ(environment.source, "demo");
    EXPECT_EQ(environment.map, "rx_outer=a/b/");
    EXPECT_EQ(environment.notifySocket, "@n");
    EXPECT_EQ(environment.watchdogUsec, "10");
    EXPECT_EQ(environment.watchdogPid, "11");
}

TEST(TarnixEnvironment, AnEmptyVariableIsNone)
{
    const tarnix::Environment environment =
        Read({{"TARNIX_RUNTIME_DIR", ""}, {"TARNIX_SOURCE", ""}, {"TARNIX_SYSFS_ROOT", ""}});
    EXPECT_EQ(environment.runtimeDir, "/run/tarnix");
    EXPECT_EQ(environment.source, "live");
    EXPECT_EQ(environment.sysfsRoot, "/sys");
}

TEST(TarnixEnvironment, TheServiceManagersFirstDirectoryUnlessOneIsGiven)
{
    EXPECT_EQ(Read({{"RUNTIME_DIRECTORY", "/run/one"}}).runtimeDir, "/run/one");
    EXPECT_EQ(Read({{"RUNTIME_DIRECTORY", "/run/one:/run/two"}}).runtimeDir, "/run/one");
    EXPECT_EQ(Read({{"RUNTIME_DIRECTORY", "/run/one"}, {"TARNIX_RUNTIME_DIR", "/mine:odd"}}).runtimeDir,
              "/mine:odd");
}

}  // namespace
