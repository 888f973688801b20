// SPDX-License-Identifier: MIT
//
// numa-score: drives the plug-in with counts of this machine, of a recording or of a demonstration and shows
// the scores that it publishes.

#include <unistd.h>

#include <new>

#include "tools/cli/output.h"
#include "tools/cli/signals.h"
#include "tools/numa_score/commands.h"
#include "tools/numa_score/conformance/rule_process.h"
#include "tools/numa_score/exit_status.h"

namespace {

using namespace numa_score;

int Execute(const Options& options, ErrorChannel err)
{
    switch (options.command) {
        case Command::DOCTOR:
            return DoctorCommand(options, err);
        case Command::LIST:
            return ListCommand(options, err);
        case Command::CHECK:
            return CheckCommand(options, err);
        case Command::REPLAY:
            return options.compare.empty() ? MeasureCommand(options, err) : CompareCommand(options, err);
        case Command::LIVE:
        case Command::DEMO:
            break;
    }
    return MeasureCommand(options, err);
}

int Main(int argc, const char* const* argv, cli::Output& errorOutput)
{
    const CommandLine line = ParseCommandLine(argc, argv);
    Talk talk(errorOutput, line.options && line.options->quiet);
    const ErrorChannel err{errorOutput, talk};
    if (line.options) {
        return Execute(*line.options, err);
    }
    if (!line.error.empty()) {
        talk.Error(line.error);
        talk.Error(line.hint);
    }
    return PrintResult(line.out, "", line.status, err);
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc == 4) {
        if (const std::optional<int> status = conformance::ExamineHere(argv[1], argv[2], argv[3])) {
            return *status;
        }
    }
    cli::OccupyStandardDescriptors();
    cli::InstallSignalHandlers();
    try {
        cli::Output errorOutput(STDERR_FILENO, false, cli::Output::Flush::EACH_COMMIT, cli::StopRequested);
        return Main(argc, argv, errorOutput);
    } catch (const std::bad_alloc&) {
        return cli::EndOutOfMemory("numa-score", EXIT_RUN_TIME);
    }
}
