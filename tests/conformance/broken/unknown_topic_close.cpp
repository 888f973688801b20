// SPDX-License-Identifier: MIT
//
// Unsubscribes whatever topic is closed.

#include "tests/conformance/sample_publisher.h"

namespace {

class Broken : public sample::Publisher {
public:
    void CloseTopic(const kovari::Topic& /*topic*/) override
    {
        opened = false;
        Unsubscribe();
    }
};

}  // namespace

extern "C" SAMPLE_EXPORT void GetInstance(sample::Interfaces& interfaces)
{
    interfaces.push_back(std::make_shared<Broken>());
}
