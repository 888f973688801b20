// SPDX-License-Identifier: MIT
//
// In order; Run is slow, as its long period lets it be.

#include <chrono>
#include <thread>

#include "tests/conformance/sample_publisher.h"

namespace {

class Good : public sample::Publisher {
public:
    Good() { period = 5000; }

    void Run() override
    {
        std::this_thread::sleep_for(std::chrono::milliseconds(600));
        Publisher::Run();
    }
};

}  // namespace

extern "C" SAMPLE_EXPORT void GetInstance(sample::Interfaces& interfaces)
{
    interfaces.push_back(std::make_shared<Good>());
}
