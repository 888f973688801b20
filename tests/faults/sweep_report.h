// SPDX-License-Identifier: MIT

#ifndef TESTS_FAULTS_SWEEP_REPORT_H
#define TESTS_FAULTS_SWEEP_REPORT_H

#include <cstddef>
#include <set>
#include <string>
#include <vector>

#include "tests/faults/operation.h"

namespace faults {

/// What a sweep found.
struct SweepReport {
    std::size_t injected = 0;         ///< runs with a fault in them
    std::vector<std::string> faults;  ///< what ended in another way than documented, one line or more each
};

/// The descriptors of this process with what they lead to, "3 /dev/null".
std::set<std::string> OpenDescriptors();

/// What `trial` leaves when nothing fails.
std::string StateAfterSuccess(const Operation& operation);

/// After a failure: what makes the operation succeed.
const std::function<void()>& NextCall(const Trial& trial);

}  // namespace faults

#endif  // TESTS_FAULTS_SWEEP_REPORT_H
