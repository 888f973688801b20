// SPDX-License-Identifier: MIT

#include "tools/tnstat/state_json.h"

#include <algorithm>

#include <nlohmann/json.hpp>

#include "tools/tnstat/quality.h"
#include "tools/tnstat/text.h"

namespace tnstat {
namespace {

using nlohmann::ordered_json;

constexpr double SECONDS_PER_NS = 1e-9;
constexpr double MS_PER_SECOND = 1e3;
constexpr std::int64_t NS_PER_MS = 1000000;
constexpr std::uint64_t BYTES_PER_KB = 1024;

/// Dumps come every tune period, seconds apart; one that is older than this, and than a few of its own
/// periods, is worth a warning.
constexpr std::int64_t STALE_NS = 30000000000;
constexpr std::int64_t STALE_PERIODS = 3;

/// The longest period that can be configured is 100 s, 1000 times.
constexpr std::uint64_t LONGEST_PERIOD_MS = 100000000;

std::int64_t StaleAfterNs(const Reading& reading)
{
    const auto period = static_cast<std::int64_t>(
        std::min(reading.IsGood() ? reading.record.uncore.interval : 0, LONGEST_PERIOD_MS));
    return std::max(STALE_NS, STALE_PERIODS * period * NS_PER_MS);
}

ordered_json Nodes(const SystemMetrics& record, int count)
{
    ordered_json nodes = ordered_json::array();
    for (int node = 0; node < count; ++node) {
        nodes.push_back({{"free_bytes", record.mem.freeMemKb[node] * BYTES_PER_KB},
                         {"given_up_bytes", record.mem.giveUpKb[node] * BYTES_PER_KB}});
    }
    return nodes;
}

ordered_json Matrix(const SystemMetrics& record, int count)
{
    ordered_json rows = ordered_json::array();
    for (int source = 0; source < count; ++source) {
        ordered_json row = ordered_json::array();
        for (int target = 0; target < count; ++target) {
            row.push_back(record.mem.migrateMatrix[source][target] * BYTES_PER_KB);
        }
        rows.push_back(std::move(row));
    }
    return rows;
}

ordered_json Flags(const UncoreMetrics& uncore)
{
    ordered_json flags = ordered_json::array();
    for (const auto& [flag, isSet] : ScoreQuality(uncore)) {
        if (isSet) {
            flags.push_back(flag);
        }
    }
    return flags;
}

double OperationsPerSecond(const UncoreMetrics& uncore)
{
    if (uncore.interval == 0) {
        return 0.0;
    }
    return static_cast<double>(uncore.rxOpsNum) / static_cast<double>(uncore.interval) * MS_PER_SECOND;
}

ordered_json Points(const History& history)
{
    ordered_json points = ordered_json::array();
    for (const History::Point& point : history.Points()) {
        ordered_json score =
            point.hadOperations ? ordered_json(DecimalDouble(point.score)) : ordered_json(nullptr);
        points.push_back({point.timeNs / NS_PER_MS, std::move(score)});
    }
    return points;
}

}  // namespace

std::string StateJson(const Reading& reading, const History& history, std::int64_t nowNs)
{
    ordered_json state;
    state["up"] = reading.IsGood();
    state["fault"] = reading.fault;
    state["now_ms"] = nowNs / NS_PER_MS;
    if (reading.stamp != FileStamp()) {
        const std::int64_t age = nowNs - reading.stamp.modifiedNs;
        state["age_seconds"] = static_cast<double>(age) * SECONDS_PER_NS;
        state["stale"] = age > StaleAfterNs(reading);
    } else {
        state["age_seconds"] = nullptr;
        state["stale"] = true;
    }
    if (reading.IsGood()) {
        const SystemMetrics& record = reading.record;
        const int nodes = std::clamp(record.numaNum, 0, METRICS_MAX_NODES);
        state["score"] = DecimalDouble(record.uncore.numaScore);
        state["operations_per_second"] = OperationsPerSecond(record.uncore);
        state["flags"] = Flags(record.uncore);
        state["loops"] = record.loopCnt;
        state["nodes"] = Nodes(record, nodes);
        state["migrated_bytes"] = Matrix(record, nodes);
    }
    state["history"] = Points(history);
    // A path that is no UTF-8 may stand in the fault.
    return state.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
}

}  // namespace tnstat
