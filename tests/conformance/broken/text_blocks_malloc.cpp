// SPDX-License-Identifier: MIT
//
// Allocates the topic texts with malloc.

#include "tests/conformance/sample_publisher.h"

namespace {

class Broken : public sample::Publisher {
protected:
    char* MakeText(const std::string& text) override { return strdup(text.c_str()); }
};

}  // namespace

extern "C" SAMPLE_EXPORT void GetInstance(sample::Interfaces& interfaces)
{
    interfaces.push_back(std::make_shared<Broken>());
}
