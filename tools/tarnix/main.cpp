// SPDX-License-Identifier: MIT
//
// tarnix: observes how local the memory traffic of this machine is, and writes it down. Nothing is migrated
// or bound.

#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "common/logger_ctl.h"
#include "common/passive_watchdog.h"
#include "config/conf_ctl.h"
#include "config/option_info.h"
#include "host/clock.h"
#include "host/opinion_watch.h"
#include "tools/cli/output.h"
#include "tools/cli/signals.h"
#include "tools/cli/terminal.h"
#include "tools/tarnix/daemon.h"
#include "tools/tarnix/environment.h"
#include "tools/tarnix/exit_status.h"
#include "tools/tarnix/instance_lock.h"
#include "tools/tarnix/log_gate.h"
#include "tools/tarnix/messages.h"
#include "tools/tarnix/reload_signal.h"
#include "tools/tarnix/settings_log.h"
#include "tools/tarnix/source_choice.h"

namespace {

using namespace tarnix;

/// Says on standard error why there is nothing to do.
int Complain(int status, const std::string& text)
{
    cli::Output err(STDERR_FILENO, false, cli::Output::Flush::EACH_COMMIT, cli::StopRequested);
    err.Buffer() += "tarnix: " + text;
    if (text.empty() || text.back() != '\n') {
        err.Buffer() += '\n';
    }
    err.Commit();
    return status;
}

/// Prints a result.
int Print(const std::string& text)
{
    cli::Output out(STDOUT_FILENO, false, cli::Output::Flush::EACH_COMMIT, cli::StopRequested);
    out.Buffer() += text;
    if (text.empty() || text.back() != '\n') {
        out.Buffer() += '\n';
    }
    out.Commit();
    out.Close();
    return out.GetState() == cli::Output::State::FAILED
               ? Complain(EXIT_RUN_TIME, messages::CannotWriteOutput(out.ErrorNumber()))
               : EXIT_GOOD;
}

/// What the log tells at the start: who runs, with which settings, and what is wrong with the file.
void LogStart(const Conf& conf, const TnResult& warning, const std::vector<std::string>& faults)
{
    LogLines(LogLevel::INFO, messages::Started(TARNIX_VERSION));
    if (warning.code != 0) {
        LogLines(LogLevel::WARN, warning.message);
    }
    for (const std::string& fault : faults) {
        LogLines(LogLevel::WARN, fault);
    }
    LogSettings(conf);
}

/// Counters of this machine are looked for again and again, anything else has to be there now.
std::unique_ptr<UncoreFeed> MakeFeed(const SourceChoice& choice, std::string& error)
{
    if (choice.kind == SourceChoice::Kind::LIVE) {
        return std::make_unique<UncoreFeed>([choice] { return OpenSource(choice); });
    }
    host::SourceResult result = OpenSource(choice);
    error = std::move(result.error);
    return result.source == nullptr ? nullptr : std::make_unique<UncoreFeed>(std::move(result.source));
}

int Observe(ConfCtl& control, Conf& conf, const TnResult& warning, const Environment& environment)
{
    SourceChoice choice;
    choice.sysfsRoot = environment.sysfsRoot;
    choice.intervalMs = static_cast<std::int32_t>(conf.samplingInterval);
    if (const std::string wrong = ParseSource(environment.source, choice); !wrong.empty()) {
        return Complain(EXIT_USAGE, wrong);
    }
    if (const std::string wrong = ParseMappings(environment.map, choice); !wrong.empty()) {
        return Complain(EXIT_USAGE, wrong);
    }
    std::string error;
    const std::unique_ptr<UncoreFeed> feed = MakeFeed(choice, error);
    if (feed == nullptr) {
        return Complain(EXIT_NO_SOURCE, error);
    }
    InstanceLock lock(environment.runtimeDir);
    if (const std::string wrong = lock.Acquire(); !wrong.empty()) {
        return Complain(EXIT_RUN_TIME, wrong);
    }
    logger->SetLevel(static_cast<LogLevel>(conf.logLevel));
    logger->SetLogFile(conf.logFile);
    logger->InitSnapshot(conf.snapshotInterval);
    const std::vector<std::string> faults = FileFaults(TARNIX_YAML);
    GateRuntimeLog();
    PassiveWatchdog watchdog;
    watchdog.Start(
        std::chrono::seconds(conf.watchdogTimeout));  // from here on even a log that hangs is an end
    LogStart(conf, warning, faults);
    PeriodRecorder recorder(conf.metrics, environment.metricsFile);
    ServiceNotifier notifier(environment);
    host::MonotonicClock clock;
    std::optional<host::OpinionWatch> opinions;
    if (choice.kind == SourceChoice::Kind::LIVE) {  // beside other counts the kernel's mean nothing
        opinions.emplace(environment.sysfsRoot, environment.procfsRoot);
    }
    Daemon daemon({conf, control, TARNIX_YAML, *feed, recorder, watchdog, notifier, clock, cli::StopRequested,
                   opinions ? &*opinions : nullptr});
    const UncoreFeed::State end = daemon.Run();
    watchdog.Stop();
    return end == UncoreFeed::State::FAILED ? EXIT_NO_SOURCE : EXIT_GOOD;
}

/// The option takes an argument; without one, the help for people is meant.
bool AsksForHelp(int argc, char** argv)
{
    return argc == 2 && (std::strcmp(argv[1], "--help") == 0 || std::strcmp(argv[1], "-h") == 0);
}

int Main(int argc, char** argv)
{
    if (AsksForHelp(argc, argv)) {
        return Print(OptionInfo(ConfigType::TARNIX).GetHelpInfo(false, HelpType::CMD));
    }
    ConfCtl control(ConfigType::TARNIX);
    Conf conf;
    TnResult warning;
    if (const TnResult result = control.Init(argc, argv, false, conf, warning); result.code != 0) {
        return Complain(EXIT_USAGE, result.message);
    }
    if (conf.help != HelpType::OFF) {
        return Print(conf.helpInfo);
    }
    if (conf.version) {
        return Print(conf.versionInfo);
    }
    const Environment environment = ReadEnvironment(cli::ProcessEnvironment);
    if (conf.reload) {
        const std::string wrong = InstanceLock(environment.runtimeDir).Signal(SIGHUP);
        return wrong.empty() ? EXIT_GOOD : Complain(EXIT_RUN_TIME, wrong);
    }
    return Observe(control, conf, warning, environment);
}

}  // namespace

int main(int argc, char** argv)
{
    cli::OccupyStandardDescriptors();
    cli::InstallSignalHandlers();
    InstallReloadHandler();
    try {
        try {
            return Main(argc, argv);
        } catch (const std::bad_alloc&) {
            throw;
        } catch (const std::exception& failure) {
            return Complain(EXIT_RUN_TIME, messages::Unexpected(failure.what()));
        }
    } catch (const std::bad_alloc&) {
        return cli::EndOutOfMemory("tarnix", EXIT_RUN_TIME);
    }
}
