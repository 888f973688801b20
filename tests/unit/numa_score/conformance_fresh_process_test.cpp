// SPDX-License-Identifier: MIT
//
// What comes back from a part of a rule that is examined in a new process of this program, and what becomes
// of the process that asked where the new one does not come to its end. The new processes are of this
// program, as they are of numa-score: it has a main of its own.

#include "tools/numa_score/conformance/fresh_process.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>

#include <functional>
#include <new>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include "tests/support/child_run.h"
#include "tests/support/quiet_fork.h"
#include "tools/numa_score/conformance/notes.h"
#include "tools/numa_score/conformance/rule_process.h"

namespace {

using conformance::FreshResult;
using conformance::InFreshProcess;

constexpr uid_t NOBODY = 65534;
constexpr int WENT_ON = 42;
constexpr const char* NEVER_BEGINS = "never begins";  // a part: its process ends like this

/// The parts that a new process of this program knows, by name; `path` is what was handed over.
std::string Say(const std::string& part, const std::string& path)
{
    if (part == "path") {
        return path;
    }
    if (part == "long") {
        return std::string(100000, 't');
    }
    if (part == "process") {
        return std::to_string(getpid());
    }
    if (part == "raise") {
        throw std::runtime_error("no such library");
    }
    if (part == "memory") {
        throw std::bad_alloc();
    }
    if (part == "copy") {
        const pid_t copy = support::ForkQuietly();
        if (copy == 0) {
            return "what the copy says is longer";
        }
        waitpid(copy, nullptr, 0);
        return "original";
    }
    if (part == "signal") {
        raise(std::stoi(path));
    }
    if (part == "exit") {
        _exit(std::stoi(path));
    }
    if (part == "late") {
        usleep(50000);
    }
    if (part == "note") {
        conformance::Notes(conformance::NOTES_DESCRIPTOR).At(path);
    }
    return "text";
}

/// Descriptor 3 holds notes for a while, closed on exec, as it does where rules are examined.
class NotesOpen {
public:
    NotesOpen()
    {
        const int file = memfd_create("notes", MFD_CLOEXEC);
        if (file != conformance::NOTES_DESCRIPTOR) {
            dup3(file, conformance::NOTES_DESCRIPTOR, O_CLOEXEC);
            close(file);
        }
    }
    NotesOpen(const NotesOpen&) = delete;
    NotesOpen& operator=(const NotesOpen&) = delete;
    ~NotesOpen() { close(conformance::NOTES_DESCRIPTOR); }
};

class FreshProcess : public testing::Test {
private:
    NotesOpen notes;
};

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

TEST_F(FreshProcess, GivesTheTextOfThePart)
{
    const FreshResult result = InFreshProcess("path", "/lib/plug in.so");
    EXPECT_EQ(result.text, "/lib/plug in.so");
    EXPECT_EQ(result.fault, "");
    EXPECT_EQ(InFreshProcess("path", "").text, "");
    EXPECT_EQ(InFreshProcess("long", "").text, std::string(65536, 't'));
}

TEST_F(FreshProcess, IsAnotherProcess)
{
    const FreshResult result = InFreshProcess("process", "");
    EXPECT_NE(result.text, "");
    EXPECT_NE(result.text, std::to_string(getpid()));
}

TEST_F(FreshProcess, SharesTheNotes)
{
    const conformance::Notes left(conformance::NOTES_DESCRIPTOR);
    EXPECT_EQ(InFreshProcess("note", "Run of \"x\"").text, "text");
    EXPECT_EQ(left.Place(), "Run of \"x\"");
}

TEST_F(FreshProcess, LeavesNoDescriptorOpen)
{
    const int before = dup(conformance::NOTES_DESCRIPTOR);
    ASSERT_GE(before, 0);
    close(before);
    static_cast<void>(InFreshProcess("path", "x"));
    static_cast<void>(InFreshProcess("raise", "x"));
    const int after = dup(conformance::NOTES_DESCRIPTOR);
    close(after);
    EXPECT_EQ(after, before);
}

TEST_F(FreshProcess, WhereverTheFileOfTheAnswerIs)
{
    const int taken = dup(conformance::NOTES_DESCRIPTOR);
    ASSERT_GE(taken, conformance::ANSWER_DESCRIPTOR) << "the file has a higher number then";
    EXPECT_EQ(InFreshProcess("path", "x").text, "x");
    EXPECT_EQ(InFreshProcess("raise", "").fault, "no such library");
    close(taken);
}

TEST_F(FreshProcess, ThatEndsBeforeItBeginsIsNone)
{
    EXPECT_EQ(InFreshProcess(NEVER_BEGINS, "127").fault,
              "no process to examine it in: ended with status 127 before it began");
    EXPECT_EQ(InFreshProcess(NEVER_BEGINS, "-9").fault,
              "no process to examine it in: ended by signal 9 (SIGKILL) before it began");
    EXPECT_EQ(InFreshProcess(NEVER_BEGINS, "0").fault,
              "no process to examine it in: ended with status 0 before it began");
}

TEST_F(FreshProcess, BeginsInAPlaceOfItsOwn)
{
    const conformance::Notes left(conformance::NOTES_DESCRIPTOR);
    left.At("Disable of \"x\"");
    InFreshProcess(NEVER_BEGINS, "127");
    EXPECT_EQ(left.Place(), "the start");
}

TEST_F(FreshProcess, GivesTheReasonOfAnException)
{
    const FreshResult result = InFreshProcess("raise", "");
    EXPECT_EQ(result.text, "");
    EXPECT_EQ(result.fault, "no such library");
    EXPECT_EQ(InFreshProcess("memory", "").fault, "std::bad_alloc");
}

TEST_F(FreshProcess, ACopyThatThePlugInMadeSaysNothing)
{
    EXPECT_EQ(InFreshProcess("copy", "").text, "original");
}

TEST_F(FreshProcess, DiesOfTheSignalThatTheNewProcessDiedOf)
{
    for (const int number : {SIGTERM, SIGKILL, SIGUSR1}) {
        EXPECT_EQ(EndOf([number] { InFreshProcess("signal", std::to_string(number)); }), -number);
    }
}

TEST_F(FreshProcess, EndsAsTheNewProcessDidBeforeItsTime)
{
    for (const int status : {0, 3}) {
        EXPECT_EQ(EndOf([status] { InFreshProcess("exit", std::to_string(status)); }), status);
    }
}

TEST_F(FreshProcess, SignalsDoNotEndTheWait)
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
                  EXPECT_EQ(InFreshProcess("late", "").text, "text");
                  EXPECT_GT(alarms, 0);
              }),
              WENT_ON);
}

TEST_F(FreshProcess, TheTextIsThereWhereNobodyLearnsHowProcessesEnd)
{
    EXPECT_EQ(EndOf([] {
                  static_cast<void>(signal(SIGCHLD, SIG_IGN));
                  EXPECT_EQ(InFreshProcess("path", "text").text, "text");
              }),
              WENT_ON);
}

TEST_F(FreshProcess, SaysThatThereIsNone)
{
    EXPECT_EQ(EndOf([] {
                  rlimit descriptors{};
                  getrlimit(RLIMIT_NOFILE, &descriptors);
                  const rlimit none{0, descriptors.rlim_max};
                  setrlimit(RLIMIT_NOFILE, &none);
                  const FreshResult result = InFreshProcess("path", "text");
                  setrlimit(RLIMIT_NOFILE, &descriptors);
                  EXPECT_EQ(result.fault, "no process to examine it in: Too many open files");
                  EXPECT_EQ(result.text, "");
              }),
              WENT_ON);
    EXPECT_EQ(EndOf([] {
                  // The limit is none for root.
                  const uid_t self = getuid();
                  const bool other = self == 0 && setresuid(NOBODY, NOBODY, self) == 0;
                  rlimit processes{};
                  getrlimit(RLIMIT_NPROC, &processes);
                  const rlimit none{0, processes.rlim_max};
                  setrlimit(RLIMIT_NPROC, &none);
                  const FreshResult result = InFreshProcess("path", "text");
                  setrlimit(RLIMIT_NPROC, &processes);
                  EXPECT_TRUE(!other || setresuid(self, self, self) == 0);
                  EXPECT_EQ(result.fault, "no process to examine it in: Resource temporarily unavailable");
              }),
              WENT_ON);
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc == 4 && std::strcmp(argv[1], conformance::PART_PROCESS_ARGUMENT) == 0) {
        if (std::strcmp(argv[2], NEVER_BEGINS) == 0) {
            const int end = std::stoi(argv[3]);
            if (end < 0) {
                raise(-end);
            }
            _exit(end);
        }
        conformance::AnswerAndEnd([argv] { return Say(argv[2], argv[3]); });
    }
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
