// SPDX-License-Identifier: MIT
//
// Says that it publishes a topic of another instance.

#include "tests/conformance/sample_publisher.h"

namespace {

class Broken : public sample::Publisher {
public:
    Broken() { supportTopics.front().instanceName = "other"; }
};

}  // namespace

extern "C" SAMPLE_EXPORT void GetInstance(sample::Interfaces& interfaces)
{
    interfaces.push_back(std::make_shared<Broken>());
}
