// SPDX-License-Identifier: MIT
//
// Looks at a topic text that it published, to see whether it is the same again.

#include "tests/conformance/sample_publisher.h"

namespace {

class Broken : public sample::Publisher {
protected:
    char* MakeText(const std::string& text) override
    {
        same += last != nullptr && text == last ? 1 : 0;
        char* const copy = Publisher::MakeText(text);
        last = copy;
        return copy;
    }

private:
    const char* last = nullptr;
    int same = 0;
};

}  // namespace

extern "C" SAMPLE_EXPORT void GetInstance(sample::Interfaces& interfaces)
{
    interfaces.push_back(std::make_shared<Broken>());
}
