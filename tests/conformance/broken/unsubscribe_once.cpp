// SPDX-License-Identifier: MIT
//
// Unsubscribes in CloseTopic and again in Disable.

#include "tests/conformance/sample_publisher.h"

namespace {

class Broken : public sample::Publisher {
protected:
    void Unsubscribe() override
    {
        subscribed.clear();
        Push(Make(RunType::UNSUBSCRIBE, {Key(input), name}));
    }
};

}  // namespace

extern "C" SAMPLE_EXPORT void GetInstance(sample::Interfaces& interfaces)
{
    interfaces.push_back(std::make_shared<Broken>());
}
