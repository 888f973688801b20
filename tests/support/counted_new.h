// SPDX-License-Identifier: MIT

#ifndef TESTS_SUPPORT_COUNTED_NEW_H
#define TESTS_SUPPORT_COUNTED_NEW_H

#include <cstddef>

namespace support {

/// How often the program has called operator new so far. Needs counted_new.cpp among the program's own
/// sources.
size_t Allocations() noexcept;

}  // namespace support

#endif  // TESTS_SUPPORT_COUNTED_NEW_H
