// SPDX-License-Identifier: MIT
//
// Rules examined one by one, whether or not the plug-in is in order in what a rule needs. The processes that
// examine are new ones of this program, as they are of numa-score: it has a main of its own and the heap.

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

#include <chrono>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/child_run.h"
#include "tests/support/sanitized.h"
#include "tests/support/scratch_directory.h"
#include "tools/numa_score/conformance/fresh_process.h"
#include "tools/numa_score/conformance/ownership.h"
#include "tools/numa_score/conformance/rule_process.h"

namespace {

using namespace conformance;
using support::SANITIZED;
using testing::StartsWith;

const std::string MISFIT = CONFORMANCE_DIR "/misfit.so";
const std::vector<std::string> RULES_OF_MEMORY = {"records",         "text-blocks",      "array-block",
                                                  "record-blocks",   "handed-over-once", "freed-after-push",
                                                  "used-after-push", "borrowed",         "leaks"};

std::string Text(const Verdict& verdict)
{
    return std::string(OutcomeText(verdict.outcome)) + ": " + verdict.seen;
}

std::string Examined(const std::string& rule, const std::string& library)
{
    return Text(ExamineInProcess(*FindRule(rule), library, [] { return false; }));
}

/// An environment variable until the end of the scope.
class Variable {
public:
    Variable(const char* variableName, const std::string& value) : name(variableName)
    {
        setenv(name, value.c_str(), 1);
    }
    Variable(const Variable&) = delete;
    Variable& operator=(const Variable&) = delete;
    ~Variable() { unsetenv(name); }

private:
    const char* name;
};

struct Case {
    const char* fault;  ///< of tests/conformance/misfit.cpp
    const char* rule;
    const char* verdict;
};

std::ostream& operator<<(std::ostream& out, const Case& one)
{
    return out << one.fault << ", " << one.rule;
}

class MisfitExamined : public testing::TestWithParam<Case> {};

TEST_P(MisfitExamined, GetsItsVerdict)
{
    const Variable fault("MISFIT", GetParam().fault);
    EXPECT_EQ(Examined(GetParam().rule, MISFIT), GetParam().verdict);
}

INSTANTIATE_TEST_SUITE_P(
    Loading, MisfitExamined,
    testing::Values(Case{"clears the instances", "instances",
                         "FAILED: GetInstance changed or removed an entry that was there before"},
                    Case{"DEL name", "identity", "FAILED: an instance has the name \"a\\x7f\""},
                    Case{"nothing", "identity", "passed: \"sample\" 1.0"},
                    Case{"two are there", "identity", "passed: \"sample\" 1.0, \"second\" 1.0"},
                    Case{"two are there", "period", "passed: 10 ms, 10 ms"},
                    Case{"two are there", "topics", "passed: sample::reading::, second::reading::"},
                    Case{"replaces a descriptor", "descriptors", "FAILED: left /dev/zero open"}));

INSTANTIATE_TEST_SUITE_P(
    Calls, MisfitExamined,
    testing::Values(
        Case{"two refuse", "enable", "not examined: instance \"sample\" refuses: no such hardware"},
        Case{"Enable tells", "enable",
             "FAILED: instance \"sample\" misanswers: Enable answered code 0 and the text \"fine\""},
        Case{"refuses without a reason", "unknown-topic",
             "FAILED: instance \"sample\" misanswers: OpenTopic of \"sample::no_such_topic::\" answered "
             "code -1 and the text \"\""},
        Case{"raises a number", "exceptions",
             "FAILED: instance \"sample\" raised an exception of unknown type from Run"},
        Case{"raises in many calls", "exceptions",
             "FAILED: instance \"sample\" raised an exception: as always from Run"},
        Case{"empties the queue", "push",
             "FAILED: instance \"sample\" put a message before one that was waiting, or took that out"},
        Case{"two odd inputs", "time-update",
             "not applicable: the records of \"somebody::else::sample\" are not known here and not "
             "delivered"}));

INSTANTIATE_TEST_SUITE_P(
    Messages, MisfitExamined,
    testing::Values(
        Case{"sends null", "messages", "FAILED: instance \"sample\" sent a null pointer"},
        Case{"sends null", "subscribe-once", "passed: once each"},
        Case{"sends null", "published-topic", "passed: texts, key and supportTopics agree"},
        Case{"sends null in Disable", "silence",
             "FAILED: instance \"sample\" sent a message other than UNSUBSCRIBE in Disable or after it"},
        Case{"two are there", "subscribe-once", "passed: once each"},
        Case{"two are there", "unsubscribe-once", "passed: once each"},
        Case{"no input", "unsubscribe-once", "not applicable: no instance subscribes to anything"},
        Case{"unsubscribes in Disable", "silence", "passed: nothing was sent"},
        Case{"unsubscribes in Disable", "unsubscribe-once", "passed: once each"},
        Case{"publishes with two arguments", "published-topic", "not applicable: nothing was published"}));

INSTANTIATE_TEST_SUITE_P(
    Memory, MisfitExamined,
    testing::Values(
        Case{"sends null", "used-after-push", "passed: not touched"},
        Case{"sends null", "text-blocks", "passed: blocks of new[]"},
        Case{"sends null", "array-block", "passed: blocks of new[]"},
        Case{"sends null", "record-blocks", "passed: blocks of new"},
        Case{"sends null", "handed-over-once", "passed: fresh blocks"},
        Case{"no topic", "used-after-push", "not applicable: nothing was published"},
        Case{"two odd inputs", "borrowed",
             "not applicable: the records of \"somebody::else::sample\" are not known here and not "
             "delivered"},
        Case{"score within a block", "records",
             "FAILED: instance \"scenario_numa\" published on system_score a record that cannot be read"},
        Case{"negative score", "records",
             "FAILED: instance \"scenario_numa\" published on system_score a score of -1.000000"},
        Case{"no score", "records", "passed: every record is there"},
        Case{"deleted score", "records", "passed: every record is there"},
        Case{"deleted array", "records", "passed: every record is there"}));

TEST(Examined, WhatBelongsToTheProcessCannotBeSeenToLeaveIt)
{
    if (SANITIZED) {
        GTEST_SKIP() << "a sanitizer wants to be the first library of a process";
    }
    const Variable preloaded("LD_PRELOAD", MISFIT);
    EXPECT_EQ(Examined("unload", MISFIT),
              "not examined: the library was part of the process before it was loaded");
}

TEST(Examined, TheFirstOfTwoSlowInstancesIsNamed)
{
    const Variable fault("MISFIT", "two are slow");
    EXPECT_THAT(Examined("time-run", MISFIT), testing::MatchesRegex("FAILED: instance \"sample\" takes "
                                                                    "[0-9]+ us, limit 5000 us, for Run"));
}

TEST(Examined, NullPointersAmongTheInstancesAreAnothersMatter)
{
    EXPECT_EQ(Examined("instances", SAMPLE_DIR "/sample_some_null.so").substr(0, 6), "FAILED");
    EXPECT_EQ(Examined("enable", SAMPLE_DIR "/sample_some_null.so"), "passed: code 0");
}

TEST(Examined, ALibraryInTheWorkingDirectory)
{
    char before[4096];
    ASSERT_NE(getcwd(before, sizeof before), nullptr);
    ASSERT_EQ(chdir(CONFORMANCE_DIR), 0);
    EXPECT_EQ(Examined("entry", "misfit.so"), "passed: GetInstance returned");
    ASSERT_EQ(chdir(before), 0);
}

TEST(Examined, WhatCannotBeLoadedIsSaidByEveryRule)
{
    const std::string library = SAMPLE_DIR "/sample_undefined_symbol.so";
    EXPECT_THAT(Examined("entry", library), StartsWith("FAILED: " + library + ": undefined symbol: "));
    for (const char* const rule : {"instances", "identity", "open", "unload", "leaks"}) {
        EXPECT_THAT(Examined(rule, library),
                    StartsWith("not examined: the library could not be loaded once more: " + library))
            << rule;
    }
}

TEST(Examined, ALibraryThatLoadsSoOftenIsNotExaminedForUnsubscribing)
{
    const support::ScratchDirectory scratch;
    const Variable fault("MISFIT", "loads so often");
    for (const char* const loads : {"0", "1"}) {
        const Variable most("MISFIT_LOADS", loads);
        const Variable mark("MISFIT_MARK", scratch / loads);
        EXPECT_EQ(Examined("unsubscribe-once", MISFIT),
                  "not examined: the library could not be loaded once more: GetInstance raised an "
                  "exception: too often");
    }
}

TEST(Examined, WhatIsDeletedAfterTheHostReleasedItIsNamed)
{
    EXPECT_EQ(Examined("used-after-push", CONFORMANCE_DIR "/broken_freed_after_push_late.so"),
              "FAILED: instance \"sample\" called operator delete on a topic text that it had published");
}

TEST(Examined, OfMoreBlocksThanCanBeWatchedNoRuleOfMemorySaysAnything)
{
    for (const std::string& rule : RULES_OF_MEMORY) {
        EXPECT_EQ(Examined(rule, CONFORMANCE_DIR "/huge_page.so"),
                  std::string("not examined: ") + TOO_MANY_BLOCKS)
            << rule;
    }
}

TEST(Examined, WithoutAddressSpaceNoRuleOfMemorySaysAnything)
{
    if (SANITIZED) {
        GTEST_SKIP() << "a sanitizer needs more address space than the test leaves";
    }
    rlimit before{};
    getrlimit(RLIMIT_AS, &before);
    const rlimit little{rlim_t{3} << 30U, before.rlim_max};
    setrlimit(RLIMIT_AS, &little);
    for (const std::string& rule : RULES_OF_MEMORY) {
        EXPECT_EQ(Examined(rule, MISFIT), std::string("not examined: ") + NO_HEAP) << rule;
    }
    setrlimit(RLIMIT_AS, &before);
}

TEST(Examined, EndsOnceThatIsAskedFor)
{
    int looks = 0;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(Text(ExamineInProcess(*FindRule("lifecycle"), CONFORMANCE_DIR "/broken_lifecycle_hang.so",
                                    [&looks] { return ++looks > 20; })),
              "not examined: interrupted");
    EXPECT_LT(std::chrono::steady_clock::now() - start, RULE_LIMIT);
}

TEST(Examined, WhoeverAwaitsTheProcessInItsPlaceGetsNoVerdict)
{
    const Variable fault("MISFIT", "takes a second to load");
    EXPECT_EQ(Text(ExamineInProcess(*FindRule("entry"), MISFIT,
                                    [] {
                                        waitpid(-1, nullptr, 0);
                                        return false;
                                    })),
              "not examined: no process to examine it in: No child processes");
}

TEST(Examined, WithoutDescriptorsThereIsNoProcessForIt)
{
    rlimit before{};
    getrlimit(RLIMIT_NOFILE, &before);
    const rlimit none{0, before.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none);
    const std::string text = Examined("entry", MISFIT);
    setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_EQ(text, "not examined: no process to examine it in: Too many open files");
}

TEST(ExamineHere, IsForTheArgumentsOfSuchProcesses)
{
    EXPECT_EQ(ExamineHere("--examine-rules", "entry", MISFIT.c_str()), std::nullopt);
    EXPECT_EQ(ExamineHere("check", "--rule", "entry"), std::nullopt);
}

TEST(ExamineHere, NeedsARuleOrPartThatItKnows)
{
    EXPECT_EQ(ExamineHere(RULE_PROCESS_ARGUMENT, TIMES_OF_CONTROL, MISFIT.c_str()), 2);
    EXPECT_EQ(ExamineHere(PART_PROCESS_ARGUMENT, "entry", MISFIT.c_str()), 2);
}

TEST(ExamineHere, APartNeedsTheProcessThatAsksForIt)
{
    EXPECT_EQ(support::RunInChild([] {
                  dup2(STDERR_FILENO, NOTES_DESCRIPTOR);
                  dup2(STDERR_FILENO, ANSWER_DESCRIPTOR);
                  setpgid(0, 0);
                  return *ExamineHere(PART_PROCESS_ARGUMENT, TIMES_OF_CONTROL, MISFIT.c_str());
              }).status,
              2);
}

TEST(ExamineHere, NeedsTheDescriptorsThatItWritesTo)
{
    const struct {
        const char* what;
        const char* id;
        int missing;
    } cases[] = {{RULE_PROCESS_ARGUMENT, "entry", NOTES_DESCRIPTOR},
                 {PART_PROCESS_ARGUMENT, TIMES_OF_CONTROL, NOTES_DESCRIPTOR},
                 {PART_PROCESS_ARGUMENT, TIMES_OF_CONTROL, ANSWER_DESCRIPTOR}};
    for (const auto& one : cases) {
        const support::ChildResult result = support::RunInChild([&one] {
            dup2(STDERR_FILENO, NOTES_DESCRIPTOR);
            dup2(STDERR_FILENO, ANSWER_DESCRIPTOR);
            close(one.missing);
            return *ExamineHere(one.what, one.id, MISFIT.c_str());
        });
        EXPECT_EQ(result.status, 2) << one.what << " without descriptor " << one.missing;
    }
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc == 4) {
        if (const std::optional<int> status = ExamineHere(argv[1], argv[2], argv[3])) {
            return *status;
        }
    }
#if defined(__SANITIZE_THREAD__)
    // Otherwise each process waits for a second before it ends.
    const char* const options = std::getenv("TSAN_OPTIONS");
    setenv("TSAN_OPTIONS", ((options == nullptr ? "" : options) + std::string(":atexit_sleep_ms=0")).c_str(),
           1);
#endif
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
