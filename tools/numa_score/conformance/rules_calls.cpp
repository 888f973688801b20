// SPDX-License-Identifier: MIT
//
// Rules about the calls of an instance: that they return, what they answer, what they raise.

#include <algorithm>
#include <set>

#include "host/escape.h"
#include "tools/numa_score/conformance/cast.h"
#include "tools/numa_score/conformance/messages.h"
#include "tools/numa_score/conformance/rules.h"

namespace conformance {
namespace {

std::string AnswerText(const Result& answer)
{
    return "code " + std::to_string(answer.code) + " and the text \"" +
           host::EscapeText(answer.payload, 128) + "\"";
}

bool IsGood(const Result& answer)
{
    return answer.code == 0 && answer.payload.empty();
}

bool IsRefusal(const Result& answer)
{
    return answer.code == -1 && !answer.payload.empty();
}

/// What is wrong with an answer of Enable or OpenTopic to `what`; empty when nothing is.
std::string AnswerFault(const CallOutcome& outcome, bool isWanted, const std::string& what)
{
    if (outcome.threw) {
        return what + " raised " + outcome.thrown;
    }
    return isWanted ? "" : what + " answered " + AnswerText(outcome.answer);
}

/// Topics that the instance does not support, but nearly. Each differs from every supported one.
std::vector<kovari::Topic> Strangers(const kovari::Interface& instance)
{
    std::vector<kovari::Topic> topics = {{instance.name, "no_such_topic", ""}, {"", "", ""}};
    for (const kovari::Topic& topic : instance.supportTopics) {
        topics.push_back({topic.instanceName + " ", topic.topicName, topic.params});
        topics.push_back({topic.instanceName, topic.topicName + "_", topic.params});
        topics.push_back({topic.instanceName, topic.topicName, topic.params + "no such parameter"});
    }
    const auto isSupported = [&instance](const kovari::Topic& stranger) {
        return std::any_of(instance.supportTopics.begin(), instance.supportTopics.end(),
                           [&stranger](const kovari::Topic& own) { return KeyOf(own) == KeyOf(stranger); });
    };
    topics.erase(std::remove_if(topics.begin(), topics.end(), isSupported), topics.end());
    return topics;
}

std::string TopicText(const kovari::Topic& topic)
{
    return "\"" + host::EscapeText(KeyOf(topic), 128) + "\"";
}

/// What is wrong with the answers to the strangers; empty when nothing is.
std::string OpenedStrangerFault(Actor& actor)
{
    const std::size_t before = actor.Inbox().size();
    for (const kovari::Topic& topic : Strangers(actor.Instance())) {
        const CallOutcome outcome = actor.OpenTopic(topic);
        const std::string fault =
            AnswerFault(outcome, IsRefusal(outcome.answer), "OpenTopic of " + TopicText(topic));
        if (!fault.empty()) {
            return "misanswers: " + fault;
        }
        actor.CloseTopic(topic);
        actor.RunPeriod();
        if (actor.Inbox().size() != before) {
            return "sent a message after OpenTopic of " + TopicText(topic);
        }
    }
    return {};
}

/// What is wrong with CloseTopic of the strangers while the instance's own topics are open.
std::string ClosedStrangerFault(Actor& actor)
{
    actor.OpenAll();
    const std::set<std::string> subscribed = actor.Subscriptions();
    for (const kovari::Topic& topic : Strangers(actor.Instance())) {
        const CallOutcome outcome = actor.CloseTopic(topic);
        if (outcome.threw) {
            return "misanswers: CloseTopic of " + TopicText(topic) + " raised " + outcome.thrown;
        }
        if (actor.Subscriptions() != subscribed) {
            return "subscribed or unsubscribed in CloseTopic of " + TopicText(topic) +
                   " while its own topics were open";
        }
    }
    return {};
}

}  // namespace

Verdict ExamineLifecycle(const std::string& path, const Notes& notes)
{
    Cast cast(path, notes);
    cast.LiveAll();
    for (const std::unique_ptr<Actor>& actor : cast.Actors()) {
        actor->Drop();
    }
    return Passed("every call returned");
}

Verdict ExamineExceptions(const std::string& path, const Notes& notes)
{
    Cast cast(path, notes);
    cast.LiveAll();
    for (const std::unique_ptr<Actor>& actor : cast.Actors()) {
        if (!actor->Exceptions().empty()) {
            const CallOutcome& first = actor->Exceptions().front();
            return Failed(About(*actor, std::string("raised ") + first.thrown + " from " + first.call));
        }
    }
    return Passed("no call raised an exception");
}

Verdict ExamineEnable(const std::string& path, const Notes& notes)
{
    Cast cast(path, notes);
    std::string refused;
    for (const std::unique_ptr<Actor>& actor : cast.Actors()) {
        const CallOutcome outcome = actor->Enable("");
        const bool refuses = IsRefusal(outcome.answer);
        const std::string fault = AnswerFault(outcome, IsGood(outcome.answer) || refuses, "Enable");
        if (!fault.empty()) {
            return Failed(About(*actor, "misanswers: " + fault));
        }
        if (refuses && refused.empty()) {
            refused = About(*actor, "refuses: " + host::EscapeText(outcome.answer.payload, 128));
        }
    }
    return refused.empty() ? Passed("code 0") : NotExamined(refused);
}

Verdict ExamineOpen(const std::string& path, const Notes& notes)
{
    Cast cast(path, notes);
    std::size_t topics = 0;
    for (const std::unique_ptr<Actor>& actor : cast.Actors()) {
        actor->Enable("");
        for (const kovari::Topic& topic : actor->Instance().supportTopics) {
            ++topics;
            for (int i = 0; i < 2; ++i) {
                const CallOutcome outcome = actor->OpenTopic(topic);
                const std::string fault =
                    AnswerFault(outcome, IsGood(outcome.answer), "OpenTopic of " + TopicText(topic));
                if (!fault.empty()) {
                    return Failed(About(*actor, "misanswers: " + fault));
                }
            }
        }
    }
    return topics == 0 ? NotApplicable("no instance supports a topic") : Passed("code 0");
}

Verdict ExamineUnknownTopic(const std::string& path, const Notes& notes)
{
    Cast cast(path, notes);
    for (const std::unique_ptr<Actor>& actor : cast.Actors()) {
        actor->Enable("");
        std::string fault = OpenedStrangerFault(*actor);
        if (fault.empty()) {
            fault = ClosedStrangerFault(*actor);
        }
        if (!fault.empty()) {
            return Failed(About(*actor, fault));
        }
    }
    return Passed("code -1 and the reason");
}

Verdict ExamineNoQueue(const std::string& path, const Notes& notes)
{
    Cast cast(path, notes, false);
    cast.LiveAll();
    bool raised = false;
    for (const std::unique_ptr<Actor>& actor : cast.Actors()) {
        for (const CallOutcome& outcome : actor->Exceptions()) {
            if (!outcome.notPermitted) {
                return Failed(About(*actor, "raised " + outcome.thrown + " from " + outcome.call));
            }
            raised = true;
        }
    }
    return Passed(raised ? "std::system_error (operation not permitted)" : "no exception");
}

}  // namespace conformance
