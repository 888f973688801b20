// SPDX-License-Identifier: MIT
//
// Log lines, each flushed, against what a user would pick instead: spdlog and log4cplus with the same
// pattern, the plain form (an output file stream, strftime per line) and the bare system call. Then the price
// of a dropped message.

#include <fcntl.h>
#include <stdlib.h>
#include <time.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <functional>
#include <iomanip>
#include <memory>
#include <mutex>
#include <sstream>
#include <string>

#include <benchmark/benchmark.h>
#include <log4cplus/fileappender.h>
#include <log4cplus/initializer.h>
#include <log4cplus/layout.h>
#include <log4cplus/logger.h>
#include <log4cplus/loggingmacros.h>
#ifdef HAVE_SPDLOG
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>
#endif

#include "bench/ratio_report.h"
#include "common/logger_ctl.h"

namespace {

const std::string MESSAGE =
    "Heartbeat timeout detected - 5001 ms since last heartbeat, pid 41277 cpu 12 node 3 pages 8192";

/// The destination of a benchmark: "/dev/null", or a fresh file in the working directory that goes at the
/// end.
class Destination {
public:
    explicit Destination(bool file) : name(file ? "logger_bench.out" : "/dev/null"), remove(file)
    {
        if (remove) {
            unlink(name.c_str());
        }
    }
    ~Destination()
    {
        if (remove) {
            unlink(name.c_str());
        }
    }

    Destination(const Destination&) = delete;
    Destination& operator=(const Destination&) = delete;

    const std::string& Name() const { return name; }

private:
    std::string name;
    bool remove;
};

void Ours(benchmark::State& state, bool file)
{
    const Destination destination(file);
    LoggerCtl& ctl = LoggerCtl::GetInstance();
    ctl.logFile.clear();
    if (!ctl.SetLogFile(destination.Name())) {
        state.SkipWithError("cannot open the log file");
        return;
    }
    const Log& log = ctl.GetLog(LogType::RUNTIME);
    for (auto _ : state) {
        log.logFunc(LogLevel::INFO, MESSAGE);
    }
}

std::string PlainStamp()
{
    const auto now = std::chrono::system_clock::now();
    const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
    std::tm local{};
    localtime_r(&seconds, &local);
    char text[80];
    strftime(text, sizeof text, "%m/%d/%y %H:%M:%S", &local);
    const auto milliseconds =
        std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000;
    std::ostringstream out;
    out << text << '.' << std::setw(3) << std::setfill('0') << milliseconds;
    return out.str();
}

void Plain(benchmark::State& state, bool file)
{
    const Destination destination(file);
    std::ofstream stream(destination.Name(), std::ios::app);
    std::mutex mutex;
    const std::function<void(int, const std::string&)> log = [&](int tid, const std::string& message) {
        const std::lock_guard<std::mutex> lock(mutex);
        stream << "[" << PlainStamp() << "] [" << tid << "] [INFO] " << message << std::endl;
    };
    for (auto _ : state) {
        log(getpid(), MESSAGE);
    }
}

void BareWrite(benchmark::State& state, bool file)
{
    const Destination destination(file);
    const int fd = open(destination.Name().c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0640);
    const std::string line = "[03/07/25 14:02:09.045] [41277] [INFO] " + MESSAGE + "\n";
    for (auto _ : state) {
        if (write(fd, line.data(), line.size()) < 0) {
            state.SkipWithError("write failed");
            break;
        }
    }
    close(fd);
}

void Log4cplus(benchmark::State& state, bool file)
{
    const Destination destination(file);
    log4cplus::Logger log = log4cplus::Logger::getInstance("bench");
    log.removeAllAppenders();
    const log4cplus::SharedAppenderPtr appender(
        new log4cplus::FileAppender(destination.Name(), std::ios::app, true));
    appender->setLayout(
        std::make_unique<log4cplus::PatternLayout>("[%D{%m/%d/%y %H:%M:%S.%q}] [%t] [%p] %m%n"));
    log.addAppender(appender);
    log.setLogLevel(log4cplus::INFO_LOG_LEVEL);
    for (auto _ : state) {
        LOG4CPLUS_INFO(log, MESSAGE);
    }
    log.removeAllAppenders();
}

void DroppedOurs(benchmark::State& state)
{
    const Log& log = LoggerCtl::GetInstance().GetLog(LogType::RUNTIME);
    for (auto _ : state) {
        log.logFunc(LogLevel::DEBUG, MESSAGE);
        benchmark::ClobberMemory();
    }
}

void DroppedOursTested(benchmark::State& state)
{
    const LoggerCtl& ctl = LoggerCtl::GetInstance();
    const Log& log = LoggerCtl::GetInstance().GetLog(LogType::RUNTIME);
    int node = 3;
    for (auto _ : state) {
        benchmark::DoNotOptimize(node);
        if (ctl.IsEnabled(LogLevel::DEBUG)) {
            log.logFunc(LogLevel::DEBUG, "scan of node " + std::to_string(node) + " took too long");
        }
        benchmark::ClobberMemory();
    }
}

void DroppedLog4cplus(benchmark::State& state)
{
    log4cplus::Logger log = log4cplus::Logger::getInstance("dropped");
    log.setLogLevel(log4cplus::INFO_LOG_LEVEL);
    for (auto _ : state) {
        LOG4CPLUS_DEBUG(log, MESSAGE);
        benchmark::ClobberMemory();
    }
}

#ifdef HAVE_SPDLOG
std::shared_ptr<spdlog::logger> MakeSpdlog(const std::string& name)
{
    const auto sink = std::make_shared<spdlog::sinks::basic_file_sink_mt>(name);
    auto log = std::make_shared<spdlog::logger>("bench", sink);
    log->set_pattern("[%m/%d/%y %H:%M:%S.%e] [%t] [%l] %v");
    log->flush_on(spdlog::level::trace);
    return log;
}

void Spdlog(benchmark::State& state, bool file)
{
    const Destination destination(file);
    const auto log = MakeSpdlog(destination.Name());
    for (auto _ : state) {
        log->info(MESSAGE);
    }
}

void DroppedSpdlog(benchmark::State& state)
{
    const auto log = MakeSpdlog("/dev/null");
    log->set_level(spdlog::level::info);
    for (auto _ : state) {
        log->debug(MESSAGE);
        benchmark::ClobberMemory();
    }
}

void DroppedSpdlogArguments(benchmark::State& state)
{
    const auto log = MakeSpdlog("/dev/null");
    log->set_level(spdlog::level::info);
    int node = 3;
    for (auto _ : state) {
        benchmark::DoNotOptimize(node);
        log->debug("scan of node {} took too long", node);
        benchmark::ClobberMemory();
    }
}

BENCHMARK_CAPTURE(Spdlog, null, false);
BENCHMARK_CAPTURE(Spdlog, file, true);
BENCHMARK(DroppedSpdlog);
BENCHMARK(DroppedSpdlogArguments);
#endif

BENCHMARK_CAPTURE(Ours, null, false);
BENCHMARK_CAPTURE(Ours, file, true);
BENCHMARK_CAPTURE(Plain, null, false);
BENCHMARK_CAPTURE(Plain, file, true);
BENCHMARK_CAPTURE(Log4cplus, null, false);
BENCHMARK_CAPTURE(Log4cplus, file, true);
BENCHMARK_CAPTURE(BareWrite, null, false);
BENCHMARK_CAPTURE(BareWrite, file, true);
BENCHMARK(DroppedOurs);
BENCHMARK(DroppedOursTested);
BENCHMARK(DroppedLog4cplus);

}  // namespace

int main(int argc, char** argv)
{
    const log4cplus::Initializer initializer;
#ifndef HAVE_SPDLOG
    std::puts("built without spdlog (Debian: libspdlog-dev): its rows are left out");
#endif
    return bench::RunWithRatios(
        argc, argv,
        {
            {"line to /dev/null against spdlog", "Ours/null", "Spdlog/null", "at least 2x faster"},
            {"line to /dev/null against log4cplus", "Ours/null", "Log4cplus/null", "at least 4x faster"},
            {"line to a file against spdlog", "Ours/file", "Spdlog/file", "at least 1.5x faster"},
            {"line to a file against log4cplus", "Ours/file", "Log4cplus/file", ""},
            {"line to /dev/null against the plain form", "Ours/null", "Plain/null", ""},
            {"line to a file against the plain form", "Ours/file", "Plain/file", ""},
            {"line to /dev/null against write(2) alone", "Ours/null", "BareWrite/null", ""},
            {"line to a file against write(2) alone", "Ours/file", "BareWrite/file", ""},
            {"dropped, text ready, against spdlog", "DroppedOurs", "DroppedSpdlog", "not slower"},
            {"dropped, text ready, against log4cplus", "DroppedOurs", "DroppedLog4cplus", ""},
            {"dropped, level tested before, against spdlog with arguments", "DroppedOursTested",
             "DroppedSpdlogArguments", ""},
        });
}
