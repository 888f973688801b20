// SPDX-License-Identifier: MIT
//
// Rules about memory that is not the plug-in's any more, and about memory that it never gives back. The
// guarded heap turns a touch of the former into the end of the process; whoever started it gives the verdict.

#include <malloc.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <set>

#include "host/escape.h"
#include "tools/numa_score/conformance/cast.h"
#include "tools/numa_score/conformance/guarded_heap.h"
#include "tools/numa_score/conformance/known_input.h"
#include "tools/numa_score/conformance/ownership.h"
#include "tools/numa_score/conformance/rules.h"

namespace conformance {
namespace {

constexpr int CYCLES = 999;
constexpr int WARM_UP = 100;
constexpr int THIRDS = 3;
constexpr int LEAST_CYCLES = 30;  // in a third
constexpr int BYTES_PER_CYCLE = 16;
constexpr int CYCLES_PER_BLOCK = 20;

/// The actor's published data is released as soon as it is taken, as a host does.
void ReleaseAtOnce(Actor& actor, std::size_t& published)
{
    actor.SetHook([&published](const Sent& sent) {
        if (sent.message && sent.message->type == RunType::PUBLISH_DATA) {
            ++published;
            ReleasePublished(sent.message->dataList);
        }
    });
}

std::string DeleteFault()
{
    const guarded_heap::Faults faults = guarded_heap::FaultsSoFar();
    return faults.taggedFrees == 0
               ? ""
               : std::string("called operator delete on ") + guarded_heap::TagText(faults.firstTag);
}

/// An ordinary life, but every delivered batch is out of reach as soon as UpdateData has returned. Counts the
/// batches, and returns a subscription whose records are not known, if any.
std::string LiveOnBorrowedData(Actor& actor, std::size_t& batches)
{
    std::string unknown;
    actor.Enable("");
    actor.OpenAll();
    for (int period = 0; period < 3; ++period) {
        for (const std::string& key : std::set<std::string>(actor.Subscriptions())) {
            const std::unique_ptr<Delivery> delivery = KnownInput(key);
            if (!delivery) {
                unknown = key;
                continue;
            }
            ++batches;
            delivery->Guard();
            actor.UpdateData(delivery->List());
            delivery->Release();
        }
        actor.RunPeriod();
    }
    actor.Drop();
    return unknown;
}

struct Footprint {
    std::size_t blocks = 0;
    std::size_t bytes = 0;  ///< of malloc
};

/// Of the heap of malloc, and of blocks that have a mapping of their own.
std::size_t MallocBytes()
{
    const struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

Footprint FootprintNow()
{
    return {guarded_heap::LiveBlocks(), MallocBytes()};
}

void Cycle(Actor& actor)
{
    actor.OpenAll();
    actor.FeedAll();
    actor.RunPeriod();
    actor.CloseAll();
    actor.ClearInbox();
}

/// The footprints of one instance after some cycles to warm up, and after each third of the others.
struct Course {
    std::array<Footprint, THIRDS + 1> footprints;
    int cycles = 0;  ///< of each third
};

Course CycleMany(Actor& actor, std::chrono::nanoseconds time)
{
    using Clock = std::chrono::steady_clock;
    const auto start = Clock::now();
    for (int i = 0; i < WARM_UP && Clock::now() < start + time / (THIRDS + 2); ++i) {
        Cycle(actor);
    }
    Course course;
    course.footprints[0] = FootprintNow();
    // As many in the other thirds as the first has had time for.
    const auto end = Clock::now() + time / (THIRDS + 1);
    while (course.cycles < CYCLES / THIRDS && Clock::now() < end) {
        Cycle(actor);
        ++course.cycles;
    }
    course.footprints[1] = FootprintNow();
    for (std::size_t third = 2; third <= THIRDS; ++third) {
        for (int i = 0; i < course.cycles; ++i) {
            Cycle(actor);
        }
        course.footprints[third] = FootprintNow();
    }
    return course;
}

/// Memory that grew in the second third and in the last: a history that has a bound stops growing.
std::string LeakFault(const Course& course)
{
    const auto& [start, first, second, last] = course.footprints;
    static_cast<void>(start);
    const std::string over = " over " + std::to_string((THIRDS - 1) * course.cycles) + " cycles";
    const auto blocks = static_cast<std::size_t>(std::max(course.cycles / CYCLES_PER_BLOCK, 1));
    if (second.blocks >= first.blocks + blocks && last.blocks >= second.blocks + blocks) {
        return "keeps " + std::to_string(last.blocks - first.blocks) + " blocks of operator new" + over;
    }
    const auto bytes = static_cast<std::size_t>(course.cycles) * BYTES_PER_CYCLE;
    if (second.bytes >= first.bytes + bytes && last.bytes >= second.bytes + bytes) {
        return "keeps " + std::to_string(last.bytes - first.bytes) + " bytes of malloc" + over;
    }
    return {};
}

}  // namespace

Verdict ExamineUsedAfterPush(const std::string& path, const Notes& notes)
{
    if (!guarded_heap::Start() || !guarded_heap::IsInUse()) {
        return NotExamined(NO_HEAP);
    }
    Cast cast(path, notes);
    std::size_t published = 0;
    for (const std::unique_ptr<Actor>& actor : cast.Actors()) {
        ReleaseAtOnce(*actor, published);
        LiveOrdinarily(*actor);
        const std::string about = About(*actor, "");
        actor->Drop();
        if (!guarded_heap::IsInUse()) {
            return NotExamined(TOO_MANY_BLOCKS);
        }
        const std::string fault = DeleteFault();
        if (!fault.empty()) {
            return Failed(about + fault);
        }
    }
    return published == 0 ? NotApplicable("nothing was published") : Passed("not touched");
}

Verdict ExamineBorrowed(const std::string& path, const Notes& notes)
{
    if (!guarded_heap::Start() || !guarded_heap::IsInUse()) {
        return NotExamined(NO_HEAP);
    }
    Cast cast(path, notes);
    std::size_t batches = 0;
    std::string unknown;
    for (const std::unique_ptr<Actor>& actor : cast.Actors()) {
        const std::string about = About(*actor, "");
        const std::string key = LiveOnBorrowedData(*actor, batches);
        unknown = unknown.empty() ? key : unknown;
        if (!guarded_heap::IsInUse()) {
            return NotExamined(TOO_MANY_BLOCKS);
        }
        const std::string fault = DeleteFault();
        if (!fault.empty()) {
            return Failed(about + fault);
        }
    }
    if (batches != 0) {
        return Passed("not touched after UpdateData");
    }
    return NotApplicable(unknown.empty() ? "no instance subscribes to anything"
                                         : "the records of \"" + host::EscapeText(unknown, 128) +
                                               "\" are not known here and not delivered");
}

Verdict ExamineLeaks(const std::string& path, const Notes& notes)
{
    if (!guarded_heap::Start() || !guarded_heap::IsInUse()) {
        return NotExamined(NO_HEAP);
    }
    Cast cast(path, notes);
    std::size_t published = 0;
    int least = CYCLES;
    const auto time = std::chrono::nanoseconds(REPEAT_LIMIT) /
                      static_cast<int>(std::max<std::size_t>(cast.Actors().size(), 1));
    for (const std::unique_ptr<Actor>& actor : cast.Actors()) {
        ReleaseAtOnce(*actor, published);
        actor->ReuseDeliveries();
        actor->Enable("");
        const Course course = CycleMany(*actor, time);
        if (!guarded_heap::IsInUse()) {
            return NotExamined(TOO_MANY_BLOCKS);
        }
        if (course.cycles < LEAST_CYCLES) {
            return NotExamined(About(*actor, "has made only " + std::to_string(course.cycles * THIRDS) +
                                                 " cycles in the time that there is"));
        }
        const std::string fault = LeakFault(course);
        if (!fault.empty()) {
            return Failed(About(*actor, fault));
        }
        least = std::min(least, course.cycles * THIRDS);
        actor->SetHook(nullptr);
    }
    return Passed("nothing gained over " + std::to_string(least) + " cycles");
}

}  // namespace conformance
