// SPDX-License-Identifier: MIT

#ifndef TESTS_FAULTS_ALLOCATION_SWEEP_H
#define TESTS_FAULTS_ALLOCATION_SWEEP_H

#include "tests/faults/operation.h"
#include "tests/faults/sweep_report.h"
#include "tests/support/failing_memory.h"

namespace faults {

/// Runs the operation with its first request for memory failing, then with its second, and so on until it
/// comes through without a failure, or ends in another way than documented. After a failure nothing is leaked
/// or left open, the result is the documented one or std::bad_alloc, and the next call succeeds. An operation
/// that may throw and returns has done everything, or tells that it has not.
SweepReport SweepAllocations(const Operation& operation, support::Failing which);

}  // namespace faults

#endif  // TESTS_FAULTS_ALLOCATION_SWEEP_H
