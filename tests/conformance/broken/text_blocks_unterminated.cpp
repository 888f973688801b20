// SPDX-License-Identifier: MIT
//
// Forgets the room for the NUL.

#include "tests/conformance/sample_publisher.h"

namespace {

class Broken : public sample::Publisher {
protected:
    char* MakeText(const std::string& text) override
    {
        if (text.empty()) {
            return Publisher::MakeText(text);
        }
        char* const copy = new char[text.size()];
        std::memcpy(copy, text.data(), text.size());
        return copy;
    }
};

}  // namespace

extern "C" SAMPLE_EXPORT void GetInstance(sample::Interfaces& interfaces)
{
    interfaces.push_back(std::make_shared<Broken>());
}
