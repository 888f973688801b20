// SPDX-License-Identifier: MIT

#include "host/call_stats.h"

#include <algorithm>

namespace host {

const char* CallName(Call call)
{
    switch (call) {
        case Call::OPEN_TOPIC:
            return "OpenTopic";
        case Call::CLOSE_TOPIC:
            return "CloseTopic";
        case Call::UPDATE_DATA:
            return "UpdateData";
        case Call::ENABLE:
            return "Enable";
        case Call::DISABLE:
            return "Disable";
        case Call::RUN:
            return "Run";
    }
    return "unknown call";
}

void CallStats::Record(std::int64_t elapsedNs, bool failed)
{
    ++calls;
    totalNs += elapsedNs;
    longestNs = std::max(longestNs, elapsedNs);
    if (failed) {
        ++failures;
    }
}

}  // namespace host
