// SPDX-License-Identifier: MIT

#include "tools/numa_score/quality.h"

namespace numa_score {

QualityFlags Judge(const Evidence& evidence)
{
    QualityFlags flags;
    if (evidence.ops == 0 && evidence.sawOps) {
        flags.Set(Quality::IDLE);
    }
    if (evidence.runningRatio < FULL_RUNNING_RATIO) {
        flags.Set(Quality::MULTIPLEXED);
    }
    if (evidence.notCounted > 0) {
        flags.Set(Quality::NOT_COUNTED);
    }
    const bool sawAll = evidence.sawOps && evidence.sawSccl && evidence.sawOuter;
    const bool silent = evidence.samples == 0 && evidence.notCounted == 0;
    if (evidence.missing > 0 || evidence.cutShort || (!silent && !sawAll)) {
        flags.Set(Quality::PARTIAL);
    }
    const bool remoteExceeds = evidence.outer > evidence.ops || evidence.sccl > evidence.ops - evidence.outer;
    if (evidence.ops > 0 && remoteExceeds) {
        flags.Set(Quality::CLAMPED);
    }
    if (silent) {
        flags.Set(Quality::STALE);
    }
    if (evidence.kernelDisagrees) {
        flags.Set(Quality::DISAGREES);
    }
    return flags;
}

void AppendFlags(std::string& out, QualityFlags flags, std::string_view separator)
{
    bool first = true;
    for (std::size_t i = 0; i < QUALITY_COUNT; ++i) {
        if (flags.Has(static_cast<Quality>(i))) {
            if (!first) {
                out += separator;
            }
            out += QUALITY_NAMES[i];
            first = false;
        }
    }
}

}  // namespace numa_score
