// SPDX-License-Identifier: MIT

#include "tests/support/plugins/sample_instance.h"

extern "C" SAMPLE_EXPORT int sample_needed_function();

extern "C" int sample_needed_function()
{
    return 1;
}
