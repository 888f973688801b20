// SPDX-License-Identifier: MIT
//
// Sends messages with another flag.

#include "tests/conformance/sample_publisher.h"

namespace {

class Broken : public sample::Publisher {
protected:
    void Push(std::shared_ptr<kovari::InstanceRunMessage> message) override
    {
        message->flag = 0;
        Publisher::Push(std::move(message));
    }
};

}  // namespace

extern "C" SAMPLE_EXPORT void GetInstance(sample::Interfaces& interfaces)
{
    interfaces.push_back(std::make_shared<Broken>());
}
