// SPDX-License-Identifier: MIT

#include <unistd.h>

#include <optional>
#include <string>
#include <utility>

#include "tools/cli/signals.h"
#include "tools/numa_score/commands.h"
#include "tools/numa_score/compare.h"
#include "tools/numa_score/exit_status.h"
#include "tools/numa_score/messages.h"
#include "tools/numa_score/plugin_set.h"
#include "tools/numa_score/report.h"
#include "tools/numa_score/runner.h"
#include "tools/numa_score/source_choice.h"

namespace numa_score {
namespace {

constexpr int NOT_ENDED = -1;

/// Runs the recording `path` through a plug-in of its own, so that nothing is left over for the next.
/// NOT_ENDED when all went well, otherwise the program's exit status.
int Summarise(const Options& options, const std::string& path, ChosenSource chosen, Summary& summary,
              ErrorChannel err)
{
    const PluginSetResult plugins = LoadScorePlugins(options.plugin);
    if (!plugins.error.empty()) {
        err.talk.Error(plugins.error);
        return EXIT_RUN_TIME;
    }
    host::MonotonicClock clock;
    std::optional<Progress> progress;
    if (!options.quiet && cli::CanRedraw(isatty(STDERR_FILENO) != 0, cli::ProcessEnvironment)) {
        progress.emplace(err.raw, clock);
    }
    SummaryCollector scores(options.threshold);
    Report report({nullptr, nullptr, &err.talk, progress ? &*progress : nullptr, chosen.replay, &scores},
                  clock);
    RunSettings settings;
    settings.periodMs = options.intervalMs;
    settings.speed.reset();
    settings.count = options.count;
    settings.durationNs = options.durationNs;
    Runner runner({clock, nullptr, cli::StopRequested}, report, settings);
    const RunOutcome outcome = runner.Run(std::move(chosen.source), plugins.set.Instances());
    report.End(true);
    summary = scores.Finish();
    if (!outcome.error.empty()) {
        err.talk.Error(outcome.error);
        return outcome.end == RunEnd::SOURCE_FAILED ? EXIT_NO_SOURCE : EXIT_RUN_TIME;
    }
    if (outcome.end == RunEnd::SOURCE_ENDED && NothingMeasured(summary)) {
        err.talk.Error(NoOperationsRecorded(path));
        return EXIT_NO_SOURCE;
    }
    if (outcome.end == RunEnd::INTERRUPTED) {
        err.talk.Remark(ComparisonInterrupted());
        return EXIT_GOOD;
    }
    return NOT_ENDED;
}

}  // namespace

int CompareCommand(const Options& options, ErrorChannel err)
{
    const std::string paths[] = {options.recording, options.compare};
    ChosenSource sources[2];
    for (std::size_t i = 0; i < 2; ++i) {
        sources[i] = OpenRecording(options, paths[i]);
        if (!sources[i].source) {
            err.talk.Error(sources[i].error);
            return EXIT_NO_SOURCE;
        }
        if (!options.out.empty() && cli::IsSameFile(paths[i], options.out)) {
            err.talk.Error(OutputIsInput(options.out));
            return EXIT_USAGE;
        }
    }
    NamedSummary sides[2];
    for (std::size_t i = 0; i < 2; ++i) {
        sides[i].name = paths[i] == "-" ? "standard input" : paths[i];
        const int status = Summarise(options, paths[i], std::move(sources[i]), sides[i].summary, err);
        if (status != NOT_ENDED) {
            return status;
        }
    }
    err.talk.End();
    return PrintResult(CompareText(sides[0], sides[1], options.format), options.out, EXIT_GOOD, err);
}

}  // namespace numa_score
