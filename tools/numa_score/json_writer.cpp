// SPDX-License-Identifier: MIT

#include "tools/numa_score/json_writer.h"

#include <optional>
#include <string>
#include <utility>

#include <nlohmann/json.hpp>

#include "tools/numa_score/text_format.h"

namespace numa_score {
namespace {

using Json = nlohmann::ordered_json;

Json OrNull(std::optional<double> value)
{
    return value ? Json(*value) : Json(nullptr);
}

Json TimeOf(const PeriodRow& row)
{
    if (row.timeKind == TimeKind::RECORDED) {
        return static_cast<double>(row.timeNs) / 1e9;
    }
    std::string text;
    AppendUtc(text, row.timeNs);
    return text;
}

void AddFigures(Json& object, float score, const Traffic& traffic, std::int64_t intervalMs,
                double runningRatio)
{
    object["score"] = WithDigitsOf(score);
    object["ops"] = traffic.ops;
    object["sccl"] = traffic.sccl;
    object["outer"] = traffic.outer;
    object["interval_ms"] = intervalMs;
    object["ops_per_ms"] = OrNull(OpsPerMs(traffic, intervalMs));
    object["remote_share"] = OrNull(RemoteShare(traffic));
    object["cross_die_share"] = OrNull(CrossDieShare(traffic));
    object["running_ratio"] = runningRatio;
}

Json FlagList(QualityFlags flags)
{
    Json list = Json::array();
    for (std::size_t i = 0; i < QUALITY_COUNT; ++i) {
        if (flags.Has(static_cast<Quality>(i))) {
            list.push_back(QUALITY_NAMES[i]);
        }
    }
    return list;
}

Json NodeObject(const host::NodeTotals& node)
{
    Json object;
    object["node"] = node.node;
    object["online"] = node.online;
    object["numa_hit"] = node.counts.hit;
    object["numa_miss"] = node.counts.miss;
    object["numa_foreign"] = node.counts.foreign;
    object["interleave_hit"] = node.counts.interleave;
    object["local_node"] = node.counts.local;
    object["other_node"] = node.counts.other;
    return object;
}

/// What is not counted is null.
Json KernelObject(const host::OpinionReport& report, host::Opinion opinion)
{
    constexpr std::int64_t NS_PER_MS = 1000000;
    const host::KernelTotals& kernel = report.kernel;
    Json object;
    object["interval_ms"] = report.spanNs / NS_PER_MS;
    object["opinion"] = host::OpinionName(opinion);
    object["remote_allocation_share"] = OrNull(report.shares.remoteAllocations);
    object["miss_share"] = OrNull(report.shares.misses);
    object["remote_hint_fault_share"] = OrNull(report.shares.remoteHintFaults);
    object["nodes"] = nullptr;
    if (kernel.nodesCounted) {
        object["nodes"] = Json::array();
        for (const host::NodeTotals& node : kernel.nodes) {
            object["nodes"].push_back(NodeObject(node));
        }
    }
    const bool hints = kernel.hintsCounted;
    object["numa_hint_faults"] = hints ? Json(kernel.hints.faults) : Json(nullptr);
    object["numa_hint_faults_local"] = hints ? Json(kernel.hints.local) : Json(nullptr);
    object["numa_pages_migrated"] = hints ? Json(kernel.hints.migrated) : Json(nullptr);
    return object;
}

}  // namespace

void JsonWriter::Write(const PeriodRow& row)
{
    Json object;
    object["time"] = TimeOf(row);
    AddFigures(object, row.score, row.traffic, row.intervalMs, row.runningRatio);
    object["flags"] = FlagList(row.flags);
    if (withPmus) {
        Json pmus = Json::array();
        for (const PmuRow& pmu : row.pmus) {
            Json entry;
            entry["pmu"] = pmu.name;
            AddFigures(entry, pmu.score, pmu.traffic, row.intervalMs, pmu.runningRatio);
            pmus.push_back(std::move(entry));
        }
        object["pmus"] = std::move(pmus);
    }
    if (row.kernel != nullptr) {
        object["kernel"] = KernelObject(*row.kernel, row.opinion);
    }
    // Names out of a recording may be any bytes.
    out.Buffer() += object.dump(-1, ' ', false, Json::error_handler_t::replace);
    out.Buffer() += '\n';
    out.Commit();
}

}  // namespace numa_score
