// SPDX-License-Identifier: MIT
//
// Run takes more than half of the period.

#include <chrono>
#include <thread>

#include "tests/conformance/sample_publisher.h"

namespace {

class Broken : public sample::Publisher {
public:
    void Run() override
    {
        std::this_thread::sleep_for(std::chrono::milliseconds(7));
        Publisher::Run();
    }
};

}  // namespace

extern "C" SAMPLE_EXPORT void GetInstance(sample::Interfaces& interfaces)
{
    interfaces.push_back(std::make_shared<Broken>());
}
