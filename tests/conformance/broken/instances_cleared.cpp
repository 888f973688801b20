// SPDX-License-Identifier: MIT
//
// Empties the vector before it appends.

#include "tests/conformance/sample_publisher.h"

namespace {

class Broken : public sample::Publisher {};

}  // namespace

extern "C" SAMPLE_EXPORT void GetInstance(sample::Interfaces& interfaces)
{
    interfaces.clear();
    interfaces.push_back(std::make_shared<Broken>());
}
