// SPDX-License-Identifier: MIT

#include <time.h>

#include "common/metrics.h"
#include "tools/cli/signals.h"
#include "tools/tnstat/commands.h"
#include "tools/tnstat/csv.h"
#include "tools/tnstat/exit_status.h"
#include "tools/tnstat/messages.h"
#include "tools/tnstat/metrics_file.h"

namespace tnstat {
namespace {

constexpr long POLL_NS = 100000000;
const char* const CLEAR_SCREEN = "\x1b[H\x1b[2J";

/// Waits a little; a signal ends the wait.
void Pause()
{
    const timespec duration{0, POLL_NS};
    nanosleep(&duration, nullptr);
}

void Say(const std::string& line, Channels channels)
{
    channels.err.Buffer() += "tnstat: " + line + "\n";
    channels.err.Commit();
}

/// The text of one dump in the form asked for.
std::string TextOf(const Reading& reading, const TnStatConf& conf, bool redraw)
{
    if (conf.exportType == ExportType::CSV) {
        return CsvRow(reading);
    }
    return (redraw ? CLEAR_SCREEN : "") + GetSystemMetricsReport(reading.record);
}

bool Write(const std::string& text, Channels channels)
{
    channels.out.Buffer() += text;
    channels.out.Commit();
    return channels.out.GetState() == cli::Output::State::GOOD;
}

/// Each new dump until interrupted; a file that turns bad is named once.
void Follow(const TnStatConf& conf, const std::string& metricsPath, Channels channels)
{
    FileStamp shown;
    std::string said;
    while (!cli::StopRequested()) {
        const Reading reading = ReadMetricsFile(metricsPath);
        if (!reading.IsGood()) {
            if (reading.fault != said) {
                Say(reading.fault, channels);
                said = reading.fault;
            }
        } else if (reading.stamp != shown) {
            shown = reading.stamp;
            said.clear();
            if (!Write(TextOf(reading, conf, channels.redraw), channels)) {
                return;
            }
        }
        Pause();
    }
}

}  // namespace

int Finish(const std::string& text, int status, Channels channels)
{
    channels.out.Buffer() += text;
    channels.out.Close();
    if (channels.out.GetState() == cli::Output::State::FAILED) {
        Say(messages::CannotWriteOutput(channels.out.ErrorNumber()), channels);
        return EXIT_RUN_TIME;
    }
    return status;
}

int ShowCommand(const TnStatConf& conf, const std::string& metricsPath, Channels channels)
{
    const std::string header = conf.exportType == ExportType::CSV ? CsvHeader() : std::string();
    if (conf.repeat) {
        if (Write(header, channels)) {
            Follow(conf, metricsPath, channels);
        }
        return Finish({}, EXIT_GOOD, channels);
    }
    const Reading reading = ReadMetricsFile(metricsPath);
    if (!reading.IsGood()) {
        Say(reading.fault, channels);
        return EXIT_NO_SOURCE;
    }
    return Finish(header + TextOf(reading, conf, false), EXIT_GOOD, channels);
}

}  // namespace tnstat
