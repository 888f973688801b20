// SPDX-License-Identifier: MIT
//
// In order, but linked so that it stays in the process for ever.

#include "tests/conformance/sample_publisher.h"

namespace {

class Broken : public sample::Publisher {};

}  // namespace

extern "C" SAMPLE_EXPORT void GetInstance(sample::Interfaces& interfaces)
{
    interfaces.push_back(std::make_shared<Broken>());
}
