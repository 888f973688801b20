// SPDX-License-Identifier: MIT
//
// Rules about what is published: which blocks, and whose they are.

#include "scenario/numa_scenario.h"
#include "tools/numa_score/conformance/cast.h"
#include "tools/numa_score/conformance/guarded_heap.h"
#include "tools/numa_score/conformance/messages.h"
#include "tools/numa_score/conformance/ownership.h"
#include "tools/numa_score/conformance/rules.h"

namespace conformance {
namespace {

constexpr const char* SCORE_INSTANCE = "scenario_numa";

/// What each instance did, looked at by `judge`, which returns a fault or an empty text.
template <typename Judge>
Verdict Inspected(const std::string& path, const Notes& notes, const char* passed, Judge&& judge)
{
    if (!guarded_heap::Start() || !guarded_heap::IsInUse()) {
        return NotExamined(NO_HEAP);
    }
    Cast cast(path, notes);
    std::size_t published = 0;
    for (const std::unique_ptr<Actor>& actor : cast.Actors()) {
        OwnershipInspector inspector;
        actor->SetHook([&inspector, &notes, &actor](const Sent& sent) {
            if (sent.message && sent.message->type == RunType::PUBLISH_DATA) {
                notes.At("what " + actor->Quoted() + " published");
                inspector.Inspect(sent.message->dataList);
            }
        });
        LiveOrdinarily(*actor);
        inspector.Conclude();
        published += inspector.published;
        // Blocks that have found no room there look like blocks of nobody's.
        if (!guarded_heap::IsInUse()) {
            return NotExamined(TOO_MANY_BLOCKS);
        }
        const std::string fault = judge(inspector);
        if (!fault.empty()) {
            return Failed(About(*actor, fault));
        }
    }
    return published == 0 ? NotApplicable("nothing was published") : Passed(passed);
}

/// What is wrong with a score that stands at `record`; empty when nothing is.
std::string ScoreFault(const void* record)
{
    const guarded_heap::Block block = guarded_heap::Find(record);
    if (block.state == guarded_heap::State::FREED) {
        return {};
    }
    if (block.size != sizeof(ScenarioNumaScore)) {
        return "published on system_score a record of " + std::to_string(block.size) + " bytes";
    }
    ScenarioNumaScore score{};
    if (!ReadForeign(record, &score, sizeof score)) {
        return "published on system_score a record that cannot be read";
    }
    const bool good = score.numaScore >= 0.0F && score.numaScore <= 1.0F;
    return good ? "" : "published on system_score a score of " + std::to_string(score.numaScore);
}

std::string RecordsFault(const kovari::Interface& instance, const DataList& dataList)
{
    // What was deleted after the push is another rule's matter.
    if (guarded_heap::Find(dataList.data).state == guarded_heap::State::FREED) {
        return {};
    }
    std::string fault = RecordListFault(dataList);
    // What others publish under this name is theirs.
    if (fault.empty() && instance.name == SCORE_INSTANCE &&
        ReadForeignText(dataList.topic.topicName).text == "system_score") {
        void* record = nullptr;
        ReadForeign(dataList.data, &record, sizeof record);
        fault = ScoreFault(record);
    }
    return fault;
}

}  // namespace

Verdict ExamineRecords(const std::string& path, const Notes& notes)
{
    if (!guarded_heap::Start() || !guarded_heap::IsInUse()) {
        return NotExamined(NO_HEAP);
    }
    Cast cast(path, notes);
    cast.LiveAll();
    if (!guarded_heap::IsInUse()) {
        return NotExamined(TOO_MANY_BLOCKS);
    }
    std::size_t published = 0;
    for (const std::unique_ptr<Actor>& actor : cast.Actors()) {
        notes.At("what " + actor->Quoted() + " published");
        for (const kovari::InstanceRunMessage* const message : Published(actor->Inbox())) {
            ++published;
            const std::string fault = RecordsFault(actor->Instance(), message->dataList);
            if (!fault.empty()) {
                return Failed(About(*actor, fault));
            }
        }
    }
    return published == 0 ? NotApplicable("nothing was published") : Passed("every record is there");
}

Verdict ExamineTextBlocks(const std::string& path, const Notes& notes)
{
    return Inspected(path, notes, "blocks of new[]", [](const OwnershipInspector& i) { return i.textFault; });
}

Verdict ExamineArrayBlock(const std::string& path, const Notes& notes)
{
    return Inspected(path, notes, "blocks of new[]",
                     [](const OwnershipInspector& i) { return i.arrayFault; });
}

Verdict ExamineRecordBlocks(const std::string& path, const Notes& notes)
{
    return Inspected(path, notes, "blocks of new", [](const OwnershipInspector& i) { return i.recordFault; });
}

Verdict ExamineHandedOverOnce(const std::string& path, const Notes& notes)
{
    return Inspected(path, notes, "fresh blocks", [](const OwnershipInspector& i) { return i.twiceFault; });
}

Verdict ExamineFreedAfterPush(const std::string& path, const Notes& notes)
{
    return Inspected(path, notes, "not deleted", [](const OwnershipInspector& i) { return i.freedFault; });
}

}  // namespace conformance
