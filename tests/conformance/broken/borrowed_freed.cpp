// SPDX-License-Identifier: MIT
//
// Deletes the data that is delivered.

#include "tests/conformance/sample_publisher.h"

namespace {

class Broken : public sample::Publisher {
public:
    void UpdateData(const DataList& dataList) override
    {
        if (input.topicName == dataList.topic.topicName && !deleted) {
            deleted = true;
            ::operator delete(dataList.data[0]);
        }
    }

private:
    bool deleted = false;
};

}  // namespace

extern "C" SAMPLE_EXPORT void GetInstance(sample::Interfaces& interfaces)
{
    interfaces.push_back(std::make_shared<Broken>());
}
