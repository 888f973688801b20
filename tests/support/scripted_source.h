// SPDX-License-Identifier: MIT

#ifndef TESTS_SUPPORT_SCRIPTED_SOURCE_H
#define TESTS_SUPPORT_SCRIPTED_SOURCE_H

#include <cstddef>

#include <string>
#include <utility>
#include <vector>

#include "host/counter_source.h"

namespace support {

/// Yields the batches that it was given, one a read, and then `last` for ever.
class ScriptedSource : public host::CounterSource {
public:
    explicit ScriptedSource(std::vector<host::CounterBatch> script, Status finalStatus = Status::END)
        : batches(std::move(script)), last(finalStatus)
    {
    }

    std::string Describe() const override { return "a script"; }
    bool IsLive() const override { return false; }

    Status Read(host::CounterBatch& batch) override
    {
        ++reads;
        if (waits && reads % 2 == 1) {
            batch.Clear();
            return Status::WAITING;
        }
        if (next == batches.size()) {
            batch.Clear();
            return last;
        }
        batch = batches[next++];
        return Status::BATCH;
    }

    std::string Error() const override { return last == Status::FAILED ? "the script failed" : ""; }
    std::vector<std::string> TakeRemarks() override { return {}; }

    std::size_t reads = 0;  ///< calls of Read so far
    bool waits = false;     ///< every other read finds nothing yet, the first one too

private:
    std::vector<host::CounterBatch> batches;
    std::size_t next = 0;
    Status last;
};

}  // namespace support

#endif  // TESTS_SUPPORT_SCRIPTED_SOURCE_H
