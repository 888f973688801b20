// SPDX-License-Identifier: MIT
//
// Allocates an empty topic text with new instead of new[].

#include "tests/conformance/sample_publisher.h"

namespace {

class Broken : public sample::Publisher {
protected:
    char* MakeText(const std::string& text) override
    {
        return text.empty() ? new char('\0') : Publisher::MakeText(text);
    }
};

}  // namespace

extern "C" SAMPLE_EXPORT void GetInstance(sample::Interfaces& interfaces)
{
    interfaces.push_back(std::make_shared<Broken>());
}
