// SPDX-License-Identifier: MIT
//
// Two instances of one name.

#include "tests/conformance/sample_publisher.h"

namespace {

class Broken : public sample::Publisher {};

}  // namespace

extern "C" SAMPLE_EXPORT void GetInstance(sample::Interfaces& interfaces)
{
    interfaces.push_back(std::make_shared<Broken>());
    interfaces.push_back(std::make_shared<Broken>());
}
