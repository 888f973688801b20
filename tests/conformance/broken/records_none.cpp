// SPDX-License-Identifier: MIT
//
// Publishes a list of no records.

#include "tests/conformance/sample_publisher.h"

namespace {

class Broken : public sample::Publisher {
protected:
    std::uint64_t Records() override { return 0; }
};

}  // namespace

extern "C" SAMPLE_EXPORT void GetInstance(sample::Interfaces& interfaces)
{
    interfaces.push_back(std::make_shared<Broken>());
}
