// SPDX-License-Identifier: MIT

#include "tests/support/plugins/sample_instance.h"

extern "C" SAMPLE_EXPORT void GetInstance(sample::Interfaces& /*interfaces*/) {}
