// SPDX-License-Identifier: MIT
//
// Publishes under a key without the empty parameters.

#include "tests/conformance/sample_publisher.h"

namespace {

class Broken : public sample::Publisher {
protected:
    void Publish() override { PublishAs("sample::reading::all"); }
};

}  // namespace

extern "C" SAMPLE_EXPORT void GetInstance(sample::Interfaces& interfaces)
{
    interfaces.push_back(std::make_shared<Broken>());
}
