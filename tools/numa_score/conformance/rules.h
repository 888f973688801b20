// SPDX-License-Identifier: MIT

#ifndef TOOLS_NUMA_SCORE_CONFORMANCE_RULES_H
#define TOOLS_NUMA_SCORE_CONFORMANCE_RULES_H

#include <string>
#include <vector>

#include "tools/numa_score/conformance/notes.h"
#include "tools/numa_score/conformance/verdict.h"

namespace conformance {

/// One rule of the boundary between host and plug-ins. The one description that the verdicts and the table in
/// docs/writing-a-plugin.md are made from.
struct Rule {
    const char* id;
    const char* expected;  ///< what is expected of a plug-in
    const char* remedy;    ///< how a plug-in that fails is mended
    const char* needs;     ///< id of a rule before this one that must have passed; null when none

    /// Examines the library at `path`, in a process of its own that may die of it.
    Verdict (*examine)(const std::string& path, const Notes& notes);
};

/// All rules, in the order in which they are examined.
const std::vector<Rule>& Rules();

/// The rules of these ids with all that they need, in order; every rule when there are no ids.
std::vector<Rule> RulesFor(const std::vector<std::string>& ids);

/// Null when there is none of that id.
const Rule* FindRule(const std::string& id);

/// What a rule has examined in a process of its own once more.
struct Part {
    const char* id;
    std::string (*examine)(const std::string& path, const Notes& notes);  ///< its text goes to the rule
};

/// Null when there is none of that id.
const Part* FindPart(const std::string& id);

// The examinations, by what they look at, and the parts of some.

// rules_loading.cpp
Verdict ExamineLoad(const std::string& path, const Notes& notes);
Verdict ExamineEntry(const std::string& path, const Notes& notes);
Verdict ExamineInstances(const std::string& path, const Notes& notes);
Verdict ExamineIdentity(const std::string& path, const Notes& notes);
Verdict ExaminePeriod(const std::string& path, const Notes& notes);
Verdict ExamineTopics(const std::string& path, const Notes& notes);

// rules_calls.cpp
Verdict ExamineLifecycle(const std::string& path, const Notes& notes);
Verdict ExamineExceptions(const std::string& path, const Notes& notes);
Verdict ExamineEnable(const std::string& path, const Notes& notes);
Verdict ExamineOpen(const std::string& path, const Notes& notes);
Verdict ExamineUnknownTopic(const std::string& path, const Notes& notes);
Verdict ExamineNoQueue(const std::string& path, const Notes& notes);

// rules_time.cpp
constexpr const char* TIMES_OF_CONTROL = "times-of-control";
std::string TimesOfControl(const std::string& path, const Notes& notes);
Verdict ExamineTimeOfControl(const std::string& path, const Notes& notes);
Verdict ExamineTimeOfUpdate(const std::string& path, const Notes& notes);
Verdict ExamineTimeOfRun(const std::string& path, const Notes& notes);

// rules_push.cpp
Verdict ExaminePush(const std::string& path, const Notes& notes);

// rules_messages.cpp
Verdict ExamineMessages(const std::string& path, const Notes& notes);
Verdict ExamineSubscribeOnce(const std::string& path, const Notes& notes);
constexpr const char* UNSUBSCRIBE_WITHOUT_CLOSE = "unsubscribe-without-close";
std::string UnsubscribeWithoutClose(const std::string& path, const Notes& notes);
Verdict ExamineUnsubscribeOnce(const std::string& path, const Notes& notes);
Verdict ExaminePublishedTopic(const std::string& path, const Notes& notes);
Verdict ExaminePublishWhileOpen(const std::string& path, const Notes& notes);
Verdict ExamineSilence(const std::string& path, const Notes& notes);

// rules_ownership.cpp
Verdict ExamineRecords(const std::string& path, const Notes& notes);
Verdict ExamineTextBlocks(const std::string& path, const Notes& notes);
Verdict ExamineArrayBlock(const std::string& path, const Notes& notes);
Verdict ExamineRecordBlocks(const std::string& path, const Notes& notes);
Verdict ExamineHandedOverOnce(const std::string& path, const Notes& notes);
Verdict ExamineFreedAfterPush(const std::string& path, const Notes& notes);

// rules_memory.cpp
Verdict ExamineUsedAfterPush(const std::string& path, const Notes& notes);
Verdict ExamineBorrowed(const std::string& path, const Notes& notes);
Verdict ExamineLeaks(const std::string& path, const Notes& notes);

// rules_unloading.cpp
Verdict ExamineUnload(const std::string& path, const Notes& notes);
Verdict ExamineThreads(const std::string& path, const Notes& notes);
Verdict ExamineDescriptors(const std::string& path, const Notes& notes);

}  // namespace conformance

#endif  // TOOLS_NUMA_SCORE_CONFORMANCE_RULES_H
