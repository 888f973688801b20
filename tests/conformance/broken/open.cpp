// SPDX-License-Identifier: MIT
//
// Refuses a topic that is open.

#include "tests/conformance/sample_publisher.h"

namespace {

class Broken : public sample::Publisher {
public:
    Result OpenTopic(const kovari::Topic& topic) override
    {
        return opened && IsSupported(topic) ? Result{-1, "already open"} : Publisher::OpenTopic(topic);
    }
};

}  // namespace

extern "C" SAMPLE_EXPORT void GetInstance(sample::Interfaces& interfaces)
{
    interfaces.push_back(std::make_shared<Broken>());
}
