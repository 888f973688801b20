// SPDX-License-Identifier: MIT
//
// Takes every topic for its own.

#include "tests/conformance/sample_publisher.h"

namespace {

class Broken : public sample::Publisher {
protected:
    bool IsSupported(const kovari::Topic& /*topic*/) override { return true; }
};

}  // namespace

extern "C" SAMPLE_EXPORT void GetInstance(sample::Interfaces& interfaces)
{
    interfaces.push_back(std::make_shared<Broken>());
}
