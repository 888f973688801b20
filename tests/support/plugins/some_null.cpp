// SPDX-License-Identifier: MIT

#include "tests/support/plugins/sample_instance.h"

extern "C" SAMPLE_EXPORT void GetInstance(sample::Interfaces& interfaces)
{
    interfaces.push_back(nullptr);
    interfaces.push_back(std::make_shared<sample::Instance>("first"));
    interfaces.push_back(nullptr);
    interfaces.push_back(std::make_shared<sample::Instance>("second"));
}
