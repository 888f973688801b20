// SPDX-License-Identifier: MIT

#include <signal.h>
#include <time.h>

#include "tools/cli/signals.h"
#include "tools/tnstat/commands.h"
#include "tools/tnstat/exit_status.h"
#include "tools/tnstat/http_server.h"
#include "tools/tnstat/messages.h"
#include "tools/tnstat/metrics_file.h"
#include "tools/tnstat/site.h"

namespace tnstat {
namespace {

constexpr std::int64_t NS_PER_SECOND = 1000000000;

std::int64_t WallClockNs()
{
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    return now.tv_sec * NS_PER_SECOND + now.tv_nsec;
}

void Say(const std::string& line, Channels channels)
{
    channels.err.Buffer() += "tnstat: " + line + "\n";
    channels.err.Commit();
}

/// Until SIGINT or SIGTERM. `blocked` holds both signals back except while waiting, so that none comes
/// between the look and the wait.
void AwaitStop(const sigset_t& before)
{
    while (!cli::StopRequested()) {
        sigsuspend(&before);
    }
}

}  // namespace

int ExportCommand(const TnStatConf& conf, const std::string& metricsPath, Channels channels)
{
    // Blocked before the server's thread starts, so that it inherits this and the signals come here.
    sigset_t ending;
    sigset_t before;
    sigemptyset(&ending);
    sigaddset(&ending, SIGINT);
    sigaddset(&ending, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &ending, &before);

    Site site(metricsPath, WallClockNs);
    HttpServer server([&site](const std::string& path) { return site.Answer(path); });
    if (const std::string fault = server.Start(conf.ip, conf.port); !fault.empty()) {
        Say(fault, channels);
        return EXIT_RUN_TIME;
    }
    Say(messages::Listening(server.Url()), channels);
    if (const Reading reading = ReadMetricsFile(metricsPath); !reading.IsGood()) {
        Say(reading.fault, channels);
    }
    AwaitStop(before);
    server.Stop();
    return EXIT_GOOD;
}

}  // namespace tnstat
