// SPDX-License-Identifier: MIT

#ifndef COMMON_LOGGER_CTL_H
#define COMMON_LOGGER_CTL_H

#include <sys/types.h>

#include <cstdint>

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <unordered_map>

#include "common/export.h"
#include "common/log_stream.h"
#include "common/snapshot.h"

/// Severity of a line, ascending.
enum class LogLevel : std::int32_t {
    TRACE = 0,
    DEBUG = 1,
    INFO = 2,
    WARN = 3,
    ERROR = 4,
    FATAL = 5,
};

/// A log channel. All three start with the default functions.
enum class LogType : std::int32_t {
    RUNTIME = 0,    ///< the services of this library; the watchdog logs here
    TOOL = 1,       ///< free for the tool's own loop
    FRAMEWORK = 2,  ///< free for a host that takes lines over into its own log
};

/// Takes a level and a message without a line break. Called from any thread.
using LogFunction = std::function<void(LogLevel, const std::string&)>;

/// One channel. Both functions are called directly by whoever logs.
struct Log {
    LogFunction logFunc;   ///< the ordinary function
    LogFunction snapFunc;  ///< the function of messages that the snapshot gate may let through
};

/// The place through which the runtime writes its diagnostic lines:
///
///     [03/07/25 14:02:09.045] [41277] [INFO] message
///
/// A line is formatted once and reaches the destination in one write(2); nothing is buffered. The message is
/// written as it stands: pass text from outside (process names, paths, keys) through runtime::EscapeControl
/// first.
///
/// Threads: the log functions, LogStandalone, IsEnabled, SetLevel, ReloadPrepare and NeedReloadLog may be
/// called from any thread. SetLogFile, ReloadLogFile, SetLogFunc, InitSnapshot, a first GetLog of a new
/// channel and writes to the members are the main thread's, while no other thread logs.
///
/// Failures: nothing throws because of the destination. A line that cannot be written whole is counted, and
/// the next one that can be written is preceded by a line at WARN that says how many were lost and why. When
/// memory runs out, SetLogFile, ReloadLogFile, SetLogFunc, GetLog and DefaultSnapFunc raise std::bad_alloc
/// and change nothing.
class SCENARIO_NUMA_EXPORT LoggerCtl {
public:
    LoggerCtl(const LoggerCtl&) = delete;
    LoggerCtl& operator=(const LoggerCtl&) = delete;

    /// The object of this process, built on the first call, destroyed at exit.
    static LoggerCtl& GetInstance();

    /// The stamp of a line: local time as "%m/%d/%y %H:%M:%S", ".", three digits of milliseconds.
    static std::string GetTimeString();

    /// Starts the snapshot gate with a period of `interval`; 0 switches it off.
    void InitSnapshot(std::uint32_t interval);

    /// Chooses the destination. "stdout" is standard output. Any other name is a file, which is opened at the
    /// first such call and kept: later names only switch back from standard output to that first file. A file
    /// that cannot be opened is reported on standard error, where the lines then go too. Returns whether
    /// lines now go where `name` says.
    bool SetLogFile(const std::string& name);

    /// Asks for ReloadLogFile at the next opportunity. Async-signal-safe: stores a lock-free flag.
    void ReloadPrepare();

    /// Whether ReloadPrepare was called since the last ReloadLogFile.
    bool NeedReloadLog() const;

    /// Opens the log file anew after a rotation; the only thing that ever reopens it. Does nothing but clear
    /// the request when no file was set.
    void ReloadLogFile();

    /// Replaces both functions of a channel, which is created when it does not exist.
    void SetLogFunc(LogType type, const LogFunction& logFunc, const LogFunction& snapFunc);

    /// The channel, created with empty functions when it does not exist. The reference stays valid until
    /// exit.
    Log& GetLog(LogType type);

    /// Whether DefaultLogFunc writes messages of `messageLevel`: ask before building an expensive text.
    bool IsEnabled(LogLevel messageLevel) const
    {
        LogLevel threshold{};
        __atomic_load(&level, &threshold, __ATOMIC_RELAXED);
        return messageLevel >= threshold;
    }

    /// Sets `level` while other threads may be logging.
    void SetLevel(LogLevel threshold) { __atomic_store(&level, &threshold, __ATOMIC_RELAXED); }

    /// Formats and writes one line whatever its level. Leaves errno as it was.
    void LogStandalone(LogLevel messageLevel, const std::string& message);

    Snapshot snapshot;                                     ///< off until InitSnapshot
    std::unordered_map<LogLevel, std::string> levelNames;  ///< "TRACE" to "FATAL"
    std::unordered_map<LogType, Log> logs;                 ///< the channels
    pid_t tid;                        ///< kernel id of the constructing thread; stands in every line
    LogLevel level = LogLevel::INFO;  ///< threshold; SetLevel when other threads log
    std::string logFile;              ///< empty until SetLogFile was given a file
    std::unique_ptr<runtime::LogStream> stream;  ///< null until a file was opened or failed to open
    std::atomic<bool> reloadPending{false};      ///< set by ReloadPrepare, cleared by ReloadLogFile
    bool useStdout = true;                       ///< lines go to standard output

private:
    LoggerCtl();
    ~LoggerCtl();

    /// Opens `logFile` in `stream` and reports a failure.
    void OpenLogFile();
};

/// Writes messages at or above the threshold, drops the others.
SCENARIO_NUMA_EXPORT void DefaultLogFunc(LogLevel level, const std::string& message);

/// As DefaultLogFunc, but a message below the threshold is written with "[SNAP] " before its text while the
/// snapshot gate is open.
SCENARIO_NUMA_EXPORT void DefaultSnapFunc(LogLevel level, const std::string& message);

/// LoggerCtl::GetInstance(), set when the library is loaded.
extern SCENARIO_NUMA_EXPORT LoggerCtl* logger;

#endif  // COMMON_LOGGER_CTL_H
