// SPDX-License-Identifier: MIT
//
// What comes back of a function that is called in a copy of the process, and what becomes of the process
// where the copy does not come to its end.

#include "tools/numa_score/conformance/fresh_process.h"

#include <signal.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include "tests/support/child_run.h"

namespace {

using conformance::FreshResult;
using conformance::InFreshProcess;

constexpr uid_t NOBODY = 65534;
constexpr int WENT_ON = 42;

/// How a process ends that does this; WENT_ON when nothing of it ended the process.
int EndOf(const std::function<void()>& body)
{
    const support::ChildResult result = support::RunInChild([&body] {
        body();
        return testing::Test::HasFailure() ? 1 : WENT_ON;
    });
    EXPECT_EQ(result.out, "") << "no expectation failed in it";
    return result.status;
}

TEST(FreshProcess, GivesTheTextOfTheFunction)
{
    const FreshResult result = InFreshProcess([] { return std::string("text"); });
    EXPECT_EQ(result.text, "text");
    EXPECT_EQ(result.fault, "");
    EXPECT_EQ(InFreshProcess([] { return std::string(); }).text, "");
    EXPECT_EQ(InFreshProcess([] { return std::string(100000, 't'); }).text, std::string(65536, 't'));
}

TEST(FreshProcess, IsAnotherProcess)
{
    int calls = 0;
    const FreshResult result = InFreshProcess([&calls] {
        ++calls;
        return std::to_string(getpid());
    });
    EXPECT_EQ(calls, 0);
    EXPECT_NE(result.text, "");
    EXPECT_NE(result.text, std::to_string(getpid()));
}

TEST(FreshProcess, GivesTheReasonOfAnException)
{
    const FreshResult result =
        InFreshProcess([]() -> std::string { throw std::runtime_error("no such library"); });
    EXPECT_EQ(result.text, "");
    EXPECT_EQ(result.fault, "no such library");
}

TEST(FreshProcess, ACopyThatTheFunctionMadeSaysNothing)
{
    const FreshResult result = InFreshProcess([] {
        const pid_t copy = fork();
        if (copy == 0) {
            return std::string("what the copy says is longer");
        }
        waitpid(copy, nullptr, 0);
        return std::string("original");
    });
    EXPECT_EQ(result.text, "original");
}

TEST(FreshProcess, DiesOfTheSignalThatTheCopyDiedOf)
{
    EXPECT_EQ(EndOf([] {
                  InFreshProcess([]() -> std::string {
                      raise(SIGTERM);
                      return "";
                  });
              }),
              -SIGTERM);
}

TEST(FreshProcess, EndsAsTheCopyDidBeforeItsTime)
{
    for (const int status : {0, 3}) {
        EXPECT_EQ(EndOf([status] { InFreshProcess([status]() -> std::string { _exit(status); }); }), status);
    }
}

TEST(FreshProcess, SignalsDoNotEndTheWait)
{
#if defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "ThreadSanitizer holds signals back";
#endif
    EXPECT_EQ(EndOf([] {
                  struct sigaction noting = {};
                  static volatile sig_atomic_t alarms = 0;
                  noting.sa_handler = [](int) { alarms = alarms + 1; };
                  sigaction(SIGALRM, &noting, nullptr);  // without SA_RESTART
                  const itimerval often{{0, 2000}, {0, 2000}};
                  setitimer(ITIMER_REAL, &often, nullptr);
                  const FreshResult result = InFreshProcess([] {
                      usleep(50000);
                      return std::string("text");
                  });
                  EXPECT_EQ(result.text, "text");
                  EXPECT_GT(alarms, 0);
              }),
              WENT_ON);
}

TEST(FreshProcess, TheTextIsThereWhereNobodyLearnsHowProcessesEnd)
{
    EXPECT_EQ(EndOf([] {
                  static_cast<void>(signal(SIGCHLD, SIG_IGN));
                  EXPECT_EQ(InFreshProcess([] { return std::string("text"); }).text, "text");
              }),
              WENT_ON);
}

TEST(FreshProcess, SaysThatThereIsNone)
{
    const auto text = [] { return std::string("text"); };
    EXPECT_EQ(EndOf([&text] {
                  rlimit descriptors{};
                  getrlimit(RLIMIT_NOFILE, &descriptors);
                  const rlimit none{0, descriptors.rlim_max};
                  setrlimit(RLIMIT_NOFILE, &none);
                  const FreshResult result = InFreshProcess(text);
                  setrlimit(RLIMIT_NOFILE, &descriptors);
                  EXPECT_EQ(result.fault, "no process to examine it in: Too many open files");
                  EXPECT_EQ(result.text, "");
              }),
              WENT_ON);
    EXPECT_EQ(EndOf([&text] {
                  // The limit is none for root.
                  const uid_t self = getuid();
                  const bool other = self == 0 && setresuid(NOBODY, NOBODY, self) == 0;
                  rlimit processes{};
                  getrlimit(RLIMIT_NPROC, &processes);
                  const rlimit none{0, processes.rlim_max};
                  setrlimit(RLIMIT_NPROC, &none);
                  const FreshResult result = InFreshProcess(text);
                  setrlimit(RLIMIT_NPROC, &processes);
                  EXPECT_TRUE(!other || setresuid(self, self, self) == 0);
                  EXPECT_EQ(result.fault, "no process to examine it in: Resource temporarily unavailable");
              }),
              WENT_ON);
}

}  // namespace
