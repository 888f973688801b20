// SPDX-License-Identifier: MIT
//
// In order; works in a thread that Enable starts and Disable joins. Dropped without Disable it ends the
// process.

#include <atomic>
#include <chrono>
#include <thread>

#include "tests/conformance/sample_publisher.h"

namespace {

class Good : public sample::Publisher {
public:
    Result Enable(const std::string& /*param*/) override
    {
        worker = std::thread([this] {
            while (!stopped) {
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
                ++rounds;
            }
        });
        return {0, ""};
    }

    void Disable() override
    {
        stopped = true;
        worker.join();
        Publisher::Disable();
    }

protected:
    void* MakeRecord() override { return new sample::Reading{rounds}; }

private:
    std::thread worker;
    std::atomic<bool> stopped{false};
    std::atomic<std::uint64_t> rounds{0};
};

}  // namespace

extern "C" SAMPLE_EXPORT void GetInstance(sample::Interfaces& interfaces)
{
    interfaces.push_back(std::make_shared<Good>());
}
