// SPDX-License-Identifier: MIT
//
// Subscribes in another instance's name.

#include "tests/conformance/sample_publisher.h"

namespace {

class Broken : public sample::Publisher {
protected:
    void Subscribe() override { Push(Make(RunType::SUBSCRIBE, {Key(input), "somebody else"})); }
};

}  // namespace

extern "C" SAMPLE_EXPORT void GetInstance(sample::Interfaces& interfaces)
{
    interfaces.push_back(std::make_shared<Broken>());
}
