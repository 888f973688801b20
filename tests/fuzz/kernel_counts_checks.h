// SPDX-License-Identifier: MIT

#ifndef TESTS_FUZZ_KERNEL_COUNTS_CHECKS_H
#define TESTS_FUZZ_KERNEL_COUNTS_CHECKS_H

#include <string_view>

namespace fuzz {

/// A node's numastat and /proc/vmstat against a plain reader of rows.
void CheckNodeCounts(std::string_view text);
void CheckHintCounts(std::string_view text);

}  // namespace fuzz

#endif  // TESTS_FUZZ_KERNEL_COUNTS_CHECKS_H
