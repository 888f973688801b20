// SPDX-License-Identifier: MIT
//
// Ends the process in Enable.

#include <cstdlib>

#include "tests/conformance/sample_publisher.h"

namespace {

class Broken : public sample::Publisher {
public:
    Result Enable(const std::string& /*param*/) override { std::exit(0); }
};

}  // namespace

extern "C" SAMPLE_EXPORT void GetInstance(sample::Interfaces& interfaces)
{
    interfaces.push_back(std::make_shared<Broken>());
}
