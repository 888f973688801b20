// SPDX-License-Identifier: MIT
//
// Raises an exception for the second batch.

#include <stdexcept>

#include "tests/conformance/sample_publisher.h"

namespace {

class Broken : public sample::Publisher {
public:
    void UpdateData(const DataList& dataList) override
    {
        Publisher::UpdateData(dataList);
        if (batches == 2) {
            throw std::runtime_error("what is\nthat?");
        }
    }
};

}  // namespace

extern "C" SAMPLE_EXPORT void GetInstance(sample::Interfaces& interfaces)
{
    interfaces.push_back(std::make_shared<Broken>());
}
