// SPDX-License-Identifier: MIT

#ifndef TESTS_FAULTS_BAD_OPERATIONS_H
#define TESTS_FAULTS_BAD_OPERATIONS_H

#include <string>
#include <vector>

#include "tests/faults/operation.h"

namespace faults {

/// An operation with a mistake in its handling of failures.
struct BadOperation {
    Operation operation;
    std::string fault;   ///< what a sweep has to say of it; empty for a good one
    bool memory = true;  ///< shows when memory runs out
    bool calls = true;   ///< shows when calls fail
};

/// One of each kind, and a good one. Each asks for memory and makes calls on files.
std::vector<BadOperation> BadOperations();

/// One that makes its calls on files in the first three runs only, which are those before the first fault.
Operation FickleOperation();

}  // namespace faults

#endif  // TESTS_FAULTS_BAD_OPERATIONS_H
