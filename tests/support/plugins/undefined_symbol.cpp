// SPDX-License-Identifier: MIT

#include "tests/support/plugins/sample_instance.h"

/// Nobody defines it.
extern "C" void sample_function_of_nobody();

extern "C" SAMPLE_EXPORT void GetInstance(sample::Interfaces& /*interfaces*/)
{
    sample_function_of_nobody();
}
