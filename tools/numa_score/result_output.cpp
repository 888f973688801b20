// SPDX-License-Identifier: MIT

#include <unistd.h>

#include <cerrno>

#include "tools/cli/signals.h"
#include "tools/numa_score/commands.h"
#include "tools/numa_score/exit_status.h"
#include "tools/numa_score/messages.h"

namespace numa_score {

int PrintResult(const std::string& text, const std::string& path, int status, ErrorChannel err)
{
    const int descriptor = path.empty() ? STDOUT_FILENO : cli::OpenOutputFile(path);
    if (descriptor < 0) {
        err.talk.Error(CannotOpenOutput(path, errno));
        return EXIT_RUN_TIME;
    }
    cli::Output output(descriptor, !path.empty(), cli::Output::Flush::WHEN_FULL, cli::StopRequested);
    output.Buffer() += text;
    return CloseOutput(output, path, status, err);
}

int CloseOutput(cli::Output& output, const std::string& path, int status, ErrorChannel err)
{
    output.Close();
    switch (output.GetState()) {
        case cli::Output::State::READER_GONE:
            return EXIT_GOOD;
        case cli::Output::State::FAILED:
            err.talk.Error(CannotWrite(path, output.ErrorNumber()));
            return EXIT_RUN_TIME;
        case cli::Output::State::GOOD:
            break;
    }
    return status;
}

}  // namespace numa_score
