// SPDX-License-Identifier: MIT
//
// Sends null pointers.

#include "tests/conformance/sample_publisher.h"

namespace {

class Broken : public sample::Publisher {
protected:
    void Push(std::shared_ptr<kovari::InstanceRunMessage> /*message*/) override { Publisher::Push(nullptr); }
};

}  // namespace

extern "C" SAMPLE_EXPORT void GetInstance(sample::Interfaces& interfaces)
{
    interfaces.push_back(std::make_shared<Broken>());
}
