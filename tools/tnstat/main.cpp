// SPDX-License-Identifier: MIT
//
// tnstat: shows the metrics that tarnix writes, as a report, as CSV, or to Prometheus and browsers.

#include <signal.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <new>

#include "common/metrics.h"
#include "config/conf_ctl.h"
#include "tools/cli/output.h"
#include "tools/cli/signals.h"
#include "tools/cli/terminal.h"
#include "tools/tnstat/commands.h"
#include "tools/tnstat/exit_status.h"
#include "tools/tnstat/messages.h"
#include "tools/tnstat/version.h"

namespace {

using namespace tnstat;

/// The terminal's end is an end like SIGTERM, unless whoever starts us wants it ignored.
void TakeHangUpForAnEnd()
{
    struct sigaction asked {};
    struct sigaction before {};
    sigaction(SIGTERM, nullptr, &asked);
    sigaction(SIGHUP, nullptr, &before);
    if (before.sa_handler != SIG_IGN) {
        sigaction(SIGHUP, &asked, nullptr);
    }
}

/// TARNIX_METRICS_FILE, or where tarnix writes by default.
std::string MetricsPath()
{
    const char* const asked = std::getenv("TARNIX_METRICS_FILE");
    if (asked != nullptr && *asked != '\0') {
        return asked;
    }
    Metrics metrics;
    metrics.Init(false);
    return metrics.path;
}

int Main(int argc, char** argv, Channels channels)
{
    if (argc == 2 && std::strcmp(argv[1], "--version") == 0) {
        return Finish(VersionText(), EXIT_GOOD, channels);
    }
    TnStatConf conf;
    ConfCtl control(ConfigType::TNSTAT);
    if (const TnResult result = control.InitTnstat(argc, argv, conf); result.code != 0) {
        channels.err.Buffer() += "tnstat: " + result.message;
        channels.err.Commit();
        return EXIT_USAGE;
    }
    if (conf.help) {
        return Finish(conf.helpInfo, EXIT_GOOD, channels);
    }
    const std::string path = MetricsPath();
    return conf.exportType == ExportType::NODE_EXPORTER ? ExportCommand(conf, path, channels)
                                                        : ShowCommand(conf, path, channels);
}

}  // namespace

int main(int argc, char** argv)
{
    cli::OccupyStandardDescriptors();
    cli::InstallSignalHandlers();
    TakeHangUpForAnEnd();
    try {
        cli::Output out(STDOUT_FILENO, false, cli::Output::Flush::EACH_COMMIT, cli::StopRequested);
        cli::Output err(STDERR_FILENO, false, cli::Output::Flush::EACH_COMMIT, cli::StopRequested);
        const bool redraw = cli::CanRedraw(isatty(STDOUT_FILENO) == 1, cli::ProcessEnvironment);
        return Main(argc, argv, {out, err, redraw});
    } catch (const std::bad_alloc&) {
        return cli::EndOutOfMemory("tnstat", EXIT_RUN_TIME);
    }
}
