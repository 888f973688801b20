// SPDX-License-Identifier: MIT
//
// Any bytes as a metrics file. The first byte says whether the rest is taken as it is or made a whole record
// of 1248 bytes. Both readers, and what can be shown of a record: report, CSV, scrape and JSON, each read
// back or written again the plain way.

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "common/metrics.h"
#include "tests/fuzz/input.h"
#include "tests/fuzz/memory_file.h"
#include "tests/fuzz/require.h"
#include "tests/support/exposition_text.h"
#include "tools/tnstat/csv.h"
#include "tools/tnstat/exposition.h"
#include "tools/tnstat/history.h"
#include "tools/tnstat/metrics_file.h"
#include "tools/tnstat/state_json.h"

namespace {

using fuzz::Require;
using tnstat::Reading;

constexpr unsigned EVERY = 256;

template <typename... Values>
void Print(std::string& text, const char* format, Values... values)
{
    char line[256];
    const int length = std::snprintf(line, sizeof(line), format, values...);
    Require(length >= 0 && length < static_cast<int>(sizeof(line)), "a line of the plain report fits");
    text.append(line, static_cast<std::size_t>(length));
}

int Nodes(const SystemMetrics& record)
{
    return std::clamp(record.numaNum, 0, METRICS_MAX_NODES);
}

std::string PlainReport(const SystemMetrics& record)
{
    const int nodes = Nodes(record);
    const UncoreMetrics& uncore = record.uncore;
    const TaskMetrics& task = record.task;
    const MemMetrics& mem = record.mem;
    std::string text;
    Print(text, "Show tarnix metrics\n  tarnix loop count: %lu\n  numa num: %d\n  page size(kb): %d\n",
          record.loopCnt, record.numaNum, record.pageSizeKb);
    Print(text, "Uncore metrics\n  interval(ms): %lu\n", uncore.interval);
    if (uncore.interval != 0) {
        Print(text, "  rx ops num  (ops/ms): %lu\n", uncore.rxOpsNum / uncore.interval);
        Print(text, "  rx outer num(ops/ms): %lu\n", uncore.rxOuterNum / uncore.interval);
        Print(text, "  rx sccl num (ops/ms): %lu\n", uncore.rxScclNum / uncore.interval);
    }
    Print(text, "  numa score: %g\n", static_cast<double>(uncore.numaScore));
    Print(text, "Task metrics\n  threads num: %u\n  threads bind success num: %u\n", task.threadsNum,
          task.bindSuccessNum);
    Print(text, "  threads bind fail num: %u\n  migrate cost time(us): %u\n", task.bindFailNum,
          task.migrateCostTimeUs);
    Print(text, "Mem metrics\n  migrated memory(kb): %u\n  nonmigrated memory(kb): %u\n", mem.migratedKb,
          mem.nonmigratedKb);
    Print(text,
          "  migrate failed process num: %u\n  migrate failed memory(kb): %u\n  migrate cost time(us): %u\n",
          mem.failedProcessNum, mem.failedKb, mem.migrateCostTimeUs);
    text += "  numa migrate memory(src->dst, kB): \n  src\\dst ";
    for (int node = 0; node < nodes; ++node) {
        Print(text, "%10d ", node);
    }
    text += '\n';
    for (int source = 0; source < nodes; ++source) {
        Print(text, "        %d ", source);
        for (int target = 0; target < nodes; ++target) {
            Print(text, "%10u ", mem.migrateMatrix[source][target]);
        }
        text += '\n';
    }
    text += "NUMA ID:                    ";
    for (int node = 0; node < nodes; ++node) {
        Print(text, "%10d", node);
    }
    text += "\nFree memory(MB):            ";
    for (int node = 0; node < nodes; ++node) {
        Print(text, "%10g", static_cast<double>(static_cast<float>(mem.freeMemKb[node]) / 1024.0F));
    }
    text += "\nGive up migrate memory(kB): ";
    for (int node = 0; node < nodes; ++node) {
        Print(text, "%10u", mem.giveUpKb[node]);
    }
    return text + "\n";
}

/// The fields between commas; the line's end is checked and left out.
std::vector<std::string> Fields(std::string_view line)
{
    Require(line.size() > 2 && line.substr(line.size() - 2) == "\r\n", "a row has its end");
    line.remove_suffix(2);
    std::vector<std::string> fields(1);
    for (const char c : line) {
        Require(c >= ' ' && c <= '~' && c != '"', "a row is plain");
        if (c == ',') {
            fields.emplace_back();
        } else {
            fields.back() += c;
        }
    }
    return fields;
}

void CheckCsv(const Reading& reading)
{
    const SystemMetrics& record = reading.record;
    const std::vector<std::string> names = Fields(tnstat::CsvHeader());
    const std::vector<std::string> fields = Fields(tnstat::CsvRow(reading));
    Require(fields.size() == names.size(), "a row has a field per column");
    const auto field = [&](const std::string& name) -> const std::string& {
        return fields[static_cast<std::size_t>(std::find(names.begin(), names.end(), name) - names.begin())];
    };
    const auto holds = [&](const std::string& name, std::uint64_t value) {
        Require(field(name) == std::to_string(value), "a field is its figure");
    };
    holds("loops", record.loopCnt);
    holds("interval_ms", record.uncore.interval);
    holds("rx_ops", record.uncore.rxOpsNum);
    holds("rx_outer", record.uncore.rxOuterNum);
    holds("rx_sccl", record.uncore.rxScclNum);
    holds("threads", record.task.threadsNum);
    holds("threads_bind_success", record.task.bindSuccessNum);
    holds("threads_bind_failed", record.task.bindFailNum);
    holds("task_migrate_us", record.task.migrateCostTimeUs);
    holds("mem_migrated_kb", record.mem.migratedKb);
    holds("mem_nonmigrated_kb", record.mem.nonmigratedKb);
    holds("mem_failed_kb", record.mem.failedKb);
    holds("mem_failed_processes", record.mem.failedProcessNum);
    holds("mem_migrate_us", record.mem.migrateCostTimeUs);
    Require(field("numa_nodes") == std::to_string(record.numaNum) &&
                field("page_size_kb") == std::to_string(record.pageSizeKb),
            "signed figures as they are");
    const float score = std::strtof(field("numa_score").c_str(), nullptr);
    Require(std::memcmp(&score, &record.uncore.numaScore, sizeof(score)) == 0,
            "the score reads back to the bit");
    std::string cells;
    for (int source = 0; source < Nodes(record); ++source) {
        for (int target = 0; target < Nodes(record); ++target) {
            if (record.mem.migrateMatrix[source][target] != 0) {
                cells += cells.empty() ? "" : " ";
                Print(cells, "%d>%d=%u", source, target, record.mem.migrateMatrix[source][target]);
            }
        }
    }
    Require(field("mem_migrated_nodes_kb") == cells, "the cells of the matrix that are not 0");
    for (int node = 0; node < METRICS_MAX_NODES; ++node) {
        const bool there = node < record.numaNum;
        const std::string name = "node" + std::to_string(node);
        Require(field(name + "_free_kb") == (there ? std::to_string(record.mem.freeMemKb[node]) : "") &&
                    field(name + "_give_up_kb") == (there ? std::to_string(record.mem.giveUpKb[node]) : ""),
                "figures of the nodes that are there");
    }
}

/// The text format writes sixteen digits.
bool Holds(double sample, std::uint64_t figure)
{
    const auto exact = static_cast<double>(figure);
    return figure < 1000000000000000 ? sample == exact : std::fabs(sample - exact) <= exact * 1e-15;
}

void CheckScrape(const Reading& reading)
{
    const support::ExpositionText scrape = support::ParseExposition(tnstat::ExpositionText(reading));
    Require(scrape.fault.empty(), "a scrape reads back, with finite values and no name twice");
    Require(scrape["tarnix_up"] == (reading.IsGood() ? 1.0 : 0.0), "up tells of the record");
    if (!reading.IsGood()) {
        Require(scrape.samples.size() == 3, "without a record there are version, up and time");
        return;
    }
    const SystemMetrics& record = reading.record;
    Require(Holds(scrape["tarnix_loops_total"], record.loopCnt) &&
                scrape["tarnix_numa_nodes"] == record.numaNum &&
                scrape["tarnix_page_size_bytes"] == record.pageSizeKb * 1024.0 &&
                Holds(scrape["tarnix_uncore_rx_ops"], record.uncore.rxOpsNum) &&
                Holds(scrape["tarnix_uncore_rx_outer"], record.uncore.rxOuterNum) &&
                Holds(scrape["tarnix_uncore_rx_sccl"], record.uncore.rxScclNum) &&
                scrape["tarnix_threads"] == record.task.threadsNum &&
                scrape["tarnix_mem_migrated_bytes"] == record.mem.migratedKb * 1024.0 &&
                scrape["tarnix_mem_migrate_failed_bytes"] == record.mem.failedKb * 1024.0,
            "samples are the figures of the record");
    Require(static_cast<float>(scrape["tarnix_numa_score_ratio"]) == record.uncore.numaScore,
            "the score reads back");
    for (int source = 0; source < record.numaNum; ++source) {
        const std::string from = std::to_string(source);
        Require(scrape["tarnix_node_memory_free_bytes{node=\"" + from + "\"}"] ==
                    record.mem.freeMemKb[source] * 1024.0,
                "free memory of a node");
        const int target = METRICS_MAX_NODES > record.numaNum ? record.numaNum - 1 - source : source;
        Require(scrape["tarnix_mem_migrated_node_bytes{source_node=\"" + from + "\",target_node=\"" +
                       std::to_string(target) + "\"}"] == record.mem.migrateMatrix[source][target] * 1024.0,
                "a cell of the matrix");
    }
    Require(
        std::isnan(scrape["tarnix_node_memory_free_bytes{node=\"" + std::to_string(record.numaNum) + "\"}"]),
        "a node that is not there has no sample");
}

void CheckState(const Reading& reading)
{
    tnstat::History history;
    history.Note(reading);
    Require(history.Points().size() == (reading.IsGood() ? 1U : 0U), "only a record makes history");
    const std::string text = tnstat::StateJson(reading, history, reading.stamp.modifiedNs + 1000000000);
    const nlohmann::json state = nlohmann::json::parse(text, nullptr, false);
    Require(state.is_object() && state["up"] == reading.IsGood() && state["fault"] == reading.fault,
            "the state is an object that says whether there is a record");
    Require(state["history"].size() == history.Points().size() && state["age_seconds"] == 1.0,
            "and how old it is");
    if (reading.IsGood()) {
        const SystemMetrics& record = reading.record;
        const auto nodes = static_cast<std::size_t>(record.numaNum);
        Require(state["loops"] == record.loopCnt && state["score"].get<float>() == record.uncore.numaScore &&
                    state["nodes"].size() == nodes && state["migrated_bytes"].size() == nodes,
                "the state holds the record's figures");
        for (std::size_t node = 0; node < nodes; ++node) {
            Require(state["nodes"][node]["free_bytes"] == record.mem.freeMemKb[node] * std::uint64_t{1024} &&
                        state["migrated_bytes"][node][nodes - 1 - node] ==
                            record.mem.migrateMatrix[node][nodes - 1 - node] * std::uint64_t{1024},
                    "node by node");
        }
    }
}

/// The bytes of a record without the padding, which copying does not keep.
std::string Bytes(const void* record)
{
    std::string bytes(static_cast<const char*>(record), sizeof(SystemMetrics));
    std::fill_n(bytes.begin() + 52, 4, '\0');
    std::fill_n(bytes.begin() + 1244, 4, '\0');
    return bytes;
}

bool IsPossible(const SystemMetrics& record)
{
    const float score = record.uncore.numaScore;
    return record.numaNum >= 0 && record.numaNum <= METRICS_MAX_NODES && record.pageSizeKb >= 0 &&
           !std::isnan(score) && score >= 0 && score <= 1;
}

/// Both readers give what stands in the file, or say why not.
Reading CheckReaders(const fuzz::MemoryFile& file, std::string_view content)
{
    Reading reading = tnstat::ReadMetricsFile(file.Path());
    const bool whole = content.size() == sizeof(SystemMetrics);
    SystemMetrics expected;
    if (whole) {
        std::memcpy(static_cast<void*>(&expected), content.data(), sizeof(expected));
        Require(Bytes(&reading.record) == Bytes(content.data()), "the record is the file");
    }
    Require(reading.IsGood() == (whole && IsPossible(expected)),
            "a record is there when it is whole and possible");
    Require(reading.stamp.inode != 0, "the file has a stamp either way");
    Require(reading.IsGood() || (reading.fault.find(file.Path()) != std::string::npos &&
                                 reading.fault.size() < 512 && reading.fault.find('\n') == std::string::npos),
            "a fault is one line that names the file");
    static Metrics metrics;
    metrics.path = file.Path();
    SystemMetrics record;
    const bool complete = content.size() >= sizeof(record);
    Require(metrics.GetMetricsFromFile(record) == complete, "a record is read when there is enough of it");
    Require(!complete || Bytes(&record) == Bytes(content.data()), "the record is the file");
    return reading;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static fuzz::MemoryFile file;
    const std::string_view input = fuzz::TextOf(data, size);
    if (input.empty()) {
        return 0;
    }
    std::string content(input.substr(1));
    if ((data[0] & 1U) != 0) {
        content.resize(sizeof(SystemMetrics));
    }
    file.Set(content);
    const Reading reading = CheckReaders(file, content);
    if (fuzz::Thorough(input, EVERY)) {
        CheckScrape(reading);
        CheckState(reading);
        if (reading.IsGood()) {
            CheckCsv(reading);
        }
    }
    if (fuzz::Thorough(input, EVERY / 4) && content.size() == sizeof(SystemMetrics)) {
        Require(GetSystemMetricsReport(reading.record) == PlainReport(reading.record),
                "the report is the plain one");
    }
    return 0;
}
