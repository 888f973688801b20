// SPDX-License-Identifier: MIT

#include "common/logger_ctl.h"

#include <errno.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <ios>
#include <mutex>
#include <string_view>
#include <utility>

#include "common/log_line_writer.h"
#include "common/log_stamp.h"

static_assert(std::atomic<bool>::is_always_lock_free, "ReloadPrepare runs in signal handlers");

namespace {

/// The object of GetInstance once it is there; spares the dropped messages the look at the guard. The
/// exported `logger` will not do: a host may have a variable of that name, which then takes its place.
std::atomic<LoggerCtl*> g_instance{nullptr};

LoggerCtl& Instance()
{
    LoggerCtl* const instance = g_instance.load(std::memory_order_acquire);
    return instance != nullptr ? *instance : LoggerCtl::GetInstance();
}

timespec WallClock()
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return now;
}

std::string DestinationName(runtime::LogPlace place, const std::string& logFile)
{
    switch (place) {
        case runtime::LogPlace::STANDARD_OUTPUT:
            return "standard output";
        case runtime::LogPlace::STANDARD_ERROR:
            return "standard error";
        case runtime::LogPlace::LOG_FILE:
            break;
    }
    return logFile;
}

runtime::LogTarget CurrentTarget(const LoggerCtl& ctl)
{
    if (ctl.useStdout) {
        return runtime::StandardOutputTarget();
    }
    if (ctl.stream != nullptr && ctl.stream->is_open()) {
        return {runtime::LogPlace::LOG_FILE, ctl.stream->Descriptor(), ctl.stream->IsPipe(), nullptr};
    }
    return runtime::StandardErrorTarget();
}

// The default functions of a channel. A type of its own for each rather than a pointer to function: the test
// of the level is then made in the one indirect call that the channel costs anyway.
struct DefaultLog {
    void operator()(LogLevel level, const std::string& message) const { DefaultLogFunc(level, message); }
};
struct DefaultSnap {
    void operator()(LogLevel level, const std::string& message) const { DefaultSnapFunc(level, message); }
};

/// What LogStandalone works with under its lock.
struct LineContext {
    const LoggerCtl& ctl;
    const runtime::LogTarget& target;
    std::string_view stamp;
    runtime::LogLineWriter& writer;
};

int WriteLine(const LineContext& context, LogLevel level, std::string_view message)
{
    const auto name = context.ctl.levelNames.find(level);
    const std::string_view levelName =
        name == context.ctl.levelNames.end() ? "" : std::string_view(name->second);
    return context.writer.Write(context.target, {context.stamp, context.ctl.tid, levelName}, message);
}

/// Reports the lines lost so far. Returns 0 or the errno that keeps it from being written.
int ReportLost(const LineContext& context)
{
    runtime::LogLineWriter& writer = context.writer;
    try {
        const std::string text = runtime::LostLinesText(
            writer.Lost(), writer.LostError(), DestinationName(writer.LostPlace(), context.ctl.logFile));
        const int error = WriteLine(context, LogLevel::WARN, text);
        if (error == 0) {
            writer.ForgetLost();
        }
        return error;
    } catch (const std::bad_alloc&) {
        return ENOMEM;
    }
}

}  // namespace

LoggerCtl* logger = &LoggerCtl::GetInstance();

LoggerCtl& LoggerCtl::GetInstance()
{
    static LoggerCtl instance;
    return instance;
}

LoggerCtl::LoggerCtl()
    : levelNames{{LogLevel::TRACE, "TRACE"}, {LogLevel::DEBUG, "DEBUG"}, {LogLevel::INFO, "INFO"},
                 {LogLevel::WARN, "WARN"},   {LogLevel::ERROR, "ERROR"}, {LogLevel::FATAL, "FATAL"}},
      logs{{LogType::RUNTIME, {DefaultLog(), DefaultSnap()}},
           {LogType::TOOL, {DefaultLog(), DefaultSnap()}},
           {LogType::FRAMEWORK, {DefaultLog(), DefaultSnap()}}},
      tid(static_cast<pid_t>(syscall(SYS_gettid)))
{
    // Makes std::cout and std::cerr usable when another file's global object logs before <iostream> of this
    // one.
    static const std::ios_base::Init STREAMS;
    g_instance.store(this, std::memory_order_release);
}

LoggerCtl::~LoggerCtl()
{
    g_instance.store(nullptr, std::memory_order_release);
}

std::string LoggerCtl::GetTimeString()
{
    runtime::LogStamp stamp;
    return std::string(stamp.Format(WallClock()));
}

void LoggerCtl::InitSnapshot(std::uint32_t interval)
{
    snapshot.Init(interval != 0, interval);
}

void LoggerCtl::OpenLogFile()
{
    stream->Open(logFile);
    if (!stream->is_open()) {
        runtime::WriteOpenFailure(runtime::StandardErrorTarget(), logFile);
    }
}

bool LoggerCtl::SetLogFile(const std::string& name)
{
    if (name == "stdout") {
        useStdout = true;
        return true;
    }
    if (logFile.empty()) {
        // Memory first: where it runs out, everything stays as it is.
        auto opened = std::make_unique<runtime::LogStream>();
        logFile = name;
        stream = std::move(opened);
        OpenLogFile();
    }
    useStdout = false;
    return name == logFile && stream != nullptr && stream->is_open();
}

void LoggerCtl::ReloadPrepare()
{
    reloadPending.store(true, std::memory_order_relaxed);
}

bool LoggerCtl::NeedReloadLog() const
{
    return reloadPending.load(std::memory_order_relaxed);
}

void LoggerCtl::ReloadLogFile()
{
    auto fresh = std::make_unique<runtime::LogStream>();  // where memory runs out, the request stays
    // Cleared first: a request that arrives while the file is being opened is served by the next call.
    reloadPending.store(false, std::memory_order_relaxed);
    if (logFile.empty()) {
        return;
    }
    // Closed before it is opened anew: that takes no second descriptor.
    stream = std::move(fresh);
    OpenLogFile();
}

void LoggerCtl::SetLogFunc(LogType type, const LogFunction& logFunc, const LogFunction& snapFunc)
{
    logs[type] = Log{logFunc, snapFunc};
}

Log& LoggerCtl::GetLog(LogType type)
{
    return logs[type];
}

void LoggerCtl::LogStandalone(LogLevel messageLevel, const std::string& message)
{
    static std::mutex mutex;
    static runtime::LogStamp stamp;
    static runtime::LogLineWriter writer;

    const int keptErrno = errno;
    {
        const std::lock_guard<std::mutex> lock(mutex);
        const runtime::LogTarget target = CurrentTarget(*this);
        const LineContext context{*this, target, stamp.Format(WallClock()), writer};
        int error = writer.Lost() == 0 ? 0 : ReportLost(context);
        if (error == 0) {
            error = WriteLine(context, messageLevel, message);
        }
        if (error != 0) {
            writer.CountLost(target.place, error);
        }
    }
    errno = keptErrno;
}

void DefaultLogFunc(LogLevel level, const std::string& message)
{
    LoggerCtl& ctl = Instance();
    if (ctl.IsEnabled(level)) {
        ctl.LogStandalone(level, message);
    }
}

void DefaultSnapFunc(LogLevel level, const std::string& message)
{
    LoggerCtl& ctl = Instance();
    if (ctl.IsEnabled(level)) {
        ctl.LogStandalone(level, message);
    } else if (ctl.snapshot.ShouldSnap()) {
        ctl.LogStandalone(level, "[SNAP] " + message);
    }
}
