// SPDX-License-Identifier: MIT

#include "tools/tarnix/service_notifier.h"

#include <unistd.h>

#include <gtest/gtest.h>

#include "tests/support/scratch_directory.h"
#include "tests/support/service_manager.h"

namespace {

using support::ServiceManager;
using tarnix::Environment;
using tarnix::ServiceNotifier;

Environment With(const std::string& socketName, const std::string& usec = "", const std::string& pid = "")
{
    Environment environment;
    environment.notifySocket = socketName;
    environment.watchdogUsec = usec;
    environment.watchdogPid = pid;
    return environment;
}

TEST(TarnixServiceNotifier, SpeaksTheProtocol)
{
    const support::ScratchDirectory scratch;
    for (const std::string& name : {scratch / "socket", "@tarnix-test-" + std::to_string(getpid())}) {
        ServiceManager manager(name);
        ASSERT_TRUE(manager.good) << name;
        ServiceNotifier notifier(With(name));
        notifier.Ready("score 1");
        EXPECT_EQ(manager.Next(), "READY=1\nSTATUS=score 1");
        notifier.Status("score 0.5");
        EXPECT_EQ(manager.Next(), "STATUS=score 0.5");
        notifier.Reloading(5000000);
        EXPECT_EQ(manager.Next(), "RELOADING=1\nMONOTONIC_USEC=5000");
        notifier.Stopping();
        EXPECT_EQ(manager.Next(), "STOPPING=1");
        notifier.Alive(0);
        EXPECT_EQ(manager.Next(), "");
    }
}

TEST(TarnixServiceNotifier, PingsAtHalfTheTimeThatIsAllowed)
{
    const support::ScratchDirectory scratch;
    ServiceManager manager(scratch / "socket");
    ServiceNotifier notifier(With(scratch / "socket", "2000000", std::to_string(getpid())));
    EXPECT_EQ(notifier.PingIntervalNs(), 1000000000);
    notifier.Alive(0);
    EXPECT_EQ(manager.Next(), "WATCHDOG=1");
    notifier.Alive(999999999);
    EXPECT_EQ(manager.Next(), "");
    notifier.Alive(1000000000);
    EXPECT_EQ(manager.Next(), "WATCHDOG=1");
    notifier.Alive(1000000001);
    EXPECT_EQ(manager.Next(), "");
}

TEST(TarnixServiceNotifier, OddWatchdogVariablesAreNone)
{
    const std::string ours = std::to_string(getpid());
    const struct {
        std::string usec;
        std::string pid;
        std::int64_t interval;
    } cases[] = {{"", "", 0},
                 {"0", "", 0},
                 {"-5", "", 0},
                 {"x", "", 0},
                 {"10x", "", 0},
                 {"99999999999999999999", "", 0},
                 {"86400000001", "", 0},
                 {"1", "", 1000000},
                 {"4000", "", 2000000},
                 {"1000", "1", 0},
                 {"1000", "x", 0},
                 {"1000", "", 1000000},
                 {"1000", ours, 1000000}};
    for (const auto& row : cases) {
        EXPECT_EQ(ServiceNotifier(With("/nowhere", row.usec, row.pid)).PingIntervalNs(), row.interval)
            << row.usec << " " << row.pid;
    }
    EXPECT_EQ(ServiceNotifier(With("", "1000")).PingIntervalNs(), 0);
}

TEST(TarnixServiceNotifier, ASocketThatCannotBeIsLeftAlone)
{
    const std::pair<std::string, std::int64_t> cases[] = {
        {"", 0}, {"relative", 0}, {std::string(108, '/'), 0}, {"/none/there", 1000000}};
    for (const auto& [name, interval] : cases) {
        ServiceNotifier notifier(With(name, "1000"));
        EXPECT_EQ(notifier.PingIntervalNs(), interval) << name;
        notifier.Ready("x");
        notifier.Alive(0);
        notifier.Stopping();
    }
}

TEST(TarnixServiceNotifier, AManagerThatReadsNothingIsNotWaitedFor)
{
    const support::ScratchDirectory scratch;
    ServiceManager manager(scratch / "socket");
    ServiceNotifier notifier(With(scratch / "socket"));
    for (int i = 0; i < 10000; ++i) {
        notifier.Status(std::string(1000, 'x'));
    }
    EXPECT_EQ(manager.Next(), "STATUS=" + std::string(1000, 'x'));
}

}  // namespace
