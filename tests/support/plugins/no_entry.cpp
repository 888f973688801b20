// SPDX-License-Identifier: MIT

#include "tests/support/plugins/sample_instance.h"

/// Exported as C++, under another name than the one that hosts look for.
SAMPLE_EXPORT void GetInstance(sample::Interfaces& interfaces)
{
    interfaces.push_back(std::make_shared<sample::Instance>("never_seen"));
}
