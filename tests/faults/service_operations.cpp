// SPDX-License-Identifier: MIT

// Metrics, health monitor and CPU sampler.

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <new>

#include "common/health_monitor.h"
#include "common/metrics.h"
#include "common/stat.h"
#include "tests/faults/machine.h"
#include "tests/faults/operation.h"

namespace faults {
namespace {

const char* const FILE_NAME = "a-metrics-file-with-a-long-name.bin";

/// Any operation on an object that is made anew each time.
template <typename Object>
Operation On(std::string name, Memory memory, std::function<void(Object&)> arrange,
             std::function<void(Object&)> call, std::function<std::string(const Object&)> text,
             std::function<bool(const std::string&, const std::string&)> documented = nullptr)
{
    return {std::move(name), memory,
            [arrange, call, text] {
                auto object = std::make_shared<Object>();
                if (arrange) {
                    arrange(*object);
                }
                return Trial{[object, call] { call(*object); }, [object, text] { return text(*object); }};
            },
            std::move(documented)};
}

/// The metrics file holds an old record, of loop 1, and the new one is of loop 2.
void ArrangeMetrics(Metrics& metrics)
{
    metrics.Init(true);
    metrics.path = FILE_NAME;
    Machine::Get().Remove(FILE_NAME);
    metrics.UpdateLoopCnt(1);
    metrics.Dump();
    metrics.UpdateLoopCnt(2);
    metrics.metrics.uncore.interval = 100;
}

std::string MetricsText(const Metrics& metrics)
{
    const std::string file = Machine::Get().Read(FILE_NAME);
    return "file of " + std::to_string(file.size()) + " bytes, loop " +
           std::to_string(file.empty() ? 0 : static_cast<int>(file[0])) + ", temporary file " +
           (Machine::Get().Exists(std::string(FILE_NAME) + ".tmp") ? "left" : "gone") + ", interval " +
           std::to_string(metrics.metrics.uncore.interval);
}

/// The old file whole, no temporary file, the figures cleared.
bool OldFileFiguresCleared(const std::string& state, const std::string& /*before*/)
{
    return state == "file of 1248 bytes, loop 1, temporary file gone, interval 0";
}

struct ReadBack : Metrics {
    bool done = false;
    SystemMetrics record;
};

Operations MetricsOperations()
{
    static SystemMetrics record;
    const auto text = [](const Metrics& metrics) {
        return metrics.path + " " + std::to_string(metrics.enabled) + " " +
               std::to_string(metrics.metrics.loopCnt) + " " + std::to_string(metrics.metrics.pageSizeKb) +
               " " + std::to_string(metrics.metrics.uncore.interval);
    };
    const auto update = [text](std::string name, std::function<void(Metrics&)> call) {
        return On<Metrics>("Metrics::" + name, Memory::NONE, nullptr, std::move(call), text);
    };
    return {
        On<Metrics>(
            "Metrics::Init", Memory::THROWS, nullptr, [](Metrics& metrics) { metrics.Init(true); }, text),
        update("UpdateUncoreMetrics", [](Metrics& metrics) { metrics.UpdateUncoreMetrics(record.uncore); }),
        update("UpdateTaskMetrics", [](Metrics& metrics) { metrics.UpdateTaskMetrics(record.task); }),
        update("UpdateMemMetrics", [](Metrics& metrics) { metrics.UpdateMemMetrics(record.mem); }),
        update("UpdateLoopCnt", [](Metrics& metrics) { metrics.UpdateLoopCnt(7); }),
        update("UpdatePageSizeKb", [](Metrics& metrics) { metrics.UpdatePageSizeKb(64); }),
        update("ClearMetrics", [](Metrics& metrics) { metrics.ClearMetrics(); }),
        On<Metrics>(
            "Metrics::Dump", Memory::REPORTS, ArrangeMetrics, [](Metrics& metrics) { metrics.Dump(); },
            MetricsText, OldFileFiguresCleared),
        On<ReadBack>(
            "Metrics::GetMetricsFromFile", Memory::NONE, ArrangeMetrics,
            [](ReadBack& reader) { reader.done = reader.GetMetricsFromFile(reader.record); },
            [](const ReadBack& reader) {
                return std::to_string(reader.done) + " " + std::to_string(reader.record.loopCnt);
            },
            [](const std::string& state, const std::string& /*before*/) { return state[0] == '0'; }),
        Returning("GetSystemMetricsReport", Memory::THROWS, [] { return GetSystemMetricsReport(record); }),
    };
}

/// Phases without their times: a time of a phase that was not measured is 0.
std::string PhasesText(const HealthMonitor& monitor)
{
    std::vector<std::string> phases;
    for (const auto& [key, phase] : monitor.phases) {
        phases.push_back(key + "=" + phase.name + (phase.startNs != 0 ? " started" : "") +
                         (phase.endNs != 0 ? " ended" : "") + (phase.durationNs != 0 ? " measured" : ""));
    }
    std::sort(phases.begin(), phases.end());
    return std::to_string(monitor.activeCount) + (monitor.lastReportNs != 0 ? " reported " : " ") +
           Text(phases);
}

struct Reporting : HealthMonitor {
    std::string report;
};

Operations HealthOperations()
{
    static const std::string NAME = "a-phase-with-a-name-of-its-own";
    static const std::string OTHER = "another-phase-with-a-name-of-its-own";
    const auto start = [](HealthMonitor& monitor) { monitor.StartPhase(NAME); };
    const auto on = [](std::string name, Memory memory, std::function<void(HealthMonitor&)> arrange,
                       std::function<void(HealthMonitor&)> call) {
        return On<HealthMonitor>("HealthMonitor::" + name, memory, std::move(arrange), std::move(call),
                                 PhasesText);
    };
    return {
        Returning("HealthMonitor::HealthMonitor", Memory::THROWS,
                  [] { return static_cast<int>(HealthMonitor().order.size()); }),
        on("StartPhase", Memory::THROWS, nullptr, start),
        on("PausePhase", Memory::NONE, start, [](HealthMonitor& monitor) { monitor.PausePhase(NAME); }),
        on("ResumePhase", Memory::THROWS, nullptr, [](HealthMonitor& monitor) { monitor.ResumePhase(NAME); }),
        on("EndPhase", Memory::NONE, start, [](HealthMonitor& monitor) { monitor.EndPhase(NAME); }),
        on("ArchivePhase", Memory::THROWS, start,
           [](HealthMonitor& monitor) { monitor.ArchivePhase(NAME, OTHER); }),
        on("GetDurationNs", Memory::NONE, start, [](HealthMonitor& monitor) { monitor.GetDurationNs(NAME); }),
        on("Clear", Memory::NONE, start, [](HealthMonitor& monitor) { monitor.Clear(); }),
        Returning("HealthMonitor::LogAllHumanRead", Memory::THROWS,
                  [] { return HealthMonitor::LogAllHumanRead(std::numeric_limits<unsigned long>::max()); }),
        On<Reporting>(
            "HealthMonitor::LogAll", Memory::THROWS,
            [](Reporting& monitor) { monitor.phases["collection"].durationNs = 4711; },
            [](Reporting& monitor) { monitor.report = monitor.LogAll(); },
            [](const Reporting& monitor) { return monitor.report; }),
        On<Reporting>(
            "HealthMonitor::LogAllIfNeeded", Memory::THROWS,
            [](Reporting& monitor) { monitor.phases["collection"].durationNs = 4711; },
            [](Reporting& monitor) { monitor.report = monitor.LogAllIfNeeded(); },
            [](const Reporting& monitor) {
                return monitor.report + (monitor.lastReportNs != 0 ? "reported" : "");
            }),
    };
}

/// Per entry the sum of the counters, and the rate of a category.
std::string StatText(const Stat& stat)
{
    std::string text = std::to_string(stat.cpuNum) + "/" + std::to_string(stat.types.size());
    for (const auto& entry : stat.counters) {
        text += " " + std::to_string(Stat::SumTime(entry));
    }
    for (int cpu = 0; cpu <= stat.cpuNum; ++cpu) {
        text += " " + std::to_string(stat.GetCpuUtilRate(cpu, Stat::Type::IDLE));
    }
    return text;
}

/// A sample before that of the machine's file. Of two categories only, so that the next one needs memory.
Stat::Counters EarlierEntry()
{
    return {{Stat::Type::USER, 1}, {Stat::Type::IDLE, 1}};
}

std::vector<Stat::Counters> EarlierSample()
{
    return std::vector<Stat::Counters>(3, EarlierEntry());
}

/// The state after a pass that read the first `lines` of the machine, CPU 0 and CPU 1: what was not read
/// keeps the earlier sample and has the rate 0. By hand, from the machine's file.
std::string SampledText(int lines, bool rated)
{
    struct Line {
        int sum;
        double idle;  ///< of 100, since the earlier sample
    };
    constexpr Line UNREAD = {2, 0};
    const Line machine = lines > 0 ? Line{55, (4 - 1) * 100.0 / (55 - 2)} : UNREAD;
    const Line cpu0 = lines > 1 ? Line{55, (4 - 1) * 100.0 / (55 - 2)} : UNREAD;
    const Line cpu1 = lines > 2 ? Line{56, (4 - 1) * 100.0 / (56 - 2)} : UNREAD;
    std::string text = "2/10";
    for (const Line& line : {cpu0, cpu1, machine}) {
        text += " " + std::to_string(line.sum);
    }
    for (const Line& line : {cpu0, cpu1, machine}) {
        text += " " + std::to_string(rated ? static_cast<float>(line.idle) : 0.0F);
    }
    return text;
}

/// One on which a sample is taken, with how a pass may leave it.
struct Sampling : Stat {
    bool outOfMemory = false;
};

/// A pass that could not read everything. One that had no memory leaves entries that are half of this sample
/// and half of that: it raises std::bad_alloc, and what comes of the next is judged.
std::function<bool(const std::string&, const std::string&)> ReadInPart(bool rated)
{
    return [rated](const std::string& state, const std::string& /*before*/) {
        return state.find("out of memory") != std::string::npos || state == SampledText(0, rated) ||
               state == SampledText(1, rated) || state == SampledText(2, rated);
    };
}

Operation OnSample(const std::string& name, bool rated, const std::function<void(Stat&)>& call)
{
    const auto arrange = [](Sampling& stat) {
        stat.Init();
        stat.cpuNum = 2;
        stat.counters = EarlierSample();
        stat.rates.assign(3, {});
    };
    const auto act = [call](Sampling& stat) {
        stat.outOfMemory = false;
        try {
            call(stat);
        } catch (const std::bad_alloc&) {
            stat.outOfMemory = true;
            throw;
        }
    };
    return {"Stat::" + name, Memory::THROWS,
            [arrange, act] {
                auto stat = std::make_shared<Sampling>();
                arrange(*stat);
                return Trial{[stat, act] { act(*stat); },
                             [stat] { return StatText(*stat) + (stat->outOfMemory ? " out of memory" : ""); },
                             [stat, act] {
                                 stat->counters = EarlierSample();
                                 act(*stat);
                             }};
            },
            ReadInPart(rated)};
}

/// Whatever number of CPUs the C library makes of it, the tables are empty and have its size.
bool SizedAndEmpty(const std::string& state, const std::string& /*before*/)
{
    Stat stat;
    stat.cpuNum = std::atoi(state.c_str());
    if (stat.cpuNum < 1) {
        return false;
    }
    stat.counters.resize(static_cast<std::size_t>(stat.cpuNum) + 1);
    for (int type = 0; type < 10; ++type) {
        stat.types.insert(static_cast<Stat::Type>(type));
    }
    return state == StatText(stat);
}

Operations StatOperations()
{
    const auto on = [](std::string name, Memory memory, std::function<void(Stat&)> call) {
        return On<Stat>(
            "Stat::" + name, memory,
            [](Stat& stat) {
                stat.Init();
                stat.cpuNum = 2;
            },
            std::move(call), StatText);
    };
    auto init = On<Stat>(
        "Stat::Init", Memory::THROWS, nullptr, [](Stat& stat) { stat.Init(); }, StatText, SizedAndEmpty);
    init.readsThroughLibrary = true;
    return {
        std::move(init),
        OnSample("Run", true, [](Stat& stat) { stat.Run(); }),
        OnSample("UpdateProcStat", false, [](Stat& stat) { stat.UpdateProcStat(); }),
        OnSample("UpdateCpuUtilRate", true, [](Stat& stat) { stat.UpdateCpuUtilRate(EarlierSample()); }),
        on("SumTime", Memory::NONE, [](Stat& stat) { Stat::SumTime(stat.counters[0]); }),
        on("GetCpuUtilRate", Memory::NONE, [](Stat& stat) { stat.GetCpuUtilRate(0, Stat::Type::IDLE); }),
        on("GetAllCpuUtilRate", Memory::NONE, [](Stat& stat) { stat.GetAllCpuUtilRate(Stat::Type::IDLE); }),
    };
}

}  // namespace

Operations ServiceOperations()
{
    Operations all;
    for (const auto part : {MetricsOperations, HealthOperations, StatOperations}) {
        for (Operation& operation : part()) {
            all.push_back(std::move(operation));
        }
    }
    return all;
}

}  // namespace faults
