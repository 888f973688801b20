// SPDX-License-Identifier: MIT
//
// Writes into the data that is delivered.

#include "tests/conformance/sample_publisher.h"

namespace {

class Broken : public sample::Publisher {
public:
    void UpdateData(const DataList& dataList) override
    {
        if (input.topicName == dataList.topic.topicName) {
            static_cast<UncoreSampleBatch*>(dataList.data[0])->interval = 0;
        }
    }
};

}  // namespace

extern "C" SAMPLE_EXPORT void GetInstance(sample::Interfaces& interfaces)
{
    interfaces.push_back(std::make_shared<Broken>());
}
