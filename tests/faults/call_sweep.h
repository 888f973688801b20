// SPDX-License-Identifier: MIT

#ifndef TESTS_FAULTS_CALL_SWEEP_H
#define TESTS_FAULTS_CALL_SWEEP_H

#include <string>

#include "tests/faults/operation.h"
#include "tests/faults/sweep_report.h"

namespace faults {

/// How often each of them is made in an undisturbed run: "openat 1, read 2".
std::string CallsOf(const Operation& operation);

/// Runs the operation once for each of its calls on files and each error that such a call may have, in a
/// process whose calls are filtered. A call that is interrupted or takes one byte only makes no difference at
/// all; after any other error nothing is left open, nothing leaked, the result is the documented one and the
/// next call succeeds.
SweepReport SweepCalls(const Operation& operation);

}  // namespace faults

#endif  // TESTS_FAULTS_CALL_SWEEP_H
