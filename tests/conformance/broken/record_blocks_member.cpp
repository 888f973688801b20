// SPDX-License-Identifier: MIT
//
// Publishes a record that is a member of the instance.

#include "tests/conformance/sample_publisher.h"

namespace {

class Broken : public sample::Publisher {
protected:
    void* MakeRecord() override { return &reading; }

private:
    sample::Reading reading;
};

}  // namespace

extern "C" SAMPLE_EXPORT void GetInstance(sample::Interfaces& interfaces)
{
    interfaces.push_back(std::make_shared<Broken>());
}
