// SPDX-License-Identifier: MIT
//
// Subscribes with every OpenTopic.

#include "tests/conformance/sample_publisher.h"

namespace {

class Broken : public sample::Publisher {
protected:
    void Subscribe() override
    {
        subscribed.insert(Key(input));
        Push(Make(RunType::SUBSCRIBE, {Key(input), name}));
    }
};

}  // namespace

extern "C" SAMPLE_EXPORT void GetInstance(sample::Interfaces& interfaces)
{
    interfaces.push_back(std::make_shared<Broken>());
}
