// SPDX-License-Identifier: MIT
//
// Publishes a string literal as a topic text.

#include "tests/conformance/sample_publisher.h"

namespace {

class Broken : public sample::Publisher {
protected:
    char* MakeText(const std::string& text) override
    {
        return text.empty() ? const_cast<char*>("") : Publisher::MakeText(text);
    }
};

}  // namespace

extern "C" SAMPLE_EXPORT void GetInstance(sample::Interfaces& interfaces)
{
    interfaces.push_back(std::make_shared<Broken>());
}
