// SPDX-License-Identifier: MIT

#ifndef TOOLS_NUMA_SCORE_CONFORMANCE_KNOWN_INPUT_H
#define TOOLS_NUMA_SCORE_CONFORMANCE_KNOWN_INPUT_H

#include <cstddef>

#include <memory>
#include <string>
#include <vector>

#include "scenario/framework.h"

namespace conformance {

/// True for the topics whose records this program can make: the batches of "pmu_uncore_collector"/"uncore".
bool IsKnownInput(const std::string& topicKey);

/// Made-up data for a subscriber, every piece in a block of its own from operator new, as a host hands it to
/// UpdateData. Gives the blocks back at its end, or with Release.
class Delivery {
public:
    static constexpr std::size_t SAMPLES = 256;

    /// A batch of `SAMPLES` samples on a topic of three texts.
    Delivery(const std::string& instanceName, const std::string& topicName, const std::string& params);
    Delivery(const Delivery&) = delete;
    Delivery& operator=(const Delivery&) = delete;
    ~Delivery();

    const DataList& List() const { return list; }

    /// On the guarded heap: the pieces are marked as delivered and may not be written any more.
    void Guard();

    /// On the guarded heap: from now on nobody may touch the pieces.
    void Release();

private:
    template <typename T>
    T* Keep(T* block)
    {
        blocks.push_back(block);
        return block;
    }
    char* Text(const std::string& text);

    std::vector<void*> blocks;  // all from operator new
    DataList list;
    bool released = false;
};

/// The data for IsKnownInput; null for any other topic.
std::unique_ptr<Delivery> KnownInput(const std::string& topicKey);

}  // namespace conformance

#endif  // TOOLS_NUMA_SCORE_CONFORMANCE_KNOWN_INPUT_H
