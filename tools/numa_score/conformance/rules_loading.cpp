// SPDX-License-Identifier: MIT
//
// Rules about the library, its entry point and what its instances say of themselves.

#include <algorithm>
#include <set>

#include "host/escape.h"
#include "host/plugin_loader.h"
#include "tools/numa_score/conformance/cast.h"
#include "tools/numa_score/conformance/messages.h"
#include "tools/numa_score/conformance/rules.h"
#include "tools/numa_score/conformance/subject.h"

namespace conformance {
namespace {

constexpr std::int32_t LONGEST_PERIOD_MS = 3600000;

/// A line of the loader, "path: what; remedy", as a failure.
Verdict FailedToLoad(const std::string& path, const std::string& message)
{
    const std::string prefix = host::EscapeText(path, 4096) + ": ";
    const std::size_t begin = message.compare(0, prefix.size(), prefix) == 0 ? prefix.size() : 0;
    const std::size_t semicolon = message.rfind("; ");
    if (semicolon == std::string::npos || semicolon < begin) {
        return Failed(message.substr(begin));
    }
    return Failed(message.substr(begin, semicolon - begin), message.substr(semicolon + 2));
}

std::string Quoted(const std::string& text)
{
    return "\"" + host::EscapeText(text, 64) + "\"";
}

bool HasOddCharacters(const std::string& text)
{
    return text.find("::") != std::string::npos || std::any_of(text.begin(), text.end(), [](char c) {
               return static_cast<unsigned char>(c) < ' ' || c == '\x7f';
           });
}

std::string NameFault(const kovari::Interface& instance, const std::set<std::string>& names)
{
    if (instance.name.empty()) {
        return "an instance has an empty name";
    }
    if (HasOddCharacters(instance.name)) {
        return "an instance has the name " + Quoted(instance.name);
    }
    if (names.count(instance.name) != 0) {
        return "two instances have the name " + Quoted(instance.name);
    }
    return {};
}

std::string TopicFault(const kovari::Interface& instance, const kovari::Topic& topic,
                       const std::set<std::string>& keys)
{
    const std::string key = KeyOf(topic);
    if (topic.instanceName != instance.name) {
        return "supports " + Quoted(key) + ", a topic of another instance";
    }
    if (topic.topicName.empty()) {
        return "supports " + Quoted(key) + ", a topic without a name";
    }
    if (HasOddCharacters(topic.topicName) || HasOddCharacters(topic.params)) {
        return "supports " + Quoted(key) + ", with \"::\" or control characters in its parts";
    }
    return keys.count(key) != 0 ? "supports " + Quoted(key) + " twice" : "";
}

}  // namespace

Verdict ExamineLoad(const std::string& path, const Notes& notes)
{
    notes.At("loading");
    const host::LoadResult result = host::TryLibrary(path);
    return result.failure == host::LoadFailure::NONE ? Passed("loaded") : FailedToLoad(path, result.message);
}

Verdict ExamineEntry(const std::string& path, const Notes& notes)
{
    const Subject subject(path, notes);
    return subject.Error().empty() ? Passed("GetInstance returned") : Failed(subject.Error());
}

Verdict ExamineInstances(const std::string& path, const Notes& notes)
{
    const Subject subject(path, notes);
    subject.RequireInstances();
    const Instances& appended = subject.Appended();
    if (!subject.LeftOthersAlone()) {
        return Failed("GetInstance changed or removed an entry that was there before");
    }
    if (appended.empty()) {
        return Failed("GetInstance appended nothing");
    }
    const auto nulls = std::count(appended.begin(), appended.end(), nullptr);
    if (nulls != 0) {
        return Failed(std::to_string(nulls) + " of the " + std::to_string(appended.size()) +
                      " entries that GetInstance appended are null pointers");
    }
    return Passed(std::to_string(appended.size()) + (appended.size() == 1 ? " instance" : " instances"));
}

Verdict ExamineIdentity(const std::string& path, const Notes& notes)
{
    const Subject subject(path, notes);
    subject.RequireInstances();
    std::set<std::string> names;
    std::string seen;
    for (const std::shared_ptr<kovari::Interface>& instance : subject.Appended()) {
        const std::string fault = NameFault(*instance, names);
        if (!fault.empty()) {
            return Failed(fault);
        }
        names.insert(instance->name);
        seen += (seen.empty() ? "" : ", ") + Quoted(instance->name);
        seen += instance->version.empty() ? "" : " " + host::EscapeText(instance->version, 64);
    }
    return Passed(seen);
}

// What follows is looked at after Enable, as a host does: an instance may set it there.

Verdict ExaminePeriod(const std::string& path, const Notes& notes)
{
    Cast cast(path, notes);
    std::string seen;
    for (const std::unique_ptr<Actor>& actor : cast.Actors()) {
        actor->Enable("");
        const std::int32_t period = actor->Instance().period;
        const std::string text = std::to_string(period) + " ms";
        if (period < 0 || period > LONGEST_PERIOD_MS) {
            return Failed(About(*actor, "has a period of " + text));
        }
        if (period == 0 && !actor->Instance().supportTopics.empty()) {
            return Failed(About(*actor, "publishes and has a period of 0 ms"));
        }
        seen += (seen.empty() ? "" : ", ") + text;
    }
    return Passed(seen);
}

Verdict ExamineTopics(const std::string& path, const Notes& notes)
{
    Cast cast(path, notes);
    std::set<std::string> keys;
    std::string seen;
    for (const std::unique_ptr<Actor>& actor : cast.Actors()) {
        actor->Enable("");
        for (const kovari::Topic& topic : actor->Instance().supportTopics) {
            const std::string fault = TopicFault(actor->Instance(), topic, keys);
            if (!fault.empty()) {
                return Failed(About(*actor, fault));
            }
            keys.insert(KeyOf(topic));
            seen += (seen.empty() ? "" : ", ") + host::EscapeText(KeyOf(topic), 128);
        }
    }
    return seen.empty() ? NotApplicable("no instance supports a topic") : Passed(seen);
}

}  // namespace conformance
