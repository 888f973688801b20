// SPDX-License-Identifier: MIT

#include "tools/numa_score/progress.h"

#include <algorithm>

#include "tools/numa_score/text_format.h"

namespace numa_score {
namespace {

constexpr std::int64_t NS_PER_SECOND = 1000000000;
constexpr std::uint64_t BYTES_PER_MIB = 1048576;

}  // namespace

Progress::Progress(cli::Output& errorOutput, host::Clock& progressClock)
    : err(errorOutput), clock(progressClock), nextNs(progressClock.NowNs() + NS_PER_SECOND)
{
}

void Progress::Show(const host::ReplayProgress& progress)
{
    nextNs = clock.NowNs() + NS_PER_SECOND / 2;
    shown = true;
    err.Buffer() += "\rnuma-score: " + ProgressText(progress) + "\x1b[K";
    err.WriteOut();
}

void Progress::Clear()
{
    if (shown) {
        err.Buffer() += "\r\x1b[K";
        err.WriteOut();
        shown = false;
    }
}

std::string ProgressText(const host::ReplayProgress& progress)
{
    std::string text;
    if (progress.totalBytes > 0) {
        const double share = static_cast<double>(progress.bytes) / static_cast<double>(progress.totalBytes);
        AppendUnsigned(text, static_cast<std::uint64_t>(std::min(share, 1.0) * 100));
        text += " %, ";
    } else {
        AppendUnsigned(text, progress.bytes / BYTES_PER_MIB);
        text += " MiB, ";
    }
    AppendUnsigned(text, progress.lines);
    text += " lines, ";
    AppendSeconds(text, progress.recordedNs, 0);
    text += " s of recorded time";
    return text;
}

}  // namespace numa_score
