// SPDX-License-Identifier: MIT

#ifndef TESTS_FAULTS_SWEPT_CALLS_H
#define TESTS_FAULTS_SWEPT_CALLS_H

#include <vector>

namespace faults {

/// In the place of an errno: one byte is read or written instead of all.
constexpr int SHORT = 0;

/// A call on files and the errors that make sense for it.
struct SweptCall {
    const char* name;
    long number;
    std::vector<int> errors;
};

/// The calls on files that the sweeps fail, and their numbers.
const std::vector<SweptCall>& SweptCallTable();
std::vector<long> SweptCalls();

}  // namespace faults

#endif  // TESTS_FAULTS_SWEPT_CALLS_H
