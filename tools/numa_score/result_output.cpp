// SPDX-License-Identifier: MIT

#include <unistd.h>

#include <cerrno>

#include "tools/numa_score/commands.h"
#include "tools/numa_score/exit_status.h"
#include "tools/numa_score/messages.h"
#include "tools/numa_score/signals.h"

namespace numa_score {

int PrintResult(const std::string& text, const std::string& path, int status, ErrorChannel err)
{
    const int descriptor = path.empty() ? STDOUT_FILENO : OpenOutputFile(path);
    if (descriptor < 0) {
        err.talk.Error(CannotOpenOutput(path, errno));
        return EXIT_RUN_TIME;
    }
    Output output(descriptor, !path.empty(), Output::Flush::WHEN_FULL, StopRequested);
    output.Buffer() += text;
    return CloseOutput(output, path, status, err);
}

int CloseOutput(Output& output, const std::string& path, int status, ErrorChannel err)
{
    output.Close();
    switch (output.GetState()) {
        case Output::State::READER_GONE:
            return EXIT_GOOD;
        case Output::State::FAILED:
            err.talk.Error(CannotWrite(path, output.ErrorNumber()));
            return EXIT_RUN_TIME;
        case Output::State::GOOD:
            break;
    }
    return status;
}

}  // namespace numa_score
