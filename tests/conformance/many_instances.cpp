// SPDX-License-Identifier: MIT
//
// In order; a hundred instances with long names.

#include "tests/conformance/sample_publisher.h"

extern "C" SAMPLE_EXPORT void GetInstance(sample::Interfaces& interfaces)
{
    for (int i = 0; i < 100; ++i) {
        interfaces.push_back(std::make_shared<sample::Instance>(std::string(60, 'n') + std::to_string(i)));
    }
}
