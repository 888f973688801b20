// SPDX-License-Identifier: MIT

#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>

#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "tools/cli/signals.h"
#include "tools/cli/terminal.h"
#include "tools/numa_score/commands.h"
#include "tools/numa_score/csv_writer.h"
#include "tools/numa_score/exit_status.h"
#include "tools/numa_score/json_writer.h"
#include "tools/numa_score/kernel_text.h"
#include "tools/numa_score/live_view.h"
#include "tools/numa_score/messages.h"
#include "tools/numa_score/plugin_set.h"
#include "tools/numa_score/report.h"
#include "tools/numa_score/runner.h"
#include "tools/numa_score/source_choice.h"
#include "tools/numa_score/table_writer.h"

namespace numa_score {
namespace {

std::int64_t UtcNowNs()
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return now.tv_sec * 1000000000LL + now.tv_nsec;
}

RunSettings SettingsOf(const Options& options)
{
    RunSettings settings;
    settings.periodMs = options.intervalMs;
    settings.speed = options.speed;
    settings.count = options.count;
    settings.durationNs = options.durationNs;
    settings.perPmu = options.perPmu;
    return settings;
}

std::unique_ptr<RowWriter> MakeWriter(const Options& options, cli::Output& output, int descriptor,
                                      host::Clock& clock)
{
    if (options.format == Format::CSV) {
        return std::make_unique<CsvWriter>(output);
    }
    if (options.format == Format::JSON) {
        return std::make_unique<JsonWriter>(output, options.perPmu);
    }
    const bool terminal = isatty(descriptor) != 0;
    TableStyle style;
    style.color = cli::UseColor(options.color, terminal, cli::ProcessEnvironment);
    style.utf8 = cli::IsUtf8Locale(cli::ProcessEnvironment);
    style.threshold = static_cast<float>(options.threshold);
    style.timeKind = options.command == Command::LIVE ? TimeKind::UTC : TimeKind::RECORDED;
    if (cli::CanRedraw(terminal, cli::ProcessEnvironment)) {
        return std::make_unique<LiveView>(output, TableLayout(style), clock,
                                          [descriptor] { return cli::SizeOfTerminal(descriptor); });
    }
    return std::make_unique<TableWriter>(output, TableLayout(style));
}

/// Exit status of a run, with its error printed. A recording that fails is no source, whatever came before,
/// and neither is one without operations.
int StatusOf(const Options& options, const RunOutcome& outcome, const Summary& summary, Talk& talk)
{
    const bool replay = options.command == Command::REPLAY;
    if (!outcome.error.empty()) {
        talk.Error(outcome.error);
    }
    switch (outcome.end) {
        case RunEnd::SOURCE_FAILED:
            return summary.periods == 0 || replay ? EXIT_NO_SOURCE : EXIT_RUN_TIME;
        case RunEnd::PLUGIN_FAILED:
            return EXIT_RUN_TIME;
        case RunEnd::SOURCE_ENDED:
            if (replay && NothingMeasured(summary)) {
                talk.Error(NoOperationsRecorded(options.recording));
                return EXIT_NO_SOURCE;
            }
            return EXIT_GOOD;
        default:
            return EXIT_GOOD;
    }
}

bool ProgressWanted(const Options& options, int outputDescriptor)
{
    return options.command == Command::REPLAY && !options.quiet && isatty(outputDescriptor) == 0 &&
           cli::CanRedraw(isatty(STDERR_FILENO) != 0, cli::ProcessEnvironment);
}

/// Runs a source that is there through a plug-in that is loaded.
int Measure(const Options& options, ChosenSource chosen, const PluginSet& plugins, int descriptor,
            ErrorChannel err)
{
    host::MonotonicClock clock;
    const bool paced = options.command == Command::LIVE || options.speed.has_value();
    const bool watched = paced || isatty(descriptor) != 0;
    cli::Output output(descriptor, !options.out.empty(),
                       watched ? cli::Output::Flush::EACH_COMMIT : cli::Output::Flush::WHEN_FULL,
                       cli::StopRequested);
    const std::unique_ptr<RowWriter> writer = MakeWriter(options, output, descriptor, clock);
    std::optional<Progress> progress;
    if (ProgressWanted(options, descriptor)) {
        progress.emplace(err.raw, clock);
    }
    SummaryCollector scores(options.threshold);
    Report report({writer.get(), &output, &err.talk, progress ? &*progress : nullptr, chosen.replay, &scores},
                  clock);
    err.talk.Remark(chosen.source->Describe());
    if (options.command != Command::REPLAY) {
        report.Begin();  // what there is to see may be long in coming
    }
    std::optional<host::OpinionWatch> opinions;
    if (options.command == Command::LIVE) {
        opinions.emplace(options.sysfsRoot, options.procfsRoot);
    }
    Runner runner({clock, UtcNowNs, cli::StopRequested, opinions ? &*opinions : nullptr}, report,
                  SettingsOf(options));
    const RunOutcome outcome = runner.Run(std::move(chosen.source), plugins.Instances());
    const Summary summary = scores.Finish();
    report.End(outcome.end != RunEnd::SOURCE_FAILED);
    err.talk.End();
    output.WriteOut();
    if (output.GetState() != cli::Output::State::GOOD) {
        return CloseOutput(output, options.out, EXIT_GOOD, err);
    }
    if (summary.periods > 0 || outcome.error.empty()) {
        const std::string text = SummaryText(summary) + (opinions ? KernelText(opinions->Whole()) : "");
        if (options.format == Format::TABLE) {
            output.Buffer() += "\n" + text;
        } else {
            err.talk.Print(text);
        }
        err.talk.Print(CostText(outcome.cost));
    }
    const int status = StatusOf(options, outcome, summary, err.talk);
    return CloseOutput(output, options.out, status, err);
}

}  // namespace

int MeasureCommand(const Options& options, ErrorChannel err)
{
    ChosenSource chosen = OpenSource(options);
    if (!chosen.source) {
        err.talk.Error(chosen.error);
        return EXIT_NO_SOURCE;
    }
    const PluginSetResult plugins = LoadScorePlugins(options.plugin);
    if (!plugins.error.empty()) {
        err.talk.Error(plugins.error);
        return EXIT_RUN_TIME;
    }
    for (const std::string& remark : plugins.set.remarks) {
        err.talk.Remark(remark);
    }
    int descriptor = STDOUT_FILENO;
    if (!options.out.empty()) {
        if (options.command == Command::REPLAY && cli::IsSameFile(options.recording, options.out)) {
            err.talk.Error(OutputIsInput(options.out));
            return EXIT_USAGE;
        }
        descriptor = cli::OpenOutputFile(options.out);
        if (descriptor < 0) {
            err.talk.Error(CannotOpenOutput(options.out, errno));
            return EXIT_RUN_TIME;
        }
    }
    return Measure(options, std::move(chosen), plugins.set, descriptor, err);
}

}  // namespace numa_score
