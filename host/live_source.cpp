// SPDX-License-Identifier: MIT

#include "host/live_source.h"

#include <algorithm>
#include <limits>

#include "host/clock.h"
#include "host/counter_plan.h"
#include "host/escape.h"
#include "host/perf_events.h"
#include "host/pmu_counters.h"

namespace host {
namespace {

constexpr std::int64_t NS_PER_MS = 1000000;

std::string NothingLeftMessage(const std::string& lastError)
{
    return "no counter can be read any more: " + lastError;
}

std::int32_t ToMs(std::int64_t ns)
{
    const std::int64_t ms = (ns + NS_PER_MS / 2) / NS_PER_MS;
    return static_cast<std::int32_t>(
        std::clamp<std::int64_t>(ms, 0, std::numeric_limits<std::int32_t>::max()));
}

class LiveSource : public CounterSource {
public:
    LiveSource(const LiveOptions& liveOptions, CounterPlan plan, PerfApi& perfApi, Clock& hostClock)
        : options(liveOptions), clock(hostClock)
    {
        for (std::string& remark : plan.remarks) {
            remarks.Add(std::move(remark));
        }
        for (PlannedPmu& pmu : plan.pmus) {
            pmus.push_back(std::make_unique<PmuCounters>(std::move(pmu), options, perfApi, remarks));
        }
    }

    /// Opens all counters. Empty when each of the three events is counted somewhere.
    std::string Start()
    {
        for (const auto& pmu : pmus) {
            pmu->Open();
        }
        startNs = clock.NowNs();
        previousNs = startNs;
        for (const auto& pmu : pmus) {
            pmu->SetStart(startNs);
        }
        for (const std::string_view event : UNCORE_EVENTS) {
            std::string problem = WhyNotCounted(event);
            if (!problem.empty()) {
                return problem;
            }
        }
        return {};
    }

    std::string Describe() const override
    {
        std::size_t counters = 0;
        std::string names;
        for (std::size_t i = 0; i < pmus.size(); ++i) {
            counters += pmus[i]->CounterCount();
            if (i < 4) {
                names += (i == 0 ? "" : ", ") + EscapeText(pmus[i]->Plan().name, 64);
            }
        }
        return "live: " + std::to_string(counters) + (counters == 1 ? " counter" : " counters") + " of " +
               std::to_string(pmus.size()) + (pmus.size() == 1 ? " PMU (" : " PMUs (") + names +
               (pmus.size() > 4 ? ", ...)" : ")");
    }

    bool IsLive() const override { return true; }

    Status Read(CounterBatch& batch) override
    {
        batch.Clear();
        if (!error.empty()) {
            return Status::FAILED;
        }
        const std::int64_t now = clock.NowNs();
        batch.timeNs = now - startNs;
        batch.intervalMs = ToMs(now - previousNs);
        previousNs = now;
        for (const auto& pmu : pmus) {
            pmu->Read(batch);
        }
        // Only now: what counters had counted before they are replaced is in the batch.
        for (const auto& pmu : pmus) {
            pmu->Repair(now);
        }
        if (std::none_of(pmus.begin(), pmus.end(), [](const auto& pmu) { return pmu->IsOpen(); })) {
            error = NothingLeftMessage(LastError());
            batch.Clear();
            return Status::FAILED;
        }
        return Status::BATCH;
    }

    std::string Error() const override { return error; }

    std::vector<std::string> TakeRemarks() override { return remarks.Take(); }

private:
    /// Empty when some PMU counts the event, else what kept those that should.
    std::string WhyNotCounted(std::string_view event) const
    {
        std::string problem;
        for (const auto& pmu : pmus) {
            const std::vector<std::string>& names = pmu->Plan().eventNames;
            if (std::find(names.begin(), names.end(), event) == names.end()) {
                continue;
            }
            if (pmu->IsOpen()) {
                return {};
            }
            problem = problem.empty() ? pmu->LastError() : problem;
        }
        return problem;
    }

    std::string LastError() const
    {
        for (const auto& pmu : pmus) {
            if (!pmu->LastError().empty()) {
                return pmu->LastError();
            }
        }
        return {};
    }

    const LiveOptions options;
    Clock& clock;
    RemarkList remarks;
    std::vector<std::unique_ptr<PmuCounters>> pmus;
    std::int64_t startNs = 0;
    std::int64_t previousNs = 0;
    std::string error;
};

}  // namespace

SourceResult OpenLiveSource(const LiveOptions& options, PerfApi& api, Clock& clock)
{
    CounterPlan plan = PlanCounters(options);
    if (!plan.error.empty()) {
        return {nullptr, plan.remedy.empty() ? plan.error : plan.error + "; " + plan.remedy};
    }
    auto source = std::make_unique<LiveSource>(options, std::move(plan), api, clock);
    std::string problem = source->Start();
    if (!problem.empty()) {
        return {nullptr, std::move(problem)};
    }
    return {std::move(source), ""};
}

SourceResult OpenLiveSource(const LiveOptions& options)
{
    static MonotonicClock clock;
    return OpenLiveSource(options, SystemPerfApi(), clock);
}

}  // namespace host
