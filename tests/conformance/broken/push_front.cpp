// SPDX-License-Identifier: MIT
//
// Jumps the queue.

#include "tests/conformance/sample_publisher.h"

namespace {

class Broken : public sample::Publisher {
protected:
    void Push(std::shared_ptr<kovari::InstanceRunMessage> message) override
    {
        if (!messageQueue) {
            throw std::system_error(std::make_error_code(std::errc::operation_not_permitted));
        }
        const std::lock_guard<std::mutex> lock(messageQueue->mutex);
        messageQueue->messages.push_front(std::move(message));
        messageQueue->condition.notify_one();
    }
};

}  // namespace

extern "C" SAMPLE_EXPORT void GetInstance(sample::Interfaces& interfaces)
{
    interfaces.push_back(std::make_shared<Broken>());
}
