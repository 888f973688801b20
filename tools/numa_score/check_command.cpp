// SPDX-License-Identifier: MIT

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "tools/cli/signals.h"
#include "tools/numa_score/commands.h"
#include "tools/numa_score/conformance/report.h"
#include "tools/numa_score/conformance/rule_process.h"
#include "tools/numa_score/exit_status.h"
#include "tools/numa_score/messages.h"

namespace numa_score {

int CheckCommand(const Options& options, ErrorChannel err)
{
    if (access(options.checked.c_str(), R_OK) != 0) {
        err.talk.Error(NothingToCheck(options.checked, errno));
        return EXIT_NO_SOURCE;
    }
    const int descriptor = options.out.empty() ? STDOUT_FILENO : cli::OpenOutputFile(options.out);
    if (descriptor < 0) {
        err.talk.Error(CannotOpenOutput(options.out, errno));
        return EXIT_RUN_TIME;
    }
    cli::Output output(descriptor, !options.out.empty(), cli::Output::Flush::EACH_COMMIT, cli::StopRequested);
    const bool json = options.format == Format::JSON;
    const std::vector<conformance::RuleVerdict> verdicts = conformance::ExamineAll(
        conformance::RulesFor(options.rules),
        [&options](const conformance::Rule& rule) {
            return conformance::ExamineInProcess(rule, options.checked, cli::StopRequested);
        },
        [&output, json](const conformance::RuleVerdict& judged) {
            output.Buffer() += json ? conformance::VerdictJson(judged) : conformance::VerdictLine(judged);
            output.Commit();
        });
    if (!json) {
        output.Buffer() += conformance::SummaryLine(verdicts);
    }
    const bool good = conformance::IsConforming(verdicts) && !cli::StopRequested();
    return CloseOutput(output, options.out, good ? EXIT_GOOD : EXIT_RUN_TIME, err);
}

}  // namespace numa_score
