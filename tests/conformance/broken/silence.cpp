// SPDX-License-Identifier: MIT
//
// Sends a last message from its destructor.

#include "tests/conformance/sample_publisher.h"

namespace {

class Broken : public sample::Publisher {
public:
    Broken() = default;
    Broken(const Broken&) = delete;
    Broken& operator=(const Broken&) = delete;
    ~Broken() override
    {
        if (messageQueue) {
            Broken::Push(Make(RunType::UNSUBSCRIBE, {Key(input), name}));
        }
    }
};

}  // namespace

extern "C" SAMPLE_EXPORT void GetInstance(sample::Interfaces& interfaces)
{
    interfaces.push_back(std::make_shared<Broken>());
}
