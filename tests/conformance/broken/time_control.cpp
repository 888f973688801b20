// SPDX-License-Identifier: MIT
//
// Disable takes its time.

#include <chrono>
#include <thread>

#include "tests/conformance/sample_publisher.h"

namespace {

class Broken : public sample::Publisher {
public:
    void Disable() override
    {
        std::this_thread::sleep_for(std::chrono::milliseconds(120));
        Publisher::Disable();
    }
};

}  // namespace

extern "C" SAMPLE_EXPORT void GetInstance(sample::Interfaces& interfaces)
{
    interfaces.push_back(std::make_shared<Broken>());
}
