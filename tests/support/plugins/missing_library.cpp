// SPDX-License-Identifier: MIT
//
// Needs a library that the dynamic linker does not find: it is linked without a run path.

#include "tests/support/plugins/sample_instance.h"

extern "C" int sample_needed_function();

extern "C" SAMPLE_EXPORT void GetInstance(sample::Interfaces& interfaces)
{
    interfaces.resize(static_cast<std::size_t>(sample_needed_function()));
}
