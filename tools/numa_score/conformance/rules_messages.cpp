// SPDX-License-Identifier: MIT
//
// Rules about the messages of an instance: their form, and when they come.

#include <algorithm>
#include <chrono>
#include <set>
#include <thread>

#include "host/escape.h"
#include "tools/numa_score/conformance/cast.h"
#include "tools/numa_score/conformance/fresh_process.h"
#include "tools/numa_score/conformance/messages.h"
#include "tools/numa_score/conformance/rules.h"

namespace conformance {
namespace {

constexpr int SILENT_PERIODS = 3;
constexpr std::int32_t SHORTEST_SILENCE_MS = 50;
constexpr std::int32_t LONGEST_SILENCE_MS = 500;

bool HasSubscribed(const Actor& actor)
{
    for (const Sent& sent : actor.Inbox()) {
        if (sent.message && sent.message->type == RunType::SUBSCRIBE) {
            return true;
        }
    }
    return false;
}

const char* PhaseText(Phase phase)
{
    switch (phase) {
        case Phase::ENABLED:
            return "before OpenTopic";
        case Phase::OPEN:
            return "while its topics were open";
        case Phase::CLOSED:
            return "after CloseTopic";
        case Phase::DISABLED:
            return "in Disable or after it";
        case Phase::GONE:
            return "from its destructor";
    }
    return "";
}

/// The first message from `begin` on that is none of the type; empty when there is none.
std::string FirstOther(const std::vector<Sent>& inbox, std::size_t begin, Phase phase)
{
    for (std::size_t i = begin; i < inbox.size(); ++i) {
        if (inbox[i].phase != phase) {
            continue;
        }
        if (!inbox[i].message || inbox[i].message->type != RunType::UNSUBSCRIBE) {
            return std::string("sent a message other than UNSUBSCRIBE ") + PhaseText(phase);
        }
    }
    return {};
}

/// What is wrong with the requests of an instance that has been through `life`; empty when nothing is.
std::string UnsubscribeFault(const Actor& actor, const std::string& life)
{
    std::set<std::string> left;
    const std::string fault = RequestFault(actor.Inbox(), RunType::UNSUBSCRIBE, &left);
    if (!fault.empty()) {
        return About(actor, fault);
    }
    return left.empty() ? ""
                        : About(actor, "is still subscribed to \"" + host::EscapeText(*left.begin(), 128) +
                                           "\" after " + life);
}

/// A few periods of the instance, within bounds.
std::int32_t SilenceMs(const Actor& actor)
{
    return std::clamp(actor.Instance().period, SHORTEST_SILENCE_MS / SILENT_PERIODS,
                      LONGEST_SILENCE_MS / SILENT_PERIODS) *
           SILENT_PERIODS;
}

/// Looks at every PUBLISH_DATA of an ordinary life.
template <typename Look>
Verdict LookAtPublished(const std::string& path, const Notes& notes, const char* passed, Look&& look)
{
    Cast cast(path, notes);
    cast.LiveAll();
    std::size_t published = 0;
    for (const std::unique_ptr<Actor>& actor : cast.Actors()) {
        notes.At("what " + actor->Quoted() + " published");
        for (const Sent& sent : actor->Inbox()) {
            if (!sent.message || sent.message->type != RunType::PUBLISH_DATA ||
                sent.message->payload.size() != 1) {
                continue;
            }
            ++published;
            const std::string fault = look(*actor, sent);
            if (!fault.empty()) {
                return Failed(About(*actor, fault));
            }
        }
    }
    return published == 0 ? NotApplicable("nothing was published") : Passed(passed);
}

}  // namespace

Verdict ExamineMessages(const std::string& path, const Notes& notes)
{
    Cast cast(path, notes);
    cast.LiveAll();
    std::size_t messages = 0;
    for (const std::unique_ptr<Actor>& actor : cast.Actors()) {
        notes.At("the messages of " + actor->Quoted());
        for (const Sent& sent : actor->Inbox()) {
            const std::string fault = MessageFault(sent.message.get(), actor->Instance().name);
            if (!fault.empty()) {
                return Failed(About(*actor, fault));
            }
        }
        messages += actor->Inbox().size();
    }
    return messages == 0 ? NotApplicable("nothing was sent") : Passed("well-formed messages");
}

Verdict ExamineSubscribeOnce(const std::string& path, const Notes& notes)
{
    Cast cast(path, notes);
    cast.LiveAll();
    bool any = false;
    for (const std::unique_ptr<Actor>& actor : cast.Actors()) {
        const std::string fault = RequestFault(actor->Inbox(), RunType::SUBSCRIBE);
        if (!fault.empty()) {
            return Failed(About(*actor, fault));
        }
        any = any || HasSubscribed(*actor);
    }
    return any ? Passed("once each") : NotApplicable("no instance subscribes to anything");
}

/// What is wrong without CloseTopic, which Disable may take the place of; empty when nothing is.
std::string UnsubscribeWithoutClose(const std::string& path, const Notes& notes)
{
    Cast cast(path, notes);
    for (const std::unique_ptr<Actor>& actor : cast.Actors()) {
        actor->Enable("");
        actor->OpenAll();
        actor->Disable();
        std::string fault = UnsubscribeFault(*actor, "Disable");
        if (!fault.empty()) {
            return fault;
        }
    }
    return {};
}

Verdict ExamineUnsubscribeOnce(const std::string& path, const Notes& notes)
{
    // By instances of their own, as each is enabled and disabled once.
    const FreshResult fresh = InFreshProcess(UNSUBSCRIBE_WITHOUT_CLOSE, path);
    if (!fresh.fault.empty() || !fresh.text.empty()) {
        return fresh.fault.empty() ? Failed(fresh.text) : NotExamined(fresh.fault);
    }
    Cast cast(path, notes);
    cast.LiveAll();
    bool any = false;
    for (const std::unique_ptr<Actor>& actor : cast.Actors()) {
        const std::string fault = UnsubscribeFault(*actor, "CloseTopic and Disable");
        if (!fault.empty()) {
            return Failed(fault);
        }
        any = any || HasSubscribed(*actor);
    }
    return any ? Passed("once each") : NotApplicable("no instance subscribes to anything");
}

Verdict ExaminePublishedTopic(const std::string& path, const Notes& notes)
{
    return LookAtPublished(path, notes, "texts, key and supportTopics agree",
                           [](const Actor& actor, const Sent& sent) {
                               return PublishedTopicFault(*sent.message, actor.Instance());
                           });
}

Verdict ExaminePublishWhileOpen(const std::string& path, const Notes& notes)
{
    return LookAtPublished(path, notes, "while open only", [](const Actor& /*actor*/, const Sent& sent) {
        return sent.phase == Phase::OPEN ? "" : std::string("published ") + PhaseText(sent.phase);
    });
}

Verdict ExamineSilence(const std::string& path, const Notes& notes)
{
    Cast cast(path, notes);
    std::int32_t waitMs = 0;
    for (const std::unique_ptr<Actor>& actor : cast.Actors()) {
        LiveOrdinarily(*actor);
        const std::string fault = FirstOther(actor->Inbox(), 0, Phase::DISABLED);
        if (!fault.empty()) {
            return Failed(About(*actor, fault));
        }
        waitMs = std::max(waitMs, SilenceMs(*actor));
    }
    notes.At("silence after Disable");
    std::this_thread::sleep_for(std::chrono::milliseconds(waitMs));
    for (const std::unique_ptr<Actor>& actor : cast.Actors()) {
        const std::size_t before = actor->Inbox().size();
        actor->Take();
        if (actor->Inbox().size() != before) {
            return Failed(About(*actor, "sent a message without being called, after Disable"));
        }
        const std::string quoted = actor->Quoted();
        actor->Drop();
        if (actor->Inbox().size() != before) {
            return Failed("instance " + quoted + " sent a message from its destructor");
        }
    }
    return Passed("nothing was sent");
}

}  // namespace conformance
