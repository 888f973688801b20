// SPDX-License-Identifier: MIT

#include "tools/tnstat/exposition.h"

#include <algorithm>
#include <utility>

#include <prometheus/text_serializer.h>

#include "tools/tnstat/quality.h"
#include "tools/tnstat/text.h"
#include "tools/tnstat/version.h"

namespace tnstat {
namespace {

using prometheus::ClientMetric;
using prometheus::MetricFamily;
using prometheus::MetricType;
using Labels = std::vector<ClientMetric::Label>;

constexpr double BYTES_PER_KB = 1024.0;
constexpr double SECONDS_PER_MS = 1e-3;
constexpr double SECONDS_PER_US = 1e-6;
constexpr double SECONDS_PER_NS = 1e-9;

MetricFamily Family(const char* name, const char* help, MetricType type)
{
    MetricFamily family;
    family.name = name;
    family.help = help;
    family.type = type;
    return family;
}

void Add(MetricFamily& family, double value, Labels labels = {})
{
    ClientMetric metric;
    metric.label = std::move(labels);
    (family.type == MetricType::Counter ? metric.counter.value : metric.gauge.value) = value;
    family.metric.push_back(std::move(metric));
}

MetricFamily Gauge(const char* name, const char* help, double value)
{
    MetricFamily family = Family(name, help, MetricType::Gauge);
    Add(family, value);
    return family;
}

MetricFamily BuildInfo()
{
    MetricFamily family = Family(
        "tarnix_build_info", "Version and source revision of this exporter; always 1.", MetricType::Gauge);
    Add(family, 1, {{"version", ProgramVersion()}, {"revision", SourceRevision()}});
    return family;
}

MetricFamily Loops(const SystemMetrics& record)
{
    MetricFamily family =
        Family("tarnix_loops_total", "Tune periods since tarnix started.", MetricType::Counter);
    Add(family, static_cast<double>(record.loopCnt));
    return family;
}

MetricFamily QualityFlags(const SystemMetrics& record)
{
    MetricFamily family = Family("tarnix_score_quality_flags",
                                 "1 for each reason to doubt the score, 0 otherwise.", MetricType::Gauge);
    for (const auto& [flag, isSet] : ScoreQuality(record.uncore)) {
        Add(family, isSet ? 1 : 0, {{"flag", flag}});
    }
    return family;
}

MetricFamily MigratedBetweenNodes(const SystemMetrics& record, int nodes)
{
    MetricFamily family =
        Family("tarnix_mem_migrated_node_bytes",
               "Memory moved from one node to another in the last interval.", MetricType::Gauge);
    for (int source = 0; source < nodes; ++source) {
        for (int target = 0; target < nodes; ++target) {
            Add(family, record.mem.migrateMatrix[source][target] * BYTES_PER_KB,
                {{"source_node", std::to_string(source)}, {"target_node", std::to_string(target)}});
        }
    }
    return family;
}

MetricFamily PerNode(const char* name, const char* help, const std::uint32_t (&kb)[METRICS_MAX_NODES],
                     int nodes)
{
    MetricFamily family = Family(name, help, MetricType::Gauge);
    for (int node = 0; node < nodes; ++node) {
        Add(family, kb[node] * BYTES_PER_KB, {{"node", std::to_string(node)}});
    }
    return family;
}

void AddRecord(std::vector<MetricFamily>& families, const SystemMetrics& record)
{
    const int nodes = std::clamp(record.numaNum, 0, METRICS_MAX_NODES);
    const UncoreMetrics& uncore = record.uncore;
    const TaskMetrics& task = record.task;
    const MemMetrics& mem = record.mem;
    families.push_back(Loops(record));
    families.push_back(Gauge("tarnix_numa_nodes", "Configured NUMA nodes.", record.numaNum));
    families.push_back(
        Gauge("tarnix_page_size_bytes", "Size of a memory page.", record.pageSizeKb * BYTES_PER_KB));
    families.push_back(
        Gauge("tarnix_numa_score_ratio",
              "Share of memory operations that stayed on their node in the last interval; 1 as well "
              "when there were none.",
              DecimalDouble(uncore.numaScore)));
    families.push_back(QualityFlags(record));
    families.push_back(Gauge("tarnix_uncore_interval_seconds", "Time that the uncore counts cover.",
                             static_cast<double>(uncore.interval) * SECONDS_PER_MS));
    families.push_back(Gauge("tarnix_uncore_rx_ops", "Memory operations received in the last interval.",
                             static_cast<double>(uncore.rxOpsNum)));
    families.push_back(Gauge("tarnix_uncore_rx_outer",
                             "Of these, operations from another socket in the last interval.",
                             static_cast<double>(uncore.rxOuterNum)));
    families.push_back(Gauge("tarnix_uncore_rx_sccl",
                             "Of these, operations from another die of the socket in the last interval.",
                             static_cast<double>(uncore.rxScclNum)));
    families.push_back(Gauge("tarnix_threads", "Threads seen in the last interval.", task.threadsNum));
    families.push_back(
        Gauge("tarnix_threads_bind_success", "Threads bound in the last interval.", task.bindSuccessNum));
    families.push_back(Gauge("tarnix_threads_bind_failed",
                             "Threads that could not be bound in the last interval.", task.bindFailNum));
    families.push_back(Gauge("tarnix_task_migrate_duration_seconds",
                             "Time spent on moving threads in the last interval.",
                             task.migrateCostTimeUs * SECONDS_PER_US));
    families.push_back(Gauge("tarnix_mem_migrated_bytes", "Memory moved in the last interval.",
                             mem.migratedKb * BYTES_PER_KB));
    families.push_back(Gauge("tarnix_mem_nonmigrated_bytes",
                             "Memory that was looked at and left in the last interval.",
                             mem.nonmigratedKb * BYTES_PER_KB));
    families.push_back(Gauge("tarnix_mem_migrate_failed_bytes",
                             "Memory that could not be moved in the last interval.",
                             mem.failedKb * BYTES_PER_KB));
    families.push_back(Gauge("tarnix_mem_migrate_failed_processes",
                             "Processes whose memory could not be moved in the last interval.",
                             mem.failedProcessNum));
    families.push_back(Gauge("tarnix_mem_migrate_duration_seconds",
                             "Time spent on moving memory in the last interval.",
                             mem.migrateCostTimeUs * SECONDS_PER_US));
    if (nodes > 0) {
        families.push_back(MigratedBetweenNodes(record, nodes));
        families.push_back(
            PerNode("tarnix_node_memory_free_bytes", "Free memory of the node.", mem.freeMemKb, nodes));
        families.push_back(PerNode("tarnix_node_memory_migrate_given_up_bytes",
                                   "Memory of the node whose move was given up in the last interval.",
                                   mem.giveUpKb, nodes));
    }
}

}  // namespace

std::vector<MetricFamily> MetricFamilies(const Reading& reading)
{
    std::vector<MetricFamily> families;
    families.push_back(BuildInfo());
    families.push_back(Gauge("tarnix_up",
                             "1 when the metrics file could be read and its figures are possible.",
                             reading.IsGood()));
    if (reading.stamp != FileStamp()) {
        families.push_back(Gauge("tarnix_metrics_file_mtime_timestamp_seconds",
                                 "When the metrics file was written, in seconds since 1970.",
                                 static_cast<double>(reading.stamp.modifiedNs) * SECONDS_PER_NS));
    }
    if (reading.IsGood()) {
        AddRecord(families, reading.record);
    }
    return families;
}

std::string ExpositionText(const Reading& reading)
{
    return prometheus::TextSerializer().Serialize(MetricFamilies(reading));
}

}  // namespace tnstat
