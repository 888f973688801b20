// SPDX-License-Identifier: MIT
//
// UpdateData takes its time.

#include <chrono>
#include <thread>

#include "tests/conformance/sample_publisher.h"

namespace {

class Broken : public sample::Publisher {
public:
    void UpdateData(const DataList& dataList) override
    {
        std::this_thread::sleep_for(std::chrono::milliseconds(15));
        Publisher::UpdateData(dataList);
    }
};

}  // namespace

extern "C" SAMPLE_EXPORT void GetInstance(sample::Interfaces& interfaces)
{
    interfaces.push_back(std::make_shared<Broken>());
}
