// SPDX-License-Identifier: MIT
//
// Keeps the batch of UpdateData and reads it in Run.

#include "tests/conformance/sample_publisher.h"

namespace {

class Broken : public sample::Publisher {
public:
    void UpdateData(const DataList& dataList) override
    {
        kept = input.topicName == dataList.topic.topicName
                   ? static_cast<const UncoreSampleBatch*>(dataList.data[0])
                   : nullptr;
    }
    void Run() override
    {
        batches += kept != nullptr && kept->count > 0 ? 1 : 0;
        kept = nullptr;
        Publisher::Run();
    }

private:
    const UncoreSampleBatch* kept = nullptr;
};

}  // namespace

extern "C" SAMPLE_EXPORT void GetInstance(sample::Interfaces& interfaces)
{
    interfaces.push_back(std::make_shared<Broken>());
}
