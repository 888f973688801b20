// SPDX-License-Identifier: MIT

#include "tools/tarnix/messages.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>

#include "common/escape_control.h"
#include "common/string_util.h"

namespace tarnix::messages {
namespace {

constexpr double NS_PER_S = 1e9;
constexpr double NS_PER_MS = 1e6;
constexpr double KB_PER_MIB = 1024.0;

std::string ErrorText(int error)
{
    return std::generic_category().message(error);
}

std::string Fixed(double value, int decimals)
{
    return FloatToStr(static_cast<float>(value), decimals);
}

std::string LockRemedy(int error)
{
    switch (error) {
        case EACCES:
        case EROFS:
        case ENOENT:
            return "; the directory has to exist and to be writable, TARNIX_RUNTIME_DIR names another";
        case ELOOP:
            return "; a symbolic link is not followed, remove it";
        default:
            return "";
    }
}

}  // namespace

std::string CannotLock(const std::string& path, int error)
{
    return "cannot lock " + runtime::EscapeControl(path) + ": " + ErrorText(error) + LockRemedy(error);
}

std::string AlreadyRunning(pid_t pid, const std::string& path)
{
    return "another tarnix runs already, process " + std::to_string(pid) + ", which holds " +
           runtime::EscapeControl(path) + "; stop it first";
}

std::string NotRunning(const std::string& path)
{
    return "no tarnix runs that could be reloaded: nobody holds " + runtime::EscapeControl(path) +
           "; TARNIX_RUNTIME_DIR names another directory";
}

std::string CannotReadLock(const std::string& path, int error)
{
    return "cannot read " + runtime::EscapeControl(path) + ": " + ErrorText(error) +
           (error == EACCES ? "; run as root or as the user that runs tarnix" : "");
}

std::string CannotSignal(pid_t pid, int error)
{
    return "cannot signal process " + std::to_string(pid) + ": " + ErrorText(error) +
           (error == EPERM ? "; run as root or as the user that runs tarnix" : "");
}

std::string UnknownSource(const std::string& source)
{
    return "TARNIX_SOURCE is \"" + runtime::EscapeControl(source) +
           "\", expected live, demo or replay: followed by the path of a recording";
}

std::string BadMapping(const std::string& word)
{
    return "TARNIX_MAP has \"" + runtime::EscapeControl(word) +
           "\", expected rx_outer=PMU/event/, rx_sccl=PMU/event/ or rx_ops_num=PMU/event/, with blanks "
           "between";
}

std::string MappedTwice(const std::string& event)
{
    return "TARNIX_MAP has " + event + " twice, expected it once";
}

std::string RecordingNotRegular(const std::string& path)
{
    return "TARNIX_SOURCE names " + runtime::EscapeControl(path) + ", which is no regular file";
}

std::string CannotReadRecording(const std::string& path, int error)
{
    return "TARNIX_SOURCE names " + runtime::EscapeControl(path) + ": " + ErrorText(error);
}

std::string CannotWriteOutput(int error)
{
    return "cannot write to standard output: " + ErrorText(error);
}

std::string Unexpected(const std::string& what)
{
    return "ended by a failure that was not foreseen: " + runtime::EscapeControl(what);
}

std::string Started(const std::string& version)
{
    return "tarnix " + version + " observes only: nothing is migrated or bound";
}

std::string EngineOptions(const std::string& names)
{
    return "set, but without effect, as the tuning engine is not part of this program: " + names;
}

std::string FileFault(const std::string& path, int line, int column, const std::string& text)
{
    const std::string place = line > 0 ? std::to_string(line) + ":" + std::to_string(column) + ":" : "";
    return runtime::EscapeControl(path) + ":" + place + " " + text;
}

std::string MoreFaults(const std::string& path, std::size_t count)
{
    return runtime::EscapeControl(path) + ": " + std::to_string(count) +
           " more faults, tarnix-config check names them";
}

std::string Counting(const std::string& description)
{
    return "counting: " + description;
}

std::string NoSource(const std::string& reason)
{
    return "no score, everything else goes on: " + reason + " (tried again every minute)";
}

std::string SourceLost(const std::string& reason)
{
    return "the counts have ended, everything else goes on: " + reason + " (tried again every minute)";
}

std::string RecordingEnded()
{
    return "the recording is at its end";
}

std::string MetricsNotWritten(const std::string& path, int error)
{
    return "the metrics file " + runtime::EscapeControl(path) + " is not written: " +
           (error != 0 ? ErrorText(error) : std::string("no new file came into being")) +
           "; its directory has to exist, to be writable and to have room";
}

std::string MetricsNotRegular(const std::string& path)
{
    return "the metrics file " + runtime::EscapeControl(path) +
           " is not written: something that is no regular file stands there; remove it, or set "
           "TARNIX_METRICS_FILE";
}

std::string MetricsWrittenAgain(const std::string& path)
{
    return "the metrics file " + runtime::EscapeControl(path) + " is written again";
}

std::string KernelDisagrees(const host::OpinionReport& report)
{
    return "the score is doubtful: " + host::DisagreementText(report) + ", in the last " +
           Fixed(static_cast<double>(report.spanNs) / NS_PER_S, 1) +
           " s; see that the events, or TARNIX_MAP, count what their names say";
}

std::string KernelDisagreesNoMore()
{
    return "the kernel does not disagree with the score any more";
}

std::string Reloaded(const std::string& logLevel)
{
    return "reloaded: log-level is " + logLevel;
}

std::string ReloadFailed(const std::string& reason)
{
    return "not reloaded, the settings stay as they are: " + runtime::EscapeControl(reason);
}

std::string Ended(std::uint64_t periods)
{
    return "ended after " + std::to_string(periods) + " tune periods";
}

std::string PeriodScore(std::uint64_t period, const UncoreMetrics& uncore)
{
    return "period " + std::to_string(period) + ": score " + FloatToStr(uncore.numaScore, 4) + ", " +
           std::to_string(uncore.rxOpsNum) + " operations, " + std::to_string(uncore.rxOuterNum) +
           " from another socket, " + std::to_string(uncore.rxScclNum) + " from another die, in " +
           std::to_string(uncore.interval) + " ms";
}

std::string PeriodCpu(const Stat& stat)
{
    struct Column {
        Stat::Type type;
        const char* name;
    };
    constexpr std::array<Column, 10> COLUMNS = {{{Stat::Type::USER, "user"},
                                                 {Stat::Type::NICE, "nice"},
                                                 {Stat::Type::SYSTEM, "system"},
                                                 {Stat::Type::IDLE, "idle"},
                                                 {Stat::Type::IO_WAIT, "iowait"},
                                                 {Stat::Type::IRQ, "irq"},
                                                 {Stat::Type::SOFT_IRQ, "softirq"},
                                                 {Stat::Type::STEAL, "steal"},
                                                 {Stat::Type::GUEST, "guest"},
                                                 {Stat::Type::GUEST_NICE, "guest_nice"}}};
    std::string text = "CPUs:";
    for (const Column& column : COLUMNS) {
        text +=
            std::string(" ") + column.name + " " + FloatToStr(stat.GetAllCpuUtilRate(column.type), 1) + " %";
    }
    return text;
}

std::string PeriodMemory(const SystemMetrics& metrics)
{
    std::string text = "free memory:";
    const auto nodes = static_cast<std::uint32_t>(
        std::clamp<std::int32_t>(metrics.numaNum, 0, static_cast<std::int32_t>(METRICS_MAX_NODES)));
    for (std::uint32_t node = 0; node < nodes; ++node) {
        text += " node" + std::to_string(node) + " " + std::to_string(metrics.mem.freeMemKb[node]) + " kB";
    }
    return text;
}

std::string PeriodKernel(const host::OpinionReport& report)
{
    const auto share = [](const std::optional<double>& part) {
        return Fixed(100.0 * part.value_or(0.0), 2) + " %";
    };
    std::string text = "kernel in " + Fixed(static_cast<double>(report.spanNs) / NS_PER_S, 1) + " s:";
    if (report.kernel.nodesCounted) {
        for (const host::NodeTotals& node : report.kernel.nodes) {
            text += " node" + std::to_string(node.node) + " hit " + std::to_string(node.counts.hit) +
                    " miss " + std::to_string(node.counts.miss) + " local " +
                    std::to_string(node.counts.local) + " other " + std::to_string(node.counts.other) +
                    " interleave " + std::to_string(node.counts.interleave) + ";";
        }
        text += " other node " + share(report.shares.remoteAllocations) + ", misses " +
                share(report.shares.misses) + " of " + std::to_string(report.shares.allocations) + " pages;";
    } else {
        text += " allocated pages not counted;";
    }
    if (!report.kernel.hintsCounted) {
        return text + " hint faults not counted";
    }
    const host::HintCounts& hints = report.kernel.hints;
    return text + " hint faults " + std::to_string(hints.local) + " local " +
           std::to_string(hints.faults - std::min(hints.local, hints.faults)) + " remote, " +
           std::to_string(hints.migrated) + " pages migrated";
}

std::string OwnCost(const Cost& cost)
{
    const double span = std::max(static_cast<double>(cost.spanNs), 1.0);
    const auto share = [span](std::int64_t ns) {
        return Fixed(100.0 * static_cast<double>(ns) / span, 2) + " %";
    };
    return "own cost in " + Fixed(span / NS_PER_S, 1) + " s: CPU " +
           Fixed(static_cast<double>(cost.cpuNs) / NS_PER_S, 3) + " s (" + share(cost.cpuNs) +
           " of a core), of these the loop " + Fixed(static_cast<double>(cost.loopCpuNs) / NS_PER_S, 3) +
           " s (" + share(cost.loopCpuNs) + "); wake-ups of the loop " +
           Fixed(static_cast<double>(cost.wakeups) * NS_PER_S / span, 1) + "/s; memory " +
           Fixed(static_cast<double>(cost.residentKb) / KB_PER_MIB, 1) + " MiB; longest pass " +
           Fixed(static_cast<double>(cost.longestNs) / NS_PER_MS, 3) + " ms";
}

std::string Status(std::uint64_t periods, bool counting, const UncoreMetrics& uncore)
{
    if (!counting) {
        return "no score (see the log), tune period " + std::to_string(periods);
    }
    return periods == 0
               ? "no score yet"
               : "score " + FloatToStr(uncore.numaScore, 4) + ", tune period " + std::to_string(periods);
}

}  // namespace tarnix::messages
