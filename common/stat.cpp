// SPDX-License-Identifier: MIT

#include "common/stat.h"

#include <unistd.h>

#include <algorithm>
#include <string>

#include "common/logger_ctl.h"
#include "common/pseudo_file.h"
#include "common/stat_reader.h"

namespace {

using cpu_stat::Ticks;
using cpu_stat::TYPE_COUNT;

std::string OpenFailedText(const char* path)
{
    return std::string("Failed to open file: ") + path;
}

std::string FirstLineText()
{
    return "Error parsing first line.";
}

std::string CpuLineText(size_t cpu)
{
    return "Error parsing line for CPU " + std::to_string(cpu);
}

/// Whatever the installed log function does, or when there is none, a failed read stays a log line.
void Report(const std::string& message) noexcept
{
    try {
        LoggerCtl::GetInstance().GetLog(LogType::RUNTIME).logFunc(LogLevel::ERROR, message);
    } catch (...) {
        return;
    }
}

Ticks Load(const Stat::Counters& entry) noexcept
{
    Ticks ticks{};
    for (const auto& [type, value] : entry) {
        const auto index = static_cast<size_t>(type);
        if (index < TYPE_COUNT) {
            ticks[index] = value;
        }
    }
    return ticks;
}

/// Writes ten values into a map. One that holds the ten keys already, as it does from the second sample on,
/// is walked rather than looked up in: its nodes lie side by side, and no hash is computed.
template <typename Map, typename Values>
void Store(const Values& values, Map& entry)
{
    size_t written = 0;
    if (entry.size() == TYPE_COUNT) {
        for (auto& [type, value] : entry) {
            const auto index = static_cast<size_t>(type);
            if (index < TYPE_COUNT) {
                value = values[index];
                ++written;
            }
        }
    }
    if (written != TYPE_COUNT) {
        for (size_t index = 0; index < TYPE_COUNT; ++index) {
            entry[static_cast<Stat::Type>(index)] = values[index];
        }
    }
}

/// A pass over /proc/stat in its order, the machine before the CPUs. `visit(entry, ticks)` is called for
/// every entry with its fresh counters, or with none from the first line on that could not be read. Reports
/// that at the end.
template <typename Visit>
void Sample(size_t cpuCount, const Visit& visit)
{
    probe::PathText path;
    path.Add("/proc/stat");
    cpu_stat::SampleReader reader(path.CStr(), cpuCount);
    bool reading = reader.IsOpen();
    std::string failure = reading ? std::string() : OpenFailedText(path.CStr());
    for (size_t line = 0; line <= cpuCount; ++line) {
        Ticks ticks;
        if (reading && !reader.Next(ticks)) {
            reading = false;
            failure = line == 0 ? FirstLineText() : CpuLineText(line - 1);
        }
        visit(line == 0 ? cpuCount : line - 1, reading ? &ticks : nullptr);
    }
    if (!reading) {
        Report(failure);
    }
}

/// The number of CPUs that a sampler is set to, with room for them and the machine in its tables.
size_t Prepare(Stat& stat)
{
    const auto cpuCount = static_cast<size_t>(std::max(stat.cpuNum, 0));
    if (stat.counters.size() <= cpuCount) {
        stat.counters.resize(cpuCount + 1);
    }
    if (stat.rates.size() <= cpuCount) {
        stat.rates.resize(cpuCount + 1);
    }
    return cpuCount;
}

float Find(const std::vector<Stat::Rates>& rates, int entry, Stat::Type type)
{
    if (entry < 0 || static_cast<size_t>(entry) >= rates.size()) {
        return 0;
    }
    const auto& rateOf = rates[static_cast<size_t>(entry)];
    const auto found = rateOf.find(type);
    return found == rateOf.end() ? 0 : found->second;
}

}  // namespace

bool Stat::Init()
{
    const auto cpus = static_cast<int32_t>(std::max(sysconf(_SC_NPROCESSORS_CONF), 1L));
    // Memory first: where it runs out, everything stays as it is.
    const auto entries = static_cast<size_t>(cpus) + 1;
    std::vector<Counters> noCounters(entries);
    std::vector<Rates> noRates(entries);
    std::set<Type> all;
    for (size_t type = 0; type < TYPE_COUNT; ++type) {
        all.insert(static_cast<Type>(type));
    }
    cpuNum = cpus;
    counters.swap(noCounters);
    rates.swap(noRates);
    types.swap(all);
    return true;
}

void Stat::Run()
{
    // One walk in place of a copy of all tables, a pass over the file and a walk over both tables.
    Sample(Prepare(*this), [this](size_t entry, const Ticks* fresh) {
        const Ticks previous = Load(counters[entry]);
        if (fresh != nullptr) {
            Store(*fresh, counters[entry]);
        }
        Store(cpu_stat::RatesBetween(previous, fresh != nullptr ? *fresh : previous), rates[entry]);
    });
}

void Stat::UpdateProcStat()
{
    Sample(Prepare(*this), [this](size_t entry, const Ticks* fresh) {
        if (fresh != nullptr) {
            Store(*fresh, counters[entry]);
        }
    });
}

void Stat::UpdateCpuUtilRate(std::vector<Counters> previous)
{
    UpdateProcStat();
    const size_t cpuCount = Prepare(*this);
    for (size_t entry = 0; entry <= cpuCount; ++entry) {
        const Ticks before = entry < previous.size() ? Load(previous[entry]) : Ticks{};
        Store(cpu_stat::RatesBetween(before, Load(counters[entry])), rates[entry]);
    }
}

uint64_t Stat::SumTime(const Counters& entry)
{
    uint64_t sum = 0;
    for (const auto& [type, ticks] : entry) {
        sum += ticks;
    }
    return sum;
}

float Stat::GetCpuUtilRate(int cpu, Type type) const
{
    return Find(rates, cpu, type);
}

float Stat::GetAllCpuUtilRate(Type type) const
{
    return Find(rates, cpuNum, type);
}
