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
    // Names out of a recording may be any bytes.
    out.Buffer() += object.dump(-1, ' ', false, Json::error_handler_t::replace);
    out.Buffer() += '\n';
    out.Commit();
}

}  // namespace numa_score
