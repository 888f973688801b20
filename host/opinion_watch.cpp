// SPDX-License-Identifier: MIT

#include "host/opinion_watch.h"

#include <utility>

namespace host {

OpinionWatch::OpinionWatch(const std::string& sysfsRoot, const std::string& procfsRoot)
    : kernel(sysfsRoot, procfsRoot), readings(1)
{
}

void OpinionWatch::Start(std::int64_t nowNs)
{
    first = Reading(nowNs);
    readings.assign(1, first);
}

void OpinionWatch::AddTraffic(std::uint64_t ops, std::uint64_t sccl, std::uint64_t outer)
{
    traffic.ops += static_cast<double>(ops);
    traffic.sccl += static_cast<double>(sccl);
    traffic.outer += static_cast<double>(outer);
}

bool OpinionWatch::ReadInTime(std::int64_t nowNs)
{
    if (nowNs - readings.back().timeNs < READ_NS - EARLY_NS) {
        return false;
    }
    ReadNow(nowNs);
    return true;
}

void OpinionWatch::ReadNow(std::int64_t nowNs)
{
    readings.push_back(Reading(nowNs));
    lastStep = CompareOpinions(readings[readings.size() - 2], readings.back());
    while (readings.size() > 2 && nowNs - readings[1].timeNs >= WINDOW_NS) {
        readings.pop_front();
    }
    window = CompareOpinions(readings.front(), readings.back());
    Judge(nowNs);
}

OpinionReading OpinionWatch::Reading(std::int64_t nowNs)
{
    kernel.Read();
    return {nowNs, traffic, kernel.Totals()};
}

void OpinionWatch::Judge(std::int64_t nowNs)
{
    if (IsDisagreement(window.opinion)) {
        disagreedNs = nowNs;
        if (!std::exchange(disagrees, true)) {
            change = Change::BEGAN;
        }
    } else if (disagrees && nowNs - disagreedNs >= WINDOW_NS) {
        disagrees = false;
        change = Change::ENDED;
    }
}

std::optional<OpinionWatch::Change> OpinionWatch::TakeChange()
{
    return std::exchange(change, std::nullopt);
}

}  // namespace host
