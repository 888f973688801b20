// SPDX-License-Identifier: MIT

#ifndef TOOLS_TARNIX_MESSAGES_H
#define TOOLS_TARNIX_MESSAGES_H

#include <sys/types.h>

#include <cstddef>
#include <cstdint>

#include <string>

#include "common/metrics.h"
#include "common/stat.h"
#include "host/second_opinion.h"

/// Every text that tarnix says beyond its help, version and configuration reports: one line without line
/// break, outside text escaped.
namespace tarnix::messages {

// On standard error, before the log is there.
std::string CannotLock(const std::string& path, int error);
std::string AlreadyRunning(pid_t pid, const std::string& path);
std::string NotRunning(const std::string& path);
std::string CannotReadLock(const std::string& path, int error);
std::string CannotSignal(pid_t pid, int error);
std::string UnknownSource(const std::string& source);
std::string BadMapping(const std::string& word);
std::string MappedTwice(const std::string& event);
std::string RecordingNotRegular(const std::string& path);
std::string CannotReadRecording(const std::string& path, int error);
std::string CannotWriteOutput(int error);
std::string Unexpected(const std::string& what);

// In the log.
std::string Started(const std::string& version);
std::string EngineOptions(const std::string& names);
std::string FileFault(const std::string& path, int line, int column, const std::string& text);
std::string MoreFaults(const std::string& path, std::size_t count);
std::string Counting(const std::string& description);
std::string NoSource(const std::string& reason);
std::string SourceLost(const std::string& reason);
std::string RecordingEnded();
std::string MetricsNotWritten(const std::string& path, int error);
std::string MetricsNotRegular(const std::string& path);
std::string MetricsWrittenAgain(const std::string& path);
std::string KernelDisagrees(const host::OpinionReport& report);
std::string KernelDisagreesNoMore();
std::string Reloaded(const std::string& logLevel);
std::string ReloadFailed(const std::string& reason);
std::string Ended(std::uint64_t periods);

// Each period, below INFO.
std::string PeriodScore(std::uint64_t period, const UncoreMetrics& uncore);
std::string PeriodCpu(const Stat& stat);
std::string PeriodMemory(const SystemMetrics& metrics);

/// What the kernel counted since the last such line.
std::string PeriodKernel(const host::OpinionReport& report);

/// What the process took of the machine.
struct Cost {
    std::int64_t spanNs = 0;      ///< time that the figures cover
    std::int64_t cpuNs = 0;       ///< of all threads
    std::int64_t loopCpuNs = 0;   ///< of the loop's thread
    std::int64_t wakeups = 0;     ///< of the loop's thread
    std::int64_t longestNs = 0;   ///< longest pass of the loop
    std::int64_t residentKb = 0;  ///< memory at the end of the span
};
std::string OwnCost(const Cost& cost);

/// The line that a service manager shows: the score of the last of so many periods, or that there is none.
std::string Status(std::uint64_t periods, bool counting, const UncoreMetrics& uncore);

}  // namespace tarnix::messages

#endif  // TOOLS_TARNIX_MESSAGES_H
