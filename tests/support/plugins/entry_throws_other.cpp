// SPDX-License-Identifier: MIT

#include "tests/support/plugins/sample_instance.h"

namespace {

/// No std::exception.
struct Oddity {
    std::string text = "a text that is long enough to be on the heap, to be sure that it is released";
};

}  // namespace

extern "C" SAMPLE_EXPORT void GetInstance(sample::Interfaces& /*interfaces*/)
{
    throw Oddity();
}
