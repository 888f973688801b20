// SPDX-License-Identifier: MIT
//
// Takes any parameters for its own.

#include "tests/conformance/sample_publisher.h"

namespace {

class Broken : public sample::Publisher {
protected:
    bool IsSupported(const kovari::Topic& topic) override
    {
        return topic.instanceName == name && topic.topicName == supportTopics.front().topicName;
    }
};

}  // namespace

extern "C" SAMPLE_EXPORT void GetInstance(sample::Interfaces& interfaces)
{
    interfaces.push_back(std::make_shared<Broken>());
}
