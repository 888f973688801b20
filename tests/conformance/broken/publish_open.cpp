// SPDX-License-Identifier: MIT
//
// Publishes whether its topic is open or not.

#include "tests/conformance/sample_publisher.h"

namespace {

class Broken : public sample::Publisher {
public:
    void Run() override { Publish(); }
};

}  // namespace

extern "C" SAMPLE_EXPORT void GetInstance(sample::Interfaces& interfaces)
{
    interfaces.push_back(std::make_shared<Broken>());
}
