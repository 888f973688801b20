// SPDX-License-Identifier: MIT

#include "tools/numa_score/talk.h"

#include "tools/numa_score/messages.h"

namespace numa_score {

void Talk::Remark(const std::string& line)
{
    if (RemarkShows()) {
        Say(line);
    }
    ++remarks;
}

void Talk::Print(const std::string& text)
{
    if (!silent) {
        err.Buffer() += text;
        err.Commit();
    }
}

void Talk::End()
{
    if (!silent && remarks > MAX_REMARKS) {
        Say(RemarksLeftOut(remarks - MAX_REMARKS));
    }
    remarks = 0;
}

void Talk::Say(const std::string& line)
{
    err.Buffer() += "numa-score: " + line + "\n";
    err.Commit();
}

}  // namespace numa_score
