// SPDX-License-Identifier: MIT
//
// Publishes the same texts with every message.

#include <map>

#include "tests/conformance/sample_publisher.h"

namespace {

class Broken : public sample::Publisher {
protected:
    char* MakeText(const std::string& text) override
    {
        char*& kept = texts[text];
        kept = kept == nullptr ? Publisher::MakeText(text) : kept;
        return kept;
    }

private:
    std::map<std::string, char*> texts;
};

}  // namespace

extern "C" SAMPLE_EXPORT void GetInstance(sample::Interfaces& interfaces)
{
    interfaces.push_back(std::make_shared<Broken>());
}
