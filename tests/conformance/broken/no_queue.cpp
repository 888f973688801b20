// SPDX-License-Identifier: MIT
//
// Raises an exception of its own when it has no queue.

#include <stdexcept>

#include "tests/conformance/sample_publisher.h"

namespace {

class Broken : public sample::Publisher {
protected:
    void Push(std::shared_ptr<kovari::InstanceRunMessage> message) override
    {
        if (!messageQueue) {
            throw std::logic_error("no queue");
        }
        Publisher::Push(std::move(message));
    }
};

}  // namespace

extern "C" SAMPLE_EXPORT void GetInstance(sample::Interfaces& interfaces)
{
    interfaces.push_back(std::make_shared<Broken>());
}
