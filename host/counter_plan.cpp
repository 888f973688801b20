// SPDX-License-Identifier: MIT

#include "host/counter_plan.h"

#include <algorithm>
#include <iterator>

#include "host/escape.h"
#include "host/text_file.h"

namespace host {
namespace {

constexpr std::size_t MAX_REMARKS = 32;

std::string Join(const std::vector<std::string>& names)
{
    std::string text;
    for (const std::string& name : names) {
        if (text.size() > 300) {
            return text + ", ...";
        }
        text += (text.empty() ? "" : ", ") + EscapeText(name, 96);
    }
    return text;
}

std::vector<std::string> UncoreEventNames()
{
    return {UNCORE_EVENTS.begin(), UNCORE_EVENTS.end()};
}

/// "--map rx_outer=", or the same as a variable of the environment.
std::string MapPrefix(const LiveOptions& options)
{
    return options.mapSetting + (options.mapSetting.front() == '-' ? " " : "=");
}

std::string MappingMessage(const LiveOptions& options, const EventMapping& mapping,
                           const std::string& problem)
{
    return MapPrefix(options) + EscapeText(mapping.eventName, 64) + "=" + EscapeText(mapping.target, 128) +
           ": " + problem;
}

std::string UnknownNameMessage(const LiveOptions& options, const EventMapping& mapping)
{
    return MappingMessage(options, mapping,
                          "'" + EscapeText(mapping.eventName, 64) + "' is none of the events, expected " +
                              Join(UncoreEventNames()));
}

std::string MappedTwiceMessage(const LiveOptions& options, const EventMapping& mapping)
{
    return MappingMessage(options, mapping,
                          EscapeText(mapping.eventName, 64) + " is mapped twice, give it once");
}

std::string NoSuchPmuMessage(const LiveOptions& options, const EventMapping& mapping, const std::string& pmu,
                             const std::vector<std::string>& names)
{
    return MappingMessage(
        options, mapping,
        "no PMU '" + EscapeText(pmu, 96) + "', there are " + (names.empty() ? "none" : Join(names)));
}

std::string NothingFoundMessage(const LiveOptions& options, const std::vector<std::string>& wanted,
                                const std::vector<std::string>& reasons)
{
    std::string message = "no PMU below " + EscapeText(options.sysfsRoot) +
                          "/bus/event_source/devices can count " + Join(wanted);
    for (const std::string& reason : reasons) {
        if (message.size() > 1000) {
            message += "; ...";
            break;
        }
        message += "; " + reason;
    }
    return message;
}

std::string NothingFoundRemedy(const LiveOptions& options, const std::vector<std::string>& wanted)
{
    return "load the driver of the uncore PMU, or take the counts from other events with " +
           MapPrefix(options) + wanted.front() + "=PMU/event/, numa-score list shows what there is";
}

std::string MappingRemedy(const LiveOptions& options)
{
    return "correct this " + options.mapSetting + ", numa-score list shows what there is";
}

std::string UnusableMessage(const Pmu& pmu)
{
    return "PMU " + EscapeText(pmu.name, 96) + " cannot be used: " + pmu.error;
}

std::string OneCpuMessage(const PlannedPmu& pmu)
{
    return "PMU " + EscapeText(pmu.name, 96) + " has no cpumask: its counts are those of CPU " +
           std::to_string(pmu.cpus.front()) + " alone";
}

std::string EveryCpuMessage(const PlannedPmu& pmu)
{
    return "PMU " + EscapeText(pmu.name, 96) + " has no cpumask: its counts are summed over CPUs " +
           FormatCpuList(pmu.cpus);
}

std::string NoCpuMessage(const std::string& pmu)
{
    return "PMU " + EscapeText(pmu, 96) + " cannot be used: none of its CPUs is online";
}

bool IsIn(const std::vector<std::string>& names, const std::string& name)
{
    return std::find(names.begin(), names.end(), name) != names.end();
}

class Planner {
public:
    explicit Planner(const LiveOptions& liveOptions)
        : options(liveOptions), online(OnlineCpusOrFirst(liveOptions.sysfsRoot))
    {
    }

    CounterPlan Plan()
    {
        if (!CheckMappings()) {
            return Failed(MappingRemedy(options));
        }
        const PmuScan scan = ScanPmus(options.sysfsRoot, unmapped);
        if (!scan.error.empty()) {
            plan.error = scan.error;
            return Failed("");
        }
        for (const std::string& remark : scan.remarks) {
            Remark(remark);
        }
        for (const EventMapping& mapping : options.mappings) {
            if (!AddMapping(mapping, scan.names)) {
                return Failed(MappingRemedy(options));
            }
        }
        if (!unmapped.empty() && !AddFound(scan)) {
            return Failed(NothingFoundRemedy(options, unmapped));
        }
        Finish();
        return std::move(plan);
    }

private:
    CounterPlan Failed(std::string remedy)
    {
        plan.remedy = std::move(remedy);
        plan.pmus.clear();
        return std::move(plan);
    }

    void Remark(std::string remark)
    {
        if (plan.remarks.size() < MAX_REMARKS) {
            plan.remarks.push_back(std::move(remark));
        }
    }

    bool CheckMappings()
    {
        unmapped = UncoreEventNames();
        const std::vector<std::string> known = unmapped;
        for (const EventMapping& mapping : options.mappings) {
            if (!IsIn(known, mapping.eventName)) {
                plan.error = UnknownNameMessage(options, mapping);
                return false;
            }
            const auto left = std::find(unmapped.begin(), unmapped.end(), mapping.eventName);
            if (left == unmapped.end()) {
                plan.error = MappedTwiceMessage(options, mapping);
                return false;
            }
            unmapped.erase(left);
        }
        return true;
    }

    bool AddMapping(const EventMapping& mapping, const std::vector<std::string>& names)
    {
        const EventSelectorResult parsed = ParseEventSelector(mapping.target);
        if (!parsed.error.empty()) {
            plan.error = MappingMessage(options, mapping, parsed.error);
            return false;
        }
        const std::vector<std::string> matches = MatchPmus(names, parsed.selector.pmu);
        if (matches.empty()) {
            plan.error = NoSuchPmuMessage(options, mapping, parsed.selector.pmu, names);
            return false;
        }
        for (const std::string& name : matches) {
            const Pmu pmu = ReadPmu(options.sysfsRoot, name);
            plan.error = pmu.error;
            if (plan.error.empty()) {
                plan.error = AddEvent(pmu, mapping.eventName, parsed.selector.terms, mapping.target);
            }
            if (!plan.error.empty()) {
                plan.error = MappingMessage(options, mapping, plan.error);
                return false;
            }
        }
        return true;
    }

    bool AddFound(const PmuScan& scan)
    {
        std::vector<std::string> reasons;
        for (const Pmu& pmu : scan.unusable) {
            reasons.push_back(pmu.missing.empty() ? UnusableMessage(pmu) : PartialPmuMessage(pmu, unmapped));
        }
        std::size_t found = 0;
        for (const Pmu& pmu : scan.usable) {
            const std::string problem = AddNamedEvents(pmu);
            if (problem.empty()) {
                ++found;
            } else {
                reasons.push_back("PMU " + EscapeText(pmu.name, 96) + " cannot be used: " + problem);
            }
        }
        if (found == 0) {
            plan.error = NothingFoundMessage(options, unmapped, reasons);
            return false;
        }
        for (const std::string& reason : reasons) {
            Remark(reason);
        }
        return true;
    }

    /// All events that are looked up by their own names, or none and the reason.
    std::string AddNamedEvents(const Pmu& pmu)
    {
        const std::vector<PlannedPmu> before = plan.pmus;
        for (const std::string& event : unmapped) {
            EventTerm term;
            term.name = event;
            term.bare = true;
            term.value = 1;
            std::string problem = AddEvent(pmu, event, {term}, pmu.name + "/" + event + "/");
            if (!problem.empty()) {
                plan.pmus = before;
                return problem;
            }
        }
        return {};
    }

    std::string AddEvent(const Pmu& pmu, const std::string& eventName, const std::vector<EventTerm>& terms,
                         const std::string& owner)
    {
        std::vector<EventTerm> expanded;
        std::vector<EventTerm> own;
        for (const EventTerm& term : terms) {
            if (!term.bare || !IsIn(pmu.events, term.name)) {
                own.push_back(term);
                continue;
            }
            const EventTermsResult event = ReadEvent(pmu, term.name);
            if (!event.error.empty()) {
                return event.error;
            }
            expanded.insert(expanded.end(), event.terms.begin(), event.terms.end());
        }
        // What the user wrote comes last and counts.
        expanded.insert(expanded.end(), own.begin(), own.end());
        const EventConfigResult encoded = EncodeTerms(expanded, ReadFormats(pmu), owner);
        if (!encoded.error.empty()) {
            return encoded.error;
        }
        std::vector<std::uint32_t> cpus = ChooseCpus(pmu.facts, online, options.everyCpu);
        if (cpus.empty()) {
            return NoCpuMessage(pmu.name);
        }
        auto planned = std::find_if(plan.pmus.begin(), plan.pmus.end(),
                                    [&](const PlannedPmu& candidate) { return candidate.name == pmu.name; });
        if (planned == plan.pmus.end()) {
            plan.pmus.push_back({pmu.name, pmu.directory, pmu.facts, std::move(cpus), {}, {}});
            planned = std::prev(plan.pmus.end());
        }
        planned->eventNames.push_back(eventName);
        planned->events.push_back({pmu.name + "/" + eventName + "/", encoded.config});
        return {};
    }

    void Finish()
    {
        std::sort(plan.pmus.begin(), plan.pmus.end(),
                  [](const PlannedPmu& a, const PlannedPmu& b) { return NaturalLess(a.name, b.name); });
        for (PlannedPmu& pmu : plan.pmus) {
            SortEvents(pmu);
            if (pmu.facts.scope != CpuScope::MASK) {
                Remark(options.everyCpu ? EveryCpuMessage(pmu) : OneCpuMessage(pmu));
            }
        }
    }

    /// The order of the three, however the mappings were given.
    static void SortEvents(PlannedPmu& pmu)
    {
        PlannedPmu sorted = pmu;
        sorted.eventNames.clear();
        sorted.events.clear();
        for (const std::string_view name : UNCORE_EVENTS) {
            for (std::size_t i = 0; i < pmu.eventNames.size(); ++i) {
                if (pmu.eventNames[i] == name) {
                    sorted.eventNames.push_back(pmu.eventNames[i]);
                    sorted.events.push_back(pmu.events[i]);
                }
            }
        }
        pmu = std::move(sorted);
    }

    const LiveOptions& options;
    std::vector<std::uint32_t> online;
    std::vector<std::string> unmapped;
    CounterPlan plan;
};

}  // namespace

std::size_t CounterPlan::CounterCount() const
{
    std::size_t count = 0;
    for (const PlannedPmu& pmu : pmus) {
        count += pmu.cpus.size() * pmu.events.size();
    }
    return count;
}

CounterPlan PlanCounters(const LiveOptions& options)
{
    return Planner(options).Plan();
}

std::vector<std::uint32_t> ChooseCpus(const PmuFacts& facts, const std::vector<std::uint32_t>& online,
                                      bool everyCpu)
{
    if (facts.scope == CpuScope::MASK) {
        return facts.cpus;
    }
    std::vector<std::uint32_t> cpus;
    if (facts.scope == CpuScope::CPUS) {
        std::set_intersection(facts.cpus.begin(), facts.cpus.end(), online.begin(), online.end(),
                              std::back_inserter(cpus));
    } else {
        cpus = online;
    }
    if (!everyCpu && cpus.size() > 1) {
        cpus.resize(1);
    }
    return cpus;
}

std::vector<std::uint32_t> OnlineCpusOrFirst(const std::string& sysfsRoot)
{
    CpuListResult online = ReadOnlineCpus(sysfsRoot);
    if (online.cpus.empty()) {
        return {0};
    }
    return std::move(online.cpus);
}

std::string PartialPmuMessage(const Pmu& pmu, const std::vector<std::string>& wanted)
{
    std::vector<std::string> has;
    for (const std::string& event : wanted) {
        if (!IsIn(pmu.missing, event)) {
            has.push_back(event);
        }
    }
    return "PMU " + EscapeText(pmu.name, 96) + " has " + Join(has) + " but lacks " + Join(pmu.missing);
}

}  // namespace host
