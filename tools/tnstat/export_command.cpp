// SPDX-License-Identifier: MIT

#include <signal.h>
#include <sys/select.h>
#include <time.h>

#include <chrono>

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

/// How often slow clients are looked for.
constexpr time_t PATROL_SECONDS = 5;

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

/// Serves until a signal asks for the end, and meanwhile says what is wrong with the metrics file, each time
/// that it is something else. The signals are blocked except while waiting, so that none comes between the
/// look and the wait.
void AwaitStop(HttpServer& server, const std::string& metricsPath, Channels channels, const sigset_t& before)
{
    std::string said;
    while (!cli::StopRequested()) {
        const std::string fault = ReadMetricsFile(metricsPath).fault;
        if (!fault.empty() && fault != said) {
            Say(fault, channels);
        }
        said = fault;
        const timespec pause{PATROL_SECONDS, 0};
        pselect(0, nullptr, nullptr, nullptr, &pause, &before);
        server.DropSlow(std::chrono::seconds(HttpServer::REQUEST_SECONDS));
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
    sigaddset(&ending, SIGHUP);
    pthread_sigmask(SIG_BLOCK, &ending, &before);

    Site site(metricsPath, WallClockNs);
    HttpServer server([&site](const std::string& path) { return site.Answer(path); });
    if (const std::string fault = server.Start(conf.ip, conf.port); !fault.empty()) {
        Say(fault, channels);
        return EXIT_RUN_TIME;
    }
    Say(messages::Listening(server.Url()), channels);
    AwaitStop(server, metricsPath, channels, before);
    // Should the end hang, a further signal kills.
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    server.Stop();
    return EXIT_GOOD;
}

}  // namespace tnstat
