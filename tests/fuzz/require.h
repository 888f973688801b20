// SPDX-License-Identifier: MIT

#ifndef TESTS_FUZZ_REQUIRE_H
#define TESTS_FUZZ_REQUIRE_H

#include <cstdio>
#include <cstdlib>

namespace fuzz {

/// Ends the run when a property does not hold; libFuzzer keeps the input.
inline void Require(bool condition, const char* what)
{
    if (!condition) {
        std::fprintf(stderr, "violated: %s\n", what);
        std::abort();
    }
}

}  // namespace fuzz

#endif  // TESTS_FUZZ_REQUIRE_H
