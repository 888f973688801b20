// SPDX-License-Identifier: MIT
//
// In order; does not want to be enabled here.

#include "tests/conformance/sample_publisher.h"

namespace {

class Good : public sample::Publisher {
public:
    Result Enable(const std::string& /*param*/) override { return {-1, "no such hardware"}; }
};

}  // namespace

extern "C" SAMPLE_EXPORT void GetInstance(sample::Interfaces& interfaces)
{
    interfaces.push_back(std::make_shared<Good>());
}
