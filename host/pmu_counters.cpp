// SPDX-License-Identifier: MIT

#include "host/pmu_counters.h"

#include <algorithm>

#include "host/cpu_list.h"
#include "host/escape.h"

namespace host {
namespace {

constexpr std::int64_t RETRY_NS = 1000000000;     // between attempts to open lost counters
constexpr std::int64_t REFRESH_NS = 60000000000;  // between looks at the cpumask without a cause
constexpr std::size_t MAX_REMARKS = 32;

std::string DroppedRemarksMessage(std::uint64_t dropped)
{
    return std::to_string(dropped) + " more remarks were left out";
}

std::string OnCpu(const PlannedPmu& pmu, std::uint32_t cpu)
{
    return "PMU " + EscapeText(pmu.name, 96) + " on CPU " + std::to_string(cpu);
}

std::string OpenedMessage(const PlannedPmu& pmu, std::uint32_t cpu)
{
    return OnCpu(pmu, cpu) + ": counters were opened";
}

std::string BackwardsMessage(const PlannedPmu& pmu, std::uint32_t cpu)
{
    return OnCpu(pmu, cpu) + ": a counter stepped back, counting starts anew and this interval is left out";
}

std::string CpusChangedMessage(const PlannedPmu& pmu, const std::vector<std::uint32_t>& cpus)
{
    return "PMU " + EscapeText(pmu.name, 96) + ": CPUs that it is read from changed from " +
           FormatCpuList(pmu.cpus) + " to " + FormatCpuList(cpus);
}

std::string TypeChangedMessage(const PlannedPmu& pmu, std::uint32_t type)
{
    return "PMU " + EscapeText(pmu.name, 96) + ": type changed from " + std::to_string(pmu.facts.type) +
           " to " + std::to_string(type) + ", all its counters are opened again";
}

std::string FactsMessage(const PlannedPmu& pmu, const std::string& error)
{
    return "PMU " + EscapeText(pmu.name, 96) + ": " + error + "; what was known of it is kept";
}

std::uint64_t AddSaturated(std::uint64_t a, std::uint64_t b)
{
    return a > std::numeric_limits<std::uint64_t>::max() - b ? std::numeric_limits<std::uint64_t>::max()
                                                             : a + b;
}

}  // namespace

void RemarkList::Add(std::string remark)
{
    if (remarks.size() < MAX_REMARKS) {
        remarks.push_back(std::move(remark));
    } else {
        ++dropped;
    }
}

std::vector<std::string> RemarkList::Take()
{
    std::vector<std::string> taken;
    taken.swap(remarks);
    if (dropped > 0) {
        taken.push_back(DroppedRemarksMessage(dropped));
        dropped = 0;
    }
    return taken;
}

PmuCounters::PmuCounters(PlannedPmu planned, const LiveOptions& liveOptions, PerfApi& perfApi,
                         RemarkList& remarkList)
    : plan(std::move(planned)),
      options(liveOptions),
      api(perfApi),
      remarks(remarkList),
      sums(plan.events.size())
{
    PlaceReaders();
}

void PmuCounters::Open()
{
    std::string first;
    for (Reader& reader : readers) {
        std::string problem = OpenReader(reader);
        if (!problem.empty()) {
            reader.complained = true;
            first = first.empty() ? problem : first;
            remarks.Add(std::move(problem));
        }
    }
    if (!first.empty()) {
        lastError = first;
    }
}

bool PmuCounters::IsOpen() const
{
    return std::any_of(readers.begin(), readers.end(),
                       [](const Reader& reader) { return reader.counters != nullptr; });
}

std::string PmuCounters::OpenReader(Reader& reader)
{
    auto counters = std::make_unique<CounterSet>(api);
    std::string problem = counters->Open(plan.facts.type, reader.cpu, plan.events);
    if (problem.empty()) {
        problem = counters->Read(reader.previous);
    }
    if (problem.empty()) {
        reader.counters = std::move(counters);
    } else {
        lastError = problem;
    }
    return problem;
}

void PmuCounters::Read(CounterBatch& batch)
{
    std::fill(sums.begin(), sums.end(), Sum());
    for (Reader& reader : readers) {
        ReadReader(reader, batch);
    }
    AppendSamples(batch);
}

void PmuCounters::ReadReader(Reader& reader, CounterBatch& batch)
{
    const auto events = static_cast<std::uint32_t>(plan.events.size());
    if (!reader.counters) {
        batch.missing += events;
        return;
    }
    std::string problem = reader.counters->Read(readings);
    if (!problem.empty()) {
        batch.missing += events;
        suspicious = true;
        reader.counters.reset();
        reader.triedNs = NEVER;
        lastError = problem;
        remarks.Add(std::move(problem));
        return;
    }
    if (SteppedBack(reader)) {
        batch.missing += events;
        reader.previous.swap(readings);
        remarks.Add(BackwardsMessage(plan, reader.cpu));
        return;
    }
    for (std::size_t i = 0; i < sums.size(); ++i) {
        const CounterReading delta = {readings[i].value - reader.previous[i].value,
                                      readings[i].enabledNs - reader.previous[i].enabledNs,
                                      readings[i].runningNs - reader.previous[i].runningNs};
        sums[i].enabledNs = AddSaturated(sums[i].enabledNs, delta.enabledNs);
        if (delta.runningNs == 0) {
            ++batch.notCounted;
            // A counter that is not even enabled any more belongs to a CPU that went offline.
            suspicious = suspicious || delta.enabledNs == 0;
            continue;
        }
        sums[i].counted = true;
        sums[i].count = AddSaturated(sums[i].count, ScaleCount(delta));
        sums[i].runningNs = AddSaturated(sums[i].runningNs, delta.runningNs);
    }
    reader.previous.swap(readings);
}

bool PmuCounters::SteppedBack(const Reader& reader) const
{
    for (std::size_t i = 0; i < readings.size(); ++i) {
        const CounterReading& before = reader.previous[i];
        if (readings[i].value < before.value || readings[i].enabledNs < before.enabledNs ||
            readings[i].runningNs < before.runningNs) {
            return true;
        }
    }
    return false;
}

void PmuCounters::AppendSamples(CounterBatch& batch) const
{
    for (std::size_t i = 0; i < sums.size(); ++i) {
        const Sum& sum = sums[i];
        if (!sum.counted) {
            continue;
        }
        CounterSample sample;
        sample.eventName = plan.events[i].label.c_str();
        sample.pmuName = plan.name;
        sample.count = sum.count;
        sample.runningRatio = sum.runningNs >= sum.enabledNs
                                  ? 1.0
                                  : static_cast<double>(sum.runningNs) / static_cast<double>(sum.enabledNs);
        batch.samples.push_back(sample);
    }
}

void PmuCounters::Repair(std::int64_t now)
{
    const bool lost = std::any_of(readers.begin(), readers.end(),
                                  [](const Reader& reader) { return reader.counters == nullptr; });
    const std::int64_t patience = suspicious || lost ? RETRY_NS : REFRESH_NS;
    const bool newlyLost = std::any_of(readers.begin(), readers.end(), [&](const Reader& reader) {
        return reader.counters == nullptr && now - reader.triedNs >= RETRY_NS;
    });
    if (!newlyLost && now - refreshedNs < patience) {
        return;
    }
    refreshedNs = now;
    suspicious = false;
    RefreshFacts();
    for (Reader& reader : readers) {
        if (reader.counters == nullptr && now - reader.triedNs >= RETRY_NS) {
            Reopen(reader, now);
        }
    }
}

void PmuCounters::RefreshFacts()
{
    PmuFacts facts = ReadPmuFacts(plan.directory);
    std::string problem = facts.error;
    std::vector<std::uint32_t> cpus;
    if (problem.empty()) {
        cpus = ChooseCpus(facts, OnlineCpusOrFirst(options.sysfsRoot), options.everyCpu);
    }
    if (problem != factsProblem && !problem.empty()) {
        remarks.Add(FactsMessage(plan, problem));
    }
    factsProblem = std::move(problem);
    if (!factsProblem.empty() || cpus.empty()) {
        return;
    }
    if (facts.type != plan.facts.type) {
        remarks.Add(TypeChangedMessage(plan, facts.type));
        readers.clear();
    }
    if (cpus != plan.cpus) {
        remarks.Add(CpusChangedMessage(plan, cpus));
    }
    plan.facts = std::move(facts);
    plan.cpus = std::move(cpus);
    PlaceReaders();
}

/// One reader for each CPU of the plan; those that are already there keep their counters.
void PmuCounters::PlaceReaders()
{
    std::vector<Reader> placed;
    for (const std::uint32_t cpu : plan.cpus) {
        const auto old = std::find_if(readers.begin(), readers.end(),
                                      [cpu](const Reader& reader) { return reader.cpu == cpu; });
        if (old != readers.end()) {
            placed.push_back(std::move(*old));
            continue;
        }
        placed.emplace_back();
        placed.back().cpu = cpu;
    }
    readers = std::move(placed);
}

void PmuCounters::Reopen(Reader& reader, std::int64_t now)
{
    reader.triedNs = now;
    std::string problem = OpenReader(reader);
    if (problem.empty()) {
        reader.complained = false;
        remarks.Add(OpenedMessage(plan, reader.cpu));
    } else if (!reader.complained) {
        reader.complained = true;
        remarks.Add(std::move(problem));
    }
}

}  // namespace host
