// SPDX-License-Identifier: MIT
//
// Rules about the time that calls take. Medians: a busy machine holds up single calls of any plug-in.

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "host/escape.h"
#include "tools/numa_score/conformance/cast.h"
#include "tools/numa_score/conformance/fresh_process.h"
#include "tools/numa_score/conformance/known_input.h"
#include "tools/numa_score/conformance/rules.h"

namespace conformance {
namespace {

constexpr int CONTROL_CALLS = 11;
constexpr int WORK_CALLS = 21;
constexpr std::int64_t NS_PER_US = 1000;
constexpr std::int64_t NS_PER_MS = 1000000;
constexpr std::int64_t CONTROL_LIMIT_NS = 100 * NS_PER_MS;
constexpr std::int64_t UPDATE_LIMIT_NS = 10 * NS_PER_MS;

std::int64_t Median(std::vector<std::int64_t> times)
{
    const auto middle = times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2);
    std::nth_element(times.begin(), middle, times.end());
    return *middle;
}

std::string Micros(std::int64_t ns)
{
    return std::to_string(ns / NS_PER_US) + " us";
}

/// The medians that were measured, and the first that is too long.
class Measured {
public:
    void Add(const std::string& about, const std::string& call, const std::vector<std::int64_t>& times,
             std::int64_t limitNs)
    {
        if (times.empty()) {
            return;
        }
        const std::int64_t median = Median(times);
        const std::string text = Micros(median) + ", limit " + Micros(limitNs);
        seen += (seen.empty() ? "" : "; ") + call + " " + text;
        if (median > limitNs && fault.empty()) {
            fault = about + "takes " + text + ", for " + call;
        }
    }

    Verdict Conclude(const std::string& whyNothing) const
    {
        if (!fault.empty()) {
            return Failed(fault);
        }
        return seen.empty() ? NotApplicable(whyNothing) : Passed(seen);
    }

private:
    std::string seen;
    std::string fault;
};

/// The times of one call of the instance that `about` names, as `instance "x" `.
struct CallTimes {
    std::string about;
    std::string call;
    std::vector<std::int64_t> times;
};

void Collect(const std::string& lines, std::vector<CallTimes>& all)
{
    std::istringstream stream(lines);
    std::string call;
    std::int64_t ns = 0;
    for (std::string about; stream >> call >> ns && stream.get() == ' ' && std::getline(stream, about);) {
        auto known = std::find_if(all.begin(), all.end(), [&](const CallTimes& one) {
            return one.about == about && one.call == call;
        });
        if (known == all.end()) {
            known = all.insert(known, {about, call, {}});
        }
        known->times.push_back(ns);
    }
}

}  // namespace

/// A line for each call of each instance in one life: call, nanoseconds, whose.
std::string TimesOfControl(const std::string& path, const Notes& notes)
{
    Cast cast(path, notes);
    std::string lines;
    for (const std::unique_ptr<Actor>& actor : cast.Actors()) {
        const auto note = [&lines, &actor](const CallOutcome& outcome) {
            lines += std::string(outcome.call) + " " + std::to_string(outcome.elapsedNs) + " " +
                     About(*actor, "") + "\n";
        };
        note(actor->Enable(""));
        for (const kovari::Topic& topic : actor->Instance().supportTopics) {
            note(actor->OpenTopic(topic));
        }
        for (const kovari::Topic& topic : actor->Instance().supportTopics) {
            note(actor->CloseTopic(topic));
        }
        note(actor->Disable());
    }
    return lines;
}

Verdict ExamineTimeOfControl(const std::string& path, const Notes& /*notes*/)
{
    const auto end = std::chrono::steady_clock::now() + REPEAT_LIMIT;
    std::vector<CallTimes> all;
    for (int i = 0; i == 0 || (i < CONTROL_CALLS && std::chrono::steady_clock::now() < end); ++i) {
        const FreshResult fresh = InFreshProcess(TIMES_OF_CONTROL, path);
        if (!fresh.fault.empty()) {
            return NotExamined(fresh.fault);
        }
        Collect(fresh.text, all);
    }
    Measured measured;
    for (const CallTimes& one : all) {
        measured.Add(one.about, one.call, one.times, CONTROL_LIMIT_NS);
    }
    return measured.Conclude("");
}

Verdict ExamineTimeOfUpdate(const std::string& path, const Notes& notes)
{
    Cast cast(path, notes);
    Measured measured;
    std::string unknown;
    for (const std::unique_ptr<Actor>& actor : cast.Actors()) {
        actor->Enable("");
        actor->OpenAll();
        for (const std::string& key : std::set<std::string>(actor->Subscriptions())) {
            const std::unique_ptr<Delivery> delivery = KnownInput(key);
            if (!delivery) {
                unknown = unknown.empty() ? key : unknown;
                continue;
            }
            std::vector<std::int64_t> times;
            for (int i = 0; i == 0 || (i < WORK_CALLS && actor->HasTime()); ++i) {
                times.push_back(actor->UpdateData(delivery->List()).elapsedNs);
            }
            measured.Add(About(*actor, ""), "UpdateData", times, UPDATE_LIMIT_NS);
        }
        actor->Finish();
    }
    return measured.Conclude(unknown.empty() ? "no instance subscribes to anything"
                                             : "the records of \"" + host::EscapeText(unknown, 128) +
                                                   "\" are not known here and not delivered");
}

Verdict ExamineTimeOfRun(const std::string& path, const Notes& notes)
{
    Cast cast(path, notes);
    Measured measured;
    for (const std::unique_ptr<Actor>& actor : cast.Actors()) {
        actor->Enable("");
        const std::int64_t period = actor->Instance().period;
        if (period <= 0) {
            continue;
        }
        actor->OpenAll();
        std::vector<std::int64_t> times;
        for (int i = 0; i == 0 || (i < WORK_CALLS && actor->HasTime()); ++i) {
            actor->FeedAll();
            times.push_back(actor->Run().elapsedNs);
        }
        measured.Add(About(*actor, ""), "Run", times, period * NS_PER_MS / 2);
        actor->Finish();
    }
    return measured.Conclude("no instance has a period");
}

}  // namespace conformance
