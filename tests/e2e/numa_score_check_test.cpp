// SPDX-License-Identifier: MIT
//
// numa-score check on plug-ins that are in order and on broken ones, each of which breaks one rule. What is
// printed for each is in tests/golden/numa_score/check; UPDATE_GOLDEN=1 writes it anew.

#include <csignal>
#include <cstdlib>

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <ostream>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/golden_file.h"
#include "tests/support/program_run.h"
#include "tests/support/sanitized.h"
#include "tests/support/scratch_directory.h"

namespace {

using support::ProgramResult;
using support::SANITIZED;
using testing::HasSubstr;
using testing::Not;

struct Broken {
    const char* library;  ///< of tests/conformance without "broken_", or sample_ of tests/support/plugins
    const char* rule;     ///< that it fails
};

std::ostream& operator<<(std::ostream& out, const Broken& broken)
{
    return out << broken.library;
}

const std::vector<Broken>& BrokenSamples()
{
    static const std::vector<Broken> samples = {
        {"sample_undefined_symbol", "load"},
        {"sample_missing_library", "load"},
        {"sample_no_entry", "entry"},
        {"sample_entry_throws", "entry"},
        {"sample_entry_throws_other", "entry"},
        {"sample_no_instance", "instances"},
        {"sample_some_null", "instances"},
        {"instances_cleared", "instances"},
        {"identity", "identity"},
        {"period", "period"},
        {"topics", "topics"},
        {"lifecycle_crash", "lifecycle"},
        {"lifecycle_daemon", "lifecycle"},
        {"lifecycle_exit", "lifecycle"},
        {"lifecycle_fork", "lifecycle"},
        {"lifecycle_hang", "lifecycle"},
        {"exceptions", "exceptions"},
        {"enable", "enable"},
        {"open", "open"},
        {"unknown_topic", "unknown-topic"},
        {"unknown_topic_close", "unknown-topic"},
        {"unknown_topic_params", "unknown-topic"},
        {"messages_flag", "messages"},
        {"messages_null", "messages"},
        {"messages_sender", "messages"},
        {"push_front", "push"},
        {"push_silent", "push"},
        {"subscribe_once", "subscribe-once"},
        {"unsubscribe_once", "unsubscribe-once"},
        {"unsubscribe_once_missing", "unsubscribe-once"},
        {"published_topic", "published-topic"},
        {"publish_open", "publish-open"},
        {"silence", "silence"},
        {"records_none", "records"},
        {"records_score", "records"},
        {"text_blocks_literal", "text-blocks"},
        {"text_blocks_malloc", "text-blocks"},
        {"text_blocks_single", "text-blocks"},
        {"text_blocks_unterminated", "text-blocks"},
        {"array_block", "array-block"},
        {"record_blocks_array", "record-blocks"},
        {"record_blocks_member", "record-blocks"},
        {"handed_over_once_record", "handed-over-once"},
        {"handed_over_once_texts", "handed-over-once"},
        {"freed_after_push", "freed-after-push"},
        {"freed_after_push_late", "freed-after-push"},
        {"used_after_push", "used-after-push"},
        {"used_after_push_read", "used-after-push"},
        {"borrowed_freed", "borrowed"},
        {"borrowed_kept", "borrowed"},
        {"borrowed_written", "borrowed"},
        {"leaks", "leaks"},
        {"leaks_mapped", "leaks"},
        {"no_queue", "no-queue"},
        {"time_control", "time-control"},
        {"time_update", "time-update"},
        {"time_run", "time-run"},
        {"unload", "unload"},
        {"threads", "threads"},
        {"descriptors", "descriptors"},
    };
    return samples;
}

ProgramResult Check(std::vector<std::string> arguments)
{
    arguments.insert(arguments.begin(), {NUMA_SCORE, "check"});
    return support::RunProgram(arguments);
}

std::string LibraryOf(const std::string& name)
{
    const bool odd = name.compare(0, 7, "sample_") == 0;
    return (odd ? SAMPLE_DIR "/" : CONFORMANCE_DIR "/broken_") + name + ".so";
}

/// Measured times, and the cycles that fit into the time that there is, differ from run to run.
std::string WithoutTimes(const std::string& text)
{
    const std::string noTimes = std::regex_replace(text, std::regex("\\b[0-9]+ us, limit"), "N us, limit");
    return std::regex_replace(noTimes, std::regex("\\b[0-9]+ (cycles;|cycles\n|blocks|bytes of malloc)"),
                              "N $1");
}

class BrokenSample : public testing::TestWithParam<Broken> {};

TEST_P(BrokenSample, FailsItsRule)
{
    const Broken& broken = GetParam();
    if (SANITIZED && std::string(broken.library) == "leaks_mapped") {
        GTEST_SKIP() << "the sanitizer's malloc does not say how much it holds";
    }
    const ProgramResult result = Check({"--rule", broken.rule, LibraryOf(broken.library)});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "");
    EXPECT_THAT(result.out, HasSubstr("FAILED          " + std::string(broken.rule) + " "))
        << "the rule fails";
    EXPECT_THAT(result.out, HasSubstr(", 1 FAILED, 0 not applicable\n")) << "and what it needs does not";
    support::ExpectGolden("tests/golden/numa_score/check/" + std::string(broken.library) + ".txt",
                          WithoutTimes(result.out));
}

INSTANTIATE_TEST_SUITE_P(Check, BrokenSample, testing::ValuesIn(BrokenSamples()),
                         [](const auto& sample) { return std::string(sample.param.library); });

class GoodPlugin : public testing::TestWithParam<const char*> {};

TEST_P(GoodPlugin, PassesEveryRule)
{
#if defined(__SANITIZE_THREAD__)
    if (std::string(GetParam()) == CONFORMANCE_DIR "/worker.so") {
        GTEST_SKIP() << "ThreadSanitizer starts no thread in a child of a program with threads";
    }
#endif
    const ProgramResult result = Check({GetParam()});
    EXPECT_EQ(result.status, 0) << result.out;
    EXPECT_EQ(result.err, "");
    EXPECT_THAT(result.out, HasSubstr("34 rules: 34 passed, 0 FAILED, 0 not applicable\n"));
}

INSTANTIATE_TEST_SUITE_P(Check, GoodPlugin,
                         testing::Values(PLUGIN_FILE, CONFORMANCE_DIR "/minimal_plugin.so",
                                         CONFORMANCE_DIR "/worker.so", CONFORMANCE_DIR "/particular.so"));

std::set<std::string> RulesIn(const std::string& json)
{
    std::set<std::string> rules;
    const std::regex rule("\\{\"rule\":\"([^\"]+)\",\"verdict\":\"([a-z_]+)\",\"seen\":\"");
    for (std::sregex_iterator i(json.begin(), json.end(), rule); i != std::sregex_iterator(); ++i) {
        rules.insert((*i)[1]);
    }
    return rules;
}

TEST(Check, EveryRuleHasABrokenSample)
{
    const ProgramResult result = Check({"--format", "json", PLUGIN_FILE});
    std::set<std::string> broken;
    for (const Broken& sample : BrokenSamples()) {
        broken.insert(sample.rule);
    }
    EXPECT_EQ(RulesIn(result.out).size(), 34U);
    EXPECT_EQ(RulesIn(result.out), broken);
}

TEST(Check, WhatCannotBeExaminedIsSaid)
{
    const ProgramResult unknown = Check({CONFORMANCE_DIR "/unknown_input.so"});
    EXPECT_EQ(unknown.status, 0) << unknown.out;
    support::ExpectGolden("tests/golden/numa_score/check/unknown_input.txt", WithoutTimes(unknown.out));
    const ProgramResult silent = Check({SAMPLE_DIR "/sample_good.so"});
    support::ExpectGolden("tests/golden/numa_score/check/sample_good.txt", WithoutTimes(silent.out));
}

TEST(Check, WhatWasNotExaminedIsNotInOrder)
{
    const ProgramResult huge = Check({CONFORMANCE_DIR "/huge_page.so"});
    EXPECT_EQ(huge.status, 1);
    EXPECT_THAT(huge.out, HasSubstr("not examined    leaks             the plug-in has more, bigger or "
                                    "wider aligned blocks than can be watched\n"));
    EXPECT_THAT(huge.out, HasSubstr("34 rules: 25 passed, 0 FAILED, 0 not applicable, 9 not examined\n"))
        << huge.out;
    const ProgramResult refuses = Check({CONFORMANCE_DIR "/refuses.so"});
    EXPECT_EQ(refuses.status, 1);
    EXPECT_THAT(
        refuses.out,
        HasSubstr("not examined    enable            instance \"sample\" refuses: no such hardware\n"));
    EXPECT_THAT(refuses.out, HasSubstr("not examined    leaks             needs enable\n"));
}

struct MisfitCase {
    const char* fault;
    const char* rule;
    const char* seen;  ///< in the line of the rule
};

std::ostream& operator<<(std::ostream& out, const MisfitCase& misfit)
{
    return out << misfit.fault;
}

class Misfit : public testing::TestWithParam<MisfitCase> {
protected:
    static ProgramResult CheckWith(const char* fault, std::vector<std::string> arguments)
    {
        setenv("MISFIT", fault, 1);
        arguments.emplace_back(CONFORMANCE_DIR "/misfit.so");
        ProgramResult result = Check(std::move(arguments));
        unsetenv("MISFIT");
        return result;
    }
};

TEST_P(Misfit, FailsOneRule)
{
#if defined(__SANITIZE_THREAD__)
    if (std::string(GetParam().fault) == "publishes later") {
        GTEST_SKIP() << "ThreadSanitizer starts no thread in a child of a program with threads";
    }
#endif
    const ProgramResult good = CheckWith("nothing", {"--rule", GetParam().rule});
    EXPECT_EQ(good.status, 0) << good.out;
    const ProgramResult result = CheckWith(GetParam().fault, {"--rule", GetParam().rule});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "");
    EXPECT_THAT(result.out, HasSubstr("FAILED          " + std::string(GetParam().rule) + " "));
    EXPECT_THAT(result.out, HasSubstr(std::string(" ") + GetParam().seen + "; expected: "));
    EXPECT_THAT(result.out, HasSubstr(", 1 FAILED, 0 not applicable\n"));
}

INSTANTIATE_TEST_SUITE_P(
    Check, Misfit,
    testing::Values(
        MisfitCase{"empty name", "identity", "an instance has an empty name"},
        MisfitCase{"odd name", "identity", "an instance has the name \"a::b\""},
        MisfitCase{"control name", "identity", "an instance has the name \"a\\tb\""},
        MisfitCase{"long period", "period", "instance \"sample\" has a period of 3600001 ms"},
        MisfitCase{"no period", "period", "instance \"sample\" publishes and has a period of 0 ms"},
        MisfitCase{"nameless topic", "topics",
                   "instance \"sample\" supports \"sample::::\", a topic without a name"},
        MisfitCase{
            "odd topic", "topics",
            "instance \"sample\" supports \"sample::a::b::\", with \"::\" or control characters in its "
            "parts"},
        MisfitCase{
            "odd params", "topics",
            "instance \"sample\" supports \"sample::reading::a\\nb\", with \"::\" or control characters "
            "in its parts"},
        MisfitCase{"topic twice", "topics", "instance \"sample\" supports \"sample::reading::\" twice"},
        MisfitCase{"Enable raises", "enable",
                   "instance \"sample\" misanswers: Enable raised an exception: no such hardware"},
        MisfitCase{"OpenTopic raises", "unknown-topic",
                   "misanswers: OpenTopic of \"sample::no_such_topic::\" raised an exception: no such topic"},
        MisfitCase{
            "CloseTopic raises", "unknown-topic",
            "misanswers: CloseTopic of \"sample::no_such_topic::\" raised an exception: no such topic"},
        MisfitCase{"publishes for a stranger", "unknown-topic",
                   "instance \"sample\" sent a message after OpenTopic of \"sample::no_such_topic::\""},
        MisfitCase{"publishes in Enable", "publish-open", "instance \"sample\" published before OpenTopic"},
        MisfitCase{"publishes when closed", "publish-open", "instance \"sample\" published after CloseTopic"},
        MisfitCase{"publishes in Disable", "publish-open",
                   "instance \"sample\" published in Disable or after it"},
        MisfitCase{"publishes in Disable", "silence",
                   "instance \"sample\" sent a message other than UNSUBSCRIBE in Disable or after it"},
        MisfitCase{"publishes later", "silence",
                   "instance \"sample\" sent a message without being called, after Disable"},
        MisfitCase{"short score", "records",
                   "instance \"scenario_numa\" published on system_score a record of 8 bytes"},
        MisfitCase{"closes a descriptor", "descriptors", "closed /dev/null, which it had not opened"}));

TEST_F(Misfit, OfNothingIsAskedNothing)
{
    const ProgramResult noTopic = CheckWith("no topic", {});
    EXPECT_EQ(noTopic.status, 0) << noTopic.out;
    EXPECT_THAT(noTopic.out, HasSubstr("not applicable  records           nothing was published\n"));
    EXPECT_THAT(noTopic.out, HasSubstr("not applicable  topics            no instance supports a topic\n"));
    EXPECT_THAT(noTopic.out, HasSubstr("not applicable  messages          nothing was sent\n"));
    const ProgramResult noInput = CheckWith("no input", {});
    EXPECT_EQ(noInput.status, 0) << noInput.out;
    EXPECT_THAT(noInput.out,
                HasSubstr("not applicable  borrowed          no instance subscribes to anything\n"));
    EXPECT_THAT(noInput.out,
                HasSubstr("not applicable  subscribe-once    no instance subscribes to anything\n"));
}

TEST_F(Misfit, MayUseEveryFormOfNew)
{
    if (SANITIZED) {
        GTEST_SKIP() << "a sanitizer ends a program that asks for too much";
    }
    // With the heap that tells blocks apart and without it.
    const ProgramResult result = CheckWith("uses every new", {"--rule", "lifecycle", "--rule", "records"});
    EXPECT_EQ(result.status, 1) << "blocks above 1 GiB are not watched";
    EXPECT_THAT(result.out, HasSubstr("passed          lifecycle         every call returned\n"));
    EXPECT_THAT(result.out, HasSubstr("not examined    records           the plug-in has more, bigger or "));
    EXPECT_THAT(result.out, HasSubstr(" 0 FAILED, "));
}

TEST_F(Misfit, WithoutRoomForAHeapNothingIsSaidOfMemory)
{
    if (SANITIZED) {
        GTEST_SKIP() << "a sanitizer needs more address space than the test leaves";
    }
    const std::string check =
        "ulimit -v 3000000; exec '" NUMA_SCORE "' check '" CONFORMANCE_DIR "/misfit.so'";
    const ProgramResult result = support::RunProgram({"/bin/sh", "-c", check});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.out,
                HasSubstr("not examined    leaks             the heap that tells blocks apart is not to "
                          "be had in this process\n"));
    EXPECT_THAT(result.out, HasSubstr("34 rules: 25 passed, 0 FAILED, 0 not applicable, 9 not examined\n"));
}

TEST_F(Misfit, WithoutDescriptorsForAnotherProcessTheTimesAreNotExamined)
{
    if (SANITIZED) {
        GTEST_SKIP() << "a sanitizer wants descriptors of its own";
    }
    bool told = false;
    bool passed = false;
    for (int limit = 3; limit <= 24; ++limit) {
        const std::string check = "ulimit -n " + std::to_string(limit) +
                                  "; exec '" NUMA_SCORE "' check --rule time-control '" CONFORMANCE_DIR
                                  "/misfit.so'";
        const ProgramResult result = support::RunProgram({"/bin/sh", "-c", check});
        // Nothing of it is the plug-in's fault, wherever the descriptors run out.
        EXPECT_THAT(result.out, Not(HasSubstr("FAILED   "))) << "with " << limit;
        EXPECT_THAT(result.out, Not(HasSubstr("not applicable  "))) << "with " << limit;
        const bool without =
            result.out.find("not examined    time-control      no process to examine it in: ") !=
            std::string::npos;
        EXPECT_TRUE(!without || result.status == 1);
        told = told || without;
        passed = passed || result.status == 0;
    }
    EXPECT_TRUE(told);
    EXPECT_TRUE(passed);
}

TEST_F(Misfit, WhatCannotBeLoadedOnceMoreIsNotExamined)
{
    const support::ScratchDirectory scratch;
    setenv("MISFIT_MARK", (scratch / "mark").c_str(), 1);
    for (const int loads : {1, 2, 3, 4}) {
        std::filesystem::remove(scratch / "mark");
        setenv("MISFIT_LOADS", std::to_string(loads).c_str(), 1);
        const ProgramResult result = CheckWith("loads so often", {"--rule", "time-control"});
        EXPECT_EQ(result.status, 1);
        const char* const rules[] = {"instances   ", "lifecycle   ", "enable      ", "time-control"};
        EXPECT_THAT(result.out, HasSubstr("not examined    " + std::string(rules[loads - 1]) +
                                          "      the library could not be loaded once more: GetInstance "
                                          "raised an exception: too often\n"));
        EXPECT_THAT(result.out, HasSubstr(" 0 FAILED, "));
    }
    unsetenv("MISFIT_MARK");
    unsetenv("MISFIT_LOADS");
}

TEST_F(Misfit, MoreBlocksThanCanBeWatchedLeaveEachRuleOfMemoryOpen)
{
    for (const char* rule : {"records", "text-blocks", "used-after-push", "borrowed", "leaks"}) {
        const ProgramResult result = Check({"--rule", rule, CONFORMANCE_DIR "/huge_page.so"});
        EXPECT_EQ(result.status, 1) << rule;
        EXPECT_THAT(result.out, HasSubstr("not examined    ")) << rule;
    }
}

TEST(Check, SlowCallsAreRepeatedLessOften)
{
    const ProgramResult result = Check({"--rule", "time-run", CONFORMANCE_DIR "/slow.so"});
    EXPECT_EQ(result.status, 0) << "21 calls of 600 ms are more than a rule has time for\n" << result.out;
    EXPECT_THAT(result.out, HasSubstr("passed          time-run          Run 6"));
}

TEST(Check, LongReportsAreCut)
{
    const ProgramResult result = Check({"--rule", "identity", CONFORMANCE_DIR "/many_instances.so"});
    EXPECT_EQ(result.status, 0) << result.out;
    EXPECT_THAT(result.out, HasSubstr("passed          identity          \"nnn"));
    EXPECT_THAT(result.out, HasSubstr("n\u2026\n4 rules: 4 passed"));
}

TEST(Check, DoesNotMindHowItWasStarted)
{
    const std::string check = "'" NUMA_SCORE "' check --rule load '" PLUGIN_FILE "'";
    for (const std::string& command :
         {check + " <&-", check + " 2>&-", check + " <&- 2>&-", "env --ignore-signal=CHLD " + check}) {
        const ProgramResult result = support::RunProgram({"/bin/sh", "-c", command});
        EXPECT_EQ(result.status, 0) << command;
        EXPECT_EQ(result.out,
                  "passed          load              loaded\n"
                  "1 rule: 1 passed, 0 FAILED, 0 not applicable\n")
            << command;
    }
    const ProgramResult closed = support::RunProgram({"/bin/sh", "-c", check + " >&-"});
    EXPECT_EQ(closed.status, 1) << "the report went nowhere";
}

TEST(Check, LeavesAloneWhatRanBefore)
{
    const ProgramResult result = support::RunProgram({"/bin/sh", "-c",
                                                      "sleep 100 >/dev/null 2>&1 & echo $!; exec '" NUMA_SCORE
                                                      "' check --rule load '" PLUGIN_FILE "'"});
    EXPECT_EQ(result.status, 0);
    const int pid = std::stoi(result.out);
    EXPECT_EQ(kill(pid, SIGKILL), 0) << "its child before it was numa-score is still there";
}

/// Processes with `text` on their command line.
std::size_t ProcessesWith(const std::string& text)
{
    std::size_t found = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
        std::ifstream file(entry.path() / "cmdline", std::ios::binary);
        const std::string line((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
        found += line.find(text) != std::string::npos ? 1 : 0;
    }
    return found;
}

TEST(Check, NothingThatAPluginStartedOutlivesIt)
{
    // By a name of its own: others may examine the sample at the same time.
    const std::string library = testing::TempDir() + "daemon_" + std::to_string(getpid()) + ".so";
    std::filesystem::copy_file(LibraryOf("lifecycle_daemon"), library);
    const ProgramResult result = Check({"--rule", "lifecycle", library});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.out, HasSubstr("ended the process with status 0 in Enable of \"sample\""));
    EXPECT_EQ(ProcessesWith(library), 0U);
    std::filesystem::remove(library);
}

TEST(Check, AnInterruptedReportIsNotInOrder)
{
    const std::string library = testing::TempDir() + "hang_" + std::to_string(getpid()) + ".so";
    std::filesystem::copy_file(LibraryOf("lifecycle_hang"), library);
    support::Program program({NUMA_SCORE, "check", "--rule", "lifecycle", library});
    for (int i = 0; i < 30000 && program.Out().find("instances") == std::string::npos; ++i) {
        usleep(1000);
    }
    program.Signal(SIGINT);
    const ProgramResult result = program.Wait();
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.out, HasSubstr("passed          instances         1 instance\n"));
    EXPECT_THAT(result.out, HasSubstr("not examined    lifecycle         interrupted\n"));
    EXPECT_EQ(ProcessesWith(library), 0U);
    std::filesystem::remove(library);
}

TEST(Check, ReportsTheOtherRulesOfAPluginThatDies)
{
    const ProgramResult result = Check({LibraryOf("lifecycle_crash")});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.out, HasSubstr("passed          identity          \"sample\" 1.0\n"));
    EXPECT_THAT(result.out, HasSubstr("not applicable  descriptors       needs lifecycle\n"));
    EXPECT_THAT(result.out, HasSubstr("34 rules: 4 passed, 1 FAILED, 29 not applicable\n"));
}

TEST(Check, JsonHasAnObjectForEachRule)
{
    const ProgramResult result = Check({"--format", "json", "--rule", "period", LibraryOf("period")});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.out,
                HasSubstr("{\"rule\":\"load\",\"verdict\":\"passed\",\"seen\":\"loaded\",\"expected\":\""));
    EXPECT_THAT(result.out, HasSubstr("\n{\"rule\":\"period\",\"verdict\":\"failed\",\"seen\":\"instance "
                                      "\\\"sample\\\" has a period of -5 ms\",\"expected\":\"0 (no Run) to "
                                      "3600000 ms, above 0 for an instance that publishes\",\"remedy\":\"set "
                                      "period in the constructor or in Enable\"}\n"));
    EXPECT_THAT(result.out, Not(HasSubstr("rules:")));
}

TEST(Check, BadArgumentsAndMissingFiles)
{
    const ProgramResult none = Check({});
    EXPECT_EQ(none.status, 2);
    EXPECT_THAT(none.err, HasSubstr("numa-score: check needs a plug-in: the path of its library\n"));
    const ProgramResult csv = Check({"--format", "csv", PLUGIN_FILE});
    EXPECT_EQ(csv.status, 2);
    EXPECT_THAT(csv.err, HasSubstr("numa-score: --format \"csv\": expected table or json\n"));
    const ProgramResult rule = Check({"--rule", "all", PLUGIN_FILE});
    EXPECT_EQ(rule.status, 2);
    EXPECT_THAT(rule.err,
                HasSubstr("numa-score: --rule \"all\": expected the name of a rule, as check shows them\n"));
    const ProgramResult missing = Check({"/nonexistent/plugin.so"});
    EXPECT_EQ(missing.status, 3);
    EXPECT_EQ(missing.out, "");
    EXPECT_EQ(missing.err,
              "numa-score: \"/nonexistent/plugin.so\": cannot be read: No such file or directory (errno 2); "
              "give the "
              "path of a plug-in library\n");
    const ProgramResult text = Check({SOURCE_DIR "/README.md"});
    EXPECT_EQ(text.status, 1);
    EXPECT_THAT(text.out,
                HasSubstr("FAILED          load              the dynamic linker refuses it: invalid ELF "
                          "header; expected: "));
}

TEST(Check, TheReportGoesWhereOutSays)
{
    const ProgramResult result = Check({"--out", "/dev/null", "--rule", "load", PLUGIN_FILE});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, "");
    const ProgramResult nowhere = Check({"--out", "/nonexistent/report", "--rule", "load", PLUGIN_FILE});
    EXPECT_EQ(nowhere.status, 1);
    EXPECT_EQ(nowhere.out, "");
    EXPECT_THAT(nowhere.err, HasSubstr("\"/nonexistent/report\": cannot be opened"));
}

TEST(MinimalPlugin, ItsScoreShowsInTheHost)
{
    const std::string plugin = CONFORMANCE_DIR "/minimal_plugin.so";
    const ProgramResult own =
        support::RunProgram({NUMA_SCORE, "demo", "--plugin", plugin, "--speed", "max", "--format", "csv"});
    EXPECT_EQ(own.status, 0) << own.err;
    EXPECT_EQ(std::count(own.out.begin(), own.out.end(), '\n'), 161);
    const ProgramResult other = support::RunProgram(
        {NUMA_SCORE, "demo", "--plugin", PLUGIN_FILE, "--speed", "max", "--format", "csv"});
    EXPECT_NE(own.out, other.out) << "other dies do not count";
    const ProgramResult list = support::RunProgram({NUMA_SCORE, "list", "--plugin", plugin});
    EXPECT_THAT(list.out, HasSubstr("  instance example_score v1.0, period 100 ms, topics "
                                    "example_score::system_score::\n"));
}

}  // namespace
